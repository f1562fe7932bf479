#include "image_ring.h"

#include <atomic>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "image_line.h"
#include "log_recorder.h"
#include "object_names.h"
#include "ring_reader.h"
#include "strip.h"

namespace {

using image_road::ImageLineHeader;
using simulator::ImageRing;
using OpenResult = ImageRing::OpenResult;
using namespace std::chrono_literals;

constexpr frames::ImageFormat kFormat{900, 20, 1};

// Fills the slot with a stamped image and publishes it.
bool write(ImageRing& ring, std::uint64_t number) {
    std::uint8_t* pixels = ring.slotPixels();
    if (!pixels) return false;
    const frames::Canvas canvas{pixels, kFormat};
    std::memset(pixels, static_cast<int>(number & 0xFF), kFormat.bytes());
    frames::stampStrip(canvas, {0, number, number * 1000, frames::crcOutsideStrip(canvas)});
    return ring.publish({number, 0.5 + static_cast<double>(number), 0.25});
}

// Takes `count` images in order; returns the number of the first wrong one, or -1 when all are correct.
int readInOrder(test::RingReader& reader, std::uint64_t count) {
    for (std::uint64_t number = 0; number < count; ++number) {
        const auto image = reader.waitAndTake();
        if (!image || image->header.imageCounter != number ||
            image->header.timeStampS != 0.5 + static_cast<double>(number) ||
            image->inspection.kind != frames::ImageKind::simulated || image->inspection.strip->frameNumber != number)
            return static_cast<int>(number);
    }
    return -1;
}

void writeInOrder(ImageRing& ring, std::uint64_t count) {
    for (std::uint64_t number = 0; number < count;) {
        if (write(ring, number)) {
            ++number;
        } else {
            std::this_thread::sleep_for(1ms);
        }
    }
}

class ImageRingTest : public testing::Test {
protected:
    test::LogRecorder _log;
};

TEST_F(ImageRingTest, OpenLaysAnEmptyFifoOfWholeImages) {
    ImageRing ring(kFormat.bytes(), 3);
    ASSERT_EQ(ring.open(), OpenResult::opened);
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attach());
    EXPECT_EQ(MMemLineFifo_GetLineLength(reader.memory()), 24 + kFormat.bytes());
    EXPECT_EQ(MMemLineFifo_GetFree(reader.memory()), 3u);
    EXPECT_TRUE(reader.writerAttached());
    EXPECT_FALSE(reader.take());
    EXPECT_THAT(_log.errorTraces(), testing::IsEmpty());
}

TEST_F(ImageRingTest, LinesAreAMultipleOfEightBytesLong) {
    for (std::size_t bytes = 1; bytes <= 17; ++bytes) {
        const ImageRing ring(bytes, 2);
        EXPECT_EQ(ring.lineBytes() % 8, 0u);
        EXPECT_GE(ring.lineBytes(), bytes + 24);
        EXPECT_LT(ring.lineBytes(), bytes + 24 + 8);
        EXPECT_EQ(ring.memoryBytes(), 64 + 3 * ring.lineBytes());
    }
}

TEST_F(ImageRingTest, PublishedLineBeginsWithCounterTimeStampAndFrameTime) {
    ImageRing ring(kFormat.bytes(), 3);
    ring.open();
    test::RingReader reader(kFormat);
    reader.attach();
    ring.slotPixels()[0] = 77;
    ASSERT_TRUE(ring.publish({0x0102030405060708u, 1.5, 0.01}));
    const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetReadLine(reader.memory()));
    ASSERT_TRUE(line);
    const std::uint8_t counter[] = {8, 7, 6, 5, 4, 3, 2, 1};
    double timeStamp = 0;
    double frameTime = 0;
    std::memcpy(&timeStamp, line + 8, 8);
    std::memcpy(&frameTime, line + 16, 8);
    EXPECT_EQ(std::memcmp(line, counter, 8), 0);
    EXPECT_EQ(timeStamp, 1.5);
    EXPECT_EQ(frameTime, 0.01);
    EXPECT_EQ(line[24], 77);
}

TEST_F(ImageRingTest, FullRingGivesNoSlotUntilTheReaderReleasesOne) {
    ImageRing ring(kFormat.bytes(), 2);
    ring.open();
    test::RingReader reader(kFormat);
    reader.attach();
    EXPECT_TRUE(write(ring, 0));
    EXPECT_TRUE(write(ring, 1));
    EXPECT_EQ(ring.slotPixels(), nullptr);
    EXPECT_FALSE(ring.publish({}));
    EXPECT_TRUE(reader.take());
    EXPECT_TRUE(write(ring, 2));
}

