#include "image_stream.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using host::ImageStream;
using host::KeptFrame;
using host::StreamForm;
using testing::HasSubstr;

KeptFrame frame(std::size_t width, std::size_t bytesPerPixel = 1, double frameTimeS = 0.01) {
    KeptFrame kept;
    kept.format = {width, 2, bytesPerPixel};
    kept.bytes.assign(kept.format.bytes(), 'x');
    kept.note.frameTimeS = frameTimeS;
    return kept;
}

class ImageStreamTest : public testing::Test {
protected:
    ImageStream stream(const host::StreamSettings& settings) {
        return ImageStream(settings, [this](const void* bytes, std::size_t size) {
            if (_answer == StandardOutputWrite::done) _written.append(static_cast<const char*>(bytes), size);
            return _answer;
        });
    }
    bool write(ImageStream& stream, const KeptFrame& kept) { return stream.write(kept, kept.bytes, _error); }

    StandardOutputWrite _answer = StandardOutputWrite::done;
    std::string _written, _error;
};

TEST_F(ImageStreamTest, RawIsThePixelsAlone) {
    ImageStream raw = stream({StreamForm::raw});
    EXPECT_TRUE(write(raw, frame(3)));
    EXPECT_TRUE(write(raw, frame(3)));
    EXPECT_EQ(_written, "xxxxxxxxxxxx");
}

TEST_F(ImageStreamTest, Y4mBeginsWithSizeAndRateAndMarksEachImage) {
    ImageStream y4m = stream({StreamForm::y4m});
    EXPECT_TRUE(write(y4m, frame(3)));
    EXPECT_TRUE(write(y4m, frame(3)));
    EXPECT_EQ(_written, "YUV4MPEG2 W3 H2 F100:1 Ip A1:1 Cmono\nFRAME\nxxxxxxFRAME\nxxxxxx");
}

TEST_F(ImageStreamTest, Y4mNamesTheBitsOfDeepPixelsAndTheRateOfWhatIsSaved) {
    ImageStream deep = stream({StreamForm::y4m, 5, 12});
    EXPECT_TRUE(write(deep, frame(1, 2)));
    EXPECT_EQ(_written, "YUV4MPEG2 W1 H2 F20:1 Ip A1:1 Cmono12\nFRAME\nxxxx");
}

TEST_F(ImageStreamTest, RateIsAFractionThatPlayersKnow) {
    struct Row {
        double seconds;
        const char* rate;
    };
    for (const Row& row :
         {Row{0.01, "100:1"}, Row{1.0 / 30, "30:1"}, Row{1001.0 / 30000, "30000:1001"},
          Row{1001.0 / 60000, "60000:1001"}, Row{0.08, "25:2"}, Row{10.0, "1:10"}, Row{1.0 / 1.23456, "1000000:810005"},
          Row{0.0, "0:0"}, Row{-1.0, "0:0"}, Row{1e30, "0:0"}, Row{std::numeric_limits<double>::quiet_NaN(), "0:0"}})
        EXPECT_EQ(host::y4mRate(row.seconds), row.rate) << row.seconds;
}

TEST_F(ImageStreamTest, ImageOfAnotherSizeIsRefusedWhereTheStreamHasOneSize) {
    for (const StreamForm form : {StreamForm::raw, StreamForm::y4m}) {
        ImageStream one = stream({form});
        EXPECT_TRUE(write(one, frame(3)));
        EXPECT_FALSE(write(one, frame(4)));
        EXPECT_THAT(_error, HasSubstr("has another size than the first one"));
        EXPECT_TRUE(write(one, frame(3))) << "the stream goes on";
    }
    ImageStream files = stream({StreamForm::files});
    EXPECT_TRUE(write(files, frame(3)));
    EXPECT_TRUE(write(files, frame(4)));
}

TEST_F(ImageStreamTest, DepthWithoutAFormIsRefusedBeforeTheFirstImage) {
    EXPECT_TRUE(stream({StreamForm::raw}).takes({3, 2, 3}, _error));
    EXPECT_TRUE(stream({StreamForm::y4m}).takes({3, 2, 2}, _error));
    EXPECT_FALSE(stream({StreamForm::y4m}).takes({3, 2, 3}, _error));
    EXPECT_THAT(_error, HasSubstr("y4m has no form for images of 3 bytes per pixel"));
}

TEST_F(ImageStreamTest, StreamWhoseReaderHasGoneHasEndedForGood) {
    ImageStream raw = stream({StreamForm::raw});
    EXPECT_FALSE(raw.hasEnded());
    _answer = StandardOutputWrite::readerGone;
    EXPECT_FALSE(write(raw, frame(3)));
    EXPECT_TRUE(raw.hasEnded());
    EXPECT_TRUE(raw.readerIsGone());
    _answer = StandardOutputWrite::done;
    EXPECT_FALSE(write(raw, frame(3)));
    EXPECT_EQ(_error, "standard output: its reader has gone");
    EXPECT_EQ(_written, "");
}

TEST_F(ImageStreamTest, ReaderThatTakesNothingAfterAStopIsAFailure) {
    ImageStream raw = stream({StreamForm::raw});
    _answer = StandardOutputWrite::stopped;
    EXPECT_FALSE(write(raw, frame(3)));
    EXPECT_TRUE(raw.hasEnded());
    EXPECT_FALSE(raw.readerIsGone());
    EXPECT_THAT(_error, HasSubstr("takes nothing any more"));
}

}  // namespace
