# Makes it harder to exploit a fault in a release build: tables that cannot be overwritten, damaged stacks that end the
# program, calls that check their buffers, jumps that land only at permitted places. The test reads the built files.
# Builds with a sanitizer have their own checks; debug builds have none. The cost of hardening is measured against a
# build without it (-DDORVEN_HARDEN=OFF).
#
# On Windows platform/src/stack_guard_win32.cpp contains the runtime part of the stack protector: with the compiler's
# own, each file would need one more DLL of the system.

option(DORVEN_HARDEN "Harden release builds" ON)
set(DORVEN_HARDENED "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
if(DORVEN_SANITIZE OR NOT DORVEN_HARDEN)
    set(DORVEN_HARDENED 0)
endif()

if(MINGW)
    add_link_options(-Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
elseif(DORVEN_GCC_OR_CLANG)
    add_link_options("$<${DORVEN_HARDENED}:-Wl,-z,relro;-Wl,-z,now>")
endif()

# Hardens a target. Not for tests: they are not optimised, which checked calls need.
function(dorven_harden target)
    if(NOT DORVEN_GCC_OR_CLANG)
        return()
    elseif(WIN32)
        target_compile_options(${target} PRIVATE "$<${DORVEN_HARDENED}:-fstack-protector-strong>")
        if(NOT target STREQUAL "platform")
            target_link_libraries(${target} PRIVATE "$<LINK_ONLY:platform>")  # contains the protector's runtime part
        endif()
    else()
        target_compile_options(${target} PRIVATE
            "$<${DORVEN_HARDENED}:-fstack-protector-strong;-fcf-protection=full;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    endif()
endfunction()

# dorven_add_hardening_test(TARGET …)
# Tests everything that is installed; for empty RUNPATH entries also everything next to it.
function(dorven_add_hardening_test)
    if(NOT DORVEN_BUILD_TESTS OR NOT DORVEN_HARDENED OR NOT CMAKE_BUILD_TYPE STREQUAL "Release")
        return()
    endif()
    find_program(DORVEN_PYTHON python3 REQUIRED)
    set(files)
    foreach(target IN LISTS ARGN)
        list(APPEND files $<TARGET_FILE:${target}>)
    endforeach()
    add_test(NAME hardening
        COMMAND ${DORVEN_PYTHON} ${PROJECT_SOURCE_DIR}/cmake/tests/hardening_test.py ${CMAKE_CXX_COMPILER}
            ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} ${files})
endfunction()

# Tests that configure the sources once more and read what would be compiled or linked. Once is enough: in the build for
# Linux that no sanitizer watches.
function(dorven_add_configuring_tests)
    if(NOT DORVEN_BUILD_TESTS OR WIN32 OR DORVEN_SANITIZE OR NOT CMAKE_GENERATOR STREQUAL "Ninja")
        return()
    endif()
    find_program(DORVEN_PYTHON python3 REQUIRED)
    set(arguments ${CMAKE_COMMAND} ${CMAKE_MAKE_PROGRAM} ${CMAKE_CXX_COMPILER} ${PROJECT_SOURCE_DIR})
    # With a host's own logging libraries.
    add_test(NAME host_runtime_runpath
        COMMAND ${DORVEN_PYTHON} ${PROJECT_SOURCE_DIR}/cmake/tests/host_runtime_test.py ${arguments})
    # For several compilers and with several options.
    add_test(NAME compiler_options
        COMMAND ${DORVEN_PYTHON} ${PROJECT_SOURCE_DIR}/cmake/tests/compiler_options_test.py ${arguments})
endfunction()
