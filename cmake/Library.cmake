# libaccountsettings: every layer from the property lists to the migration support in one shared
# library. Its symbols are those that api/libaccountsettings.map names.

# as_export(TARGET) has the shared library export what api/libTARGET.map names. Under a sanitizer it
# exports everything: the check of dynamic types asks for those of the library's own classes too.
function(as_export library)
  if(AS_SANITIZE)
    return()
  endif()
  set(map "${PROJECT_SOURCE_DIR}/api/lib${library}.map")
  set_target_properties(${library} PROPERTIES LINK_DEPENDS "${map}")
  target_link_options(${library} PRIVATE
    "-Wl,--version-script=${map}" -Wl,-Bsymbolic-functions ${AS_NO_UNDEFINED})
endfunction()

set(objects)
foreach(layer IN LISTS AS_LAYERS)
  list(APPEND objects "$<TARGET_OBJECTS:as_${layer}>")
endforeach()
add_library(accountsettings SHARED ${objects})
set_target_properties(accountsettings PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
as_export(accountsettings)
target_include_directories(accountsettings INTERFACE
  "$<BUILD_INTERFACE:${AS_INCLUDE_ROOT}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
target_compile_features(accountsettings INTERFACE cxx_std_20)
add_library(AccountSettings::accountsettings ALIAS accountsettings)
