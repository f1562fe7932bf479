#include "tiff_tags.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <vector>

namespace frames {
namespace {

using Bytes = std::vector<std::uint8_t>;

// TIFF 6.0, section 2, and its form with 64-bit offsets, as the library reads it.
struct Layout {
    std::size_t firstPicture;  // place of its offset
    std::size_t offsetBytes;
    std::size_t countBytes;  // of the number of tags
    std::size_t tagBytes;
};
constexpr Layout kClassic{4, 4, 2, 12};
constexpr Layout kBig{8, 8, 8, 20};
constexpr std::uint64_t kMostTags = 4096;

// Bytes of one value, by the number of its type.
constexpr std::uint8_t kTypeBytes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};

class Numbers {
public:
    explicit Numbers(const Bytes& file) : _file(file), _isLittle(!file.empty() && file[0] == 'I') {}

    std::optional<std::uint64_t> at(std::uint64_t place, std::size_t bytes) const {
        if (place > _file.size() || bytes > _file.size() - place) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t index = 0; index < bytes; ++index)
            value = value << 8 | _file[place + (_isLittle ? bytes - 1 - index : index)];
        return value;
    }

private:
    const Bytes& _file;
    bool _isLittle;
};

}  // namespace

bool tiffTagsFitTheirFile(const std::vector<std::uint8_t>& file) {
    const Numbers numbers(file);
    const auto version = numbers.at(2, 2);
    constexpr std::uint64_t kClassicVersion = 42, kBigVersion = 43;
    if (version != kClassicVersion && version != kBigVersion) return true;
    const Layout& layout = version == kBigVersion ? kBig : kClassic;
    const auto picture = numbers.at(layout.firstPicture, layout.offsetBytes);
    const auto count = picture ? numbers.at(*picture, layout.countBytes) : std::nullopt;
    if (!count) return true;
    if (*count > kMostTags) return false;
    std::uint64_t rest = file.size();
    for (std::uint64_t tag = 0; tag < *count; ++tag) {
        const std::uint64_t place = *picture + layout.countBytes + tag * layout.tagBytes;
        const auto type = numbers.at(place + 2, 2);
        const auto values = numbers.at(place + 4, layout.offsetBytes);
        if (!type || !values) return true;
        const std::uint64_t bytes = *type < std::size(kTypeBytes) ? kTypeBytes[*type] : 0;
        if (bytes == 0) continue;
        if (*values > rest / bytes) return false;
        rest -= *values * bytes;
    }
    return true;
}

}  // namespace frames
