# How the test programs are built and registered.

# Test code is not optimised, whatever is tested with it: that takes half the time to compile.
set(AS_TEST_OPTIONS -O0)

# as_test_objects(NAME SOURCE ...) compiles, once for all the test programs that link NAME, what
# they have in common.
function(as_test_objects name)
  add_library(${name} OBJECT ${ARGN})
  # As a program is compiled, not a library: what is precompiled fits one of the two.
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(${name} PRIVATE -fPIE ${AS_TEST_OPTIONS})
  target_link_libraries(${name} PRIVATE GTest::gmock)
  if(NOT name STREQUAL as_test_headers)
    target_precompile_headers(${name} REUSE_FROM as_test_headers)
  endif()
endfunction()

# What the test programs include most.
if(AS_BUILD_TESTS)
  as_test_objects(as_test_headers "${PROJECT_SOURCE_DIR}/testing/Precompiled.cc")
  target_precompile_headers(as_test_headers PRIVATE "${PROJECT_SOURCE_DIR}/testing/Precompiled.h")
  # A compiler's cache may answer with headers precompiled at another time from the same text.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(as_test_headers PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
  endif()
endif()

# as_test(NAME [LAYER layer] SOURCES ... [LIBS ...] [SLOW filter...])
# builds the test program NAME, over LAYER's objects if one is named, and registers it with the label
# quick. The tests that SLOW names, patterns of GoogleTest's filter, take a second or more of processor
# time (the build is not optimised); they are registered apart as NAME_slow, without the label. Modules
# that a test loads at run time find the library's symbols in the test program.
function(as_test name)
  if(NOT AS_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(arg "" "LAYER" "SOURCES;LIBS;SLOW" ${ARGN})
  set(objects)
  if(arg_LAYER)
    as_objects_up_to(${arg_LAYER} objects)
  endif()
  add_executable(${name} ${arg_SOURCES} ${objects})
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  target_precompile_headers(${name} REUSE_FROM as_test_headers)
  target_compile_options(${name} PRIVATE ${AS_TEST_OPTIONS})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main ${CMAKE_DL_LIBS})

  list(JOIN arg_SLOW ":" slow)
  set(tests ${name})
  if(slow STREQUAL "*")
    add_test(NAME ${name} COMMAND ${name})
  else()
    set(filter)
    if(slow)
      set(filter "--gtest_filter=-${slow}")
      add_test(NAME ${name}_slow COMMAND ${name} "--gtest_filter=${slow}")
      list(APPEND tests ${name}_slow)
    endif()
    add_test(NAME ${name} COMMAND ${name} ${filter})
    set_tests_properties(${name} PROPERTIES LABELS quick)
  endif()
  set_tests_properties(${tests} PROPERTIES TIMEOUT 600)
endfunction()

if(AS_BUILD_TESTS)
  add_test(NAME layer_check_tests
    COMMAND ${CMAKE_COMMAND} -DWORK=${PROJECT_BINARY_DIR}/layer_check_tests
            -P ${PROJECT_SOURCE_DIR}/cmake/CheckLayers_test.cmake)
  set_tests_properties(layer_check_tests PROPERTIES LABELS quick)
endif()
