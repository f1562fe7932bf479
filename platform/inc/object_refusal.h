// Why the system refuses to make a named object, in words for the user of a program.
#pragma once

#include <cstdint>
#include <string>

#include "platform.h"

/// A refusal, in words.
struct ObjectRefusal {
    std::string reason;        // what is wrong and where; where it is about room: what is free and what is needed
    std::string remedy;        // what to do
    bool isAboutRoom = false;  // less would have fitted

    std::string text() const { return reason + "; " + remedy; }
};

/// Explains why CreateEventA or CreateFileMappingA has just refused an object. Looks, and changes nothing. Any thread.
///
/// @param name   The object's.
/// @param error  Their last error.
/// @param bytes  Of shared memory; 0: an event.
ObjectRefusal platform_explainRefusal(const char* name, DWORD error, std::uint64_t bytes);

/// Room for shared memory.
struct ObjectRoom {
    std::string place;             // where it is kept: a folder, "the paging file"
    std::uint64_t freeBytes = 0;   // that this user may have
    std::uint64_t totalBytes = 0;  // 0: it has no limit of its own, or is not there
};

/// Looks at the room. Any thread.
ObjectRoom platform_lookAtRoom();

/// Bytes of the room that shared memory takes.
std::uint64_t platform_roomFor(std::uint64_t bytes);
