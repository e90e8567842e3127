// The processRequest step: path, costs, the Init record, EXIF, fault reports, debug record and
// the before/after viewer.
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
// Each fault report by the call it follows and its code ("Init 0, Run -5"), as the step line says.
function faultWords(dfx) {
  if (!dfx || !dfx.length) return "none";
  return dfx.map((d) => `${d.after || "?"} ${d.code}` + (d.module === 7 ? "" : ` (module ${d.module})`)).join(", ");
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
// `names` label the two pictures (a replay's page compares two outputs).
function viewer(pic, names = ["input", "output"]) {
  const [fw, fh] = pic.frame, [cx, cy, cw, ch] = pic.crop;
  const before = el("img", {class: "before", src: pic.inputPreview, alt: names[0], "data-picture": "inputPreview"});
  const after = el("img", {class: "after", src: pic.outputPreview, alt: names[1], "data-picture": "outputPreview"});
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
    el("figure", {}, frame, el("figcaption", {}, `${names[0]} | ${names[1]} — `, slider, ` whole frame ${fw}x${fh}, preview 1:${pic.scale}`)),
    el("figure", {}, el("div", {class: "crops"},
      el("figure", {}, el("div", {class: "crop"}, crops[0]), el("figcaption", {}, names[0] + " 1:1")),
      el("figure", {}, el("div", {class: "crop"}, crops[1]), el("figcaption", {}, names[1] + " 1:1"))), at));
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
    ["fault reports", faultWords(step.dfx)],
    ["boost", (step.perfLock || []).map((p) => p.event + (p.durationMs ? " " + p.durationMs + " ms" : "")).join(", ") || "none"],
    ["dumps", (step.dumps || []).map((d) => `${d.device} (${d.bytes} bytes)`).join(", ") || "none"]]));
  if (step.debugRecord) parts.push(el("h3", {}, "Debug record (768 bytes)"), debugRecordBlock(step.debugRecord));
  if (pictures) parts.push(el("h3", {}, "Before and after"), viewer(pictures));
  return parts;
}
