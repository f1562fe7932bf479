// stb with the settings used everywhere here.
#pragma once

#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_ONLY_BMP
#define STBI_NO_STDIO
#define STBI_WRITE_NO_STDIO
#define STBI_MAX_DIMENSIONS 65536

#include <stb/stb_image.h>
#include <stb/stb_image_write.h>

/// Deflates size bytes, with a zlib header. Returns a block of *packedSize bytes for free(), or null. The library
/// defines this function without declaring it.
extern "C" unsigned char* stbi_zlib_compress(unsigned char* data, int size, int* packedSize, int quality);
