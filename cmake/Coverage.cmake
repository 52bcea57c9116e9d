# SPDX-License-Identifier: MIT
# NALSMITH_COVERAGE counts in every line and branch of the library how often it runs; scripts/coverage reads it.
option(NALSMITH_COVERAGE "Count the lines and branches of the library that run (GCC)" OFF)
if(NALSMITH_COVERAGE)
  add_compile_options(--coverage -fprofile-abs-path)
  add_link_options(--coverage)
endif()
