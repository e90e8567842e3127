# Turns the page's CSS and scripts into C++ string constants (PageAssets.h), so that korasim
# writes self-contained pages without looking for files at run time. The scripts are joined in
# the order given: later files use what earlier ones define.
# Usage: cmake -DCSS=... "-DJS=a.js;b.js" -DOUT=... -P embed.cmake
file(READ ${CSS} css)
set(js "")
foreach(part IN LISTS JS)
  file(READ ${part} text)
  string(APPEND js "${text}\n")
endforeach()
file(WRITE ${OUT}.tmp
  "// Generated from korasim/report/page.css and page/*.js by embed.cmake.\n#pragma once\n"
  "namespace korasim::html {\n"
  "inline const char* const kPageCss = R\"korasim_page(${css})korasim_page\";\n"
  "inline const char* const kPageJs = R\"korasim_page(${js})korasim_page\";\n"
  "}  // namespace korasim::html\n")
file(RENAME ${OUT}.tmp ${OUT})
