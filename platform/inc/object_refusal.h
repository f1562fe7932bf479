// Why the system refuses to create a named object, in words for the user of a program.
#pragma once

#include <cstdint>
#include <string>

#include "platform.h"

/// A refusal, in words.
struct ObjectRefusal {
    std::string reason;        // what is wrong and where; if room is short: how much is free and how much is needed
    std::string remedy;        // what to do
    bool isAboutRoom = false;  // a smaller object would have fitted

    std::string text() const { return reason + "; " + remedy; }
};

/// Explains why CreateEventA or CreateFileMappingA has just refused an object. Changes nothing. Any thread.
///
/// @param name   The object's name.
/// @param error  The last error of the failed call.
/// @param bytes  Size of the shared memory; 0: an event.
ObjectRefusal platform_explainRefusal(const char* name, DWORD error, std::uint64_t bytes);

/// Room for shared memory.
struct ObjectRoom {
    std::string place;             // where it is kept: a folder, "the paging file"
    std::uint64_t freeBytes = 0;   // available to this user
    std::uint64_t totalBytes = 0;  // 0: the place has no limit of its own, or does not exist
};

/// Measures the room. Any thread.
ObjectRoom platform_lookAtRoom();

/// Bytes of room that shared memory of this size takes.
std::uint64_t platform_roomFor(std::uint64_t bytes);
