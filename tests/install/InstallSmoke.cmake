# cmake -DBUILD_DIR=... -DPREFIX=... -DBINDIR=... -DLIBDIR=... [-DREADELF=...] -P InstallSmoke.cmake
# Installs BUILD_DIR into PREFIX (emptied first), then runs PREFIX/BINDIR/korasim on the session
# "{}" and checks that the plugin and libraries it used came from PREFIX/LIBDIR.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install: cmake --install failed (${rc})")
endif()

set(korasim ${PREFIX}/${BINDIR}/korasim)
set(libdir ${PREFIX}/${LIBDIR})
foreach(file ${korasim} ${libdir}/com.orvane.plugin.sdsr.so ${libdir}/libkora_framework.so
    ${libdir}/libsdsr_algo_reference.so ${libdir}/libsdsr_algo_scripted.so
    ${libdir}/libmetahelper_double.so ${PREFIX}/share/doc/sdsr_plugin/README.md)
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "install: ${file} is missing")
  endif()
endforeach()

# The installed programs must not point back into the build tree.
if(READELF)
  execute_process(COMMAND ${READELF} -d ${korasim} OUTPUT_VARIABLE dynamic)
  if(dynamic MATCHES "${BUILD_DIR}")
    message(FATAL_ERROR "install: korasim's run path names the build tree:\n${dynamic}")
  endif()
endif()

file(WRITE ${PREFIX}/session.json "{}")
execute_process(COMMAND ${korasim} run ${PREFIX}/session.json --report ${PREFIX}/report.json
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
message("${out}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install: the installed korasim failed (${rc})")
endif()
file(READ ${PREFIX}/report.json report)
string(JSON plugin GET ${report} plugin)
string(JSON loaded GET ${report} load ok)
string(JSON outcome GET ${report} steps 3 path)
file(REAL_PATH ${libdir}/com.orvane.plugin.sdsr.so expected)
if(NOT plugin STREQUAL expected OR NOT loaded OR NOT outcome STREQUAL "processed")
  message(FATAL_ERROR "install: expected ${expected} loaded and the request processed, the "
    "report says plugin ${plugin}, loaded ${loaded}, path ${outcome}")
endif()
