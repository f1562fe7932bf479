// Limits of control groups, read from files; apart from the machine's own ones for tests.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The smallest memory limit of the groups that a process is in, and of those that these are in.
///
/// @param membership  File with the groups of the process, such as /proc/self/cgroup.
/// @param mount       Folder of the groups, such as /sys/fs/cgroup. A container may see its own group there, whatever
///                    the membership says, so the folder itself counts, too.
/// @return            Bytes; none when nothing is limited.
std::optional<std::uint64_t> ControlGroups_MemoryLimit(const std::string& membership, const std::string& mount);
