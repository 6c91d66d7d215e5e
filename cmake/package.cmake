# The Debian package, for `cpack` in the build folder or tools/package.sh. It goes below /usr,
# whatever the prefix of the build. What a Debian package holds besides what is installed is added
# by cmake/debian_files.cmake.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarrydex)
set(CPACK_PACKAGE_VENDOR "The Quarrydex authors")
set(CPACK_PACKAGE_CONTACT "The Quarrydex authors <quarrydex@users.noreply.github.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "find any file by name while you type")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Quarrydex keeps a catalogue of every file and folder on the chosen drives
and searches it with each letter that is typed, over tens of millions of
entries. Catalogues follow what happens on the disk, and drives that are
not connected can still be searched.
.
It also searches music by its tags, tempo and length, and finds duplicate
music: the same bytes, the same song in another format, or songs that
sound alike. All of it works from the command line too.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# gapplication, by which some desktops start the second action of the desktop file, is in
# libglib2.0-bin.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "libchromaprint-tools, libglib2.0-bin, qt6-image-formats-plugins, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian_files.cmake)
set(CPACK_QDX_SOURCE ${PROJECT_SOURCE_DIR})
include(CPack)
