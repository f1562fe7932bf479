// The C-style functions over ini data with a malloc that fails on demand. No way of replacing malloc as a whole works
// on both systems, so their source is compiled here with another name for it.
#include "refused_malloc.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "MIniData.h"
#include "errtrace.h"

bool test::mallocFails = false;

namespace {

void* refusableMalloc(std::size_t size) {
    if (!test::mallocFails) return std::malloc(size);
    errno = ENOMEM;
    return nullptr;
}

}  // namespace

#define malloc refusableMalloc
#include "MIniData.cpp"
