# Protection against memory errors: the flags of Debian's packages (dpkg-buildflags with hardening=+all) and the
# processor's control-flow protection. All libraries and programs are built with them; tests and benchmarks are not.
include(CheckCXXCompilerFlag)

add_library(gravimon_hardening INTERFACE)
target_compile_options(gravimon_hardening INTERFACE -Wformat -Werror=format-security -Wdate-time)
# All symbols are bound at the start; their table is then read-only.
target_link_options(gravimon_hardening INTERFACE "LINKER:-z,relro" "LINKER:-z,now")
# A sanitizer has checks of its own, which fortified functions would bypass.
if(NOT GRAVIMON_SANITIZE)
  # Fortified functions need an optimised build.
  target_compile_options(gravimon_hardening INTERFACE -fstack-protector-strong
                         $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$")
    set(control_flow -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(control_flow -mbranch-protection=standard)
  endif()
  if(control_flow)
    string(MAKE_C_IDENTIFIER "GRAVIMON_HAS${control_flow}" has_control_flow)
    check_cxx_compiler_flag(${control_flow} ${has_control_flow})
    if(${has_control_flow})
      target_compile_options(gravimon_hardening INTERFACE ${control_flow})
    endif()
  endif()
endif()

# The bytes of a program do not depend on the folder in which it is built: neither its debug information nor the
# build ID that the linker computes from it.
target_compile_options(gravimon_hardening INTERFACE "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=."
                       "-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build")
