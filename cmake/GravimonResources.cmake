# Resource bundles keep the time of each file; here all get the same one, so that builds are reproducible.
get_target_property(gravimon_rcc Qt5::rcc IMPORTED_LOCATION)
configure_file("${CMAKE_CURRENT_LIST_DIR}/rcc.in" "${PROJECT_BINARY_DIR}/rcc" @ONLY
               FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
