#include <sys/stat.h>

#include "file_identity.h"
#include "paths_posix.h"

FileIdentity platform_identityOf(const char* name) {
    struct stat status {};
    if (stat(nativePath(name).c_str(), &status) != 0) return {};
    return {status.st_dev, status.st_ino};
}
