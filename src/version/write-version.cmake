# Writes the source file with the version: cmake -DSOURCE=... -DFALLBACK=... -DTARGET=... -P write-version.cmake
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/GravimonDescribe.cmake")
gravimon_describe(version "${SOURCE}" "${FALLBACK}")
file(WRITE "${TARGET}" "#include \"gravimon_version.h\"\n\nconst char* const gravimonVersion = \"${version}\";\n")
