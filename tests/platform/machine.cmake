# The calls on the described machine: natively on the layer, under Wine on the prefix.
if(WIN32)
  set(vlp_own_machine own_machine.cpp own_machine_wine.cpp)
else()
  set(vlp_own_machine own_machine.cpp own_machine_native.cpp)
endif()
foreach(part registry profile file text text_932 spooler redirector)
  vlp_test(platform_${part} ONE_THREAD SOURCES ${part}_calls.cpp ${vlp_own_machine}
      LINKS vlp_settings vlp_platform_calls)
endforeach()
if(TARGET test_platform_registry)
  target_sources(test_platform_registry PRIVATE signatures_machine.cpp)
endif()
if(WIN32)
  # The locale of the process chooses Wine's code page.
  set_tests_properties(platform_text_932 PROPERTIES ENVIRONMENT
      "${VLPBIDI_TEST_ENVIRONMENT};LC_ALL=ja_JP.UTF-8")
endif()

# What only the layer has: the machine itself and its parsers.
if(NOT WIN32)
  add_library(vlp_machine_parsers OBJECT
      ${PROJECT_SOURCE_DIR}/platform/code_page.cpp ${PROJECT_SOURCE_DIR}/platform/ini_text.cpp
      ${PROJECT_SOURCE_DIR}/platform/reg_file.cpp ${PROJECT_SOURCE_DIR}/platform/registry_tree.cpp)
  target_link_libraries(vlp_machine_parsers PRIVATE vlp_settings vlp_platform_calls)
  vlp_test(platform_machine NATIVE_ONLY
      SOURCES machine_folder.cpp machine_described.cpp machine_faults.cpp machine_shares.cpp machine_threads.cpp
          ${vlp_own_machine}
      LINKS vlp_settings vlp_platform_calls vlp_simulator)
  vlp_test(platform_parsers ONE_THREAD NATIVE_ONLY
      SOURCES reg_file.cpp code_page.cpp ini_text.cpp $<TARGET_OBJECTS:vlp_machine_parsers>
      LINKS vlp_settings vlp_platform_calls)
endif()
