#include "lost_memory.h"

void platform_explainLostMemory(const char*, int) {}
