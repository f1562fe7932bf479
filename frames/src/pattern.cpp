#include "pattern.h"

#include <algorithm>
#include <cctype>

#include "crc32_append.h"
#include "line_pattern.h"
#include "pattern_makers.h"

namespace frames {
namespace {

// clang-format off
constexpr PatternRow kPatterns[] = {
    // standard name            short name      kind                    digits description
    {"TestTarget",              "target",        PatternKind::moving,    true,
     "grey steps and a grid, a moving disc and bar", PatternStore::image, makeTarget},
    {"Black",                   "black",         PatternKind::still,     true,
     "uniformly 0", PatternStore::fewLines, makeBlack},
    {"White",                   "white",         PatternKind::still,     true,
     "uniformly the brightest grey", PatternStore::fewLines, makeWhite},
    {"GreyHorizontalRamp",      "ramp-h",        PatternKind::still,     true,
     "from black on the left to white on the right", PatternStore::fewLines, makeHorizontalRamp},
    {"GreyVerticalRamp",        "ramp-v",        PatternKind::still,     true,
     "from black at the top to white at the bottom", PatternStore::image, makeVerticalRamp},
    {"GreyHorizontalRampMoving", "ramp-h-moving", PatternKind::moving,   true,
     "ramp-h, 1 pixel further right with each frame", PatternStore::fewLines, makeMovingHorizontalRamp},
    {"GreyVerticalRampMoving",  "ramp-v-moving", PatternKind::moving,    true,
     "ramp-v, 1 line further down with each frame", PatternStore::image, makeMovingVerticalRamp},
    {"HorizontalLineMoving",    "line-h-moving", PatternKind::moving,    true,
     "a white line on dark, 1 line further down with each frame", PatternStore::image, makeMovingHorizontalLine},
    {"VerticalLineMoving",      "line-v-moving", PatternKind::moving,    true,
     "a white line on dark, 1 pixel further right with each frame", PatternStore::fewLines, makeMovingVerticalLine},
    {"ColorBar",                "bars",          PatternKind::still,     true,
     "eight bars from white to black, coloured in 3 and 4 bytes per pixel", PatternStore::fewLines, makeBars},
    {"FrameCounter",            "counter",       PatternKind::moving,    false,
     "the frame number in digits as large as fit", PatternStore::fewLines, makeCounter},
    {"Checkers",                "checkers",      PatternKind::still,     true,
     "black and white fields of 32 x 32 pixels", PatternStore::fewLines, makeCheckers},
    {"MovingBall",              "ball",          PatternKind::moving,    true,
     "a white disc that bounces between the edges", PatternStore::disc, makeBall},
    {"ZonePlate",               "zone-plate",    PatternKind::still,     true,
     "rings up to the finest that pixels can show", PatternStore::image, makeZonePlate},
    {"Noise",                   "noise",         PatternKind::moving,    true,
     "uniform noise, the same for the same --pattern-seed", PatternStore::manyLines, makeNoise},
    {"Edge",                    "edge",          PatternKind::measuring, false,
     "a vertical edge, dark on the left", PatternStore::fewLines, makeEdge},
    {"SlantedEdge",             "slanted-edge",  PatternKind::measuring, false,
     "the edge leaning by 1 pixel in 11 lines, 5.19 degrees", PatternStore::fewLines, makeSlantedEdge},
    {"Circle",                  "circle",        PatternKind::measuring, false,
     "a bright disc, a third of the shorter side wide", PatternStore::disc, makeCircle},
    {"DotGrid",                 "dot-grid",      PatternKind::measuring, false,
     "bright discs of radius 16, 64 pixels apart", PatternStore::fewLines, makeDotGrid},
    {"Checkerboard",            "checkerboard",  PatternKind::measuring, false,
     "squares of 64 x 64 pixels", PatternStore::fewLines, makeCheckerboard},
};
// clang-format on

// The part of a name that is compared.
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

std::size_t patternBytes(const PatternRow& row, const ImageFormat& format) {
    const auto lines = [&format](std::size_t count, std::size_t width) {
        constexpr std::size_t kBlocks = std::size_t{2} * 32;  // of the allocator's own
        const std::size_t sums = (width - format.width + 1) * sizeof(std::uint32_t);
        return count * (width * format.bytesPerPixel + sums + sizeof(StoredLine) + kBlocks);
    };
    const std::size_t always = sizeof(Crc32Append) + lines(4, format.width);
    switch (row.store) {
        case PatternStore::fewLines:
            return always + lines(24, 2 * format.width + format.height / 11 + 1);
        case PatternStore::manyLines:
            // Including the two that are being made, and what each line of an image shows.
            return always + lines((std::size_t{2} << noiseLineBits(format.height)) + 2, format.width + 255) +
                   format.height * 4 * sizeof(void*);
        case PatternStore::disc:
            return always + lines(std::min(format.width, format.height) / 4 + 1, 2 * format.width);
        case PatternStore::image:
            break;
    }
    return always + lines(format.height, format.width);
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
