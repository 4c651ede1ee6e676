# gravimon_use_form(<target> <form.ui>...)
# Runs uic on forms of src/look/forms for the target. The target and the targets that link it include
# the header as "ui_<form>.h". A form names widget classes of the libraries above look, so each library
# that shows a form generates the header itself.
function(gravimon_use_form target)
  set(headers_dir "${CMAKE_CURRENT_BINARY_DIR}/forms")
  file(MAKE_DIRECTORY "${headers_dir}")
  foreach(form IN LISTS ARGN)
    set(ui "${PROJECT_SOURCE_DIR}/src/look/forms/${form}")
    if(NOT EXISTS "${ui}")
      message(FATAL_ERROR "gravimon_use_form(${target} ${form}): no such form in src/look/forms.")
    endif()
    get_filename_component(name "${form}" NAME_WE)
    set(header "${headers_dir}/ui_${name}.h")
    add_custom_command(OUTPUT "${header}" COMMAND Qt5::uic -o "${header}" "${ui}"
                       DEPENDS "${ui}" COMMENT "uic ${form}" VERBATIM)
    target_sources(${target} PRIVATE "${header}")
    set_source_files_properties("${header}" PROPERTIES SKIP_AUTOGEN ON)
  endforeach()
  # AUTOUIC would search for the forms beside the sources that include the header.
  set_target_properties(${target} PROPERTIES AUTOUIC OFF)
  target_include_directories(${target} SYSTEM PUBLIC "${headers_dir}")
endfunction()
