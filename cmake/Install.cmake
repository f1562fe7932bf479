# What `cmake --install` installs: programs, plugin and logging libraries; headers, CMake package and pkg-config file
# for hosts; man pages, completion, scenarios, examples and pages. No file contains the prefix, so the whole can be
# moved.
include(CMakePackageConfigHelpers)

install(TARGETS dorven-simulator dorven-host RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
if(NOT WIN32)
    set_target_properties(dorven-simulator dorven-host PROPERTIES
        INSTALL_RPATH "$ORIGIN;$ORIGIN/${DORVEN_PLUGIN_FROM_PROGRAM}")
    if(DORVEN_HOST_RUNTIME_DIR)
        set_property(TARGET dorven-simulator dorven-host APPEND PROPERTY INSTALL_RPATH "${DORVEN_HOST_RUNTIME_DIR}")
    endif()
endif()

# A host's own logging libraries are not installed.
set(libraries)
if(NOT DORVEN_HOST_RUNTIME_DIR)
    set(libraries log_core trace errorlog errortrace NUV_Base)
    install(TARGETS ${libraries}
        RUNTIME DESTINATION "${DORVEN_INSTALL_PLUGINDIR}"
        LIBRARY DESTINATION "${DORVEN_INSTALL_PLUGINDIR}"
        ARCHIVE DESTINATION "${DORVEN_INSTALL_PLUGINDIR}" COMPONENT import_libraries EXCLUDE_FROM_ALL)
endif()

# For hosts that are built with the headers; on Linux the small library implements the system calls that these name.
foreach(target host_interface_headers platform)
    get_target_property(folders ${target} INTERFACE_INCLUDE_DIRECTORIES)
    set_property(TARGET ${target} PROPERTY INTERFACE_INCLUDE_DIRECTORIES
        "$<BUILD_INTERFACE:${folders}>" "$<INSTALL_INTERFACE:${DORVEN_INSTALL_INCLUDEDIR}>")
endforeach()
set_target_properties(host_interface_headers PROPERTIES EXPORT_NAME host_interface)
install(TARGETS DorVenKameraPlugin host_interface_headers platform EXPORT DorVenKameraPlugin
    RUNTIME DESTINATION "${DORVEN_INSTALL_PLUGINDIR}"
    LIBRARY DESTINATION "${DORVEN_INSTALL_PLUGINDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}/dorven")

# A host has loaded its own libraries before it loads the plugin, so the installed files name no folder of the machine
# that built them. CMake itself changes an RPATH with this undocumented call.
function(install_without_host_folder target folder)
    get_target_property(entries ${target} INSTALL_RPATH)
    list(JOIN entries ":" built)
    list(REMOVE_ITEM entries "${DORVEN_HOST_RUNTIME_DIR}")
    list(JOIN entries ":" installed)
    install(CODE "file(RPATH_CHANGE
        FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder}/$<TARGET_FILE_NAME:${target}>\"
        OLD_RPATH \"${built}\" NEW_RPATH \"${installed}\")")
endfunction()
if(DORVEN_HOST_RUNTIME_DIR AND NOT WIN32)
    install_without_host_folder(dorven-simulator "${CMAKE_INSTALL_BINDIR}")
    install_without_host_folder(dorven-host "${CMAKE_INSTALL_BINDIR}")
    install_without_host_folder(DorVenKameraPlugin "${DORVEN_INSTALL_PLUGINDIR}")
endif()

# Headers that hosts include, directly or indirectly; the rest of platform/ is for this system's own programs.
set(platform_headers platform/inc/platform.h)
if(NOT WIN32)
    list(APPEND platform_headers platform/inc/platform_posix.h)
endif()
install(FILES ${platform_headers} DESTINATION "${DORVEN_INSTALL_INCLUDEDIR}" COMPONENT headers)
install(DIRECTORY host_interface/inc/ DESTINATION "${DORVEN_INSTALL_INCLUDEDIR}" COMPONENT headers
    FILES_MATCHING PATTERN "*.h" PATTERN "*.inc")

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/DorVenKameraPlugin")
install(EXPORT DorVenKameraPlugin NAMESPACE DorVenKameraPlugin:: FILE DorVenKameraPluginTargets.cmake
    DESTINATION "${package_folder}")
