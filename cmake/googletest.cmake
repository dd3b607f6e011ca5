# GoogleTest: Debian's library natively, its packaged source for Windows.
add_library(vlp_gtest_main INTERFACE)
if(WIN32)
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK ON)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  target_link_libraries(vlp_gtest_main INTERFACE GTest::gmock GTest::gtest GTest::gtest_main)
else()
  find_package(GTest REQUIRED)
  target_link_libraries(vlp_gtest_main INTERFACE GTest::gmock GTest::gtest GTest::gtest_main)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # gcc 12 takes joined texts for overruns once the library's headers are precompiled.
  target_compile_options(vlp_gtest_main INTERFACE
      -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
endif()
