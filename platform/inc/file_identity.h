// Which file a name leads to, whatever the name is: two names of one file have the same identity.
#pragma once

#include <compare>
#include <cstdint>

struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t file = 0;  // on the volume; 0: cannot be found out

    bool known() const { return file != 0; }
    auto operator<=>(const FileIdentity&) const = default;
};

/// The file or folder that a name leads to, links followed. Not known of nothing, and on a volume without such numbers.
/// Call it for what is known to be a file or a folder: on Windows a pipe would take it for a visitor.
///
/// @param name  As the calls of platform.h take it: on Linux '\\' separates folders, too; may end with a separator.
FileIdentity platform_identityOf(const char* name);
