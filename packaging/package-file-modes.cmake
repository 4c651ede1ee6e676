# Run by cpack before it builds the package: a builder whose umask hides files from others would make a package whose
# folders only root can enter.
cmake_minimum_required(VERSION 3.22)
execute_process(COMMAND chmod -R u=rwX,go=rX "${CPACK_TEMPORARY_DIRECTORY}" COMMAND_ERROR_IS_FATAL ANY)
