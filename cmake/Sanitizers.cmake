# SPDX-License-Identifier: MIT
# NALSMITH_SANITIZE=address,undefined builds everything with these sanitizers; every finding ends the program.
set(NALSMITH_SANITIZE "" CACHE STRING "Sanitizers to build with, separated by commas")
if(NALSMITH_SANITIZE)
  add_compile_options(-fsanitize=${NALSMITH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NALSMITH_SANITIZE})
endif()
