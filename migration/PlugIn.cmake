# The plug-in bundle's module: the migrator over the library, found beside the library at run time.
add_library(AccountsDataMigrator MODULE $<TARGET_OBJECTS:as_migrator>)
set_target_properties(AccountsDataMigrator PROPERTIES
  PREFIX ""
  LIBRARY_OUTPUT_DIRECTORY "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${AS_PRIVATE_SUBDIR}/${AS_BUNDLE_NAME}"
  LINK_DEPENDS "${PROJECT_SOURCE_DIR}/migration/plugin_exports.map")
target_link_libraries(AccountsDataMigrator PRIVATE accountsettings)
target_link_options(AccountsDataMigrator PRIVATE
  "-Wl,--version-script=${PROJECT_SOURCE_DIR}/migration/plugin_exports.map" ${AS_NO_UNDEFINED})
install(TARGETS AccountsDataMigrator
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/${AS_PRIVATE_SUBDIR}/${AS_BUNDLE_NAME}")
