# The target header_check: every header compiles alone. A header with a source file of its own proves
# that there, because the source includes it first (the layer check sees to it); the others are
# compiled here, one by one.
include(LayerRules)

set(sources)
foreach(folder IN LISTS checked_folders)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}"
       "${PROJECT_SOURCE_DIR}/${folder}/*.h")
  foreach(header IN LISTS headers)
    string(REGEX REPLACE "\\.h$" ".cc" source "${header}")
    if(NOT EXISTS "${PROJECT_SOURCE_DIR}/${source}")
      set(source "${PROJECT_BINARY_DIR}/header_check/${source}")
      file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"${header}\"\n")
      list(APPEND sources "${source}")
    endif()
  endforeach()
endforeach()
add_library(header_check OBJECT EXCLUDE_FROM_ALL ${sources})
target_compile_options(header_check PRIVATE -O0)
target_compile_definitions(header_check PRIVATE AS_VERSION="${PROJECT_VERSION}")
target_link_libraries(header_check PRIVATE GTest::gmock)
