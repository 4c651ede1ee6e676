# Writes the source file with the version: cmake -DSOURCE=... -DFALLBACK=... -DTARGET=... -P write-version.cmake
cmake_minimum_required(VERSION 3.22)
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/GravimonDescribe.cmake")
gravimon_describe(version "${SOURCE}" "${FALLBACK}")
# An unchanged file is not written, so that nothing is linked again.
file(CONFIGURE OUTPUT "${TARGET}" @ONLY
     CONTENT "#include \"version/gravimon_version.h\"\n\nconst char* const gravimonVersion = \"@version@\";\n")
