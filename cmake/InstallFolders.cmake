# Where things are installed, relative to the prefix. On Linux as in GNUInstallDirs, with plugin and logging libraries
# in a separate folder. On Windows everything that is loaded is in one folder, because the loader searches there.
include(GNUInstallDirs)
if(WIN32)
    set(DORVEN_INSTALL_PLUGINDIR "${CMAKE_INSTALL_BINDIR}")
else()
    set(DORVEN_INSTALL_PLUGINDIR "${CMAKE_INSTALL_LIBDIR}/dorven")
endif()
set(DORVEN_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/dorven")
set(DORVEN_INSTALL_DOCDIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/dorven")
set(DORVEN_INSTALL_DATADIR "${CMAKE_INSTALL_DATAROOTDIR}/dorven")

# The path from the programs to the plugin, the same under every prefix. Ends with a separator.
file(RELATIVE_PATH DORVEN_PLUGIN_FROM_PROGRAM "/${CMAKE_INSTALL_BINDIR}" "/${DORVEN_INSTALL_PLUGINDIR}")
if(IS_ABSOLUTE "${CMAKE_INSTALL_BINDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    message(FATAL_ERROR "CMAKE_INSTALL_BINDIR and CMAKE_INSTALL_LIBDIR are relative to the prefix")
endif()
if(NOT DORVEN_PLUGIN_FROM_PROGRAM)
    set(DORVEN_PLUGIN_FROM_PROGRAM ".")
endif()
string(APPEND DORVEN_PLUGIN_FROM_PROGRAM "/")
