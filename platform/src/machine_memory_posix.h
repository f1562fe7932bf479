// Limits of control groups, read from files; separate from the machine's own limits so that tests can use other files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The smallest memory limit of the groups that a process is in, and of their parent groups.
///
/// @param membership  File with the groups of the process, such as /proc/self/cgroup.
/// @param mount       Folder of the groups, such as /sys/fs/cgroup. A container may see its own group there, whatever
///                    the membership says, so the folder itself counts, too.
/// @return            Bytes; none when there is no limit.
std::optional<std::uint64_t> ControlGroups_MemoryLimit(const std::string& membership, const std::string& mount);
