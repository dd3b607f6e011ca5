# One interface target carries what every source of this project is compiled with.
add_library(vlp_settings INTERFACE)
target_compile_features(vlp_settings INTERFACE cxx_std_20)
target_include_directories(vlp_settings INTERFACE ${PROJECT_SOURCE_DIR})

# The SDK's configuration macros stand here and nowhere else.
target_compile_definitions(vlp_settings INTERFACE
    NOMINMAX WIN32_LEAN_AND_MEAN UNICODE _UNICODE _WIN32_WINNT=0x0601)

target_compile_options(vlp_settings INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wundef -Wimplicit-fallthrough -Wformat=2)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(vlp_settings INTERFACE -Wthread-safety)
else()
  # gcc 12 sees overlapping copies in plain assignments of texts at -O3.
  target_compile_options(vlp_settings INTERFACE -Wduplicated-cond -Wlogical-op -Wno-restrict)
endif()

if(NOT WIN32)
  # A unique symbol would keep the library mapped for ever after dlclose.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(vlp_settings INTERFACE -fno-gnu-unique)
  endif()
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

if(VLPBIDI_SANITIZE)
  set(vlp_sanitize -fsanitize=${VLPBIDI_SANITIZE} -fno-omit-frame-pointer)
  if(VLPBIDI_SANITIZE MATCHES "undefined")
    list(APPEND vlp_sanitize -fno-sanitize-recover=all)
  endif()
  add_compile_options(${vlp_sanitize})
  add_link_options(${vlp_sanitize})
endif()
# What every test runs with: a finding of a sanitizer ends the program with a failure.
set(VLPBIDI_TEST_ENVIRONMENT
    "ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1"
    "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1"
    "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")
if(VLPBIDI_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()
