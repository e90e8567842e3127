// Renders korasim's report (or explain's captures) from the JSON in #korasim-data. Errors of the
// page itself are collected into #page-status, where people and the browser test see them.
"use strict";
const pageErrors = [];
function noteError(text) {
  pageErrors.push(String(text));
  const status = document.getElementById("page-status");
  status.dataset.errors = String(pageErrors.length);
  status.textContent = "Page errors: " + pageErrors.join(" | ");
}
window.addEventListener("error", (e) => noteError(e.message || "resource failed to load"), true);
const consoleError = console.error.bind(console);
console.error = (...args) => { noteError(args.join(" ")); consoleError(...args); };

// el("td", {class: "x"}, child, "text", ...): a new element; null and undefined children skip.
function el(tag, attrs, ...children) {
  const node = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs || {})) {
    if (v === null || v === undefined || v === false) continue;
    if (k.startsWith("on")) node.addEventListener(k.slice(2), v);
    else node.setAttribute(k, v === true ? "" : v);
  }
  for (const c of children.flat()) {
    if (c === null || c === undefined) continue;
    node.append(c instanceof Node ? c : document.createTextNode(String(c)));
  }
  return node;
}
const ms = (v) => (typeof v === "number" ? v.toFixed(v < 10 ? 3 : 1) + " ms" : "—");
const text = (v) => (v === null || v === undefined ? "—" : typeof v === "object" ? JSON.stringify(v) : String(v));
const bar = (value, max, cls) =>
  el("span", {class: "bar " + (cls || ""), style: "width:" + Math.max(1, Math.round(200 * (value || 0) / (max || 1))) + "px"});
function kvTable(rows, cls) {
  return el("table", {class: "kv " + (cls || "")},
    rows.filter((r) => r).map(([k, v]) => el("tr", {}, el("td", {}, k), el("td", {class: "mono"}, v instanceof Node ? v : text(v)))));
}
function listTable(items, columns, cls) {
  return el("table", {class: cls || ""}, el("tr", {}, columns.map((c) => el("th", {}, c[0]))),
    items.map((item) => el("tr", {}, columns.map((c) => el("td", {class: "mono"}, text(c[1](item)))))));
}

// ---- the enable decision ------------------------------------------------------------------
// The checks in the plugin's order; the first failing one decided. Without checks (older
// reports, hidden log lines) the answer and the reason stand alone.
function checklist(decision, answer, reason) {
  const box = el("div", {class: "decision"});
  if (decision && Array.isArray(decision.checks) && decision.checks.length) {
    const deciding = decision.checks.findIndex((c) => c.result === "fail");
    box.append(el("ol", {class: "checklist"}, decision.checks.map((c, i) =>
      el("li", {class: "check" + (i === deciding ? " deciding" : ""), "data-result": c.result || "unknown"},
        c.name, ": ", el("code", {}, text(c.value)), " (limit ", el("code", {}, text(c.limit)), ") — ",
        c.result, i === deciding ? " — deciding" : ""))));
  } else {
    box.append(el("ol", {class: "checklist"}, el("li", {class: "check fallback",
      "data-result": answer === true || answer === "enabled" ? "pass" : answer === false || answer === "disabled" ? "fail" : "unknown"},
      "answer ", text(answer), reason ? ", reason " + reason : "")));
  }
  if (decision && decision.text) box.append(el("p", {}, decision.text));
  return box;
}

// ---- processRequest -------------------------------------------------------------------------
const pathClass = (p) => (p === "processed" ? "good" : /Failed|unknown/.test(p || "") ? "bad" : "warn");
// The Init record's fields in the order of the C record; others (buffers, names) follow.
const initOrder = ["rawType", "height", "width", "stride", "zoomRatio", "orientation", "lux_index", "triggerType",
  "preAlgoType", "sensorModeType", "path_assets", "path_assets_compressed"];
