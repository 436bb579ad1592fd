# `cpack -G DEB` in the build folder makes the Debian package of everything
# the install rules put under /usr. Its dependencies are read from the
# binaries by dpkg-shlibdeps (dpkg-dev), so they follow the libraries
# actually linked. scripts/package.sh builds it with Debian's hardening flags.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ostrand)
set(CPACK_PACKAGE_VENDOR Ketrova)
set(CPACK_PACKAGE_CONTACT "Ketrova Support <support@ketrova.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "database wizard of the Ketrova rental-property suite")
set(CPACK_PACKAGE_DESCRIPTION
    "Ostrand creates the database of Ketrova, the desktop suite for owners and
managers of rental buildings; it brings an older database up to the current
structure and converts its data, compacts it, restores files from the suite's
backup archives, and writes a troubleshooting report for support.

The package holds the wizards (ostrand) and ostrand-cli, which does the same
work without a window for scripts and support staff.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://ketrova.example/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# xdg-open shows the report and the help pages in the desktop's viewer;
# without it Ostrand shows them in a window of its own.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
include(CPack)
