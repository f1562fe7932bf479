// The header of every payload in a message fifo. These bytes are shared between processes; docs/wire-format.md draws
// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kest::dorven {

struct FrameHeader {
    std::uint32_t step;      //  0  a step code
    std::uint32_t reserved;  //   4  0; an answer repeats the request's value
    std::uint64_t id;        //   8  the request's random number, never 0 or 1; an answer repeats it
};                           // 16  payload begins here
static_assert(std::is_trivially_copyable_v<FrameHeader> && sizeof(FrameHeader) == 16);
static_assert(offsetof(FrameHeader, reserved) == 4 && offsetof(FrameHeader, id) == 8);

// Step codes.
constexpr std::uint32_t kStepWait = 0;   // idle, nothing to send
constexpr std::uint32_t kStepSend = 1;   // a request, or the answer to one
constexpr std::uint32_t kStepClose = 2;  // the messenger is shutting down
constexpr std::uint32_t kStepError = 3;  // the link failed while a step was pending; never sent

}  // namespace kest::dorven
