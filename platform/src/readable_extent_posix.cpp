#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "readable_extent.h"

namespace {

// A line of /proc/self/maps: "begin-end permissions offset device inode path".
struct Mapping {
    std::uintptr_t begin = 0, end = 0;
    std::string permissions;
    std::uint64_t offset = 0;
    std::string device;
    std::uint64_t inode = 0;  // 0: memory without a file

    bool readable() const { return !permissions.empty() && permissions[0] == 'r'; }
    bool continues(const Mapping& before) const {
        return begin == before.end && device == before.device && inode == before.inode &&
               (inode == 0 || offset == before.offset + (before.end - before.begin));
    }
};

bool parse(const std::string& line, Mapping& mapping) {
    std::istringstream stream(line);
    char dash = 0;
    stream >> std::hex >> mapping.begin >> dash >> mapping.end >> mapping.permissions >> mapping.offset >>
        mapping.device >> std::dec >> mapping.inode;
    return !stream.fail();
}

}  // namespace

std::size_t host::readableBytes(const void* address) {
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    std::ifstream maps("/proc/self/maps");
    if (!maps) return std::numeric_limits<std::size_t>::max();
    std::size_t bytes = 0;
    Mapping last;
    std::string line;
    while (std::getline(maps, line)) {  // in the order of addresses
        Mapping mapping;
        if (!parse(line, mapping) || mapping.end <= place) continue;
        const bool belongs = bytes == 0 ? mapping.begin <= place : mapping.continues(last);
        if (!belongs || !mapping.readable()) break;
        bytes = mapping.end - place;
        last = mapping;
    }
    return bytes;
}
