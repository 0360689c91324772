# Installation: the libraries, the command and what belongs to it, and what programs are built with.
# debian/ divides the same files among the packages of a distribution.
include(CMakePackageConfigHelpers)

set(AS_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/AccountSettings")
set(AS_DOC_DIR "${CMAKE_INSTALL_DATADIR}/doc")

# Libraries.
set_target_properties(accountsettings-host PROPERTIES EXPORT_NAME host)
foreach(library accountsettings accountsettings-host)
  install(TARGETS ${library} EXPORT AccountSettingsTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endforeach()

# What is installed finds the library from where it lies itself, in the build tree too. Left to itself,
# CMake links it there with room for another path, which the loader takes for the current folder.
set_target_properties(accountsettings accountsettings-host AccountsDataMigrator accountsettings-tool
  PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
set_target_properties(accountsettings-host PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(AccountsDataMigrator PROPERTIES INSTALL_RPATH "$ORIGIN/../..")
set_target_properties(accountsettings-tool PROPERTIES
  INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

# In the system's own folders the loader finds it by its index, without a search at each start.
if("/usr/${CMAKE_INSTALL_LIBDIR}" IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
  set(AS_BUNDLE_DIR "${CMAKE_INSTALL_LIBDIR}/${AS_PRIVATE_SUBDIR}/${AS_BUNDLE_NAME}")
  install(CODE "
    if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
      foreach(file \"${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:accountsettings-host>\"
                   \"${AS_BUNDLE_DIR}/$<TARGET_FILE_NAME:AccountsDataMigrator>\"
                   \"${CMAKE_INSTALL_BINDIR}/$<TARGET_FILE_NAME:accountsettings-tool>\")
        file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}/usr/\${file}\")
      endforeach()
    endif()")
endif()

# Headers, and what CMake and pkg-config need.
install(DIRECTORY "${AS_INCLUDE_ROOT}/accountsettings" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT AccountSettingsTargets NAMESPACE AccountSettings:: DESTINATION ${AS_CMAKE_DIR})
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/AccountSettingsConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/AccountSettingsConfig.cmake" INSTALL_DESTINATION ${AS_CMAKE_DIR})
write_basic_package_version_file("${PROJECT_BINARY_DIR}/AccountSettingsConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/AccountSettingsConfig.cmake"
              "${PROJECT_BINARY_DIR}/AccountSettingsConfigVersion.cmake"
        DESTINATION ${AS_CMAKE_DIR})

# The pkg-config file finds its prefix from where it lies, so that an installation can be moved.
file(RELATIVE_PATH AS_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" AS_PREFIX_FROM_PKGCONFIG "${AS_PREFIX_FROM_PKGCONFIG}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/accountsettings.pc.in"
               "${PROJECT_BINARY_DIR}/accountsettings.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/accountsettings.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# What belongs to the command.
install(FILES "${PROJECT_SOURCE_DIR}/packaging/accountsettings-migrate.service"
        DESTINATION lib/systemd/system)
set(completions "${PROJECT_SOURCE_DIR}/packaging/completions")
install(FILES "${completions}/accountsettings.bash" RENAME accountsettings
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES "${completions}/_accountsettings"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES "${completions}/accountsettings.fish"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

# Documents. The reference is there after `cmake --build BUILD --target reference`.
foreach(page accountsettings.1 libaccountsettings.3 accountsettings-host.plist.5)
  configure_file("${PROJECT_SOURCE_DIR}/docs/${page}.in" "${PROJECT_BINARY_DIR}/${page}" @ONLY)
  string(REGEX MATCH "[0-9]$" section "${page}")
  install(FILES "${PROJECT_BINARY_DIR}/${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}")
endforeach()
install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION ${AS_DOC_DIR}/accountsettings)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION ${AS_DOC_DIR}/libaccountsettings-dev
        PATTERN "*_test.sh" EXCLUDE)
install(FILES "${PROJECT_SOURCE_DIR}/docs/ABI.md" "${PROJECT_SOURCE_DIR}/docs/EMBEDDING.md"
              "${PROJECT_SOURCE_DIR}/docs/FORMATS.md" "${PROJECT_SOURCE_DIR}/docs/GUIDE.md"
        DESTINATION ${AS_DOC_DIR}/libaccountsettings-doc)
install(DIRECTORY "${PROJECT_BINARY_DIR}/reference/html" OPTIONAL
        DESTINATION ${AS_DOC_DIR}/libaccountsettings-doc)
