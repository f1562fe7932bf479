// decodePicture with any bytes: gives a whole picture, or a reason that a terminal can show.
#include "picture.h"

#include <algorithm>
#include <string>

#include "crc32.h"
#include "fuzz_target.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMaxBytes = std::size_t{1} << 20;

std::size_t bigEndian(const std::uint8_t* bytes) {
    return std::size_t{bytes[0]} << 24 | std::size_t{bytes[1]} << 16 | std::size_t{bytes[2]} << 8 | bytes[3];
}

// Corrects the check sum of each chunk of a PNG file, because hardly any other input passes.
void mendCheckSums(Bytes& file) {
    constexpr std::size_t kSignature = 8;
    for (std::size_t at = kSignature; at + 12 <= file.size();) {
        const std::size_t bytes = bigEndian(&file[at]);
        if (bytes > file.size() - at - 12) return;
        const std::uint32_t crc = frames::crc32(&file[at + 4], bytes + 4);
        for (std::size_t byte = 0; byte < 4; ++byte)
            file[at + 8 + bytes + byte] = static_cast<std::uint8_t>(crc >> (24 - 8 * byte));
        at += bytes + 12;
    }
}

}  // namespace

// The first byte: bit 0 requests colours, bit 1 corrects check sums.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 1) return 0;
    Bytes file(bytes + 1, bytes + size);
    if (bytes[0] & 2) mendCheckSums(file);
    frames::PictureWish wish;
    wish.colour = (bytes[0] & 1) != 0;
    wish.maxBytes = kMaxBytes;
    frames::Picture picture{1, 1, 1, {7}};
    std::string error;
    if (!decodePicture(file, wish, picture, error)) {
        fuzzExpect(!error.empty(), "a refusal without a reason");
        fuzzExpect(std::ranges::all_of(error, [](char character) { return character >= ' ' && character <= '~'; }),
                   "a reason that a terminal obeys");
        fuzzExpect(picture.samples.size() == 1 && picture.samples[0] == 7, "a refusal that changed the picture");
        return 0;
    }
    fuzzExpect(picture.width > 0 && picture.height > 0, "a picture without pixels");
    fuzzExpect(picture.channels == 1 || (wish.colour && picture.channels == 3), "other channels than were asked for");
    fuzzExpect(picture.samples.size() == picture.width * picture.height * picture.channels, "samples are missing");
    fuzzExpect(file.size() + picture.samples.size() * sizeof picture.samples[0] <= kMaxBytes,
               "more memory than was allowed");
    return 0;
}
