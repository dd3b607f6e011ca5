# The world around the library under test.
target_sources(vlp_test_support PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/far_side.cpp ${CMAKE_CURRENT_LIST_DIR}/far_side_usb.cpp
  ${CMAKE_CURRENT_LIST_DIR}/print_keys.cpp)
target_link_libraries(vlp_test_support PUBLIC vlp_simulator PRIVATE vlp_support)
if(WIN32)
  target_sources(vlp_test_support PRIVATE ${CMAKE_CURRENT_LIST_DIR}/far_side_wine.cpp)
  target_link_libraries(vlp_test_support PUBLIC advapi32)
  add_dependencies(vlp_test_support bidi_double)
else()
  target_sources(vlp_test_support PRIVATE ${CMAKE_CURRENT_LIST_DIR}/far_side_native.cpp)
endif()
