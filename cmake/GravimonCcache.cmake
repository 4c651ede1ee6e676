# Compiles through ccache where it is installed and no launcher is set. Paths are hashed relative to the project, so
# that another checkout finds the same objects; they keep the folder of the checkout that compiled them first in their
# debug information. What a source depends on comes from the compiler (CCACHE_DEPEND), so that no source is preprocessed
# before it is compiled.
# The compiler takes a precompiled header only in the folder that made it: GRAVIMON_TEST_PCH=AUTO uses none with ccache,
# and ON compiles the tests without ccache, which is faster as long as ccache has no objects.
find_program(GRAVIMON_CCACHE ccache)
mark_as_advanced(GRAVIMON_CCACHE)
if(GRAVIMON_TEST_PCH STREQUAL "AUTO")
  set(GRAVIMON_TEST_PCH ON)
  if(GRAVIMON_CCACHE)
    set(GRAVIMON_TEST_PCH OFF)
  endif()
endif()
if(GRAVIMON_CCACHE)
  # Qt Test's build folder is part of each test's command; no test looks for data below it.
  set(launcher "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1
      "CCACHE_IGNOREOPTIONS=-DQT_TESTCASE_BUILDDIR*"
      "${GRAVIMON_CCACHE}")
  foreach(language C CXX)
    if(NOT CMAKE_${language}_COMPILER_LAUNCHER)
      set(CMAKE_${language}_COMPILER_LAUNCHER "${launcher}")
    endif()
  endforeach()
endif()
