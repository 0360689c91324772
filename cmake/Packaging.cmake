# Installation and packages: the run-time files, the development files, and two Debian packages
# that hold the one and the other.
include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME runtime)
set(AS_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/AccountSettings")

set_target_properties(accountsettings-host PROPERTIES EXPORT_NAME host)
foreach(library accountsettings accountsettings-host)
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${library} EXPORT AccountSettingsTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
            NAMELINK_COMPONENT development)
endforeach()

install(DIRECTORY "${AS_INCLUDE_ROOT}/accountsettings" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)
install(EXPORT AccountSettingsTargets NAMESPACE AccountSettings:: DESTINATION ${AS_CMAKE_DIR}
        COMPONENT development)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/AccountSettingsConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/AccountSettingsConfig.cmake" INSTALL_DESTINATION ${AS_CMAKE_DIR})
write_basic_package_version_file("${PROJECT_BINARY_DIR}/AccountSettingsConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/AccountSettingsConfig.cmake"
              "${PROJECT_BINARY_DIR}/AccountSettingsConfigVersion.cmake"
        DESTINATION ${AS_CMAKE_DIR} COMPONENT development)

# The pkg-config file finds its prefix from where it lies, so that an installation can be moved.
file(RELATIVE_PATH AS_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" AS_PREFIX_FROM_PKGCONFIG "${AS_PREFIX_FROM_PKGCONFIG}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/accountsettings.pc.in"
               "${PROJECT_BINARY_DIR}/accountsettings.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/accountsettings.pc"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

configure_file("${PROJECT_SOURCE_DIR}/docs/accountsettings.1.in"
               "${PROJECT_BINARY_DIR}/accountsettings.1" @ONLY)
file(ARCHIVE_CREATE OUTPUT "${PROJECT_BINARY_DIR}/accountsettings.1.gz"
     PATHS "${PROJECT_BINARY_DIR}/accountsettings.1" FORMAT raw COMPRESSION GZip)
install(FILES "${PROJECT_BINARY_DIR}/accountsettings.1.gz"
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
install(FILES "${PROJECT_SOURCE_DIR}/packaging/accountsettings-migrate.service"
        DESTINATION lib/systemd/system COMPONENT runtime)
install(FILES "${PROJECT_SOURCE_DIR}/packaging/completions/accountsettings.bash"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME accountsettings COMPONENT runtime)
install(FILES "${PROJECT_SOURCE_DIR}/packaging/completions/_accountsettings"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT runtime)
install(FILES "${PROJECT_SOURCE_DIR}/packaging/completions/accountsettings.fish"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT runtime)
install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/accountsettings COMPONENT runtime)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME accountsettings)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGE_CONTACT "AccountSettings maintainers <maintainers@accountsettings.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME accountsettings)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "This package has the command, the libraries, the migrator, and a service that migrates a
machine's own settings at boot.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libaccountsettings-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "This package has the headers, and what cmake and pkg-config need to build against the libraries.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "accountsettings (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
include(CPack)
