// MBase64_Decode with any characters, in place and out of place: the results are the same, and encode to the same text
// except for the bits of its last character that belong to no byte.
#include <string>

#include "fuzz_target.h"
#include "mbase64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto length = static_cast<std::ptrdiff_t>(size);
    std::string bytes(size / 4 * 3 + 1, '#');
    const std::ptrdiff_t count = MBase64_Decode(bytes.data(), text.data(), length);
    std::string inPlace = text;
    fuzzExpect(MBase64_Decode(inPlace.data(), inPlace.data(), ~length) == count, "another result in place");
    if (count < 0) {
        fuzzExpect(count == -1 && size > 0, "a wrong failure");
        return 0;
    }
    bytes.resize(static_cast<std::size_t>(count));
    fuzzExpect(inPlace.compare(0, bytes.size(), bytes) == 0, "other bytes in place");

    std::string again(size, '#');
    fuzzExpect(MBase64_Encode(again.data(), bytes.data(), ~count) == length, "another length of the text");
    if (count % 3 != 0) {
        const std::size_t last = text.find('=') - 1;
        again[last] = text[last];
    }
    fuzzExpect(again == text, "another text");
    return 0;
}
