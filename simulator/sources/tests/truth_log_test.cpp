#include "truth_log.h"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "image_source.h"
#include "strip.h"
#include "temporary_folder.h"

namespace {

using frames::findPattern;
using frames::ImageFormat;
using frames::Motion;
using frames::stripLines;
using nlohmann::json;
using simulator::PatternOptions;
using simulator::RenderedImages;
using simulator::TruthLog;
using testing::HasSubstr;

/// Accepts a number of bytes and no more, like a disk that gets full.
class FullDisk : public std::streambuf {
public:
    explicit FullDisk(std::size_t room) : _room(room) {}

protected:
    int_type overflow(int_type character) override {
        if (_room == 0) return traits_type::eof();
        --_room;
        return character;
    }

private:
    std::size_t _room;
};

class TruthLogTest : public testing::Test {
protected:
    PatternOptions circleIn(const std::string& path) {
        PatternOptions options;
        options.pattern = findPattern("circle");
        options.settings.motion = {Motion::Kind::sine, 8.0, 50};
        std::string error;
        options.truth = TruthLog::open(path, error);
        EXPECT_TRUE(options.truth) << error;
        return options;
    }
    static void draw(RenderedImages& images, std::uint64_t frame) {
        std::vector<std::uint8_t> bytes(images.format().bytes());
        images.draw(bytes.data(), frame, std::nullopt);
        images.record(frame);
    }
    static std::vector<json> linesOf(const std::string& path) {
        std::vector<json> lines;
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) lines.push_back(json::parse(line));
        return lines;
    }

    test::TemporaryFolder _folder;
    const std::string _path = _folder.path("truth.jsonl");
};

TEST_F(TruthLogTest, FirstLineSaysWhatIsDrawn) {
    const PatternOptions options = circleIn(_path);
    RenderedImages images({640, 480, 2}, options);
    draw(images, 4);
    const json first = linesOf(_path).at(0);
    EXPECT_EQ(first["schema"], "dorven-truth/1");
    EXPECT_EQ(first["pattern"], "circle");
    EXPECT_EQ(first["width_px"], 640);
    EXPECT_EQ(first["height_px"], 480);
    EXPECT_EQ(first["bytes_per_pixel"], 2);
    EXPECT_EQ(first["strip_lines"], stripLines({640, 480, 2}));
    EXPECT_EQ(first["strip_first_line"], 0);
    EXPECT_EQ(first["dark_grey"], 8192);
    EXPECT_EQ(first["bright_grey"], 57343);
    EXPECT_EQ(first["white_grey"], 65535);
    EXPECT_EQ(first["motion"], "sine");
    EXPECT_EQ(first["motion_px"], 8.0);
    EXPECT_EQ(first["motion_period_frames"], 50);
    EXPECT_THAT(first["convention"].get<std::string>(), HasSubstr("whole numbers are the centres of pixels"));
}

TEST_F(TruthLogTest, EachDrawnFrameHasALineWithEveryDigitOfItsPlace) {
    const PatternOptions options = circleIn(_path);
    RenderedImages images({640, 480, 1}, options);
    for (const std::uint64_t frame : {0u, 1u, 7u}) draw(images, frame);
    const auto pattern = makePattern(*options.pattern, images.format(), options.settings);
    const std::vector<json> lines = linesOf(_path);
    ASSERT_EQ(lines.size(), 4u) << "complete before the file is closed";
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::uint64_t frame = i == 3 ? 7 : i - 1;
        EXPECT_EQ(lines[i]["frame"], frame);
        for (const auto& [key, value] : pattern->truth(frame)) EXPECT_EQ(lines[i][key].get<double>(), value) << key;
        EXPECT_TRUE(lines[i].contains("radius_px"));
    }
    EXPECT_TRUE(options.truth->complete());
}

TEST_F(TruthLogTest, OtherFormatBeginsAnewAndAnUnusedSourceWritesNothing) {
    const PatternOptions options = circleIn(_path);
    RenderedImages small({320, 240, 1}, options);
    const RenderedImages unused({100, 100, 1}, options);
    RenderedImages large({640, 480, 1}, options);
    draw(small, 0);
    draw(large, 1);
    draw(large, 2);
    const std::vector<json> lines = linesOf(_path);
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0]["width_px"], 320);
    EXPECT_EQ(lines[1]["frame"], 0);
    EXPECT_EQ(lines[2]["width_px"], 640);
    EXPECT_EQ(lines[4]["frame"], 2);
}

TEST_F(TruthLogTest, MotionsHaveNames) {
    for (const auto& [kind, name] : {std::pair{Motion::Kind::none, "none"}, std::pair{Motion::Kind::linear, "linear"},
                                     std::pair{Motion::Kind::sine, "sine"}, std::pair{Motion::Kind::step, "step"}}) {
        PatternOptions options = circleIn(_path);
        options.settings.motion.kind = kind;
        RenderedImages images({64, 64, 1}, options);
        draw(images, 0);
        EXPECT_EQ(linesOf(_path).at(0)["motion"], name);
    }
}

TEST_F(TruthLogTest, FormerFileIsEmptied) {
    _folder.file("truth.jsonl", "from before\n");
    circleIn(_path);
    EXPECT_TRUE(linesOf(_path).empty());
}

TEST_F(TruthLogTest, FileThatCannotBeMadeIsNamed) {
    std::string error;
    EXPECT_FALSE(TruthLog::open(_folder.path() + "/missing/t.jsonl", error));
    EXPECT_EQ(error, _folder.path() + "/missing/t.jsonl: cannot be written");
    EXPECT_FALSE(TruthLog::open(_folder.path(), error));
}

TEST_F(TruthLogTest, FullDiskIsNoticedAndDrawingGoesOn) {
    FullDisk disk(600);
    PatternOptions options;
    options.pattern = findPattern("edge");
    options.truth = std::make_shared<TruthLog>(std::make_unique<std::ostream>(&disk), "t.jsonl");
    RenderedImages images({64, 64, 1}, options);
    draw(images, 0);
    EXPECT_TRUE(options.truth->complete());
    for (std::uint64_t frame = 1; frame < 20; ++frame) draw(images, frame);
    EXPECT_FALSE(options.truth->complete());
    EXPECT_EQ(options.truth->problem(), "t.jsonl: could not be written to its end");
}

}  // namespace
