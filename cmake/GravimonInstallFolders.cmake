# The umask of the one who installs would decide who can enter the folders that the installation makes. Included before
# the first installed file; gravimon_open_folders() follows the last one. Folders that are there keep their modes.
set(folders .)
foreach(folder "${CMAKE_INSTALL_BINDIR}" "${CMAKE_INSTALL_DATADIR}/applications" "${CMAKE_INSTALL_DATADIR}/metainfo"
               "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps"
               "${CMAKE_INSTALL_DATADIR}/bash-completion/completions"
               "${CMAKE_INSTALL_DOCDIR}" "${CMAKE_INSTALL_MANDIR}/man1" lib/udev/rules.d)
  while(NOT folder STREQUAL "" AND NOT IS_ABSOLUTE "${folder}")
    list(APPEND folders "${folder}")
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
endforeach()
list(REMOVE_DUPLICATES folders)
install(CODE "
  set(folders \"${folders}\")
  set(gravimon_new_folders)
  get_filename_component(above \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\" DIRECTORY)
  while(above AND NOT EXISTS \"\${above}\")
    list(APPEND gravimon_new_folders \"\${above}\")
    get_filename_component(above \"\${above}\" DIRECTORY)
  endwhile()
  foreach(folder IN LISTS folders)
    if(NOT EXISTS \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${folder}\")
      list(APPEND gravimon_new_folders \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/\${folder}\")
    endif()
  endforeach()")

function(gravimon_open_folders)
  install(CODE [[
  foreach(folder IN LISTS gravimon_new_folders)
    if(IS_DIRECTORY "${folder}")
      file(CHMOD "${folder}" DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
           WORLD_READ WORLD_EXECUTE)
    endif()
  endforeach()]])
endfunction()