configure_package_config_file(packaging/DorVenKameraPluginConfig.cmake.in
    "${CMAKE_BINARY_DIR}/packaging/DorVenKameraPluginConfig.cmake"
    INSTALL_DESTINATION "${package_folder}"
    PATH_VARS DORVEN_INSTALL_PLUGINDIR)
# Host and plugin exchange C++ objects, so another minor version is another interface.
write_basic_package_version_file("${CMAKE_BINARY_DIR}/packaging/DorVenKameraPluginConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_BINARY_DIR}/packaging/DorVenKameraPluginConfig.cmake"
    "${CMAKE_BINARY_DIR}/packaging/DorVenKameraPluginConfigVersion.cmake"
    DESTINATION "${package_folder}")

# pkg-config knows the folder of its own file, and finds the prefix from there.
file(RELATIVE_PATH DORVEN_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" DORVEN_PREFIX_FROM_PKGCONFIG "${DORVEN_PREFIX_FROM_PKGCONFIG}")
set(DORVEN_SYSTEM_LIBRARIES "-luuid -ldl -lpthread")
if(WIN32)
    set(DORVEN_SYSTEM_LIBRARIES "-lrpcrt4")
endif()
configure_file(packaging/dorven-kamera-plugin.pc.in "${CMAKE_BINARY_DIR}/packaging/dorven-kamera-plugin.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/packaging/dorven-kamera-plugin.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(DIRECTORY examples DESTINATION "${DORVEN_INSTALL_DOCDIR}")
if(EXISTS "${PROJECT_SOURCE_DIR}/scenarios")
    install(DIRECTORY scenarios DESTINATION "${DORVEN_INSTALL_DATADIR}" FILES_MATCHING PATTERN "*.json" PATTERN "*.md")
endif()
file(GLOB pages CONFIGURE_DEPENDS docs/*.md)
install(FILES ${pages} docs/findings.schema.json DESTINATION "${DORVEN_INSTALL_DOCDIR}/docs")
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION "${DORVEN_INSTALL_DOCDIR}")
file(GLOB licences CONFIGURE_DEPENDS LICEN[CS]E* COPYING*)
if(licences)
    install(FILES ${licences} DESTINATION "${DORVEN_INSTALL_DOCDIR}")
endif()
# The programs contain these libraries, whose licences require their notices; docs/third-party.md names them.
set(notices libcli11-dev nlohmann-json3-dev libstb-dev libspdlog-dev libfmt-dev librapidxml-dev zlib1g-dev)
if(MINGW)
    list(APPEND notices gcc-mingw-w64-base mingw-w64-common)
endif()
foreach(package IN LISTS notices)
    if(EXISTS "/usr/share/doc/${package}/copyright")
        install(FILES "/usr/share/doc/${package}/copyright" DESTINATION "${DORVEN_INSTALL_DOCDIR}/third-party"
            RENAME "${package}.txt")
    endif()
endforeach()

# Everything that is installed, and nothing else: the content of packages.
add_custom_target(product DEPENDS dorven-simulator dorven-host DorVenKameraPlugin platform ${libraries})
dorven_add_hardening_test(dorven-simulator dorven-host DorVenKameraPlugin ${libraries})
dorven_add_configuring_tests()
if(DORVEN_BUILD_TESTS)
    find_program(DORVEN_PYTHON python3 REQUIRED)
    add_test(NAME installed_headers
        COMMAND ${DORVEN_PYTHON} ${PROJECT_SOURCE_DIR}/packaging/tests/installed_headers_test.py ${CMAKE_COMMAND}
            ${CMAKE_CXX_COMPILER} ${PROJECT_SOURCE_DIR} ${CMAKE_BINARY_DIR})
endif()