TEST_F(ImageRingTest, SlotIndexGoesRoundTheRing) {
    ImageRing ring(kFormat.bytes(), 2);
    ring.open();
    test::RingReader reader(kFormat);
    reader.attach();
    for (const std::size_t expected : {0u, 1u, 2u, 0u, 1u}) {
        EXPECT_EQ(ring.slotIndex(), expected);
        write(ring, 0);
        reader.take();
    }
}

TEST_F(ImageRingTest, EveryPublishedImageSignalsTheEvent) {
    ImageRing ring(kFormat.bytes(), 2);
    ring.open();
    test::RingReader reader(kFormat);
    while (reader.event().Wait(0.0) == 1) {
    }
    write(ring, 0);
    EXPECT_EQ(reader.event().Wait(0.0), 1);
    EXPECT_EQ(reader.event().Wait(0.0), -1);
    ring.wakeReader();
    EXPECT_EQ(reader.event().Wait(0.0), 1);
}

TEST_F(ImageRingTest, ClosedRingTakesNoImage) {
    ImageRing ring(kFormat.bytes(), 2);
    EXPECT_FALSE(ring.isOpen());
    EXPECT_EQ(ring.slotPixels(), nullptr);
    EXPECT_FALSE(ring.publish({}));
    ring.open();
    EXPECT_TRUE(ring.isOpen());
    ring.close();
    EXPECT_FALSE(ring.isOpen());
    EXPECT_EQ(ring.slotPixels(), nullptr);
}

TEST_F(ImageRingTest, CloseDetachesTheWriterAndLeavesWaitingImagesToTheReader) {
    ImageRing ring(kFormat.bytes(), 3);
    ring.open();
    test::RingReader reader(kFormat);
    reader.attach();
    write(ring, 0);
    write(ring, 1);
    ring.close();
    EXPECT_FALSE(reader.writerAttached());
    EXPECT_TRUE(reader.attached());
    EXPECT_EQ(readInOrder(reader, 2), -1);
    reader.detach();
    EXPECT_FALSE(test::RingReader::memoryExists());
}

TEST_F(ImageRingTest, WriterThatComesBackDetachesTheReaderWhichThenFindsAnEmptyRing) {
    auto first = std::make_unique<ImageRing>(kFormat.bytes(), 3);
    first->open();
    test::RingReader reader(kFormat);
    reader.attach();
    write(*first, 7);
    first.reset();
    ImageRing second(kFormat.bytes(), 3);
    ASSERT_EQ(second.open(), OpenResult::opened);
    EXPECT_FALSE(reader.attached());
    EXPECT_FALSE(reader.take());
    ASSERT_TRUE(reader.attach());
    writeInOrder(second, 2);
    EXPECT_EQ(readInOrder(reader, 2), -1);
}

TEST_F(ImageRingTest, SmallerRingFitsIntoLargerMemoryThatAReaderHolds) {
    auto first = std::make_unique<ImageRing>(kFormat.bytes() * 2, 3);
    first->open();
    test::RingReader reader(kFormat);
    reader.attach();
    first.reset();
    ImageRing second(kFormat.bytes(), 3);
    ASSERT_EQ(second.open(), OpenResult::opened);
    ASSERT_TRUE(reader.attach());
    EXPECT_EQ(MMemLineFifo_GetLineLength(reader.memory()), 24 + kFormat.bytes());
}

TEST_F(ImageRingTest, SecondWriterIsRefusedAndLeavesTheRingAlone) {
    ImageRing first(kFormat.bytes(), 3);
    first.open();
    test::RingReader reader(kFormat);
    reader.attach();
    ImageRing second(kFormat.bytes(), 3);
    EXPECT_EQ(second.open(), OpenResult::otherWriter);
    EXPECT_TRUE(reader.attached());
    writeInOrder(first, 3);
    EXPECT_EQ(readInOrder(reader, 3), -1);
}

TEST_F(ImageRingTest, MemoryThatCannotBeHadIsReported) {
    ImageRing ring(std::size_t{1} << 60, 7);
    EXPECT_EQ(ring.open(), OpenResult::failed);
    EXPECT_FALSE(ring.isOpen());
    EXPECT_EQ(_log.errorTraces().size(), 1u);
}

CHILD_ROLE(holdsMemory) {
    void* memory = MSharedMem_Create(image_road::kImagesMemory, std::stoul(arguments.at(0)));
    MProcessEvent holding(arguments.at(1).c_str());
    MProcessEvent leave(arguments.at(2).c_str());
    holding.Set();
    const int woken = leave.Wait(60.0);
    MSharedMem_Unlink(memory);
    return memory && woken == 1 ? 0 : 1;
}

