# Settings of every target of the project: language level, warnings, sanitizers, output folder.
add_library(gravimon_options INTERFACE)
target_compile_features(gravimon_options INTERFACE cxx_std_17)
target_compile_options(gravimon_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                       $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
                       $<$<BOOL:${GRAVIMON_WERROR}>:-Werror>)
if(CMAKE_UNITY_BUILD)
  # What is private to a source is known to those after it in a group, and not in the main file.
  target_compile_options(gravimon_options INTERFACE -Wno-shadow
                         $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)
endif()
if(GRAVIMON_SANITIZE)
  target_compile_options(gravimon_options INTERFACE -fsanitize=${GRAVIMON_SANITIZE}
                         -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(gravimon_options INTERFACE -fsanitize=${GRAVIMON_SANITIZE})
endif()

# lld links a program in a quarter of the time. The programs for users are linked by the compiler's own linker; those
# with a sanitizer are not for users.
include(CheckLinkerFlag)
check_linker_flag(CXX -fuse-ld=lld GRAVIMON_LLD)
add_library(gravimon_fast_link INTERFACE)
if(GRAVIMON_LLD)
  target_link_options(gravimon_fast_link INTERFACE -fuse-ld=lld)
  if(GRAVIMON_SANITIZE)
    target_link_libraries(gravimon_options INTERFACE gravimon_fast_link)
  endif()
endif()

include(GravimonHardening)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

# gravimon_add_library(<folder> SOURCES ... [PUBLIC ...] [PRIVATE ...])
# The library of src/<folder>: target gravimon_<folder>, known to others as gravimon::<folder>.
# Its headers are included as "<folder>/Name.h".
function(gravimon_add_library folder)
  cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(gravimon_${folder} STATIC ${arg_SOURCES})
  add_library(gravimon::${folder} ALIAS gravimon_${folder})
  set_target_properties(gravimon_${folder} PROPERTIES AUTOMOC ON AUTOUIC ON)
  target_include_directories(gravimon_${folder} PUBLIC "${PROJECT_SOURCE_DIR}/src")
  target_link_libraries(gravimon_${folder} PUBLIC ${arg_PUBLIC} PRIVATE gravimon_options gravimon_hardening ${arg_PRIVATE})
endfunction()
