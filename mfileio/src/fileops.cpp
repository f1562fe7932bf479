#include "fileops.h"

#include "platform.h"

bool file_access(const char* name) { return _access(name, 0) == 0; }
