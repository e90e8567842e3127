// The run page (run, replay, demo): header, steps, a section per step, the log table.
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
// The demo's figures, as its terminal prints them: the algorithm's throughput and the sharpness
// of input and output.
function demoFigures(demo) {
  if (!demo) return [];
  const f3 = (v) => (typeof v === "number" ? v.toFixed(3) : "—");
  const rows = (demo.throughput || []).map((t) => [`throughput (step ${t.step})`,
    `${t.runMs.toFixed(1)} ms for ${t.width}x${t.height} = ${t.megapixelsPerSecond.toFixed(1)} megapixels/s on ${t.threads} thread(s)`]);
  const s = demo.sharpness;
  rows.push(["sharpness (mean luma gradient, levels per pixel)",
    s ? `input ${f3(s.input)}, output ${f3(s.output)} (x${s.ratio.toFixed(2)})` : "no request was processed"]);
  return [el("section", {id: "demo-figures"}, el("h2", {}, "Demo figures"), kvTable(rows))];
}
function runPage(data, app) {
  const r = data.report, pictures = data.pictures || {};
  app.append(header(r), ...demoFigures(r.demo), ...comparisonSections(data), timeline(r.steps || []),
    traceTimeline(data.trace) || "", ...(r.steps || []).map((s) => stepSection(s, pictures[s.index])), logTable(r));
}
