# vlp_room(NAME SOURCES ... [LINKS ...]): one product folder as a static library.
# The libraries are linked into VlpBidi and into the folder's own tests.
function(vlp_room name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(vlp_${name} STATIC ${ARG_SOURCES})
  target_link_libraries(vlp_${name} PUBLIC vlp_settings vlp_platform_calls ${ARG_LINKS})
endfunction()

# vlp_test(NAME SOURCES ... [LINKS ...] [NATIVE_ONLY] [ONE_THREAD] [RUN_ALONE] [MANY_RUNS]): one
# GoogleTest program. It runs natively, and under Wine in the windows build unless
# NATIVE_ONLY. ONE_THREAD leaves it out of the ThreadSanitizer build: what it runs, it
# runs on one thread, or another program of its folder runs on several. MANY_RUNS is for one
# that goes through many orders or failures by itself: the leg orders leaves it out.
# Its results by case are left in results/NAME.xml, which scripts/test counts.
function(vlp_test name)
  cmake_parse_arguments(ARG "NATIVE_ONLY;ONE_THREAD;RUN_ALONE;MANY_RUNS" "" "SOURCES;LINKS" ${ARGN})
  if(WIN32 AND ARG_NATIVE_ONLY)
    return()
  endif()
  if(ARG_ONE_THREAD AND VLPBIDI_SANITIZE STREQUAL "thread")
    return()
  endif()
  add_executable(test_${name} ${ARG_SOURCES})
  target_link_libraries(test_${name} PRIVATE ${ARG_LINKS} vlp_test_support vlp_gtest_main)
  # GoogleTest's headers take longer to read than most tests; they are read once.
  target_precompile_headers(test_${name} REUSE_FROM vlp_test_headers)
  # Wine shows the whole file system as drive Z.
  set(results ${PROJECT_BINARY_DIR}/results/${name}.xml)
  if(CMAKE_HOST_UNIX AND WIN32)
    set(results Z:${results})
  endif()
  add_test(NAME ${name} COMMAND test_${name} --gtest_output=xml:${results})
  # A net only: no test waits in real time.
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "${VLPBIDI_TEST_ENVIRONMENT}")
  if(NOT ARG_MANY_RUNS)
    set_tests_properties(${name} PROPERTIES LABELS orders)
  endif()
  if(ARG_RUN_ALONE)
    set_tests_properties(${name} PROPERTIES RUN_SERIAL ON)
  endif()
endfunction()
