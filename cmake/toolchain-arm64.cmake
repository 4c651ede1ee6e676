# Cross-building for arm64 with Debian's cross compiler against an arm64 root (tools/cross-arm64
# creates both): cmake --toolchain cmake/toolchain-arm64.cmake -DGRAVIMON_ARM64_ROOT=<root>
if(NOT GRAVIMON_ARM64_ROOT)
  message(FATAL_ERROR "toolchain-arm64: GRAVIMON_ARM64_ROOT names the folder with the arm64 packages.")
endif()
# The compiler checks are separate projects and need the root as well.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES GRAVIMON_ARM64_ROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_SYSROOT "${GRAVIMON_ARM64_ROOT}")

# Headers, libraries and packages from the root, tools (python3, pkg-config) from this machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${GRAVIMON_ARM64_ROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${GRAVIMON_ARM64_ROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${GRAVIMON_ARM64_ROOT}/usr/share/pkgconfig")
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
