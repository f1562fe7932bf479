#include "pattern.h"

#include <cctype>

#include "pattern_makers.h"

namespace frames {
namespace {

// clang-format off
constexpr PatternRow kPatterns[] = {
    // standard name            short name      kind                    digits description
    {"TestTarget",              "target",        PatternKind::moving,    true,
     "grey steps and a grid, a moving disc and bar", makeTarget},
    {"Black",                   "black",         PatternKind::still,     true,
     "uniformly 0", makeBlack},
    {"White",                   "white",         PatternKind::still,     true,
     "uniformly the brightest grey", makeWhite},
    {"GreyHorizontalRamp",      "ramp-h",        PatternKind::still,     true,
     "from black on the left to white on the right", makeHorizontalRamp},
    {"GreyVerticalRamp",        "ramp-v",        PatternKind::still,     true,
     "from black at the top to white at the bottom", makeVerticalRamp},
    {"GreyHorizontalRampMoving", "ramp-h-moving", PatternKind::moving,   true,
     "ramp-h, 1 pixel further right with each frame", makeMovingHorizontalRamp},
    {"GreyVerticalRampMoving",  "ramp-v-moving", PatternKind::moving,    true,
     "ramp-v, 1 line further down with each frame", makeMovingVerticalRamp},
    {"HorizontalLineMoving",    "line-h-moving", PatternKind::moving,    true,
     "a white line on dark, 1 line further down with each frame", makeMovingHorizontalLine},
    {"VerticalLineMoving",      "line-v-moving", PatternKind::moving,    true,
     "a white line on dark, 1 pixel further right with each frame", makeMovingVerticalLine},
    {"ColorBar",                "bars",          PatternKind::still,     true,
     "eight bars from white to black, coloured in 3 and 4 bytes per pixel", makeBars},
    {"FrameCounter",            "counter",       PatternKind::moving,    false,
     "the frame number in digits as large as fit", makeCounter},
    {"Checkers",                "checkers",      PatternKind::still,     true,
     "black and white fields of 32 x 32 pixels", makeCheckers},
    {"MovingBall",              "ball",          PatternKind::moving,    true,
     "a white disc that bounces between the edges", makeBall},
    {"ZonePlate",               "zone-plate",    PatternKind::still,     true,
     "rings up to the finest that pixels can show", makeZonePlate},
    {"Noise",                   "noise",         PatternKind::moving,    true,
     "uniform noise, the same for the same --pattern-seed", makeNoise},
    {"Edge",                    "edge",          PatternKind::measuring, false,
     "a vertical edge, dark on the left", makeEdge},
    {"SlantedEdge",             "slanted-edge",  PatternKind::measuring, false,
     "the edge leaning by 1 pixel in 11 lines, 5.19 degrees", makeSlantedEdge},
    {"Circle",                  "circle",        PatternKind::measuring, false,
     "a bright disc, a third of the shorter side wide", makeCircle},
    {"DotGrid",                 "dot-grid",      PatternKind::measuring, false,
     "bright discs of radius 16, 64 pixels apart", makeDotGrid},
    {"Checkerboard",            "checkerboard",  PatternKind::measuring, false,
     "squares of 64 x 64 pixels", makeCheckerboard},
};
// clang-format on

// What of a name counts.
std::string bare(std::string_view name) {
    std::string counting;
    for (const char character : name) {
        if (character != '-' && character != '_')
            counting += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return counting;
}

}  // namespace

std::span<const PatternRow> patterns() { return kPatterns; }

const PatternRow* findPattern(std::string_view name) {
    const std::string wanted = bare(name);
    for (const PatternRow& row : kPatterns) {
        if (bare(row.name) == wanted || bare(row.standardName) == wanted) return &row;
    }
    return nullptr;
}

std::unique_ptr<Pattern> makePattern(const PatternRow& row, const ImageFormat& format, PatternSettings settings) {
    settings.digits = settings.digits.value_or(row.digits);
    return row.make(format, settings);
}

const char* patternKindName(PatternKind kind) {
    switch (kind) {
        case PatternKind::still:
            return "still";
        case PatternKind::moving:
            return "moving";
        case PatternKind::measuring:
            break;
    }
    return "measuring";
}

}  // namespace frames
