#include <cstdint>
#include <type_traits>

#include "NUV_Base.h"

namespace NUV {
namespace {

constexpr char32_t kReplacement = U'?';
constexpr char32_t kLastCharacter = 0x10FFFF;
constexpr bool kWideIs16Bit = sizeof(wchar_t) == 2;

struct Decoded {
    char32_t character;
    std::size_t units;  // taken from the text; 1 with kReplacement for what is not valid
};
constexpr Decoded kInvalid{kReplacement, 1};

bool isSurrogate(char32_t character) { return character >= 0xD800 && character <= 0xDFFF; }

std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if (lead < 0xC0) return 0;  // a continuation byte cannot begin a character
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    return lead < 0xF8 ? 4 : 0;
}

Decoded decodeNarrow(const std::string& text, std::size_t at) {
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};  // by length; shorter ones must be written shorter
    const auto lead = static_cast<unsigned char>(text[at]);
    const std::size_t length = sequenceLength(lead);
    if (length == 1) return {lead, 1};
    if (length == 0 || text.size() - at < length) return kInvalid;
    char32_t character = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[at + i]);
        if ((byte & 0xC0) != 0x80) return kInvalid;
        character = character << 6 | (byte & 0x3Fu);
    }
    if (character < kSmallest[length] || character > kLastCharacter || isSurrogate(character)) return kInvalid;
    return {character, length};
}

char32_t unitAt(const std::wstring& text, std::size_t at) {
    return static_cast<std::make_unsigned_t<wchar_t>>(text[at]);
}

Decoded decodeWide(const std::wstring& text, std::size_t at) {
    const char32_t unit = unitAt(text, at);
    if (unit > kLastCharacter) return kInvalid;
    if (!isSurrogate(unit)) return {unit, 1};
    if (!kWideIs16Bit || unit >= 0xDC00 || at + 1 == text.size()) return kInvalid;
    const char32_t second = unitAt(text, at + 1);
    if (second < 0xDC00 || second > 0xDFFF) return kInvalid;
    return {0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00), 2};
}

void append(std::wstring& text, char32_t character) {
    if (kWideIs16Bit && character > 0xFFFF) {
        text += static_cast<wchar_t>(0xD800 + ((character - 0x10000) >> 10));
        text += static_cast<wchar_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
    } else {
        text += static_cast<wchar_t>(character);
    }
}

void append(std::string& text, char32_t character) {
    const auto following = [&](int shift) { text += static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        text += static_cast<char>(character);
    } else if (character < 0x800) {
        text += static_cast<char>(0xC0 | (character >> 6));
        following(0);
    } else if (character < 0x10000) {
        text += static_cast<char>(0xE0 | (character >> 12));
        following(6);
        following(0);
    } else {
        text += static_cast<char>(0xF0 | (character >> 18));
        following(12);
        following(6);
        following(0);
    }
}

template <typename Target, typename Source, typename Decode>
Target converted(const Source& text, Decode decode) {
    Target result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Decoded decoded = decode(text, at);
        append(result, decoded.character);
        at += decoded.units;
    }
    return result;
}

}  // namespace

std::wstring CStringHelper::ToWString(const std::string& text) { return converted<std::wstring>(text, decodeNarrow); }

std::string CStringHelper::ToString(const std::wstring& text) { return converted<std::string>(text, decodeWide); }

}  // namespace NUV
