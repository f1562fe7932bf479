// Y4mReader over any bytes, that come in pieces of any size: pictures as the header promises, an end, or a reason that
// a terminal can show.
#include <algorithm>
#include <cstring>

#include "fuzz_target.h"
#include "y4m_reader.h"

namespace {

constexpr std::size_t kMaxBytes = std::size_t{1} << 16;

using Result = frames::Y4mReader::Result;

}  // namespace

// The first byte: how many bytes come at a time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 1) return 0;
    const std::size_t piece = bytes[0];
    std::size_t at = 1;
    bool pausing = false;
    const auto source = [&](std::uint8_t* to, std::size_t wanted) -> std::ptrdiff_t {
        pausing = !pausing;
        if (pausing) return -1;
        const std::size_t count = std::min({wanted, piece + 1, size - at});
        std::memcpy(to, bytes + at, count);
        at += count;
        return static_cast<std::ptrdiff_t>(count);
    };
    frames::Y4mReader reader(source, kMaxBytes, "--image-memory");
    Result result = Result::waiting;
    while (result == Result::waiting) result = reader.readHeader();
    while (result == Result::ready || result == Result::waiting) {
        result = reader.readPicture();
        if (result != Result::ready) continue;
        fuzzExpect(reader.luma().size() == reader.format().lumaBytes(), "a picture of another size");
        fuzzExpect(reader.luma().size() <= kMaxBytes, "more memory than was allowed");
    }
    fuzzExpect((result == Result::failed) == !reader.error().empty(), "a refusal without a reason");
    fuzzExpect(std::ranges::all_of(reader.error(), [](char letter) { return letter >= ' ' && letter <= '~'; }),
               "a reason that a terminal obeys");
    return 0;
}
