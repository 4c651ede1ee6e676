# gravimon::om_tiv: the camera library, the project's stand-in or the vendor's own.
if(GRAVIMON_CAMERA_LIBRARY STREQUAL "standin")
  add_subdirectory("${PROJECT_SOURCE_DIR}/om_tiv")
elseif(GRAVIMON_CAMERA_LIBRARY STREQUAL "vendor")
  # The library's header is the first one that this file includes.
  set(header "${PROJECT_SOURCE_DIR}/src/camera/camera_library.h")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${header}")
  file(STRINGS "${header}" om_tiv_header REGEX "^#include <")
  list(GET om_tiv_header 0 om_tiv_header)
  string(REGEX REPLACE "^#include <(.*)>.*" "\\1" om_tiv_header "${om_tiv_header}")
  # Without a cached result, another OM_TIV_ROOT counts in the same build folder too.
  find_path(camera_include "${om_tiv_header}" HINTS "${OM_TIV_ROOT}/include" NO_CACHE NO_DEFAULT_PATH)
  find_library(camera_library om_tiv HINTS "${OM_TIV_ROOT}/lib" "${OM_TIV_ROOT}/lib64" NO_CACHE NO_DEFAULT_PATH)
  if(NOT camera_include OR NOT camera_library)
    message(FATAL_ERROR "GRAVIMON_CAMERA_LIBRARY=vendor: no include/${om_tiv_header} and lib/libom_tiv "
            "below OM_TIV_ROOT='${OM_TIV_ROOT}'.")
  endif()
  add_library(gravimon_om_tiv INTERFACE)
  target_include_directories(gravimon_om_tiv SYSTEM INTERFACE "${camera_include}")
  target_link_libraries(gravimon_om_tiv INTERFACE "${camera_library}" gravimon::cuda)
  add_library(gravimon::om_tiv ALIAS gravimon_om_tiv)
else()
  message(FATAL_ERROR "GRAVIMON_CAMERA_LIBRARY='${GRAVIMON_CAMERA_LIBRARY}': 'standin' or 'vendor'.")
endif()
