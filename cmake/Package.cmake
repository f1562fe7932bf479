# Packages of the files that Install.cmake installs: for Debian, and a zip for Windows that can be unpacked anywhere.
# scripts/package.sh makes both.
set(CPACK_PACKAGE_NAME dorven)
set(CPACK_PACKAGE_VENDOR "DorVenCam developers")
set(CPACK_PACKAGE_CONTACT "DorVenCam developers <developers@dorven.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "simulated camera for measuring hosts")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
# Our packages do not change the rights of folders that belong to others.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_FILE_NAME "dorven-${PROJECT_VERSION}-windows-x86_64")
else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
    set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
        "A camera without the hardware, for whoever develops or tests a measuring
host: a plugin that the host loads, a simulator that sends it images through
shared memory, and a reference host that verifies and measures them.
.
Holds the programs dorven-simulator and dorven-host, the plugin with its
logging libraries, and headers, CMake package and pkg-config file for hosts.")
    # What the programs and libraries link; building a host needs more.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
    set(CPACK_DEBIAN_PACKAGE_SUGGESTS "g++, cmake, uuid-dev")
    set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

    # What Debian requires next to a package's pages.
    string(TIMESTAMP date "%a, %d %b %Y 00:00:00 +0000" UTC)
    set(changelog "${CMAKE_BINARY_DIR}/packaging/changelog")
    configure_file(packaging/changelog.in "${changelog}" @ONLY)
    add_custom_command(OUTPUT "${changelog}.gz"
        COMMAND gzip -9nc "${changelog}" > "${changelog}.gz" DEPENDS "${changelog}" VERBATIM)
    add_custom_target(debian_changelog ALL DEPENDS "${changelog}.gz")
    add_dependencies(product debian_changelog)
    install(FILES packaging/copyright "${changelog}.gz" DESTINATION "${DORVEN_INSTALL_DOCDIR}")
endif()

include(CPack)
