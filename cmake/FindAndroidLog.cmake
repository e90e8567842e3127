# Android's log library (AOSP liblog) as Debian ships it: android-liblog-dev puts the headers
# under /usr/include/android (<android/log.h>, <log/logprint.h>) and the library under
# /usr/lib/<multiarch triplet>/android, outside the linker's default paths. Cross builds look in
# the target's triplet (android-liblog:arm64 for aarch64-linux-gnu); both folders lie outside the
# cross toolchain's root, so the search ignores it.
#
# Defines the imported target AndroidLog::log; programs that link it find liblog.so.0 through
# their rpath (AndroidLog_LIBRARY_DIR names the folder for install rpaths).
set(_android_log_triplet ${CMAKE_LIBRARY_ARCHITECTURE})
if(NOT _android_log_triplet AND CMAKE_CXX_LIBRARY_ARCHITECTURE)
  set(_android_log_triplet ${CMAKE_CXX_LIBRARY_ARCHITECTURE})
endif()
# Cross compilers whose implicit folders name no triplet: the compiler's own machine.
if(NOT _android_log_triplet)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine
    OUTPUT_VARIABLE _android_log_triplet OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()

find_path(AndroidLog_INCLUDE_DIR
  NAMES android/log.h log/logprint.h
  PATHS /usr/include/android
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_library(AndroidLog_LIBRARY
  NAMES log
  PATHS /usr/lib/${_android_log_triplet}/android
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidLog
  REQUIRED_VARS AndroidLog_LIBRARY AndroidLog_INCLUDE_DIR
  REASON_FAILURE_MESSAGE
    "install android-liblog-dev (for a cross build: android-liblog-dev:<arch>, which scripts/install-deps.sh installs)")

if(AndroidLog_FOUND AND NOT TARGET AndroidLog::log)
  get_filename_component(AndroidLog_LIBRARY_DIR ${AndroidLog_LIBRARY} DIRECTORY)
  add_library(AndroidLog::log SHARED IMPORTED)
  set_target_properties(AndroidLog::log PROPERTIES
    IMPORTED_LOCATION ${AndroidLog_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${AndroidLog_INCLUDE_DIR})
endif()
mark_as_advanced(AndroidLog_INCLUDE_DIR AndroidLog_LIBRARY)
