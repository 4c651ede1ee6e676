# gravimon_add_test(<tst_name> SOURCES ... LIBRARIES ... [DISPLAY] [LABELS ...] [TIMEOUT seconds])
# A Qt Test program. DISPLAY gives it an X server of its own. Each run gets a fresh home, settings
# store, runtime and state folder (tests/support/run-test).
function(gravimon_add_test name)
  cmake_parse_arguments(arg "DISPLAY" "TIMEOUT" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} Qt5::Test gravimon_options)
  if(TARGET gravimon_tsan_qt)
    target_link_libraries(${name} PRIVATE gravimon_tsan_qt)
  endif()
  if(TARGET gravimon_kept_libraries)
    target_link_libraries(${name} PRIVATE gravimon_kept_libraries)
  endif()
  set(wrapper "${PROJECT_SOURCE_DIR}/tests/support/run-test")
  if(arg_DISPLAY)
    list(APPEND wrapper --display)
  endif()
  add_test(NAME ${name} COMMAND ${wrapper} $<TARGET_FILE:${name}>)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  # A sanitizer is slow; the emulator of another architecture (tools/cross-arm64) is slower still.
  if(CMAKE_CROSSCOMPILING)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 8")
  elseif(GRAVIMON_SANITIZE)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 4")
  endif()
  # An unexpected Qt warning fails the test, and so does a program without a test of its own
  # (Qt Test counts initTestCase and cleanupTestCase as passed).
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}"
    ENVIRONMENT "${arg_ENVIRONMENT}"
    FAIL_REGULAR_EXPRESSION "QWARN  :;QCRITICAL:;Totals: [012] passed, 0 failed")
endfunction()
