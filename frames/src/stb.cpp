// The one place where the bodies of the stb libraries are compiled.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include "stb_settings.h"
