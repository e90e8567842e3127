# Turns the page's CSS and script into C++ string constants (PageAssets.h), so that korasim
# writes self-contained pages without looking for files at run time.
# Usage: cmake -DCSS=... -DJS=... -DOUT=... -P embed.cmake
file(READ ${CSS} css)
file(READ ${JS} js)
file(WRITE ${OUT}.tmp
  "// Generated from korasim/report/page.css and page.js by embed.cmake.\n#pragma once\n"
  "namespace korasim::html {\n"
  "inline const char* const kPageCss = R\"korasim_page(${css})korasim_page\";\n"
  "inline const char* const kPageJs = R\"korasim_page(${js})korasim_page\";\n"
  "}  // namespace korasim::html\n")
file(RENAME ${OUT}.tmp ${OUT})
