#include "strip_advice.h"

namespace frames {
namespace {

const char* nameOf(StripForm form) { return kStripForms[static_cast<std::size_t>(form)].name; }

// The form that takes the fewest lines, of those that fit.
StripLayout smallest(const ImageFormat& format, StripPlace place) {
    StripLayout best;
    for (std::size_t form = 0; form < kStripForms.size(); ++form) {
        const StripLayout layout = stripLayout(format, {static_cast<StripForm>(form), place});
        if (layout.lines > 0 && (best.lines == 0 || layout.lines < best.lines)) best = layout;
    }
    return best;
}

}  // namespace

std::string stripShareAdvice(const ImageFormat& format, const StripLayout& layout, const std::string& whose) {
    if (layout.lines * 10 <= format.height) return {};
    std::string text = "the strip covers " + std::to_string(layout.lines) + " of " + std::to_string(format.height) +
                       " lines (" + std::to_string((layout.lines * 100 + format.height / 2) / format.height) + " %)";
    const StripLayout best = smallest(format, layout.place);
    if (best.lines < layout.lines)
        text += "; " + whose + "--strip-cell " + nameOf(best.form) + " takes " + std::to_string(best.lines);
    return text;
}

std::string striplessAdvice(const ImageFormat& format, const StripWish& wish) {
    if (stripLines(format, wish) > 0) return {};
    const StripLayout fitting = stripLayout(format, {std::nullopt, wish.place});
    if (fitting.lines == 0) return "images this small carry no strip, so a host cannot verify them";
    return "images this small carry no strip of --strip-cell " + std::string(nameOf(wish.form.value_or(fitting.form))) +
           ", so a host cannot verify them; --strip-cell " + nameOf(fitting.form) + " fits";
}

}  // namespace frames
