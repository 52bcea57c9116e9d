# SPDX-License-Identifier: MIT
# What compiler and linker offer to make a fault of library or program harder to use: checked stack frames,
# checked copies where the compiler knows the size, indirect branches to marked places only, and tables of
# addresses that cannot be written once they are loaded.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-protector-strong NALSMITH_HAS_STACK_PROTECTOR)
check_cxx_compiler_flag(-fcf-protection=full NALSMITH_HAS_CF_PROTECTION)

function(nalsmith_harden_objects target)
  if(NALSMITH_HAS_STACK_PROTECTOR)
    target_compile_options(${target} PRIVATE -fstack-protector-strong)
  endif()
  if(NALSMITH_HAS_CF_PROTECTION)
    target_compile_options(${target} PRIVATE -fcf-protection=full)
  endif()
  # Needs optimisation, and would hide calls from a sanitizer. A distribution that has set it keeps its own.
  if(NOT NALSMITH_SANITIZE AND NOT "${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE")
    set(optimised $<OR:$<CONFIG:Release>,$<CONFIG:RelWithDebInfo>,$<CONFIG:MinSizeRel>>)
    target_compile_options(${target} PRIVATE $<${optimised}:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  endif()
endfunction()

function(nalsmith_harden_linked target)
  target_link_options(${target} PRIVATE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endfunction()
