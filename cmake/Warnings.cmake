# SPDX-License-Identifier: MIT
# The project's own builds allow no warning; a project that builds it as a part is left its own rules.
function(nalsmith_warnings target)
  if(NALSMITH_DEVELOPER)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  endif()
endfunction()
