# Where things are installed, below the prefix. On Linux as GNUInstallDirs says, with plugin and logging libraries in a
# folder of their own; on Windows all that is loaded stands in one folder, since that is where its loader looks.
include(GNUInstallDirs)
if(WIN32)
    set(DORVEN_INSTALL_PLUGINDIR "${CMAKE_INSTALL_BINDIR}")
else()
    set(DORVEN_INSTALL_PLUGINDIR "${CMAKE_INSTALL_LIBDIR}/dorven")
endif()
set(DORVEN_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/dorven")
set(DORVEN_INSTALL_DOCDIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/dorven")
set(DORVEN_INSTALL_DATADIR "${CMAKE_INSTALL_DATAROOTDIR}/dorven")

# The way from the programs to the plugin, the same under every prefix. Ends with a separator.
file(RELATIVE_PATH DORVEN_PLUGIN_FROM_PROGRAM "/${CMAKE_INSTALL_BINDIR}" "/${DORVEN_INSTALL_PLUGINDIR}")
if(IS_ABSOLUTE "${CMAKE_INSTALL_BINDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    message(FATAL_ERROR "CMAKE_INSTALL_BINDIR and CMAKE_INSTALL_LIBDIR are relative to the prefix")
endif()
if(NOT DORVEN_PLUGIN_FROM_PROGRAM)
    set(DORVEN_PLUGIN_FROM_PROGRAM ".")
endif()
string(APPEND DORVEN_PLUGIN_FROM_PROGRAM "/")
