# GoogleTest and GoogleMock from Debian's sources, built for whichever system is the target.
include(GoogleTest)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
# g++ 12 sees a false overlap in std::string there when it optimises.
target_compile_options(gtest PRIVATE -Wno-restrict -O0)
target_compile_options(gmock PRIVATE -O0)
_dorven_add_precompiled_gmock()
add_subdirectory(test_support)
