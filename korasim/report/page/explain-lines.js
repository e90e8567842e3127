// The log lines a capture of the explain page was read from, with their line numbers in the file
// (and the file or archive entry when several were read), so each can be found in the log.
function explainLines(c, manySources) {
  const lines = c.lines || [];
  const box = el("div", {class: "capture-lines"}, el("h3", {}, `Log lines of this capture (${lines.length})`));
  if (!lines.length) {
    box.append(el("p", {}, "none kept (explain keeps them with --json or --html)"));
    return box;
  }
  const head = (manySources ? ["file", "line", "text"] : ["line", "text"]).map((h) => el("th", {}, h));
  box.append(el("table", {class: "lines"}, el("tr", {}, head), lines.map((l) => el("tr", {},
    manySources ? el("td", {class: "mono source"}, l.source || "") : null,
    el("td", {class: "mono line-number"}, l.line ? String(l.line) : "—"),
    el("td", {class: "mono msg"}, l.text)))));
  if (c.linesNotKept)
    box.append(el("p", {class: "note"}, `${c.linesNotKept} more lines of this capture are not listed: a capture keeps its first ${lines.length}.`));
  return box;
}
