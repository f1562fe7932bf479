#include "kept_log.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "one_line.h"

namespace {

constexpr std::string_view kCutMark = "...";

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// What does not fit is left out at the end, and the mark stands there.
template <std::size_t size>
void keepOnOneLine(char (&kept)[size], const char* text) {
    std::size_t used = 0;
    bool cut = false;
    putOnOneLine(text, [&](std::string_view piece) {
        cut = cut || used + piece.size() >= size;
        if (cut) return;
        std::memcpy(kept + used, piece.data(), piece.size());
        used += piece.size();
    });
    if (cut) {
        used = std::min(used, size - 1 - kCutMark.size());
        while (used > 0 && continuesCharacter(kept[used])) --used;
        std::memcpy(kept + used, kCutMark.data(), kCutMark.size());
        used += kCutMark.size();
    }
    kept[used] = '\0';
}

// FNV-1a
struct Hash {
    std::uint64_t value = 0xcbf29ce484222325;

    void add(char byte) { value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001b3; }
    void add(const char* text) {
        for (; *text; ++text) add(*text);
        add('\0');
    }
    void add(int number) {
        for (std::size_t byte = 0; byte < sizeof number; ++byte)
            add(static_cast<char>(static_cast<unsigned>(number) >> (8 * byte)));
    }
};

std::uint64_t hashOf(const LogEntryView& entry) {
    Hash hash;
    hash.add(static_cast<int>(entry.sink));
    hash.add(entry.level);
    hash.add(entry.line);
    hash.add(entry.file);
    hash.add(entry.text);
    return hash.value;
}

}  // namespace

void KeptLog::add(const LogEntryView& entry, long long nowMs) noexcept {
    const std::uint64_t hash = hashOf(entry);
    if (countRepeat(hash, nowMs)) return;
    Place& place = placeOf(_added++);
    place.hash = hash;
    place.entry.sink = entry.sink;
    place.entry.level = entry.level;
    place.entry.line = entry.line;
    place.entry.times = 1;
    place.entry.firstMs = place.entry.lastMs = nowMs;
    keepOnOneLine(place.entry.file, entry.file);
    keepOnOneLine(place.entry.text, entry.text);
}

bool KeptLog::next(unsigned long long& number, LogKeptEntry& entry) const noexcept {
    number = std::max(number, _added - std::min<unsigned long long>(_added, kCapacity));
    if (number >= _added) return false;
    entry = _places[number % kCapacity].entry;
    ++number;
    return true;
}

bool KeptLog::countRepeat(std::uint64_t hash, long long nowMs) noexcept {
    for (unsigned long long back = 1; back <= std::min<unsigned long long>(_added, kCompared); ++back) {
        Place& place = placeOf(_added - back);
        if (place.hash != hash) continue;
        ++place.entry.times;
        place.entry.lastMs = nowMs;
        return true;
    }
    return false;
}
