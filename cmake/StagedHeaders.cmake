# Header-only libraries of the system, through a folder of links in the build tree: a cross-build must never have
# /usr/include itself on its include path.
set(DORVEN_STAGED_HEADERS "${CMAKE_BINARY_DIR}/staged_headers")
file(MAKE_DIRECTORY "${DORVEN_STAGED_HEADERS}")
foreach(folder spdlog fmt CLI nlohmann stb rapidxml)
    if(NOT EXISTS "/usr/include/${folder}")
        message(FATAL_ERROR "headers of ${folder} are missing: run scripts/setup.sh")
    endif()
    file(CREATE_LINK "/usr/include/${folder}" "${DORVEN_STAGED_HEADERS}/${folder}" SYMBOLIC)
endforeach()

# Link this to include <spdlog/…>, <CLI/…>, <nlohmann/…>, <stb/…>, <rapidxml/…>.
add_library(staged_headers INTERFACE)
target_include_directories(staged_headers SYSTEM INTERFACE "${DORVEN_STAGED_HEADERS}")
target_compile_definitions(staged_headers INTERFACE SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
