# Which compiler this is, its warnings, and the cache of its results. Options of GCC and Clang depend on
# DORVEN_GCC_OR_CLANG, because Microsoft's compiler knows none of them.
option(DORVEN_WARNINGS_AS_ERRORS "Let a warning end the build" OFF)
set(DORVEN_GCC_OR_CLANG OFF)
if(CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
    set(DORVEN_GCC_OR_CLANG ON)
endif()

# Results are the same in all clones, also with precompiled headers. A launcher that the user sets is kept.
find_program(DORVEN_CCACHE ccache)
if(DORVEN_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
    set(environment "${CMAKE_COMMAND}" -E env)
    if(CMAKE_HOST_UNIX)
        set(environment env)  # starts in a tenth of the time
    endif()
    set(CMAKE_CXX_COMPILER_LAUNCHER ${environment} "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=true
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime "${DORVEN_CCACHE}")
endif()

function(dorven_warn target)
    if(DORVEN_GCC_OR_CLANG)
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
            $<$<BOOL:${DORVEN_WARNINGS_AS_ERRORS}>:-Werror>)
    elseif(CMAKE_CXX_COMPILER_ID STREQUAL "MSVC")
        target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${DORVEN_WARNINGS_AS_ERRORS}>:/WX>)
    endif()
    if(MINGW)
        # This system's formats use %Iu; everything else in them is still checked.
        target_compile_options(${target} PRIVATE -Wno-pedantic-ms-format)
    endif()
endfunction()