function recordTable(record) {
  const rank = (k) => (initOrder.includes(k) ? initOrder.indexOf(k) : initOrder.length);
  return kvTable(Object.entries(record).sort(([a], [b]) => rank(a) - rank(b)), "init-record");
}
function initRecord(step) {
  const init = (step.algorithmCalls || []).find((c) => c.call === "Init" && c.record);
  if (init) return recordTable(init.record);
  const algoInput = step.process && step.process.algoInput;
  if (algoInput) return recordTable(algoInput);
  return el("p", {}, "Not recorded: only the scripted library records the Init record it receives; the EXIF record below carries its values.");
}
function exifBlock(exif) {
  return exif.map((w) => el("div", {class: "exif", "data-committed": String(w.committed)},
    el("p", {}, "EXIF writer ", el("code", {}, w.name), " request ", text(w.requestKey), " ",
      el("span", {class: "badge " + (w.committed ? "good" : "bad")}, w.committed ? "committed" : "dropped")),
    listTable(w.records || [], [["#", (r) => w.records.indexOf(r)], ["key", (r) => r.key], ["value", (r) => r.value], ["int", (r) => r.int]])));
}
function debugRecordBlock(rec) {
  if (rec.error) return el("p", {class: "bad"}, rec.error);
  return el("div", {class: "debug-record"},
    kvTable([["camera id", rec.cameraId], ["frame count", rec.frameCount], ["reserved bytes", rec.reservedZero ? "all zero" : "not zero"],
      ["written", `${rec.copies} times, ` + (rec.identical ? "identical" : "NOT identical")]]),
    listTable(rec.frames || [], [["frame", (f) => rec.frames.indexOf(f)], ["sensor mode", (f) => f.sensorMode],
      ["exposure (ns)", (f) => f.exposureNs], ["start of exposure (ns)", (f) => f.startOfExposureNs]]));
}
function writesBlock(writes) {
  return listTable(writes, [["container", (w) => w.container], ["tag", (w) => w.tag], ["type", (w) => w.type],
    ["count", (w) => w.count], ["status", (w) => w.status],
    ["values", (w) => (typeof w.values === "string" && w.values.length > 48 ? w.values.slice(0, 48) + "… (" + w.values.length / 2 + " bytes)" : w.values)]], "writes");
}

// Before/after: the output over the input, cut by a slider; two 1:1 crops follow the mouse over
// the frame (within the full-resolution region, dashed) or stay where the frame was clicked.
function viewer(pic) {
  const [fw, fh] = pic.frame, [cx, cy, cw, ch] = pic.crop;
  const before = el("img", {class: "before", src: pic.inputPreview, alt: "input", "data-picture": "inputPreview"});
  const after = el("img", {class: "after", src: pic.outputPreview, alt: "output", "data-picture": "outputPreview"});
  const lens = el("div", {class: "lens"});
  const pct = (v, of) => (100 * v / of) + "%";
  const cropbox = el("div", {class: "cropbox", style: `left:${pct(cx, fw)};top:${pct(cy, fh)};width:${pct(cw, fw)};height:${pct(ch, fh)}`});
  const frame = el("div", {class: "compare"}, before, after, cropbox, lens);
  const slider = el("input", {type: "range", min: 0, max: 100, value: 50, class: "slider"});
  const cut = () => { after.style.clipPath = `inset(0 0 0 ${slider.value}%)`; };
  slider.addEventListener("input", cut);
  cut();
  // At preview scale 1 the preview is the full-resolution picture and serves as the crop.
  const crops = [["inputCrop", pic.inputCrop || pic.inputPreview], ["outputCrop", pic.outputCrop || pic.outputPreview]]
    .map(([name, src]) => el("img", {src: src, alt: name, "data-picture": name}));
  const at = el("figcaption", {});
  let pinned = false;
  function show(fx, fy) {
    const side = 260;
    const x = Math.round(Math.min(Math.max(fx - side / 2, cx), cx + Math.max(cw - side, 0)));
    const y = Math.round(Math.min(Math.max(fy - side / 2, cy), cy + Math.max(ch - side, 0)));
    for (const c of crops) Object.assign(c.style, {left: -(x - cx) + "px", top: -(y - cy) + "px"});
    Object.assign(lens.style, {left: pct(x, fw), top: pct(y, fh), width: pct(Math.min(side, cw), fw), height: pct(Math.min(side, ch), fh)});
    at.textContent = `1:1 at (${x}, ${y})` + (pinned ? ", pinned (click to follow the mouse)" : ", click to pin");
  }
  const framePoint = (e) => {
    const r = frame.getBoundingClientRect();
    return [(e.clientX - r.left) / r.width * fw, (e.clientY - r.top) / r.height * fh];
  };
  frame.addEventListener("mousemove", (e) => { if (!pinned) show(...framePoint(e)); });
  frame.addEventListener("click", (e) => { pinned = !pinned; show(...framePoint(e)); });
  show(cx + cw / 2, cy + ch / 2);
  return el("div", {class: "viewer"},
    el("figure", {}, frame, el("figcaption", {}, "input | output — ", slider, ` whole frame ${fw}x${fh}, preview 1:${pic.scale}`)),
    el("figure", {}, el("div", {class: "crops"},
      el("figure", {}, el("div", {class: "crop"}, crops[0]), el("figcaption", {}, "input 1:1")),
      el("figure", {}, el("div", {class: "crop"}, crops[1]), el("figcaption", {}, "output 1:1"))), at));
}