TEST_F(ImageRingTest, SmallerMemoryThatAnotherProcessHoldsIsToldWithoutAnEntryInAnyLog) {
    const std::string holdingName = test::uniqueName("holding");
    const std::string leaveName = test::uniqueName("leave");
    MProcessEvent holding(holdingName.c_str());
    MProcessEvent leave(leaveName.c_str());
    test::ChildProcess holder("holdsMemory", {"1000", holdingName, leaveName});
    ASSERT_EQ(holding.Wait(60.0), 1);
    MProcessEvent event(image_road::kImagesEvent);
    ImageRing ring(kFormat.bytes(), 3);
    EXPECT_EQ(ring.open(), OpenResult::tooSmall);
    EXPECT_EQ(ring.open(), OpenResult::tooSmall);
    EXPECT_EQ(event.Wait(0.0), -1) << "nobody is woken for a ring that is not there";
    leave.Set();
    EXPECT_EQ(holder.join(60s), 0);
    EXPECT_EQ(ring.open(), OpenResult::opened);
    EXPECT_THAT(_log.errorTraces(), testing::IsEmpty());
}

TEST_F(ImageRingTest, ReaderInAnotherThreadSeesEveryImageWholeAndInOrder) {
    ImageRing ring(kFormat.bytes(), 4);
    ring.open();
    int wrong = -2;
    std::thread thread([&wrong] {
        test::RingReader reader(kFormat);
        if (reader.attachAtSignal()) wrong = readInOrder(reader, 500);
    });
    writeInOrder(ring, 500);
    thread.join();
    EXPECT_EQ(wrong, -1);
}

CHILD_ROLE(readsImages) {
    test::RingReader reader(kFormat);
    return reader.attachAtSignal() && readInOrder(reader, std::stoul(arguments.at(0))) == -1 ? 0 : 1;
}

TEST_F(ImageRingTest, ReaderInAnotherProcessSeesEveryImageWholeAndInOrder) {
    ImageRing ring(kFormat.bytes(), 4);
    ring.open();
    test::ChildProcess reader("readsImages", {"500"});
    writeInOrder(ring, 500);
    EXPECT_EQ(reader.join(60s), 0);
}

// ---- fields that another process has overwritten

void overwrite(test::RingReader& reader, std::uint64_t LineFifoHeader::*field, std::uint64_t value) {
    std::atomic_ref(static_cast<LineFifoHeader*>(reader.memory())->*field).store(value);
}

struct Overwritten {
    const char* name;
    std::uint64_t LineFifoHeader::*field;
    std::uint64_t value;
};
void PrintTo(const Overwritten& overwritten, std::ostream* stream) {
    *stream << overwritten.name << " with " << overwritten.value;
}

class OverwrittenRingTest : public ImageRingTest, public testing::WithParamInterface<Overwritten> {
protected:
    OverwrittenRingTest() {
        EXPECT_EQ(_ring.open(), OpenResult::opened);
        EXPECT_TRUE(_reader.attach());
        for (std::uint64_t number = 0; number < 5; ++number) {  // beyond the wrap
            EXPECT_TRUE(write(_ring, number));
            EXPECT_TRUE(_reader.take());
        }
        EXPECT_TRUE(write(_ring, 5));
    }
    ImageRing _ring{kFormat.bytes(), 3};
    test::RingReader _reader{kFormat};
};

TEST_P(OverwrittenRingTest, MovesNoSlotAndIsTold) {
    const std::uint8_t* const next = _ring.slotPixels();
    EXPECT_FALSE(_ring.damage());
    overwrite(_reader, GetParam().field, GetParam().value);
    const auto damage = _ring.damage();
    ASSERT_TRUE(damage);
    EXPECT_STREQ(damage->field, GetParam().name);
    EXPECT_EQ(damage->found, GetParam().value);
    EXPECT_EQ(_ring.slotPixels(), next);
    EXPECT_EQ(_ring.slotIndex(), 2u);
    EXPECT_EQ(_ring.waiting(), 1u);
}

TEST_P(OverwrittenRingTest, IsAsBeforeWhenItIsRecreated) {
    overwrite(_reader, GetParam().field, GetParam().value);
    write(_ring, 6);
    _ring.recreate();
    EXPECT_FALSE(_ring.damage());
    EXPECT_EQ(_ring.waiting(), 0u);
    EXPECT_FALSE(_reader.attached());
    ASSERT_TRUE(_reader.attach());
    EXPECT_FALSE(_reader.take());
    for (std::uint64_t number = 0; number < 3; ++number) EXPECT_TRUE(write(_ring, number));
    EXPECT_FALSE(write(_ring, 3));
    EXPECT_EQ(readInOrder(_reader, 3), -1);
    EXPECT_FALSE(_ring.damage());
}

