// The newest entries of a program, in memory that is taken once: to add one neither takes memory nor fails.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "log_core.h"

/// An entry that equals one of the newest is counted there and takes no place of its own, so that two that alternate
/// for hours push nothing out. The log's lock guards it.
class KeptLog {
public:
    static constexpr std::size_t kCapacity = 1000;
    static constexpr std::size_t kCompared = 16;  // newest entries that a new one may repeat

    /// @param nowMs  Since 1970, by the clock on the wall.
    void add(const LogEntryView& entry, long long nowMs) noexcept;

    /// The oldest entry that is kept and has this number or a greater one; false: there is none.
    /// @param number  Counts from 0. Set to the number behind that entry.
    bool next(unsigned long long& number, LogKeptEntry& entry) const noexcept;

private:
    struct Place {
        std::uint64_t hash = 0;  // of everything that has to be equal
        LogKeptEntry entry{};
    };

    Place& placeOf(unsigned long long number) { return _places[number % kCapacity]; }
    bool countRepeat(std::uint64_t hash, long long nowMs) noexcept;

    std::array<Place, kCapacity> _places{};
    unsigned long long _added = 0;  // entries that have taken a place
};
