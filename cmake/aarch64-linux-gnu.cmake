# Cross build for the device's architecture (ARM64) with Debian's g++-aarch64-linux-gnu.
# Test executables run under qemu-aarch64 through the emulator setting, so ctest works as on the
# host. Android's liblog is the arm64 one of Debian's multiarch (cmake/FindAndroidLog.cmake). korasim is not built (its image libraries are host-only packages).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The programs run on Debian's arm64 multiarch runtime (/lib/ld-linux-aarch64.so.1 and
# /usr/lib/aarch64-linux-gnu, which android-liblog:arm64 brings and is built against). The cross
# toolchain's own copy under /usr/aarch64-linux-gnu must not serve as the prefix: its loader would
# pick the multiarch libc from the shared ld.so.cache, a different build, and fork() would hang.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /)
set(SDSR_BUILD_KORASIM OFF CACHE BOOL "korasim needs host-only image libraries" FORCE)