function processBlock(step, pictures) {
  const t = step.timings || {};
  const max = Math.max(t.initMs || 0, t.runMs || 0, t.unitMs || 0);
  const parts = [
    el("p", {}, "path ", el("span", {class: "badge path " + pathClass(step.path), "data-path": step.path}, step.path),
      " return ", text(step.return), step.process && step.process.text ? " — " + step.process.text : ""),
    el("table", {class: "timings"}, [["Init", t.initMs, ""], ["Run", t.runMs, "run"], ["Unit", t.unitMs, "unit"]].map(([n, v, c]) =>
      el("tr", {}, el("td", {}, n), el("td", {}, v === null || v === undefined ? "not logged" : bar(v, max, c)), el("td", {class: "mono"}, ms(v))))),
    el("h3", {}, "Init record as the algorithm received it"), initRecord(step),
  ];
  if (step.exif && step.exif.length) parts.push(el("h3", {}, "EXIF records"), ...exifBlock(step.exif));
  parts.push(el("h3", {}, "Fault reports, boost, dumps"), kvTable([
    ["fault reports", (step.dfx || []).map((d) => `code ${d.code} module ${d.module}`).join(", ") || "none"],
    ["boost", (step.perfLock || []).map((p) => p.event + (p.durationMs ? " " + p.durationMs + " ms" : "")).join(", ") || "none"],
    ["dumps", (step.dumps || []).map((d) => `${d.device} (${d.bytes} bytes)`).join(", ") || "none"]]));
  if (step.debugRecord) parts.push(el("h3", {}, "Debug record (768 bytes)"), debugRecordBlock(step.debugRecord));
  if (pictures) parts.push(el("h3", {}, "Before and after"), viewer(pictures));
  return parts;
}

// ---- the run page ---------------------------------------------------------------------------
function stepSummary(s) {
  if (s.do === "isEnabled") return "answer " + s.answer + (s.reason ? ", " + s.reason : "");
  if (s.do === "processRequest") return s.skipped ? "skipped" : "path " + s.path;
  if (s.do === "setDevice") return "changed " + (s.changed || []).join(", ");
  if ("return" in s) return "return " + s.return;
  return s.do === "create" ? "created " + s.created : "";
}
function header(r) {
  const load = r.load || {};
  return el("section", {id: "header"}, el("h1", {}, "korasim: " + (r.session || "run")), kvTable([
    ["plugin", r.plugin], ["soname", load.soname], ["provider", load.provider && `${load.provider.name} (${load.provider.type}, version ${load.provider.version})`],
    ["loaded", load.ok], ["session", r.session], ["device tree", r.root], ["libraries", r.libraryDir],
    r.device && ["device", kvTable(Object.entries(r.device))],
    ["properties", Object.keys(r.properties || {}).length ? kvTable(Object.entries(r.properties)) : "none set"],
    r.logGates && ["log gates", kvTable(Object.entries(r.logGates))]]));
}
function timeline(steps) {
  const max = Math.max(...steps.map((s) => s.durationMs || 0), 0.001);
  return el("section", {id: "timeline"}, el("h2", {}, "Steps"), el("table", {},
    el("tr", {}, el("th", {}, "#"), el("th", {}, "step"), el("th", {}, "plugin"), el("th", {}, "duration"), el("th", {}, "answer or path")),
    steps.map((s) => el("tr", {class: "step-row", "data-step": s.index, "data-do": s.do},
      el("td", {}, el("a", {href: "#step-" + s.index}, s.index)), el("td", {}, s.do), el("td", {}, s.plugin || ""),
      el("td", {class: "mono"}, bar(s.durationMs, max), " ", ms(s.durationMs)), el("td", {}, stepSummary(s))))));
}
function stepSection(s, pictures) {
  const body = [el("h2", {}, `[${s.index}] ${s.do} ${s.plugin || ""} `,
    el("span", {class: "summary"}, stepSummary(s) + (stepSummary(s) ? ", " : "") + ms(s.durationMs)))];
  if (s.do === "isEnabled") body.push(el("h3", {}, "Checks"), checklist(s.decision, s.answer, s.reason));
  if (s.do === "processRequest" && !s.skipped) body.push(...processBlock(s, pictures));
  else if (s.exif && s.exif.length) body.push(el("h3", {}, "EXIF records"), ...exifBlock(s.exif));
  if (s.metadataWrites && s.metadataWrites.length) body.push(el("h3", {}, "Metadata writes"), writesBlock(s.metadataWrites));
  return el("section", {id: "step-" + s.index, class: "step", "data-do": s.do}, body);
}
function logTable(r) {
  const rows = [];
  const add = (lines, where) => (lines || []).forEach((l) => rows.push([l, where]));
  add((r.load || {}).log, "load");
  (r.steps || []).forEach((s) => add(s.log, s.index));
  add((r.end || {}).log, "end");
  const options = (key) => ["", ...new Set(rows.map(([l]) => String(l[key])))].map((v) => el("option", {value: v}, v === "" ? "all" : v));
  const level = el("select", {id: "filter-level"}, options("level"));
  const tag = el("select", {id: "filter-tag"}, options("tag"));
  const group = el("select", {id: "filter-group"}, options("group"));
  const channel = el("select", {id: "filter-channel"}, options("channel"));
  // Both channels usually carry the same lines: show the online one (logcat's) first.
  if (rows.some(([l]) => l.channel === "online")) channel.value = "online";
  const search = el("input", {id: "filter-text", type: "search", placeholder: "text"});
  const count = el("span", {id: "log-count"});
  const trs = rows.map(([l, where]) => el("tr", {class: "log-row log-" + l.level, "data-step": where},
    el("td", {}, typeof where === "number" ? el("a", {href: "#step-" + where}, "[" + where + "]") : where),
    el("td", {}, l.channel), el("td", {}, l.level), el("td", {}, l.tag), el("td", {}, l.group), el("td", {}, l.function),
    el("td", {class: "msg"}, l.message)));
  function filter() {
    const needle = search.value.toLowerCase();
    let shown = 0;
    rows.forEach(([l], i) => {
      const ok = (!level.value || l.level === level.value) && (!tag.value || String(l.tag) === tag.value) &&
        (!group.value || String(l.group) === group.value) && (!channel.value || l.channel === channel.value) &&
        (!needle || (l.message + " " + l.function).toLowerCase().includes(needle));
      trs[i].hidden = !ok;
      shown += ok;
    });
    count.textContent = `${shown} of ${rows.length} lines`;
  }
  for (const f of [level, tag, group, channel]) f.addEventListener("change", filter);
  search.addEventListener("input", filter);
  filter();
  return el("section", {id: "log"}, el("h2", {}, "Log"),
    el("div", {class: "filters"}, "level ", level, " tag ", tag, " group ", group, " channel ", channel, search, count),
    el("table", {}, el("tr", {}, ["step", "channel", "level", "tag", "group", "function", "message"].map((h) => el("th", {}, h))), trs));
}
function runPage(data, app) {
  const r = data.report, pictures = data.pictures || {};
  app.append(header(r), timeline(r.steps || []), ...(r.steps || []).map((s) => stepSection(s, pictures[s.index])), logTable(r));
}

