// MIniData with any text and options: lines are accepted or refused for a stated reason, accepted content reads the
// same again, and getters and changes work with all names in it.
#include <string>

#include "MIniData.h"
#include "fuzz_target.h"

namespace {

// Queries and changes everything that was read; sections and entries are named by texts without a byte 0.
void useAll(MIniData& data) {
    for (const std::string& section : data.GetSectionNames()) {
        for (const std::string& entry : data.GetEntryNames(section.c_str())) {
            std::string text;
            std::int32_t number = 0;
            std::int64_t longNumber = 0;
            double real = 0;
            data.GetStringEntry(section.c_str(), entry.c_str(), text);
            data.GetLongEntry(section.c_str(), entry.c_str(), number);
            data.GetLongLongEntry(section.c_str(), entry.c_str(), longNumber);
            data.GetDoubleEntry(section.c_str(), entry.c_str(), real);
            if (text.size() % 3 == 0) data.DeleteEntry(section.c_str(), entry.c_str());
            if (text.size() % 3 == 1) data.SetStringEntry(section.c_str(), entry.c_str(), text.c_str());
            if (text.size() % 3 == 2) data.SetLongEntry(section.c_str(), (entry + entry).c_str(), number);
        }
        if (data.SectionExists(section.c_str())) data.RenameSection(section.c_str(), (section + "2").c_str());
    }
}

}  // namespace

// The first byte is the options.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 1) return 0;
    const std::uint32_t options = bytes[0];
    const std::string text(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    MIniData data(options);
    const bool accepted = data.SetContentString(text);
    fuzzExpect(accepted == data.IsOpen(), "open is not what the result says");
    fuzzExpect(accepted == data.GetLastErrorText().empty(), "a refusal without a reason, or a reason without one");
    fuzzExpect(data.GetLastErrorText().size() < 1024, "the reason is too long");

    const std::string content = data.GetContentString();
    fuzzExpect(content.size() <= text.size() + 1, "there is more than was given");
    MIniData again(options);
    fuzzExpect(again.SetContentString(content), "what was accepted is refused");
    fuzzExpect(again.GetContentString() == content, "what was accepted reads differently");
    fuzzExpect(MIniData(again).GetContentString() == content, "a copy differs");

    useAll(data);
    const std::size_t lines = data.GetContentString().size();
    fuzzExpect(lines == 0 || lines >= data.GetSectionCount() * 3, "a section without a header");
    return 0;
}
