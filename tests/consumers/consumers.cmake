# SPDX-License-Identifier: MIT
# The program, once for each language standard that the headers are written for.
foreach(standard 17 20)
  add_executable(consumer-${standard} ${CMAKE_CURRENT_LIST_DIR}/consumer.cpp)
  set_target_properties(consumer-${standard} PROPERTIES CXX_STANDARD ${standard} CXX_STANDARD_REQUIRED ON)
  target_link_libraries(consumer-${standard} PRIVATE nalsmith::nalsmith)
endforeach()
