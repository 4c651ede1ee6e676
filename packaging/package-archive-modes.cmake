# Run by cpack after it has built the package. The package is an archive of three files, and cpack gives them the modes
# that the builder's umask leaves. ar gives them fixed ones, so that the same sources give the same package.
cmake_minimum_required(VERSION 3.22)
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(folder "${package}.members")
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND ar t "${package}" OUTPUT_VARIABLE members COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" members "${members}") # their order is a part of the format
  execute_process(COMMAND ar x "${package}" WORKING_DIRECTORY "${folder}" COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND ar qcD "${package}.fixed" ${members} WORKING_DIRECTORY "${folder}"
                  COMMAND_ERROR_IS_FATAL ANY)
  file(RENAME "${package}.fixed" "${package}")
  file(REMOVE_RECURSE "${folder}")
endforeach()
