#include "frame_delivery.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <sstream>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "platform.h"
#include "ring_reader.h"
#include "simulator.h"
#include "strip.h"

namespace {

using simulator::DeliveryOptions;
using simulator::FaultKind;
using simulator::FrameDelivery;
using simulator::ImageRing;
using simulator::ImageSource;
using simulator::RenderedImages;
using simulator::Simulator;
using simulator::SimulatorOptions;
using simulator::SimulatorTotals;
using simulator::Strike;
using testing::ElementsAre;

constexpr frames::ImageFormat kFormat{900, 60, 1};

/// Rendered images that record how they are drawn.
class WatchedImages : public ImageSource {
public:
    explicit WatchedImages(const frames::StripWish& strip = {}) : ImageSource(kFormat, strip), _images(images(strip)) {}

    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frame, std::optional<std::uint64_t> before) override {
        drawn.push_back(frame);
        const std::uint32_t crc = _images.draw(pixels, frame, before);
        _drawnNs = platform_monotonicNanoseconds();
        return crc;
    }
    void record(std::uint64_t frame) override {
        recorded.push_back(frame);
        recordedNs = platform_monotonicNanoseconds();
        longestAheadNs = std::max(longestAheadNs, recordedNs - _drawnNs);
        if (whenRecorded) whenRecorded();
    }
    std::uint8_t stripFlags() const override { return _images.stripFlags(); }
    std::size_t memoryBytes() const override { return _images.memoryBytes(); }

    std::function<void()> whenRecorded;
    std::vector<std::uint64_t> drawn, recorded;
    std::int64_t recordedNs = 0;      // of the last record
    std::int64_t longestAheadNs = 0;  // from the end of a drawing to the record of its frame

private:
    static RenderedImages images(const frames::StripWish& strip) {
        simulator::PatternOptions options;
        options.settings.strip = strip;
        return RenderedImages(kFormat, options);
    }

    std::int64_t _drawnNs = 0;
    RenderedImages _images;
};

class FrameDeliveryTest : public testing::Test {
protected:
    FrameDeliveryTest() {
        _options.lineCount = 3;
        EXPECT_EQ(_ring.open(), ImageRing::OpenResult::opened);
        _delivery.ringLaid();
        EXPECT_TRUE(_reader.attach());
    }

    /// Takes the oldest image and expects a certain frame, complete, with every byte below the strip.
    void expectFrame(std::uint64_t frame) {
        const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetReadLine(_reader.memory()));
        ASSERT_TRUE(line) << frame;
        std::vector<std::uint8_t> expected(kFormat.bytes());
        RenderedImages(kFormat).draw(expected.data(), frame, std::nullopt);
        const std::size_t below = frames::stripLines(kFormat) * kFormat.lineBytes();
        EXPECT_EQ(std::memcmp(line + 24 + below, expected.data() + below, kFormat.bytes() - below), 0) << frame;
        const auto image = _reader.take();
        EXPECT_EQ(image->header.imageCounter, frame);
        EXPECT_EQ(image->inspection.kind, frames::ImageKind::simulated) << frame;
        EXPECT_EQ(image->inspection.strip->frameNumber, frame);
    }
    bool deliver(std::uint64_t frame, const std::vector<Strike>& faults = {}) {
        return _delivery.deliver(_source, frame, faults);
    }
    void drawAhead(std::uint64_t frame) { _delivery.drawAhead(_source, frame); }

    test::LogRecorder _log;
    DeliveryOptions _options;
    ImageRing _ring{kFormat.bytes(), 3};
    PreciseTimer _timer;
    SimulatorTotals _totals;
    FrameDelivery _delivery{_options, 100, _ring, _timer, nullptr, _totals};
    WatchedImages _source;
    test::RingReader _reader{kFormat};
};

TEST_F(FrameDeliveryTest, AFrameThatWasDrawnAheadIsNotDrawnAgain) {
    deliver(0);
    drawAhead(1);
    drawAhead(1);
    EXPECT_THAT(_source.recorded, ElementsAre(0));
    EXPECT_EQ(_ring.waiting(), 1u);
    deliver(1);
    EXPECT_THAT(_source.drawn, ElementsAre(0, 1));
    EXPECT_THAT(_source.recorded, ElementsAre(0, 1));
    expectFrame(0);
    expectFrame(1);
}

