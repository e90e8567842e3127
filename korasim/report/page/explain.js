// The explain page: what a field log tells of each capture.
function explainPage(data, app) {
  const x = data.explain || {}, captures = x.captures || [];
  app.append(el("section", {id: "header"}, el("h1", {}, "korasim explain: " + (x.source || x.file || "log")),
    kvTable(Object.entries(x).filter(([k]) => k !== "captures"))), traceTimeline(data.trace) || "");
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
