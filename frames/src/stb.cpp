// The one place where the bodies of the stb libraries are compiled.
#include "decoder_memory.h"

#define STBI_MALLOC(size) frames::DecoderMemory::take(size)
#define STBI_REALLOC_SIZED(block, oldSize, size) frames::DecoderMemory::grow(block, size)
#define STBI_FREE(block) frames::DecoderMemory::giveBack(block)
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include "stb_settings.h"
