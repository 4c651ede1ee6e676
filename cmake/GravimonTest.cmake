# Reading Qt's headers takes longer than all the rest of compiling a test. The sanitizer presets read them once;
# the other builds read them file by file, and so notice a missing include.
option(GRAVIMON_TEST_PCH "Compile the tests with precompiled headers of Qt and the standard library" OFF)

# gravimon_reaches(<variable> <target> <wanted>): whether linking the target links the wanted one.
function(gravimon_reaches variable target wanted)
  get_target_property(next ${target} LINK_LIBRARIES)
  set(seen)
  set(reached FALSE)
  while(NOT reached AND NOT "${next}" STREQUAL "")
    list(POP_FRONT next item)
    if(item STREQUAL wanted)
      set(reached TRUE)
    elseif(TARGET "${item}" AND NOT item IN_LIST seen)
      list(APPEND seen ${item})
      get_target_property(libraries ${item} INTERFACE_LINK_LIBRARIES)
      if(libraries)
        list(APPEND next ${libraries})
      endif()
    endif()
  endwhile()
  set(${variable} ${reached} PARENT_SCOPE)
endfunction()

# How long a test waits at most; the first header of each.
set(gravimon_patience "${PROJECT_SOURCE_DIR}/tests/support/patience.h")

# One set for tests without windows, one for those with: Qt Test's own header asks which it is.
if(GRAVIMON_TEST_PCH)
  foreach(set core widgets)
    file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/gravimon_test_pch_${set}.cpp" CONTENT "")
    add_library(gravimon_test_pch_${set} OBJECT "${PROJECT_BINARY_DIR}/gravimon_test_pch_${set}.cpp")
    target_link_libraries(gravimon_test_pch_${set} PRIVATE Qt5::Test gravimon_options)
    target_precompile_headers(gravimon_test_pch_${set} PRIVATE
      <QtCore> <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <functional>
      <limits> <memory> <mutex> <optional> <string> <thread> <vector>)
  endforeach()
  target_precompile_headers(gravimon_test_pch_core PRIVATE <QtTest> "${gravimon_patience}")
  target_link_libraries(gravimon_test_pch_widgets PRIVATE Qt5::Widgets)
  target_precompile_headers(gravimon_test_pch_widgets PRIVATE <QtWidgets> <QtTest> "${gravimon_patience}")
endif()

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
  set(has_pch FALSE)
  if(GRAVIMON_TEST_PCH)
    # Nothing is in it as a rule: a test includes its own.
    set_source_files_properties("${CMAKE_CURRENT_BINARY_DIR}/${name}_autogen/mocs_compilation.cpp"
                                PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
    gravimon_reaches(has_widgets ${name} Qt5::Widgets)
    gravimon_reaches(has_gui ${name} Qt5::Gui)
    if(has_widgets)
      target_precompile_headers(${name} REUSE_FROM gravimon_test_pch_widgets)
      set(has_pch TRUE)
    elseif(NOT has_gui)
      target_precompile_headers(${name} REUSE_FROM gravimon_test_pch_core)
      set(has_pch TRUE)
    endif()
  endif()
  if(NOT has_pch)
    target_compile_options(${name} PRIVATE "SHELL:-include ${gravimon_patience}")
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
