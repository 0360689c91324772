# How the test programs are built and registered.

# as_test_objects(NAME SOURCE ...) compiles, once for all the test programs that link NAME, what
# they have in common.
function(as_test_objects name)
  add_library(${name} OBJECT ${ARGN})
  # As a program is compiled, not a library: what is precompiled fits one of the two.
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(${name} PRIVATE -fPIE)
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

# as_test(NAME LAYER layer SOURCES ... [LIBS ...] [TIMEOUT seconds] [ENVIRONMENT ...])
# builds the test program NAME over LAYER's objects and registers it. Modules that a test loads
# at run time find the library's symbols in the test program.
function(as_test name)
  if(NOT AS_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(arg "" "LAYER;TIMEOUT" "SOURCES;LIBS;ENVIRONMENT" ${ARGN})
  set(objects)
  if(arg_LAYER)
    as_objects_up_to(${arg_LAYER} objects)
  endif()
  add_executable(${name} ${arg_SOURCES} ${objects})
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  target_precompile_headers(${name} REUSE_FROM as_test_headers)
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main ${CMAKE_DL_LIBS})
  add_test(NAME ${name} COMMAND ${name})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 600)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
  if(arg_ENVIRONMENT)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${arg_ENVIRONMENT}")
  endif()
endfunction()
