# gravimon_describe(<variable> <source folder> <fallback>): the version of a source tree by its latest tag
# MAJOR.MINOR.PATCH: "0.1.0" at the tag itself, "0.1.0+12.gabc1234" twelve commits later. The fallback without such a
# tag, without git, and in a source package.
function(gravimon_describe variable source fallback)
  set(version "${fallback}")
  find_program(GRAVIMON_GIT git)
  mark_as_advanced(GRAVIMON_GIT)
  # Any other repository around a source package has nothing to do with it.
  if(GRAVIMON_GIT AND EXISTS "${source}/.git")
    execute_process(COMMAND "${GRAVIMON_GIT}" describe --tags --match "[0-9]*.[0-9]*.[0-9]*"
                    WORKING_DIRECTORY "${source}" OUTPUT_VARIABLE described ERROR_QUIET
                    OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(described MATCHES "^([0-9]+\\.[0-9]+\\.[0-9]+)(-([0-9]+)-(g[0-9a-f]+))?$")
      set(version "${CMAKE_MATCH_1}")
      if(CMAKE_MATCH_2)
        string(APPEND version "+${CMAKE_MATCH_3}.${CMAKE_MATCH_4}")
      endif()
    endif()
  endif()
  set(${variable} "${version}" PARENT_SCOPE)
endfunction()
