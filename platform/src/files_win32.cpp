#include "platform.h"

void platform_takePermissions(const char*, const char*) {}
