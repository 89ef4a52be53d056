# What compiler and linker can do against a fault being exploited, in every optimised build. Sanitizers do the same and
# more, and _FORTIFY_SOURCE hides calls from them. Leaves KMHASH_HARDENED, and in KMHASH_CONTROL_FLOW how readelf calls the
# protection of control flow that this processor has.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported() # else CMAKE_POSITION_INDEPENDENT_CODE does not reach the linker
check_cxx_compiler_flag("-Werror -fstack-clash-protection" KMHASH_HAS_STACK_CLASH_PROTECTION)

if(CMAKE_CXX_FLAGS MATCHES "-fsanitize" OR NOT CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
  return()
endif()
set(KMHASH_HARDENED ON)
add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong)
add_link_options(LINKER:-z,relro,-z,now)
if(KMHASH_HAS_STACK_CLASH_PROTECTION)
  add_compile_options(-fstack-clash-protection)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
  add_compile_options(-fcf-protection=full)
  set(KMHASH_CONTROL_FLOW "IBT, SHSTK")
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  add_compile_options(-mbranch-protection=standard)
  set(KMHASH_CONTROL_FLOW "BTI, PAC")
endif()
