# Man pages and bash completion, generated from the built programs' own help, so that they are always up to date. Not
# available when the programs do not run on the building machine, nor with sanitizers, which make it slow.
if(WIN32 OR DORVEN_SANITIZE)
    return()
endif()
find_program(DORVEN_HELP2MAN help2man)
set(made "${CMAKE_BINARY_DIR}/packaging")
set(completions "${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions")
foreach(program dorven-simulator dorven-host)
    add_custom_command(OUTPUT "${made}/completions/${program}"
        COMMAND ${CMAKE_COMMAND} -E make_directory "${made}/completions"
        COMMAND ${program} config --completion > "${made}/completions/${program}"
        DEPENDS ${program} VERBATIM)
    list(APPEND products "${made}/completions/${program}")
    install(FILES "${made}/completions/${program}" DESTINATION "${completions}")
    if(DORVEN_HELP2MAN)
        add_custom_command(OUTPUT "${made}/man/${program}.1"
            COMMAND "${PROJECT_SOURCE_DIR}/packaging/man_pages.sh" $<TARGET_FILE:${program}> "${made}/man"
            DEPENDS ${program} packaging/man_pages.sh VERBATIM)
        list(APPEND products "${made}/man/${program}.1")
    endif()
endforeach()
if(DORVEN_HELP2MAN)
    install(DIRECTORY "${made}/man/" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" FILES_MATCHING PATTERN "*.1.gz")
else()
    message(STATUS "help2man is missing: no man pages are made (scripts/setup.sh installs it)")
endif()
add_custom_target(program_pages ALL DEPENDS ${products})
add_dependencies(product program_pages)

if(DORVEN_BUILD_TESTS)
    add_test(NAME bash_completion
        COMMAND "${PROJECT_SOURCE_DIR}/packaging/tests/completion_test.sh" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    if(DORVEN_HELP2MAN)
        add_test(NAME man_pages
            COMMAND "${PROJECT_SOURCE_DIR}/packaging/tests/man_pages_test.sh" "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
                "${made}/man")
    endif()
endif()
