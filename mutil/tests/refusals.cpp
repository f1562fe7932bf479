#include "refusals.h"

#undef platform_vformat
#undef MBase64_Encode
#include <cstdarg>

#include "mbase64.h"
#include "platform.h"

int test::formatsRefused = 0;
bool test::encodesShort = false;

int refusableVformat(char* buffer, std::size_t size, const char* format, std::va_list arguments);
std::ptrdiff_t shortenedEncode(char* destination, const void* source, std::ptrdiff_t length);

int refusableVformat(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    if (test::formatsRefused == 0) return platform_vformat(buffer, size, format, arguments);
    --test::formatsRefused;
    if (size > 0) buffer[0] = '\0';
    return -1;
}

std::ptrdiff_t shortenedEncode(char* destination, const void* source, std::ptrdiff_t length) {
    return MBase64_Encode(destination, source, length) - (test::encodesShort ? 2 : 0);
}
