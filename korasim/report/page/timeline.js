// The timeline of the page's trace events (data.trace, the events --trace writes): a track per
// plugin object, spans nested as they ran, a hover title with each span's duration and details.
// Clicking a span zooms to it, clicking the axis zooms back out.
const svgNs = "http://www.w3.org/2000/svg";
function svg(tag, attrs, ...children) {
  const node = document.createElementNS(svgNs, tag);
  for (const [k, v] of Object.entries(attrs || {})) node.setAttribute(k, v);
  for (const c of children) node.append(c instanceof Node ? c : document.createTextNode(String(c)));
  return node;
}
const traceColours = {step: "#4a78c2", capture: "#7a6bb8", boost: "#b0812a", algorithm: "#2f9e6b", dump: "#c4563c"};
const usText = (us) => (us >= 1000 ? (us / 1000).toFixed(us < 10000 ? 3 : 1) + " ms" : us + " us");
// Axis labels: round numbers in the unit that fits.
const axisText = (us) => (us === 0 ? "0" : us >= 1e6 ? +(us / 1e6).toFixed(3) + " s" : us >= 1000 ? +(us / 1000).toFixed(3) + " ms" : us + " us");

// Tracks in the trace's order (process, then sort index), each with its spans and their depth.
function traceTracks(events) {
  const names = {}, order = {}, tracks = new Map();
  for (const e of events) {
    const key = e.pid + ":" + e.tid;
    if (e.ph === "M" && e.name === "process_name") names[e.pid] = e.args.name;
    if (e.ph === "M" && e.name === "thread_name") names[key] = e.args.name;
    if (e.ph === "M" && e.name === "thread_sort_index") order[key] = e.args.sort_index;
    if (e.ph !== "X") continue;
    if (!tracks.has(key)) tracks.set(key, {key, pid: e.pid, spans: []});
    tracks.get(key).spans.push(e);
  }
  const pids = [...new Set([...tracks.values()].map((t) => t.pid))];
  const list = [...tracks.values()].sort((a, b) => pids.indexOf(a.pid) - pids.indexOf(b.pid) || (order[a.key] || 0) - (order[b.key] || 0));
  for (const t of list) {
    t.process = names[t.pid] || "process " + t.pid;
    t.name = names[t.key] || "track " + t.key;
    t.spans.sort((a, b) => a.ts - b.ts || b.dur - a.dur);
    const open = [];
    for (const s of t.spans) {
      const inside = (p) => s.ts >= p.ts && s.ts + s.dur <= p.ts + p.dur;
      while (open.length && !inside(open[open.length - 1])) open.pop();
      s.depth = open.length;
      open.push(s);
    }
    t.depth = Math.max(...t.spans.map((s) => s.depth)) + 1;
  }
  return list;
}

function spanTitle(s) {
  const args = Object.entries(s.args || {}).map(([k, v]) => `\n${k}: ${typeof v === "object" ? JSON.stringify(v) : v}`).join("");
  return `${s.name}: ${usText(s.dur)} (from ${usText(s.ts)})${args}`;
}

function drawTimeline(box, tracks, from, to) {
  const labelWidth = 210, width = Math.max(box.clientWidth || 1110, 600), chart = width - labelWidth - 10;
  const row = 18, axis = 22, scale = chart / Math.max(to - from, 1);
  const x = (us) => labelWidth + (us - from) * scale;
  let y = axis;
  const parts = [];
  const step = Math.pow(10, Math.floor(Math.log10(Math.max(to - from, 1) / 8)));
  const tick = [1, 2, 5, 10].map((m) => m * step).find((t) => (to - from) / t <= 10);
  const ticks = svg("g", {class: "trace-axis", style: "cursor:zoom-out"});
  for (let t = Math.ceil(from / tick) * tick; t <= to; t += tick)
    ticks.append(svg("line", {x1: x(t), x2: x(t), y1: 14, y2: 2000, stroke: "#e4e7ee"}),
      svg("text", {x: x(t) + 2, y: 11, "font-size": 10, fill: "#5a6272"}, axisText(t)));
  ticks.append(svg("rect", {x: labelWidth, y: 0, width: chart, height: 14, fill: "transparent"}));
  ticks.addEventListener("click", () => drawTimeline(box, tracks, box.fullFrom, box.fullTo));
  parts.push(ticks);
  let process = null;
  for (const t of tracks) {
    if (t.process !== process) {
      process = t.process;
      parts.push(svg("text", {x: 4, y: y + 12, "font-size": 12, "font-weight": 600, fill: "#5a6272"}, process));
      y += 18;
    }
    const g = svg("g", {class: "trace-track", "data-track": t.name});
    g.append(svg("text", {x: 4, y: y + 13, "font-size": 12, fill: "#1d2330"}, t.name.length > 30 ? t.name.slice(0, 29) + "…" : t.name));
    for (const s of t.spans) {
      if (s.ts + s.dur < from || s.ts > to) continue;
      const left = Math.max(x(s.ts), labelWidth), right = Math.min(x(s.ts + s.dur), labelWidth + chart);
      const w = Math.max(right - left, 1), top = y + s.depth * row;
      const bar = svg("g", {class: "trace-span", "data-name": s.name, "data-cat": s.cat, "data-depth": s.depth, style: "cursor:zoom-in"},
        svg("title", {}, spanTitle(s)),
        svg("rect", {x: left, y: top + 1, width: w, height: row - 3, rx: 2, stroke: "#fff", fill: traceColours[s.cat] || "#8a90a0", opacity: s.args && s.args.placed ? 0.6 : 1}));
      if (w > 40) bar.append(svg("text", {x: left + 3, y: top + 12, "font-size": 11, fill: "#fff", "pointer-events": "none"},
        (s.name + " " + usText(s.dur)).slice(0, Math.floor(w / 6.5))));
      bar.addEventListener("click", () => drawTimeline(box, tracks, s.ts, s.ts + Math.max(s.dur, 1)));
      g.append(bar);
    }
    y += t.depth * row + 8;
    parts.push(g, svg("line", {x1: 0, x2: width, y1: y - 4, y2: y - 4, stroke: "#d8dbe2"}));
  }
  box.textContent = "";
  box.append(svg("svg", {width, height: y, class: "trace-svg", "font-family": "system-ui, sans-serif"}, ...parts));
}

// A section with the timeline of `trace`, or null when it holds no span.
function traceTimeline(trace) {
  const events = (trace && trace.traceEvents) || [];
  const tracks = traceTracks(events);
  if (!tracks.length) return null;
  const spans = tracks.flatMap((t) => t.spans);
  const box = el("div", {id: "trace-chart"});
  box.fullFrom = Math.min(...spans.map((s) => s.ts));
  box.fullTo = Math.max(...spans.map((s) => s.ts + s.dur));
  const section = el("section", {id: "trace-timeline"}, el("h2", {}, "Timeline"),
    el("p", {class: "summary"}, "Spans as they ran (what --trace writes for ui.perfetto.dev); pale bars were placed from a logged cost or the plugin's order. Hover for details, click a span to zoom in, the time axis to zoom out."),
    box);
  drawTimeline(box, tracks, box.fullFrom, box.fullTo);
  return section;
}
