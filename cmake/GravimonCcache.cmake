# Compiles through ccache where it is installed and no launcher is set. Paths are hashed relative to the project, so
# that another checkout finds the same objects; they keep the folder of the checkout that compiled them first in their
# debug information. Precompiled headers are not used then: the compiler takes one only in the folder that made it.
find_program(GRAVIMON_CCACHE ccache)
mark_as_advanced(GRAVIMON_CCACHE)
if(GRAVIMON_CCACHE)
  set(GRAVIMON_TEST_PCH OFF)
  # Qt Test's build folder is part of each test's command; no test looks for data below it.
  set(launcher "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1
      "CCACHE_IGNOREOPTIONS=-DQT_TESTCASE_BUILDDIR*"
      "${GRAVIMON_CCACHE}")
  foreach(language C CXX)
    if(NOT CMAKE_${language}_COMPILER_LAUNCHER)
      set(CMAKE_${language}_COMPILER_LAUNCHER "${launcher}")
    endif()
  endforeach()
endif()
