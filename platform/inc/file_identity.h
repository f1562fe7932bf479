// Which file a name leads to: two names of one file have the same identity.
#pragma once

#include <compare>
#include <cstdint>

struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t file = 0;  // on the volume; 0: unknown

    bool known() const { return file != 0; }
    auto operator<=>(const FileIdentity&) const = default;
};

/// The file or folder that a name leads to; links are followed. Unknown when nothing is there, and on a volume without
/// such numbers. Call it only for files and folders: on Windows a pipe would treat the call as a client.
///
/// @param name  As for the calls of platform.h: on Linux '\\' separates folders, too. It may end with a separator.
FileIdentity platform_identityOf(const char* name);
