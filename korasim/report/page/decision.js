// The enable decision as a checklist.

// A check without a value: the log did not show it, or the decision never got there.
const checkValue = (c) => (c.value === null || c.value === undefined ? (c.result === "not reached" ? "not read" : "not logged") : text(c.value));

// The checks in the plugin's order; the first failing one decided. Without checks (older
// reports, hidden log lines) the answer and the reason stand alone.
function checklist(decision, answer, reason) {
  const box = el("div", {class: "decision"});
  if (decision && Array.isArray(decision.checks) && decision.checks.length) {
    const deciding = decision.checks.findIndex((c) => c.result === "fail");
    box.append(el("ol", {class: "checklist"}, decision.checks.map((c, i) =>
      el("li", {class: "check" + (i === deciding ? " deciding" : ""), "data-result": c.result || "unknown"},
        c.name, ": ", el("code", {}, checkValue(c)), " (limit ", el("code", {}, text(c.limit)), ") — ",
        c.result, i === deciding ? " — deciding" : ""))));
  } else {
    box.append(el("ol", {class: "checklist"}, el("li", {class: "check fallback",
      "data-result": answer === true || answer === "enabled" ? "pass" : answer === false || answer === "disabled" ? "fail" : "unknown"},
      "answer ", text(answer), reason ? ", reason " + reason : "")));
  }
  if (decision && decision.text) box.append(el("p", {}, decision.text));
  return box;
}

