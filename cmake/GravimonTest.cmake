# Reading Qt's headers takes longer than all the rest of compiling a test: a precompiled header reads them once. Without
# it a missing include is noticed.
if(NOT DEFINED GRAVIMON_TEST_PCH)
  set(GRAVIMON_TEST_PCH OFF CACHE STRING
      "Compile the tests with precompiled headers of Qt and the standard library: ON, OFF, or AUTO: without ccache")
endif()

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

# gravimon_starts_threads(<variable> <target>): whether the target's sources, or those of anything of the project that
# it links, name what starts a thread.
function(gravimon_starts_threads variable target)
  set(starters "std::(thread|async)|QThread|SideThread|QtConcurrent|QRunnable|pthread_create")
  set(next ${target})
  set(seen gravimon_tsan_qt) # only watches
  set(found)
  while(NOT found AND NOT "${next}" STREQUAL "")
    list(POP_FRONT next item)
    string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" item "${item}")
    if(NOT TARGET "${item}" OR item IN_LIST seen)
      continue()
    endif()
    list(APPEND seen "${item}")
    get_target_property(aliased ${item} ALIASED_TARGET)
    get_target_property(imported ${item} IMPORTED)
    if(aliased)
      list(APPEND next ${aliased})
    elseif(NOT imported)
      foreach(property LINK_LIBRARIES INTERFACE_LINK_LIBRARIES)
        get_target_property(libraries ${item} ${property})
        if(libraries)
          list(APPEND next ${libraries})
        endif()
      endforeach()
      get_target_property(sources ${item} SOURCES)
      get_target_property(folder ${item} SOURCE_DIR)
      foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${folder}")
        if(EXISTS "${source}" AND NOT found) # generated ones do not
          file(STRINGS "${source}" found REGEX "${starters}")
        endif()
      endforeach()
    endif()
  endwhile()
  if(found)
    set(${variable} TRUE PARENT_SCOPE)
  else()
    set(${variable} FALSE PARENT_SCOPE)
  endif()
endfunction()

# How long a test waits at most; the first header of each.
set(gravimon_patience "${PROJECT_SOURCE_DIR}/tests/support/patience.h")

# One set for tests without windows, one for those with: Qt Test's own header asks which it is.
if(GRAVIMON_TEST_PCH)
  foreach(set core widgets)
    file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/gravimon_test_pch_${set}.cpp" CONTENT "")
    add_library(gravimon_test_pch_${set} OBJECT "${PROJECT_BINARY_DIR}/gravimon_test_pch_${set}.cpp")
    set_target_properties(gravimon_test_pch_${set} PROPERTIES CXX_COMPILER_LAUNCHER "")
    target_link_libraries(gravimon_test_pch_${set} PRIVATE Qt5::Test gravimon_options)
    target_precompile_headers(gravimon_test_pch_${set} PRIVATE
      <QtCore> <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <functional>
      <limits> <memory> <mutex> <optional> <string> <thread> <vector>)
  endforeach()
  target_precompile_headers(gravimon_test_pch_core PRIVATE <QtTest> "${gravimon_patience}")
  target_link_libraries(gravimon_test_pch_widgets PRIVATE Qt5::Widgets)
  target_precompile_headers(gravimon_test_pch_widgets PRIVATE <QtWidgets> <QtTest> "${gravimon_patience}")
endif()

# gravimon_moc_tests(<target> <source>...): each tst_<name>.cpp finds its own tst_<name>.moc. AUTOMOC would start CMake
# for each target, and compile an empty file with all of Qt Test's headers.
function(gravimon_moc_tests target)
  file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/${target}_moc") # moc makes none
  foreach(source IN LISTS ARGN)
    if(source MATCHES "^tst_.*[.]cpp$")
      string(REGEX REPLACE "[.]cpp$" ".moc" moc "${CMAKE_CURRENT_BINARY_DIR}/${target}_moc/${source}")
      add_custom_command(OUTPUT "${moc}"
        COMMAND Qt5::moc -o "${moc}" "${CMAKE_CURRENT_SOURCE_DIR}/${source}"
        DEPENDS "${source}" VERBATIM)
      target_sources(${target} PRIVATE "${moc}")
    endif()
  endforeach()
  target_include_directories(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${target}_moc")
endfunction()

# An unexpected Qt warning or critical message fails the test, and so does a program without a test of its own
# (Qt Test counts initTestCase and cleanupTestCase as passed).
set(gravimon_failing_output "QWARN  :" "QSYSTEM:" "Totals: [012] passed, 0 failed")

# The programs of all tests within the process, without those for users and for looking at: what ./test builds with a
# sanitizer.
add_custom_target(gravimon_tests)

# gravimon_add_test(<tst_name> SOURCES ... LIBRARIES ... [DISPLAY] [THREADS|ONE_THREAD] [LABELS ...] [TIMEOUT seconds])
# A Qt Test program. DISPLAY gives it an X server of its own. Each run gets a fresh home, settings
# store, runtime and state folder (tests/support/run-test). With ThreadSanitizer only tests that can start a thread are
# built and run; THREADS: in a program of their own. ONE_THREAD: the test starts no thread although what it links could;
# in the builds without a sanitizer it ends with a failure if it starts one.
function(gravimon_add_test name)
  cmake_parse_arguments(arg "DISPLAY;THREADS;ONE_THREAD" "TIMEOUT" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  gravimon_moc_tests(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} Qt5::Test gravimon_fast_link gravimon_options)
  if(TARGET gravimon_tsan_qt)
    target_link_libraries(${name} PRIVATE gravimon_tsan_qt)
  endif()
  if(TARGET gravimon_kept_libraries)
    target_link_libraries(${name} PRIVATE gravimon_kept_libraries)
  endif()
  if(arg_ONE_THREAD AND NOT GRAVIMON_SANITIZE)
    target_link_libraries(${name} PRIVATE gravimon_one_thread)
  endif()
  set(has_pch FALSE)
  if(GRAVIMON_TEST_PCH)
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
  if(has_pch)
    set_target_properties(${name} PROPERTIES CXX_COMPILER_LAUNCHER "")
  else()
    target_compile_options(${name} PRIVATE "SHELL:-include \"${gravimon_patience}\"")
  endif()
  if(GRAVIMON_SANITIZE MATCHES "thread")
    gravimon_starts_threads(has_threads ${name})
    if((arg_ONE_THREAD OR NOT has_threads) AND NOT arg_THREADS)
      set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
      return()
    endif()
  endif()
  add_dependencies(gravimon_tests ${name})
  set(wrapper "${PROJECT_SOURCE_DIR}/tests/support/run-test")
  if(arg_DISPLAY)
    list(APPEND wrapper --display)
  endif()
  add_test(NAME ${name} COMMAND ${wrapper} $<TARGET_FILE:${name}>)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  # Three times as long on a slow machine that does something else beside. A sanitizer is slow, and so is the emulator
  # of another architecture (tools/cross-arm64).
  if(CMAKE_CROSSCOMPILING OR GRAVIMON_SANITIZE)
    math(EXPR limit "${arg_TIMEOUT} * 10")
  else()
    math(EXPR limit "${arg_TIMEOUT} * 3")
  endif()
  # CTest starts the tests with the longest time-out first.
  set_tests_properties(${name} PROPERTIES TIMEOUT ${limit} COST ${arg_TIMEOUT} LABELS "${arg_LABELS}"
    ENVIRONMENT "${arg_ENVIRONMENT}"
    FAIL_REGULAR_EXPRESSION "${gravimon_failing_output}")
endfunction()
