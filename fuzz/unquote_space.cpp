// stl_string_unquote_space with any text: it never grows, a refused text stays, and quoting any text is undone.
#include <string>

#include "fuzz_target.h"
#include "stl_utilities.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string original(reinterpret_cast<const char*>(data), size);
    std::string text = original;
    if (stl_string_unquote_space(text)) {
        fuzzExpect(text.size() <= original.size(), "the text grew");
    } else {
        fuzzExpect(text == original, "a refused text changed");
    }

    std::string quoted = "\"";
    for (const char character : original) {
        if (character == '"' || character == '\\') quoted += '\\';
        quoted += character;
    }
    quoted += '"';
    fuzzExpect(stl_string_unquote_space(quoted) && quoted == original, "a quoted text does not come back");
    return 0;
}
