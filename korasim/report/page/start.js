// Renders the page from the JSON in #korasim-data and checks that every picture decoded.
(function start() {
  const status = document.getElementById("page-status");
  status.dataset.errors = "0";
  try {
    const data = JSON.parse(document.getElementById("korasim-data").textContent);
    const app = document.getElementById("app");
    app.textContent = "";
    if (data.kind === "explain") explainPage(data, app);
    else if (data.kind === "replayFolder") replayFolderPage(data, app);
    else runPage(data, app);
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
