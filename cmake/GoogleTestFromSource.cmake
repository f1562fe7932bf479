# GoogleTest and GoogleMock from Debian's sources, built for whichever system is the target.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
# When g++ 12 optimises, it reports a false overlap in std::string there.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(gtest PRIVATE -Wno-restrict)
endif()
# Not on Windows: unoptimised they call the C runtime's stat, whose library then brings a second __imp__stat64 in
# addition to the one with which tests override that call.
if(DORVEN_GCC_OR_CLANG AND NOT WIN32)
    target_compile_options(gtest PRIVATE -O0)
    target_compile_options(gmock PRIVATE -O0)
endif()
dorven_add_precompiled_gmock()
add_subdirectory(test_support)
# Takes the place of operator new, so it belongs to the program that wants it.
set(DORVEN_NO_MEMORY "${PROJECT_SOURCE_DIR}/test_support/src/no_memory.cpp")
