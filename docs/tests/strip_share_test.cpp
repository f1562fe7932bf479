// What the strip covers, as docs/simulator.md says it for some sizes.
#include <string>

#include <gtest/gtest.h>

#include "image_size.h"
#include "page.h"
#include "strip.h"

namespace {

using frames::StripForm;
using frames::StripPlace;

std::string shareText(const frames::ImageFormat& format, StripForm form) {
    const std::size_t lines = stripLines(format, {form, StripPlace::top});
    if (lines == 0) return "-";
    return std::to_string(lines) + (lines == 1 ? " line, " : " lines, ") +
           std::to_string((lines * 100 + format.height / 2) / format.height) + " %";
}

TEST(SimulatorPage, StripTableIsWhatTheFormsCover) {
    const auto rows = test::Page(SIMULATOR_PAGE).tableOf("## The strip: every frame proves itself");
    ASSERT_GE(rows.size(), 10u);
    for (const auto& row : rows) {
        const std::size_t comma = row.at(0).find(", ");
        frames::ImageFormat format;
        ASSERT_TRUE(frames::parseSize(row.at(0).substr(0, comma), format)) << row.at(0);
        format.bytesPerPixel = std::stoul(row.at(0).substr(comma + 2));
        for (const StripForm form : {StripForm::cells8, StripForm::cells4, StripForm::line})
            EXPECT_EQ(row.at(1 + static_cast<std::size_t>(form)), shareText(format, form)) << row.at(0);
        const frames::StripLayout byDefault = stripLayout(format);
        EXPECT_EQ(row.at(4),
                  byDefault.lines == 0 ? "none" : frames::kStripForms[static_cast<std::size_t>(byDefault.form)].name)
            << row.at(0);
    }
}

}  // namespace
