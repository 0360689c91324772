# The layers of the library, lowest first. A layer is one folder and one object library `as_NAME`;
# its tests link its own objects and those of the layers below, nothing above.
set(AS_LAYERS plist platform logging account store migration)

# The object files of LAYER and of every layer below it.
function(as_objects_up_to layer result)
  set(objects)
  foreach(each IN LISTS AS_LAYERS)
    list(APPEND objects "$<TARGET_OBJECTS:as_${each}>")
    if(each STREQUAL layer)
      break()
    endif()
  endforeach()
  set(${result} "${objects}" PARENT_SCOPE)
endfunction()

# as_layer(NAME SOURCES ... [TESTS ...] [TEST_LIBS ...] [SLOW filter...]) defines the object library
# as_NAME from the sources in this folder and, where there are tests, the test program NAME_tests.
function(as_layer name)
  cmake_parse_arguments(arg "" "" "SOURCES;TESTS;TEST_LIBS;SLOW" ${ARGN})
  add_library(as_${name} OBJECT ${arg_SOURCES})
  set_target_properties(as_${name} PROPERTIES VISIBILITY_INLINES_HIDDEN ON)
  if(arg_TESTS)
    as_test(${name}_tests LAYER ${name} SOURCES ${arg_TESTS} LIBS ${arg_TEST_LIBS}
            SLOW ${arg_SLOW})
  endif()
endfunction()

# No include may run up the layers, among others; the build fails on one that does.
add_custom_target(layer_check ALL
  COMMAND ${CMAKE_COMMAND} -DROOT=${PROJECT_SOURCE_DIR}
          -P ${PROJECT_SOURCE_DIR}/cmake/CheckLayers.cmake
  COMMENT "Checking what the sources include"
  VERBATIM)
