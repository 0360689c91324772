# How the test programs are built and registered.

# What the test programs include most, compiled once for all of them.
if(AS_BUILD_TESTS)
  add_library(as_test_headers OBJECT "${PROJECT_SOURCE_DIR}/testing/Precompiled.cc")
  target_precompile_headers(as_test_headers PRIVATE "${PROJECT_SOURCE_DIR}/testing/Precompiled.h")
  target_link_libraries(as_test_headers PRIVATE GTest::gmock)
  # As the programs are compiled that use them.
  set_target_properties(as_test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(as_test_headers PRIVATE -fPIE)
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
