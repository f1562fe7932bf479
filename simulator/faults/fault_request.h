// Faults that can be provoked on purpose: their table, and their notation. docs/faults.md describes each of them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace simulator {

/// In the order in which they take effect when several strike at one frame.
enum class FaultKind {
    lateAnswer,
    wrongAnswer,
    recreate,
    hang,
    crash,
    wrongSize,
    garbageHeader,
    stall,
    drop,
    reorder,
    torn,
    counterWrap,
    timeBack,
    delay,
    jitter,
    repeat,
};

struct FaultRow {
    enum class Time { none, needed, optional };

    FaultKind kind;
    const char* name;
    Time time;         // whether a time follows the name
    bool ofImage;      // changes one image or its delivery; otherwise it strikes at the slot, image or not
    const char* does;  // one line for people
};

/// All faults.
std::span<const FaultRow> faultTable();

const FaultRow& rowOf(FaultKind kind);

/// At which frames a fault strikes.
struct FaultWhen {
    enum class Kind {
        once,         // not specified: at the frame from which the fault is in force; jitter from there on
        at,           // at frame `first`; jitter from there on
        every,        // at each multiple of `first` except 0
        probability,  // at each frame with that probability
        time,         // at the first frame that is due `timeNs` after the start or later; jitter from there on
        from,         // from frame `first` on
        range,        // at the frames first … last
    };
    Kind kind = Kind::once;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    double probability = 0.0;
    std::int64_t timeNs = 0;
};

/// A fault that a user requests.
struct FaultRequest {
    FaultKind kind = FaultKind::drop;
    std::int64_t timeNs = 0;  // of the fault itself; 0: not given
    FaultWhen when;
    std::string text;         // as written
    std::uint64_t since = 0;  // frame from which it is in force
};

/// Reads NAME[:TIME][@WHEN], such as "drop@100", "delay:20ms@every:50", "torn@p:0.01", "stall:5s@t:3s".
/// @return  None, with the reason and, for a misspelled name, the name that was probably meant.
std::optional<FaultRequest> parseFault(std::string_view text, std::string& error);

}  // namespace simulator
