# The Debian package (`scripts/run package`: cpack -G DEB, then lintian). Its shared-library
# dependencies come from dpkg-shlibdeps; libcurl is opened only when a request is made, so it is
# named by hand, and the font comes from Debian's fonts-inter.

# Debian's changelog of a native package, compressed reproducibly.
configure_file(${PROJECT_SOURCE_DIR}/contrib/debian/changelog.in ${CMAKE_BINARY_DIR}/installed/changelog
               @ONLY)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/installed/changelog.gz
  COMMAND ${PLUVO_GZIP} -9nc ${CMAKE_BINARY_DIR}/installed/changelog
          > ${CMAKE_BINARY_DIR}/installed/changelog.gz
  DEPENDS ${CMAKE_BINARY_DIR}/installed/changelog)
add_custom_target(pluvo-changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/installed/changelog.gz)
install(FILES ${CMAKE_BINARY_DIR}/installed/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pluvo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Pluvo authors")
set(CPACK_PACKAGE_CONTACT "Pluvo maintainers <maintainers@pluvo.app>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "rain forecast widgets and Live Activity for the desktop")
set(CPACK_PACKAGE_DESCRIPTION
    "Pluvo keeps the forecast of the Pluvo app's rain widgets current and draws\n\
the five home-screen widgets and the rain-window Live Activity as PNG, SVG\n\
or PDF, for a desktop panel, a wall dashboard or an e-paper frame. A systemd\n\
user service keeps the images current; `pluvo-widget status` prints a\n\
one-line answer for waybar, polybar or i3blocks.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://pluvo.app)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-inter, libcurl4")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
include(CPack)