INSTANTIATE_TEST_SUITE_P(Fields, OverwrittenRingTest,
                         testing::Values(Overwritten{"write index", &LineFifoHeader::writeIndex, 0},
                                         Overwritten{"write index", &LineFifoHeader::writeIndex, 3},
                                         Overwritten{"write index", &LineFifoHeader::writeIndex, 4},
                                         Overwritten{"write index", &LineFifoHeader::writeIndex, UINT64_MAX},
                                         Overwritten{"line length", &LineFifoHeader::lineLength, 0},
                                         Overwritten{"line length", &LineFifoHeader::lineLength, 1},
                                         Overwritten{"line length", &LineFifoHeader::lineLength, UINT64_MAX},
                                         Overwritten{"slot count", &LineFifoHeader::slotCount, 0},
                                         Overwritten{"slot count", &LineFifoHeader::slotCount, 2},
                                         Overwritten{"slot count", &LineFifoHeader::slotCount, UINT64_MAX},
                                         Overwritten{"writer mark", &LineFifoHeader::writerMark, 0},
                                         Overwritten{"writer mark", &LineFifoHeader::writerMark, 1},
                                         Overwritten{"read index", &LineFifoHeader::readIndex, 4},
                                         Overwritten{"read index", &LineFifoHeader::readIndex, UINT64_MAX}));

// A reader may have seen it in between, and takes nothing more until the ring is recreated.
TEST_F(ImageRingTest, WriteIndexThatPublishingHasReplacedIsToldAllTheSame) {
    ImageRing ring(kFormat.bytes(), 3);
    ring.open();
    test::RingReader reader(kFormat);
    reader.attach();
    overwrite(reader, &LineFifoHeader::writeIndex, 99);
    EXPECT_TRUE(write(ring, 0));
    ASSERT_TRUE(ring.damage());
    EXPECT_EQ(ring.damage()->found, 99u);
    ring.recreate();
    EXPECT_FALSE(ring.damage());
}

TEST_F(ImageRingTest, SlotThatWasGivenIsNotTakenBackWhenAHostMovesTheReadIndex) {
    ImageRing ring(kFormat.bytes(), 3);
    ring.open();
    test::RingReader reader(kFormat);
    reader.attach();
    std::uint8_t* const pixels = ring.slotPixels();
    ASSERT_TRUE(pixels);
    overwrite(reader, &LineFifoHeader::readIndex, 1);  // as if three waited
    EXPECT_EQ(ring.slotPixels(), pixels);
    EXPECT_FALSE(ring.publish({}));
    EXPECT_EQ(ring.slotPixels(), nullptr);
    overwrite(reader, &LineFifoHeader::readIndex, 0);
    EXPECT_EQ(ring.slotPixels(), pixels);
    EXPECT_TRUE(ring.publish({}));
}

TEST_F(ImageRingTest, ImageThatAReaderLooksAtStaysWholeWhileTheRingIsRecreatedAndFilled) {
    for (std::uint64_t first = 0; first < 4; ++first) {  // in each slot
        ImageRing ring(kFormat.bytes(), 3);
        ring.open();
        test::RingReader reader(kFormat);
        ASSERT_TRUE(reader.attach());
        for (std::uint64_t number = 0; number < first; ++number) {
            write(ring, number);
            reader.take();
        }
        for (std::uint64_t number = first; number < first + 3; ++number) write(ring, number);
        const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetReadLine(reader.memory()));
        ASSERT_TRUE(line);
        const std::vector<std::uint8_t> before(line, line + ring.lineBytes());
        overwrite(reader, &LineFifoHeader::writeIndex, UINT64_MAX);
        ring.recreate();
        for (std::uint64_t number = 0; number < 3; ++number) EXPECT_TRUE(write(ring, number));
        EXPECT_FALSE(write(ring, 3));
        EXPECT_EQ(std::vector<std::uint8_t>(line, line + ring.lineBytes()), before) << "slot " << first;
        ASSERT_TRUE(reader.attach());
        EXPECT_EQ(readInOrder(reader, 3), -1);
    }
}

CHILD_ROLE(writesAndCrashes) {
    ImageRing ring(kFormat.bytes(), 4);
    if (ring.open() != OpenResult::opened || !write(ring, 0)) return 1;
    MProcessEvent(arguments.at(0).c_str()).Set();
    std::this_thread::sleep_for(60s);
    return 0;
}

TEST_F(ImageRingTest, WriterThatWasKilledLeavesThePlaceFree) {
    const std::string writtenName = test::uniqueName("written");
    MProcessEvent written(writtenName.c_str());
    test::ChildProcess writer("writesAndCrashes", {writtenName});
    ASSERT_EQ(written.Wait(60.0), 1);
    test::RingReader reader(kFormat);
    ASSERT_TRUE(reader.attach());
    writer.kill();
    EXPECT_TRUE(reader.writerAttached()) << "a killed process keeps its mark";
    EXPECT_EQ(readInOrder(reader, 1), -1);
    ImageRing ring(kFormat.bytes(), 4);
    ASSERT_EQ(ring.open(), OpenResult::opened);
    EXPECT_FALSE(reader.attached());
}

}  // namespace
