// The payload of both fifos between camera and simulator. These bytes are shared between processes; docs/wire-format.md
// draws them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kest::dorven {

struct ImagesMessage {
    std::uint32_t command;  //  0  a command; 0 in an answer: failed
    std::uint32_t value32;  //  4  image format
    std::uint64_t first;    //  8  width, or the bits of a double: pixel size in x
    std::uint64_t second;   // 16  height, or the bits of a double: pixel size in y
};                          // 24
static_assert(std::is_trivially_copyable_v<ImagesMessage> && sizeof(ImagesMessage) == 24);
static_assert(offsetof(ImagesMessage, value32) == 4 && offsetof(ImagesMessage, first) == 8);
static_assert(offsetof(ImagesMessage, second) == 16);

// Commands.
constexpr std::uint32_t kCommandFailed = 0;       // in an answer
constexpr std::uint32_t kCommandImageSize = 1;    // the simulator asks: first = width, second = height
constexpr std::uint32_t kCommandPixelSize = 2;    // the simulator asks: first, second = x and y in micrometres
constexpr std::uint32_t kCommandImageFormat = 3;  // the simulator asks: value32 = bytes per pixel
constexpr std::uint32_t kCommandSnap = 4;         // the host asks for a picture

}  // namespace kest::dorven
