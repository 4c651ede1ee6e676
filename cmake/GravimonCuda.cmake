# gravimon::cuda: the CUDA calls in use, either the toolkit's or those of cuda_host on host memory.
#
# The toolkit may be installed without a driver. A program linked against the driver's library does
# not start there, so AUTO uses the real CUDA only if both are found.
set(gravimon_real_cuda OFF)
if(NOT GRAVIMON_CUDA STREQUAL "OFF")
  find_package(CUDAToolkit QUIET)
  if(GRAVIMON_CUDA STREQUAL "ON")
    if(NOT CUDAToolkit_FOUND)
      message(FATAL_ERROR "GRAVIMON_CUDA=ON: no CUDA toolkit found. Install one or use GRAVIMON_CUDA=OFF.")
    endif()
    set(gravimon_real_cuda ON)
  elseif(CUDAToolkit_FOUND)
    # The toolkit's own stub of the driver library does not count.
    find_library(GRAVIMON_CUDA_DRIVER NAMES libcuda.so.1 PATHS /usr/local/nvidia/lib64
                 PATH_SUFFIXES nvidia nvidia/current tegra)
    if(GRAVIMON_CUDA_DRIVER)
      set(gravimon_real_cuda ON)
    endif()
  endif()
endif()

if(gravimon_real_cuda)
  add_library(gravimon_cuda INTERFACE)
  target_link_libraries(gravimon_cuda INTERFACE CUDA::cudart CUDA::cuda_driver)
  target_compile_definitions(gravimon_cuda INTERFACE GRAVIMON_REAL_CUDA=1)
  message(STATUS "CUDA: toolkit ${CUDAToolkit_VERSION}")
else()
  add_subdirectory("${PROJECT_SOURCE_DIR}/cuda_host")
  message(STATUS "CUDA: host memory in its place (cuda_host)")
endif()
add_library(gravimon::cuda ALIAS gravimon_cuda)
