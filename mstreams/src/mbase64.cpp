#include "mbase64.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "errtrace.h"

namespace {

const char kFile[] = "mstreams/src/mbase64";

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kPadding = 0x40;  // above every 6-bit value, as is kIllegal
constexpr std::uint8_t kIllegal = 0x80;

// Both characters for each 12-bit half of a group, the first one in the low byte: one lookup writes two characters.
constexpr auto kPairs = [] {
    std::array<std::uint16_t, 4096> pairs{};
    for (std::size_t half = 0; half < pairs.size(); ++half) {
        pairs[half] = static_cast<std::uint16_t>(kAlphabet[half >> 6] | kAlphabet[half & 0x3F] << 8);
    }
    return pairs;
}();

constexpr auto kValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kIllegal);
    for (std::size_t value = 0; value < kAlphabet.size(); ++value) {
        values[static_cast<std::uint8_t>(kAlphabet[value])] = static_cast<std::uint8_t>(value);
    }
    values['='] = kPadding;
    return values;
}();

struct Length {
    explicit Length(std::ptrdiff_t length)
        : terminated(length >= 0), size(static_cast<std::size_t>(terminated ? length : ~length)) {}

    bool terminated;
    std::size_t size;
};

// The four characters for a group's 24 bits.
std::uint32_t encodedGroup(std::uint32_t bits) {
    return kPairs[bits >> 12] | static_cast<std::uint32_t>(kPairs[bits & 0xFFF]) << 16;
}

// The values of a group's four characters. Kept in registers while the bytes before them are written.
struct Group {
    explicit Group(const char* source)
        : first(valueOf(source[0])),
          second(valueOf(source[1])),
          third(valueOf(source[2])),
          fourth(valueOf(source[3])) {}

    static std::uint32_t valueOf(char character) { return kValues[static_cast<std::uint8_t>(character)]; }

    bool whole() const { return (first | second | third | fourth) < kPadding; }

    std::uint32_t bits() const { return first << 18 | second << 12 | third << 6 | fourth; }

    std::uint32_t first;
    std::uint32_t second;
    std::uint32_t third;
    std::uint32_t fourth;
};

// Reports the first illegal character among the group's first count characters; the last one if all others are legal.
std::ptrdiff_t refuse(const char* group, std::size_t count) {
    std::size_t i = 0;
    while (i + 1 < count && Group::valueOf(group[i]) < kPadding) ++i;
    M_ERRTRACE("MBase64_Decode(): illegal character 0x%02x read, terminating",
               static_cast<unsigned>(static_cast<std::uint8_t>(group[i])));
    return -1;
}

// Number of bytes in the last group: 3, or fewer with padding.
std::size_t bytesOfLastGroup(const Group& group) {
    if (group.fourth != kPadding) return 3;
    return group.third == kPadding ? 1 : 2;
}

// Whether all characters that form that many bytes are legal.
bool makesBytes(const Group& group, std::size_t count) {
    const std::uint32_t third = count > 1 ? group.third : 0;
    const std::uint32_t fourth = count > 2 ? group.fourth : 0;
    return (group.first | group.second | third | fourth) < kPadding;
}

void storeBytes(std::uint8_t* destination, std::uint32_t bits, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) destination[i] = static_cast<std::uint8_t>(bits >> (16 - 8 * i));
}

}  // namespace

std::ptrdiff_t MBase64_Encode(char* destination, const void* source, std::ptrdiff_t length) {
    const Length input(length);
    const auto* const bytes = static_cast<const std::uint8_t*>(source);
    const std::size_t whole = input.size / 3;
    const std::size_t rest = input.size % 3;
    const std::size_t encoded = MBase64_EncodedSize(input.size);

    // From the end to the start, and each group's bytes are read before its characters are written. So writing in place
    // never overwrites bytes that are still to be read.
    if (rest > 0) {
        const std::uint8_t* const group = bytes + 3 * whole;
        const std::uint32_t bits = static_cast<std::uint32_t>(group[0] << 16 | (rest > 1 ? group[1] << 8 : 0));
        const std::uint32_t characters = encodedGroup(bits);
        char* const target = destination + 4 * whole;
        std::memcpy(target, &characters, sizeof characters);
        target[3] = '=';
        if (rest == 1) target[2] = '=';
    }
    for (std::size_t i = whole; i-- > 0;) {
        const std::uint8_t* const group = bytes + 3 * i;
        const std::uint32_t characters =
            encodedGroup(static_cast<std::uint32_t>(group[0] << 16 | group[1] << 8 | group[2]));
        std::memcpy(destination + 4 * i, &characters, sizeof characters);
    }
    if (input.terminated) destination[encoded] = '\0';
    return static_cast<std::ptrdiff_t>(encoded);
}

std::ptrdiff_t MBase64_Decode(void* destination, const char* source, std::ptrdiff_t length) {
    const Length input(length);
    if (input.size % 4 != 0) {
        M_ERRTRACE("MBase64_Decode(): source_len has to be multiple of 4, not %Iu", input.size);
        return -1;
    }
    auto* const bytes = static_cast<std::uint8_t*>(destination);
    std::size_t written = 0;
    if (input.size > 0) {
        const char* const last = source + input.size - 4;
        for (; source != last; source += 4) {
            const Group group(source);
            if (!group.whole()) return refuse(source, 4);
            // A fourth byte lands where the next group's first one belongs; in place, that character has been read
            // already.
            const std::uint32_t bits = group.bits();
            const std::uint32_t ordered = bits >> 16 | (bits & 0xFF00) | (bits & 0xFF) << 16;
            std::memcpy(bytes + written, &ordered, sizeof ordered);
            written += 3;
        }
        const Group group(last);
        const std::size_t count = bytesOfLastGroup(group);
        if (!makesBytes(group, count)) return refuse(last, count + 1);
        storeBytes(bytes + written, group.bits(), count);
        written += count;
    }
    if (input.terminated) bytes[written] = 0;
    return static_cast<std::ptrdiff_t>(written);
}
