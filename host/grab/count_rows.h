// What a grab counts, by name.
#pragma once

#include <cstdint>
#include <span>

#include "grab_statistics.h"

namespace host {

struct CountRow {
    const char* key;    // in the JSON
    const char* label;  // for people
    std::uint64_t GrabResults::*value;
};

/// In the order in which they are printed.
std::span<const CountRow> countRows();

}  // namespace host
