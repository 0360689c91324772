# libaccountsettings: every layer from the property lists to the migration support in one shared
# library. Its symbols are those of the namespace `accountsettings`, its details aside.
set(objects)
foreach(layer IN LISTS AS_LAYERS)
  list(APPEND objects "$<TARGET_OBJECTS:as_${layer}>")
endforeach()
add_library(accountsettings SHARED ${objects})
set_target_properties(accountsettings PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports.map")
target_link_options(accountsettings PRIVATE
  "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map" -Wl,-Bsymbolic-functions ${AS_NO_UNDEFINED})
target_include_directories(accountsettings INTERFACE
  "$<BUILD_INTERFACE:${AS_INCLUDE_ROOT}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
target_compile_features(accountsettings INTERFACE cxx_std_20)
add_library(AccountSettings::accountsettings ALIAS accountsettings)
