// A replay against the device's own output dump: the figures, the verdict of --min-psnr, the
// difference amplified 8 times, and the slider between the device's and the replay's output;
// and the page of `replay DIR`, a row and a section per dump.
function comparisonText(c) {
  if (c.identical) return "identical";
  const bytes = `${c.differingBytes} of ${c.bytes} bytes differ`;
  return typeof c.psnr === "number" ? `PSNR ${c.psnr.toFixed(2)} dB, ${bytes}` : "sizes differ, " + bytes;
}
function gateBadge(c) {
  if (typeof c.minPsnr !== "number") return null;
  return el("span", {class: "badge gate " + (c.belowMinPsnr ? "bad" : "good"), "data-gate": c.belowMinPsnr ? "below" : "passed"},
    c.belowMinPsnr ? `below --min-psnr ${c.minPsnr} dB` : `passes --min-psnr ${c.minPsnr} dB`);
}
function differencePictures(pics) {
  const figure = (src, name, caption) => src && el("figure", {},
    el("img", {src: src, alt: caption, "data-picture": name, class: "difference"}), el("figcaption", {}, caption));
  const [cx, cy, cw, ch] = pics.crop;
  return el("div", {class: "differences"},
    figure(pics.differencePreview, "differencePreview", `|replay − device| × 8, whole frame, preview 1:${pics.scale}`),
    figure(pics.differenceCrop, "differenceCrop", `|replay − device| × 8, full resolution at (${cx}, ${cy}) ${cw}x${ch}, where they differ most`));
}
function comparisonBlock(c, pics) {
  const share = c.bytes ? ` (${(100 * c.differingBytes / c.bytes).toFixed(3)} %)` : "";
  const parts = [kvTable([
    ["device output", c.file],
    ["PSNR", c.identical ? "infinite (identical)" : typeof c.psnr === "number" ? c.psnr.toFixed(2) + " dB" : "none (sizes differ)"],
    ["differing bytes", `${c.differingBytes} of ${c.bytes}${share}`],
    typeof c.minPsnr === "number" && ["gate", gateBadge(c)]], "comparison")];
  if (pics) {
    parts.push(el("h3", {}, "Difference"), differencePictures(pics),
      el("h3", {}, "Device output and replay output"), viewer(pics, ["device output", "replay output"]));
  } else {
    parts.push(el("p", {}, "No pictures: the device's output dump and the replay's output differ in size."));
  }
  return el("div", {class: "comparison", "data-identical": String(c.identical)}, parts);
}
// The run page's section on the comparison, when the replay made one.
function comparisonSections(data) {
  const c = data.report && data.report.compare;
  if (!c) return [];
  return [el("section", {id: "comparison"}, el("h2", {}, "Against the device's output ", el("span", {class: "summary"}, comparisonText(c))),
    comparisonBlock(c, data.comparisonPictures))];
}

function replayFolderPage(data, app) {
  const f = data.folder || {}, rows = f.dumps || [], replays = data.replays || [];
  const below = rows.filter((r) => r.belowMinPsnr).length;
  const verdict = (r) => (r.exitCode !== 0 ? el("span", {class: "badge bad"}, "error, exit " + r.exitCode)
    : r.compare ? [comparisonText(r.compare), " ", gateBadge(r.compare)] : "no output dump beside it");
  app.append(el("section", {id: "header"}, el("h1", {}, "korasim replay " + f.folder),
    kvTable([["folder", f.folder], ["dumps", rows.length],
      ["--min-psnr", typeof f.minPsnr === "number" ? `${f.minPsnr} dB: ${below} of ${rows.length} below` : "not set"]]),
    el("table", {class: "replays"}, el("tr", {}, ["#", "dump", "path", "run", "against the device's output"].map((h) => el("th", {}, h))),
      rows.map((r, i) => el("tr", {class: "replay-row", "data-gate": r.belowMinPsnr ? "below" : "passed"},
        el("td", {}, el("a", {href: "#replay-" + (i + 1)}, i + 1)), el("td", {class: "mono"}, r.dump), el("td", {}, r.path || ""),
        el("td", {class: "mono"}, ms(r.runMs)), el("td", {}, verdict(r)))))));
  rows.forEach((r, i) => {
    const d = replays[i] || {}, body = [el("h2", {}, `[${i + 1}] ${r.dump}`)];
    if (r.exitCode !== 0) body.push(el("p", {class: "bad"}, r.error));
    else if (r.compare) body.push(comparisonBlock(r.compare, d.comparisonPictures));
    else body.push(el("p", {}, "No output dump beside it: nothing to compare with."));
    const step = ((d.report || {}).steps || []).find((s) => s.do === "processRequest" && !s.skipped);
    const pic = step && (d.pictures || {})[step.index];
    if (pic) body.push(el("h3", {}, "Input and replay output, path " + step.path), viewer(pic, ["input", "replay output"]));
    app.append(el("section", {class: "replay", id: "replay-" + (i + 1)}, body));
  });
}
