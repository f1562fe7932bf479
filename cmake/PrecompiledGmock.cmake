# GoogleMock's headers, precompiled once with the flags of every test program, for exactly those sources that include
# them: so each source still has to include what it uses. The others are compiled as they stand.

# Call it once, before the first test.
function(dorven_add_precompiled_gmock)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang)$")
        return()
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        file(CONFIGURE OUTPUT precompiled_gmock.cpp CONTENT "")
        add_library(precompiled_gmock OBJECT EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/precompiled_gmock.cpp)
        target_precompile_headers(precompiled_gmock PRIVATE <gmock/gmock.h>)
        target_compile_options(precompiled_gmock PRIVATE -fpch-preprocess)
    else()
        _dorven_precompile_by_clang()
    endif()
    target_link_libraries(precompiled_gmock PRIVATE gmock gtest)
    _dorven_common(precompiled_gmock)
    target_compile_options(precompiled_gmock PRIVATE -O0)
    if(NOT WIN32)
        # As programs are compiled, which a library is not.
        set_target_properties(precompiled_gmock PROPERTIES POSITION_INDEPENDENT_CODE OFF)
        target_compile_options(precompiled_gmock PRIVATE -fPIE)
    endif()
endfunction()

# The header itself, not one of CMake's that includes it: Clang remembers the path of what it has precompiled, and a
# path in one clone is none in another, which gets the same result from ccache.
function(_dorven_precompile_by_clang)
    find_file(DORVEN_GMOCK_HEADER gmock/gmock.h PATHS /usr/src/googletest/googlemock/include NO_DEFAULT_PATH REQUIRED)
    add_library(precompiled_gmock OBJECT EXCLUDE_FROM_ALL ${DORVEN_GMOCK_HEADER})
    set_source_files_properties(${DORVEN_GMOCK_HEADER} PROPERTIES LANGUAGE CXX
        COMPILE_OPTIONS "-x;c++-header;-fpch-instantiate-templates;-Xclang;-fno-pch-timestamp")
endfunction()

# Lets a test program's sources use them.
function(dorven_use_precompiled_gmock target)
    if(NOT TARGET precompiled_gmock)
        return()
    endif()
    get_target_property(sources ${target} SOURCES)
    set(users)
    foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source)
        file(STRINGS ${source} include REGEX "^#include <gmock/gmock\\.h>")
        if(include)
            list(APPEND users ${source})
        else()
            set_source_files_properties(${source} PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
        endif()
    endforeach()
    if(users AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fpch-preprocess)  # ccache then sees through it
        target_precompile_headers(${target} REUSE_FROM precompiled_gmock)
    elseif(users)
        set(file "${CMAKE_BINARY_DIR}/CMakeFiles/precompiled_gmock.dir${DORVEN_GMOCK_HEADER}.o")
        set_source_files_properties(${users} PROPERTIES OBJECT_DEPENDS "${file}"
            COMPILE_OPTIONS "-Winvalid-pch;-Xclang;-include-pch;-Xclang;${file}")
        add_dependencies(${target} precompiled_gmock)
    endif()
endfunction()
