// Shared by every page: error collection into #page-status (where people and the browser test
// see them) and small element builders. The page script is these files joined in the order of
// korasim/report/CMakeLists.txt.
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