TEST_F(FrameDeliveryTest, TheStampIsReadWhenAllElseIsDone) {
    drawAhead(0);
    deliver(0);
    EXPECT_GE(_reader.take()->inspection.strip->timeStampNs, static_cast<std::uint64_t>(_source.recordedNs));
}

TEST_F(FrameDeliveryTest, WithoutAStripItsLinesAreBlackInSlotsThatAreUsedAgain) {
    _options.strip = false;
    for (std::uint64_t frame = 0; frame < 9; ++frame) {
        drawAhead(frame);
        auto* const pixels = _ring.slotPixels();
        std::fill_n(pixels, frames::stripLines(kFormat) * kFormat.lineBytes(), 99);  // as a reader may have left them
        deliver(frame);
        const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetReadLine(_reader.memory()));
        ASSERT_TRUE(line);
        EXPECT_EQ(std::count(line + 24, line + 24 + frames::stripLines(kFormat) * kFormat.lineBytes(), 0),
                  frames::stripLines(kFormat) * kFormat.lineBytes());
        MMemLineFifo_ReleaseLine(_reader.memory());
    }
}

TEST_F(FrameDeliveryTest, AnotherFrameThanTheOneDrawnAheadIsDrawnInItsPlace) {
    for (std::uint64_t frame = 0; frame < 40; frame += 5) {
        drawAhead(frame);
        deliver(frame + 3);
        expectFrame(frame + 3);
    }
    EXPECT_EQ(_source.recorded.size(), 8u);
    EXPECT_EQ(_source.drawn.size(), 16u);
}

TEST_F(FrameDeliveryTest, NothingIsDrawnAheadIntoAFullRingOrNone) {
    for (std::uint64_t frame = 0; frame < 3; ++frame) deliver(frame);
    drawAhead(3);
    EXPECT_THAT(_source.drawn, ElementsAre(0, 1, 2));
    expectFrame(0);
    deliver(3);
    for (std::uint64_t frame = 1; frame < 4; ++frame) expectFrame(frame);
    _ring.close();
    drawAhead(4);
    EXPECT_THAT(_source.drawn, ElementsAre(0, 1, 2, 3));
}

TEST_F(FrameDeliveryTest, WhatWasDrawnAheadInARingThatIsLaidAnewIsDrawnAgain) {
    drawAhead(0);
    const std::uint8_t* const before = _ring.slotPixels();
    _ring.recreateFor(kFormat.bytes());
    _delivery.ringLaid();
    ASSERT_EQ(_ring.slotPixels(), before);
    std::memset(_ring.slotPixels(), 77, kFormat.bytes());
    ASSERT_TRUE(_reader.attach());
    deliver(0);
    expectFrame(0);
    EXPECT_THAT(_source.drawn, ElementsAre(0, 0));
}

TEST_F(FrameDeliveryTest, ADroppedFrameThatWasDrawnAheadIsRecordedNowhere) {
    drawAhead(0);
    deliver(0, {{FaultKind::drop, 0}});
    drawAhead(1);
    deliver(1);
    expectFrame(1);
    EXPECT_THAT(_source.recorded, ElementsAre(1));
}

TEST_F(FrameDeliveryTest, AFrameThatIsHeldBackIsDrawnApartAndItsSuccessorsStayWhole) {
    drawAhead(0);
    deliver(0, {{FaultKind::reorder, 0}});
    drawAhead(1);
    deliver(1);
    expectFrame(1);
    expectFrame(0);
    drawAhead(2);
    deliver(2);
    expectFrame(2);
    EXPECT_THAT(_source.recorded, ElementsAre(0, 1, 2));
}

TEST_F(FrameDeliveryTest, WhatWasDrawnAheadIsForgottenWhenTheSlotIsTakenByAnotherImage) {
    deliver(0, {{FaultKind::reorder, 0}});
    drawAhead(1);
    _delivery.deliverHeld();
    expectFrame(0);
    deliver(1);
    expectFrame(1);
    // The same slot comes again and contains the number that was drawn ahead.
    drawAhead(2);
    deliver(3);
    for (std::uint64_t frame = 4; frame < 7; ++frame) {
        expectFrame(frame - 1);
        deliver(frame);
    }
    expectFrame(6);
    deliver(2);
    expectFrame(2);
}

