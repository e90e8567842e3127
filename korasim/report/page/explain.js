// The explain page: what a field log tells of each capture. The header says in words what was
// read, an overview table has a row per capture linking to its section, and each section shows
// the decision, the request and the log lines it was read from (explain-lines.js).
const explainWords = {
  pluginLines: ["plugin lines", "lines with the plugin's tags (SDSR, VoAlgoEngine) that were read"],
  objects: ["plugin objects", "SdSrPlugin objects seen, numbered #1, #2, ... in order of appearance"],
  unattributedLines: ["lines not attributed", "lines the plugin's tags carry but no step of isEnabled or processRequest reads"],
  unattributedSamples: ["samples not attributed to a capture", "the first of those lines, as they read"],
  cutLines: ["cut lines", "lines with the plugin's tag in no layout explain reads (cut where the log buffer wrapped)"],
  offlineLines: ["offline lines", "lines of the offline channel, which carry no decision"],
  linesKeptPerCapture: ["lines kept per capture", "a capture lists at most this many of its lines; the rest are counted"],
};

function explainHeader(x, captures) {
  const sources = x.sources || [];
  const rows = [["log", x.log || "—"], ["captures", String(captures.length)]];
  if (sources.length > 1) rows.push(["inputs read", el("ul", {}, sources.map((s) => el("li", {}, s)))]);
  for (const [key, [words, sentence]] of Object.entries(explainWords)) {
    if (!(key in x)) continue;
    const v = x[key];
    const value = Array.isArray(v) ? (v.length ? el("ul", {}, v.map((s) => el("li", {class: "mono"}, s))) : "none") : text(v);
    rows.push([el("span", {title: sentence}, words), el("div", {}, value, el("div", {class: "note"}, sentence))]);
  }
  return el("section", {id: "header"}, el("h1", {}, "korasim explain: " + (x.log || "log")),
    el("table", {class: "kv explain-header"}, rows.map(([k, v]) => el("tr", {}, el("td", {}, k), el("td", {}, v)))));
}

function answerBadge(e) {
  return el("span", {class: "badge " + (e.answer === "enabled" ? "good" : e.answer === "disabled" ? "bad" : "")}, text(e.answer));
}

// One row per capture: time, pid, object, answer and reason, path; each links to its section.
function explainOverview(captures) {
  const head = ["#", "time", "pid", "object", "answer and reason", "path"];
  return el("section", {id: "overview"}, el("h2", {}, "Captures"),
    el("table", {class: "overview"}, el("tr", {}, head.map((h) => el("th", {}, h))),
      captures.map((c, i) => {
        const e = c.enable || {}, p = c.process;
        const target = "#capture-" + (i + 1);
        return el("tr", {class: "capture-row"},
          el("td", {}, el("a", {href: target}, String(i + 1))),
          el("td", {class: "mono"}, el("a", {href: target}, c.time || "(no time)")),
          el("td", {class: "mono"}, text(c.pid)), el("td", {class: "mono"}, text(c.object)),
          el("td", {}, answerBadge(e), e.reason ? " " + e.reason : "", e.text && e.answer !== "enabled" ? el("div", {class: "note"}, e.text) : null),
          el("td", {}, p ? el("span", {class: "badge path " + pathClass(p.path), "data-path": p.path}, p.path) : "no request",
            p && p.text && p.text !== p.path ? el("div", {class: "note"}, p.text) : null));
      })));
}

// The property overrides in words: "none", or "lux 1234.5, preAlgoType 2".
function initFields(input) {
  const fields = Object.assign({}, input);
  if (fields.overrides && typeof fields.overrides === "object") {
    const set = Object.entries(fields.overrides).map(([k, v]) => k + " " + v);
    fields.overrides = set.length ? set.join(", ") : "none";
  }
  return fields;
}

function explainCapture(c, i, manySources) {
  const e = c.enable || {}, p = c.process;
  const body = [el("h2", {}, `Capture ${i + 1}: ${c.time || ""} pid ${text(c.pid)} object ${text(c.object)}`),
    el("p", {}, "answer ", answerBadge(e), e.reason ? ", reason " + e.reason : ""),
    el("h3", {}, "Checks"), checklist(e, e.answer, e.reason)];
  if (c.outstandingBefore && c.outstandingBefore.length)
    body.push(el("p", {}, `Outstanding before this capture: ${c.outstandingBefore.length} earlier request(s) of ${c.object}, admitted at ${c.outstandingBefore.join(", ")} and not finished.`));
  if (p) {
    const costs = p.costs || {};
    body.push(el("h3", {}, "processRequest"), kvTable([
      ["path", el("span", {class: "badge path " + pathClass(p.path), "data-path": p.path}, p.path)], ["what happened", p.text],
      ["Init result", p.initCode], ["Run result", p.runCode], ["Unit result", p.unitCode],
      ["costs", `init ${ms(costs.initMs)}, run ${ms(costs.runMs)}, unit ${ms(costs.unitMs)}`],
      ["boost", p.boost], ["dumps", (p.dumps || []).join(", ") || "none"]]));
    if (p.algoInput) body.push(el("h3", {}, "Init record as the algorithm received it"), recordTable(initFields(p.algoInput)));
  }
  body.push(el("h3", {}, "Not in the log"), c.unknown && c.unknown.length ? el("ul", {}, c.unknown.map((u) => el("li", {}, u))) : el("p", {}, "none"));
  body.push(explainLines(c, manySources));
  return el("section", {class: "capture", id: "capture-" + (i + 1)}, body);
}

function explainPage(data, app) {
  const x = data.explain || {}, captures = x.captures || [];
  const manySources = (x.sources || []).length > 1 || (x.sources || []).some((s) => s.includes(":"));
  app.append(explainHeader(x, captures), explainOverview(captures), traceTimeline(data.trace) || "");
  captures.forEach((c, i) => app.append(explainCapture(c, i, manySources)));
}