// ---- the explain page -----------------------------------------------------------------------
function explainPage(data, app) {
  const x = data.explain || {}, captures = x.captures || [];
  app.append(el("section", {id: "header"}, el("h1", {}, "korasim explain: " + (x.source || x.file || "log")),
    kvTable(Object.entries(x).filter(([k]) => k !== "captures"))));
  captures.forEach((c, i) => {
    const e = c.enable || {}, p = c.process;
    const body = [el("h2", {}, `Capture ${i + 1}: ${c.time || ""} pid ${text(c.pid)} object ${text(c.object)}`),
      el("p", {}, "answer ", el("span", {class: "badge " + (e.answer === "enabled" ? "good" : e.answer === "disabled" ? "bad" : "")}, text(e.answer)),
        e.reason ? ", reason " + e.reason : ""),
      el("h3", {}, "Checks"), checklist(e, e.answer, e.reason)];
    if (p) {
      const costs = p.costs || {};
      body.push(el("h3", {}, "processRequest"), kvTable([
        ["path", el("span", {class: "badge path " + pathClass(p.path), "data-path": p.path}, p.path)], ["text", p.text],
        ["Init code", p.initCode], ["Run code", p.runCode],
        ["costs", `init ${ms(costs.initMs)}, run ${ms(costs.runMs)}, unit ${ms(costs.unitMs)}`],
        ["boost", p.boost], ["dumps", (p.dumps || []).join(", ") || "none"]]));
      if (p.algoInput) body.push(el("h3", {}, "Init record as the algorithm received it"), recordTable(p.algoInput));
    }
    if (c.unknown && c.unknown.length) body.push(el("h3", {}, "Unknown"), el("ul", {}, c.unknown.map((u) => el("li", {}, u))));
    app.append(el("section", {class: "capture", id: "capture-" + (i + 1)}, body));
  });
}

// ---- start --------------------------------------------------------------------------------
(function start() {
  const status = document.getElementById("page-status");
  status.dataset.errors = "0";
  try {
    const data = JSON.parse(document.getElementById("korasim-data").textContent);
    const app = document.getElementById("app");
    app.textContent = "";
    if (data.kind === "explain") explainPage(data, app); else runPage(data, app);
  } catch (e) {
    noteError("rendering failed: " + (e && e.stack ? e.stack : e));
  }
  // Every picture must decode: a broken data URI or a missing file beside the page shows here.
  window.addEventListener("load", () => {
    for (const img of document.querySelectorAll("img[data-picture]"))
      if (!img.complete || img.naturalWidth === 0) noteError("picture did not load: " + img.dataset.picture);
    status.dataset.state = "ready";
    status.dataset.pictures = String(document.querySelectorAll("img[data-picture]").length);
  });
})();