TEST_F(FrameDeliveryTest, ATornFrameIsTornAlsoWhenItWasDrawnAhead) {
    _delivery.setTearing(true);
    deliver(0);
    expectFrame(0);
    drawAhead(20);
    deliver(20, {{FaultKind::torn, 0}});
    EXPECT_EQ(_reader.take()->inspection.kind, frames::ImageKind::torn);
    drawAhead(21);
    deliver(21);
    expectFrame(21);
}

constexpr frames::StripWish kWishes[] = {
    {frames::StripForm::cells8, frames::StripPlace::bottom}, {frames::StripForm::cells4, frames::StripPlace::top},
    {frames::StripForm::cells4, frames::StripPlace::bottom}, {frames::StripForm::line, frames::StripPlace::top},
    {frames::StripForm::line, frames::StripPlace::bottom},
};

TEST_F(FrameDeliveryTest, AnyFormOfTheStripVerifiesAndATornImageIsToldInEach) {
    _delivery.setTearing(true);
    std::uint64_t frame = 0;
    for (const frames::StripWish& wish : kWishes) {
        WatchedImages source(wish);
        _delivery.ringLaid();
        for (const FaultKind kind : {FaultKind::repeat, FaultKind::torn, FaultKind::repeat}) {
            const std::vector<Strike> faults{{kind, 0}};
            _delivery.deliver(source, frame += 20, kind == FaultKind::torn ? faults : std::vector<Strike>());
            const auto image = _reader.take();
            ASSERT_TRUE(image);
            EXPECT_EQ(image->inspection.kind,
                      kind == FaultKind::torn ? frames::ImageKind::torn : frames::ImageKind::simulated);
            EXPECT_EQ(image->inspection.layout, stripLayout(kFormat, wish));
            EXPECT_EQ(image->inspection.strip->frameNumber, frame);
        }
    }
}

TEST_F(FrameDeliveryTest, WithoutAStripItsLinesAreBlackAtTheBottomToo) {
    _options.strip = false;
    WatchedImages source({frames::StripForm::cells4, frames::StripPlace::bottom});
    _delivery.deliver(source, 3);
    const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetReadLine(_reader.memory()));
    ASSERT_TRUE(line);
    const std::uint8_t* const strip = line + 24 + source.strip().firstLine * kFormat.lineBytes();
    const auto bytes = static_cast<std::ptrdiff_t>(source.strip().lines * kFormat.lineBytes());
    EXPECT_GT(bytes, 0);
    EXPECT_EQ(std::count(strip, strip + bytes, 0), bytes);
    EXPECT_LT(std::count(line + 24, strip, 0), strip - line - 24);
}

TEST_F(FrameDeliveryTest, AFrameWhoseRoomAHostTakesBackMeanwhileCountsAsRefused) {
    const auto moveReadIndex = [this](std::uint64_t index) {
        std::atomic_ref(static_cast<LineFifoHeader*>(_reader.memory())->readIndex).store(index);
    };
    _source.whenRecorded = [&] { moveReadIndex(1); };  // as if three waited
    deliver(0);
    EXPECT_EQ(_totals.written, 0u);
    EXPECT_EQ(_totals.refused, 1u);
    EXPECT_EQ(_ring.slotIndex(), 0u);
    _source.whenRecorded = nullptr;
    moveReadIndex(0);
    deliver(1);
    expectFrame(1);
    EXPECT_EQ(_totals.written, 1u);
}

// One frame drawn long before it was recorded is enough: none would be if they were drawn at their slots.
TEST(FrameDelivery, ARunDrawsItsFramesInTheTimeBetweenSlots) {
    const test::LogRecorder quiet;
    SimulatorOptions options;
    options.size = kFormat;
    options.pacing.framesPerSecond = 50;
    options.pacing.frameCount = 20;
    options.delivery.lineCount = 20;
    std::ostringstream people;
    WatchedImages source;
    Simulator simulator(options, source, people);
    EXPECT_EQ(simulator.run(), 0);
    EXPECT_EQ(source.recorded.size(), simulator.totals().written);
    EXPECT_GT(source.longestAheadNs, 5'000'000);
}

}  // namespace
