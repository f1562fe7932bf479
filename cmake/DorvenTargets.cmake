# One helper per kind of target; each carries C++20, the warnings and the sanitizers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Programs, plugin and libraries are built into one folder, so that they find each other there.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
# Links with the RPATH of the installation; otherwise CMake pads the RPATH with empty entries, which mean the current
# folder and load whatever is there. A host's own logging libraries have a folder that only the build tree names;
# Install.cmake removes it.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN" ${DORVEN_HOST_RUNTIME_DIR})

if(WIN32)
    set(DORVEN_SYSTEM win32)
else()
    set(DORVEN_SYSTEM posix)
endif()
if(MINGW)
    # The results need no runtime DLL of the compiler.
    add_link_options(-static)
endif()

if(DORVEN_SANITIZE AND NOT DORVEN_GCC_OR_CLANG)
    message(FATAL_ERROR "DORVEN_SANITIZE needs GCC or Clang, and this is ${CMAKE_CXX_COMPILER_ID}")
elseif(DORVEN_SANITIZE)
    # No vptr check, because a host calls the plugin's objects without having its type information.
    add_compile_options(-fsanitize=${DORVEN_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    # A sanitizer's own work costs more than optimising beyond -O1 would save; its reports need lines, but no variables.
    add_compile_options(-O1 -g1)
    add_link_options(-fsanitize=${DORVEN_SANITIZE})
endif()

function(_dorven_common target)
    dorven_warn(${target})
    # Checked library containers in sanitized and debug builds.
    if(DORVEN_SANITIZE)
        target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
    endif()
    if(WIN32)
        target_compile_definitions(${target} PRIVATE _WIN32_WINNT=0x0A00)
    endif()
endfunction()

# dorven_add_library(NAME SOURCES … LINKS … [PRIVATE_LINKS …] [ROOMS FOLDER …])
# A static library with its public headers in inc/. A program's parts have ROOMS instead: folders in which headers stand
# beside their sources.
function(dorven_add_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINKS;PRIVATE_LINKS;ROOMS" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    if(NOT arg_ROOMS)
        set(arg_ROOMS inc)
    endif()
    target_include_directories(${name} PUBLIC ${arg_ROOMS})
    target_link_libraries(${name} PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
    _dorven_common(${name})
    dorven_harden(${name})
endfunction()

# dorven_runs_once(SOURCES …)
# Sources that read options: they run once, and optimising all that their headers bring takes half of their time to
# compile. Release builds need it for checked calls, sanitizers do not.
function(dorven_runs_once)
    if(DORVEN_SANITIZE)
        set(option -O0)
    else()
        set(option "$<$<AND:$<BOOL:${DORVEN_GCC_OR_CLANG}>,$<CONFIG:Release>>:-O1>")
    endif()
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${option}")
endfunction()

# dorven_add_shared_library(NAME EXPORTS BASENAME SOURCES … LINKS … [PRIVATE_LINKS …])
# A shared library NAME.dll or NAME.so that exports only what BASENAME.def and BASENAME.map list.
# Without EXPORTS the sources mark what they export.
function(dorven_add_shared_library name)
    cmake_parse_arguments(arg "" "EXPORTS" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} SHARED ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES PREFIX "" IMPORT_PREFIX "")
    target_link_libraries(${name} PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
    if(arg_EXPORTS AND WIN32)
        target_sources(${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/${arg_EXPORTS}.def)
    elseif(arg_EXPORTS)
        # The map decides what is exported; it could not export a symbol that is already hidden.
        set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET default)
        set(map ${CMAKE_CURRENT_SOURCE_DIR}/${arg_EXPORTS}.map)
        target_link_options(${name} PRIVATE -Wl,--version-script=${map} -Wl,--no-undefined-version)
        set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${map})
    elseif(MINGW)
        target_link_options(${name} PRIVATE -Wl,--exclude-all-symbols)
    endif()
    _dorven_common(${name})
    dorven_harden(${name})
endfunction()

# dorven_add_program(NAME SOURCES … LINKS …)
function(dorven_add_program name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LINKS})
    _dorven_common(${name})
    dorven_harden(${name})
endfunction()

# dorven_add_test(NAME SOURCES … LINKS … [FAULTS CALL …] [NEEDS TARGET …] [TIMEOUT SECONDS] [PARTS COUNT] [CONCURRENT]
#                 [VISIBLE])
# A GoogleTest program. All its tests are one CTest entry, since each start of a program costs time: a quarter of a
# second under Wine, a fortieth under a sanitizer. So no test may leave anything behind in its process.
#   FAULTS      platform calls that the program overrides (platform_fault.h)
#   NEEDS       targets that have to stand in bin/ beside the program
#   TIMEOUT     seconds for the program on a free machine (default 60)
#   PARTS       so many entries, each with its share of the tests: those that wait then do it side by side
#   CONCURRENT  label "concurrent": run under ThreadSanitizer too
#   VISIBLE     libraries see the program's functions, and call those that stand in for others
function(dorven_add_test name)
    cmake_parse_arguments(arg "CONCURRENT;VISIBLE" "TIMEOUT;PARTS" "SOURCES;LINKS;FAULTS;NEEDS" ${ARGN})
    if(NOT DORVEN_BUILD_TESTS)
        return()
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LINKS} test_support)
    if(IS_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/src")
        target_include_directories(${name} PRIVATE src)  # tests use headers that are private to their folder
    endif()
    _dorven_common(${name})
    # What is tested is optimised, its tests are not: they would take twice as long to compile.
    target_compile_options(${name} PRIVATE $<$<BOOL:${DORVEN_GCC_OR_CLANG}>:-O0>)
    # Clang counts it as -Wconversion, GCC does not: tests compare and count with plain numbers.
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
    if(arg_VISIBLE)
        # Headers that were precompiled with hidden names cannot be used for that.
        set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET default)
    else()
        dorven_use_precompiled_gmock(${name})
    endif()
    if(arg_NEEDS)
        add_dependencies(${name} ${arg_NEEDS})
    endif()
    if(arg_CONCURRENT)
        add_dependencies(concurrent_tests ${name})
    endif()
    if(NOT WIN32)
        foreach(call IN LISTS arg_FAULTS)
            target_link_options(${name} PRIVATE -Wl,--wrap=${call})
        endforeach()
    endif()
    _dorven_add_test_entries(${name} "${arg_TIMEOUT}" "${arg_PARTS}" "${arg_CONCURRENT}")
endfunction()

function(_dorven_add_test_entries program timeout parts concurrent)
    if(NOT timeout)
        set(timeout 60)
    endif()
    # Beside many others a test may take several times as long; one that hangs is late enough then.
    math(EXPR limit "${timeout} * 5")
    set(labels)
    if(concurrent)
        set(labels concurrent)
    endif()
    if(NOT parts)
        set(parts 1)
    endif()
    foreach(part RANGE 1 ${parts})
        set(entry ${program})
        set(share)
        if(parts GREATER 1)
            set(entry ${program}.${part})
            math(EXPR index "${part} - 1")
            set(share "GTEST_TOTAL_SHARDS=${parts};GTEST_SHARD_INDEX=${index}")
        endif()
        add_test(NAME ${entry} COMMAND ${program})
        # Those that may take long begin first.
        set_tests_properties(${entry} PROPERTIES TIMEOUT ${limit} LABELS "${labels}" COST ${timeout}
            ENVIRONMENT "${share}")
    endforeach()
endfunction()
