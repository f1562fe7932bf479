#include "machine_memory_posix.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <system_error>

#include <unistd.h>

#include "machine_memory.h"
#include "regular_file.h"

namespace {

/// One version of control groups: where their folders are, and which file contains the limit.
struct Hierarchy {
    const char* folder;  // below the mount
    const char* file;
};
constexpr Hierarchy kVersion1{"/memory", "memory.limit_in_bytes"};
constexpr Hierarchy kVersion2{"", "memory.max"};

// The text of a small file whose size the system does not report; empty when it cannot be read.
std::string textIn(const std::string& path) {
    RegularFile file;
    std::string text(std::size_t{1} << 16, '\0');
    std::string ignored;
    const std::ptrdiff_t count = file.open(path, ignored) ? file.read(text.data(), text.size()) : 0;
    text.resize(static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
    return text;
}

// The number in a file; none when it contains a word ("max") or cannot be read.
std::optional<std::uint64_t> numberIn(const std::string& path) {
    const std::string text = textIn(path);
    std::uint64_t number = 0;
    const auto failure = std::from_chars(text.data(), text.data() + text.size(), number).ec;
    return failure == std::errc() ? std::optional(number) : std::nullopt;
}

void takeSmaller(std::optional<std::uint64_t>& smallest, const std::optional<std::uint64_t>& other) {
    if (other) smallest = std::min(smallest.value_or(*other), *other);
}

// Takes the limits of a group and all groups above it, up to the mount.
void takeGroup(std::optional<std::uint64_t>& smallest, const std::string& mount, const Hierarchy& hierarchy,
               std::string group) {
    const std::string root = mount + hierarchy.folder;
    for (;;) {
        takeSmaller(smallest, numberIn(root + group + "/" + hierarchy.file));
        if (group.empty()) return;
        group.resize(std::min(group.rfind('/'), group.size() - 1));
    }
}

bool namesMemory(const std::string& controllers) {
    return ("," + controllers + ",").find(",memory,") != std::string::npos;
}

}  // namespace

std::optional<std::uint64_t> ControlGroups_MemoryLimit(const std::string& membership, const std::string& mount) {
    std::optional<std::uint64_t> smallest;
    std::istringstream lines(textIn(membership));
    for (std::string line; std::getline(lines, line);) {
        // Number of the hierarchy, its controllers (none in version 2), the group: "7:memory:/a/b", "0::/a/b".
        const std::size_t first = line.find(':');
        const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
        if (second == std::string::npos) continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        std::string group = line.substr(second + 1);
        if (group == "/") group.clear();
        if (controllers.empty())
            takeGroup(smallest, mount, kVersion2, group);
        else if (namesMemory(controllers))
            takeGroup(smallest, mount, kVersion1, group);
    }
    return smallest;
}

std::uint64_t platform_machineMemoryBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageBytes = sysconf(_SC_PAGESIZE);
    const std::uint64_t machine =
        pages > 0 && pageBytes > 0 ? static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageBytes) : 0;
    const auto limit = ControlGroups_MemoryLimit("/proc/self/cgroup", "/sys/fs/cgroup");
    if (!limit) return machine;
    return machine == 0 ? *limit : std::min(machine, *limit);
}
