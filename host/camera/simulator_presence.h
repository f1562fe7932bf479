// Whether somebody sends images, and what to say when nobody does.
#pragma once

namespace host {

/// A simulator has the ring of images, or something has left a writer's mark in it. Looks from outside: it attaches to
/// nothing.
bool simulatorRuns();

constexpr const char* kNoSimulator = "no simulator is running: start dorven-simulator; `dorven-host doctor` tells more";

constexpr const char* kSilentSimulator =
    "a simulator runs and sends nothing: it may hang or be paused; `dorven-host doctor` tells more";

/// The first for a line of 80 columns whose last one stays free.
constexpr const char* kNoSimulatorInShort = "no simulator is running: start dorven-simulator; see `dorven-host doctor`";

}  // namespace host
