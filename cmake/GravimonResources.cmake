get_target_property(gravimon_rcc Qt5::rcc IMPORTED_LOCATION)

# gravimon_add_resources(<target> <bundle.qrc> [OPTION...])
# Compiles a resource bundle into the target. AUTORCC of CMake 3.25 fails where the path has an apostrophe. Bundles keep
# the time of each file; here all get the same one, so that builds are reproducible.
function(gravimon_add_resources target bundle)
  set(qrc "${CMAKE_CURRENT_SOURCE_DIR}/${bundle}")
  get_filename_component(name "${bundle}" NAME_WE)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/qrc_${name}.cpp")
  execute_process(COMMAND "${gravimon_rcc}" --list "${qrc}" OUTPUT_VARIABLE files
                  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "\n" ";" files "${files}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${qrc}")
  add_custom_command(OUTPUT "${source}"
                     COMMAND "${CMAKE_COMMAND}" -E env QT_RCC_SOURCE_DATE_OVERRIDE=1
                             "${gravimon_rcc}" ${ARGN} --name "${name}" -o "${source}" "${qrc}"
                     DEPENDS "${qrc}" ${files} COMMENT "rcc ${bundle}" VERBATIM)
  target_sources(${target} PRIVATE "${source}")
  set_source_files_properties("${source}" PROPERTIES SKIP_AUTOGEN ON)
endfunction()
