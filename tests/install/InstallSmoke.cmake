# cmake -DBUILD_DIR=... -DPREFIX=... -DBINDIR=... -DLIBDIR=... [-DREADELF=...] -P InstallSmoke.cmake
# Installs BUILD_DIR into PREFIX (emptied first), then runs PREFIX/BINDIR/korasim on the session
# "{}" and checks that the plugin came from PREFIX/LIBDIR and the host libraries from their own
# folder PREFIX/LIBDIR/sdsr; then runs the installed `korasim demo` from another directory.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install: cmake --install failed (${rc})")
endif()

set(korasim ${PREFIX}/${BINDIR}/korasim)
set(libdir ${PREFIX}/${LIBDIR})
set(hostlibs ${libdir}/sdsr)
foreach(file ${korasim} ${libdir}/com.orvane.plugin.sdsr.so ${hostlibs}/libkora_framework.so
    ${hostlibs}/libsdsr_algo_reference.so ${hostlibs}/libsdsr_algo_scripted.so
    ${hostlibs}/libmetahelper_double.so ${PREFIX}/share/doc/sdsr_plugin/README.md)
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "install: ${file} is missing")
  endif()
endforeach()
# Only the plugin goes straight into the library directory.
file(GLOB straight LIST_DIRECTORIES false ${libdir}/*.so)
if(NOT straight STREQUAL "${libdir}/com.orvane.plugin.sdsr.so")
  message(FATAL_ERROR "install: the library directory holds more than the plugin: ${straight}")
endif()

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
string(JSON hostLibraries GET ${report} libraryDir)
string(JSON loaded GET ${report} load ok)
string(JSON outcome GET ${report} steps 3 path)
file(REAL_PATH ${libdir}/com.orvane.plugin.sdsr.so expected)
file(REAL_PATH ${hostlibs} expectedHostLibraries)
if(NOT plugin STREQUAL expected OR NOT hostLibraries STREQUAL expectedHostLibraries OR NOT loaded
    OR NOT outcome STREQUAL "processed")
  message(FATAL_ERROR "install: expected ${expected} loaded from ${expectedHostLibraries} and "
    "the request processed, the report says plugin ${plugin}, libraries ${hostLibraries}, "
    "loaded ${loaded}, path ${outcome}")
endif()

# The demo, from a directory that is neither the prefix nor the build tree.
set(elsewhere ${PREFIX}/../elsewhere)
file(REMOVE_RECURSE ${elsewhere})
file(MAKE_DIRECTORY ${elsewhere})
execute_process(COMMAND ${korasim} demo --no-html --out demo WORKING_DIRECTORY ${elsewhere}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
message("${out}")
if(NOT rc EQUAL 0 OR NOT EXISTS ${elsewhere}/demo/overview.png)
  message(FATAL_ERROR "install: the installed korasim demo failed (${rc})")
endif()
file(REMOVE_RECURSE ${elsewhere})
