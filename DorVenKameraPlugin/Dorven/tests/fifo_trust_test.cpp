// A ring that cannot be trusted: nothing that another process stores leads outside the mapping.
#include <algorithm>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "acquisition_fixture.h"
#include "object_names.h"

namespace {

using namespace test::acquisition;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

// The entry, with the function that wrote it.
auto distrustIn(const std::string& function, const std::string& report) {
    return "kest::dorven::" + function + "() : image fifo is inconsistent: " + report;
}

class CorruptRingTest : public AcquisitionTest {
protected:
    /// Opens the ring, lets the simulator damage it, and signals twice: it is no longer read, and reported once.
    void expectDistrust(std::function<void(LineFifoHeader&)> damage, const std::string& report) {
        signalWith(_ring, {1});
        _event->step([this, damage] {
            _ring.put(2);
            damage(_ring.header());
            return kSignal;
        });
        _event->answer(kSignal);
        grabAndPlay();
        EXPECT_THAT(_received.counters(), ElementsAre(1u));
        EXPECT_THAT(_log.errors(), ElementsAre(distrustIn("frontLine", report)));
    }
    test::SimulatorRing _ring{kPixelBytes, 4};
};

TEST_F(CorruptRingTest, LineBeyondTheRingIsNotHandedOut) {
    expectDistrust([](LineFifoHeader& header) { header.readIndex = 1000000; },
                   "read index 1000000 and write index 2 in 5 slots");
}

TEST_F(CorruptRingTest, LineJustBeyondTheRingIsNotHandedOut) {
    expectDistrust([](LineFifoHeader& header) { header.readIndex = 5; }, "read index 5 and write index 2 in 5 slots");
}

TEST_F(CorruptRingTest, LineOfAnotherLengthIsNotHandedOut) {
    expectDistrust([](LineFifoHeader& header) { header.lineLength = 1ull << 40; },
                   "5 slots of 88 bytes have become 5 slots of 1099511627776 bytes");
}

TEST_F(CorruptRingTest, LineBetweenTwoSlotsIsNotHandedOut) {
    expectDistrust([](LineFifoHeader& header) { header.lineLength = 89; },
                   "5 slots of 88 bytes have become 5 slots of 89 bytes");
}

TEST_F(CorruptRingTest, ImpossibleWriteIndexIsNoLoopWithoutEnd) {
    expectDistrust([](LineFifoHeader& header) { header.writeIndex = 1ull << 63; },
                   "read index 1 and write index 9223372036854775808 in 5 slots");
}

TEST_F(CorruptRingTest, WriteIndexJustBeyondTheRingIsNoLoopWithoutEnd) {
    expectDistrust([](LineFifoHeader& header) { header.writeIndex = 5; }, "read index 1 and write index 5 in 5 slots");
}

TEST_F(CorruptRingTest, SlotCountThatChangesIsNoLoopWithoutEnd) {
    expectDistrust([](LineFifoHeader& header) { header.slotCount = 1; },
                   "5 slots of 88 bytes have become 1 slots of 88 bytes");
}

TEST_F(CorruptRingTest, NoSlotsAtAllAreNoLoopWithoutEnd) {
    expectDistrust([](LineFifoHeader& header) { header.slotCount = 0; },
                   "5 slots of 88 bytes have become 0 slots of 88 bytes");
}

TEST_F(CorruptRingTest, MoreSlotsThanAtTheOpeningAreNotFollowed) {
    expectDistrust([](LineFifoHeader& header) { header.slotCount = 1000; },
                   "5 slots of 88 bytes have become 1000 slots of 88 bytes");
}

TEST_F(CorruptRingTest, WriterMarkIsNoAddressToFollow) {
    _event->step([this] {
        _ring.put(1);
        _ring.header().writerMark = 0xDEAD;
        return kSignal;
    });
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CorruptRingTest, ReaderMarkOfAnotherValueIsAMarkAllTheSame) {
    signalWith(_ring, {1});
    _event->step([this] {
        _ring.put(2);
        _ring.header().readerMark = 1;
        return kSignal;
    });
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CorruptRingTest, RingLaidAnewInsideTheCallbackIsReadFromItsFirstLine) {
    _received.inside = [this] {
        if (_received.count() != 1) return;
        _ring.lay(2);
        _ring.put(10);  // must not be released instead of the line that this callback reads
    };
    signalWith(_ring, {1, 2, 3});
    signalWith(_ring, {11});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 10u, 11u));
    EXPECT_THAT(_log.errors(), IsEmpty());
    ASSERT_TRUE(_source->freeze());
    MSharedMem_Unlink(_ring.memory());
}

TEST_F(CorruptRingTest, IsReadAgainOnceItIsOpenedAfresh) {
    expectDistrust([](LineFifoHeader& header) { header.writeIndex = 99; },
                   "read index 1 and write index 99 in 5 slots");
    _event->step([this] {
        _ring.lay(4);
        _ring.put(3);
        return kSignal;
    });
    _event->playToEnd();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 3u));
    ASSERT_TRUE(_source->freeze());
    MSharedMem_Unlink(_ring.memory());
}

class MisfitRingTest : public CorruptRingTest {
protected:
    /// Opens a ring of such a geometry and signals twice: it is never read, and reported once.
    void expectDistrust(std::uint64_t slotCount, std::uint64_t lineLength, const std::string& report) {
        _ring.put(1);
        _ring.header().slotCount = slotCount;
        _ring.header().lineLength = lineLength;
        _event->answer(kSignal, 2);
        grabAndPlay();
        EXPECT_EQ(_received.count(), 0u);
        const std::string function = slotCount == 0 ? "frontLine" : "openImageFifo";
        EXPECT_THAT(_log.errors(), ElementsAre(distrustIn(function, report)));
    }
    /// Bytes after the header that slots may take.
    std::uint64_t slotBytes() const { return MSharedMem_GetSize(_ring.memory()) - sizeof(LineFifoHeader); }
    std::string misfit(std::uint64_t slotCount, std::uint64_t lineLength) const {
        return std::to_string(slotCount) + " slots of " + std::to_string(lineLength) + " bytes do not fit into " +
               std::to_string(slotBytes() + sizeof(LineFifoHeader)) + " bytes";
    }
};

TEST_F(MisfitRingTest, MoreSlotsThanFitAreReportedAtTheOpening) {
    expectDistrust(1ull << 50, 88, misfit(1ull << 50, 88));
}

TEST_F(MisfitRingTest, SlotsOneByteTooLongAreReportedAtTheOpening) {
    expectDistrust(2, slotBytes() / 2 + 1, misfit(2, slotBytes() / 2 + 1));
}

TEST_F(MisfitRingTest, SlotsThatFitToTheLastByteAreRead) {
    _ring.put(7);
    _ring.header().slotCount = 2;
    _ring.header().lineLength = slotBytes() / 2;
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(7u));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MisfitRingTest, SlotsWhoseProductWrapsAreReportedAtTheOpening) {
    expectDistrust(1ull << 32, 1ull << 32, misfit(1ull << 32, 1ull << 32));
}

TEST_F(MisfitRingTest, SlotsTooShortForTheirHeaderAreReportedAtTheOpening) {
    expectDistrust(5, 23, "slots of 23 bytes are too short for the header of an image");
}

TEST_F(MisfitRingTest, SlotsThatHoldTheHeaderAloneAreRead) {
    _ring.put(7);
    _ring.header().lineLength = 24;
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(7u));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(MisfitRingTest, RingWithoutSlotsHandsOutNothing) {
    expectDistrust(0, 88, "read index 0 and write index 1 in 0 slots");
}

TEST_F(AcquisitionTest, MemoryTooSmallForAHeaderIsReportedAndNotTouched) {
    auto* const memory = static_cast<unsigned char*>(MSharedMem_Create(image_road::kImagesMemory, 63));
    std::fill_n(memory, 63, static_cast<unsigned char>(0));
    _event->answer(kSignal, 2);
    grabAndPlay();
    EXPECT_THAT(std::vector<int>(memory, memory + 63), Each(0));
    const std::string report = distrustIn("openImageFifo", "63 bytes are too few for its header");
    EXPECT_THAT(_log.errors(), ElementsAre(report, report));  // each signal tries again
    EXPECT_THAT(progress(), Each("kest::dorven::openImageFifo"));
    EXPECT_TRUE(_source->freeze());
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_EQ(MSharedMem_GetName(memory), nullptr);  // every refused opening gave its link back
}

TEST_F(AcquisitionTest, MemoryForAHeaderAloneIsOpened) {
    void* const memory = MSharedMem_Create(image_road::kImagesMemory, sizeof(LineFifoHeader));
    MMemLineFifo_Unlink(memory);
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_NE(MMemLineFifo_IsReaderAttached(memory), 0);
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_TRUE(_source->freeze());
    MSharedMem_Unlink(memory);
}

// ---- lines shorter than the image

class ShortLineTest : public AcquisitionTest {
protected:
    ShortLineTest() {
        _source->_imageMemory->width = kPixelBytes;
        _source->_imageMemory->height = 1;
    }
    std::vector<std::string> remarks() const {
        std::vector<std::string> found;
        for (const std::string& text : _log.traces()) {
            if (text.find("image fifo has lines of") != std::string::npos) found.push_back(text);
        }
        return found;
    }
};

TEST_F(ShortLineTest, IsHandedOnAndTracedOnceForEachOpenedRing) {
    test::SimulatorRing ring(kPixelBytes - 1, 4);
    const std::string remark =
        "kest::dorven::TeskImages::imageThread() : image fifo has lines of 63 pixel bytes for images of 64";
    signalWith(ring, {1, 2});
    signalWith(ring, {3});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u, 3u));
    EXPECT_THAT(remarks(), ElementsAre(remark));
    ASSERT_TRUE(_source->freeze());
    signalWith(ring, {4});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u, 2u, 3u, 4u));
    EXPECT_THAT(remarks(), ElementsAre(remark, remark));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(ShortLineTest, IsNotToldOfLinesThatHoldTheImage) {
    test::SimulatorRing ring(kPixelBytes, 4);
    signalWith(ring, {1});
    grabAndPlay();
    EXPECT_THAT(_received.counters(), ElementsAre(1u));
    EXPECT_THAT(remarks(), IsEmpty());
}

TEST_F(ShortLineTest, IsNotToldBeforeALineComes) {
    test::SimulatorRing ring(kPixelBytes - 1, 4);
    _event->answer(kSignal);
    grabAndPlay();
    EXPECT_THAT(remarks(), IsEmpty());
}

// ---- the ring's own operations

TEST(ImageFifo, FrontLineOfNoneIsReportedAndNull) {
    test::LogRecorder log;
    kest::dorven::ImageFifo none;
    EXPECT_EQ(kest::dorven::frontLine(none), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(MatchesRegex(assertion("mem", "image fifo not initialized"))));
    log.clear();
    kest::dorven::closeImageFifo(none);
    kest::dorven::popLine(none);
    EXPECT_THAT(log.entries(), IsEmpty());
}

class ImageFifoPop : public testing::Test {
protected:
    ~ImageFifoPop() override { kest::dorven::closeImageFifo(_fifo); }

    void putAndTakeFirst(std::uint64_t lines) {
        for (std::uint64_t i = 1; i <= lines; ++i) ASSERT_TRUE(_ring.put(i));
        ASSERT_NE(kest::dorven::frontLine(_fifo), nullptr);
    }
    std::uint64_t readIndexAfterPop() {
        kest::dorven::popLine(_fifo);
        return _ring.header().readIndex;
    }

    test::LogRecorder _log;
    test::SimulatorRing _ring{kPixelBytes, 4};
    kest::dorven::ImageFifo _fifo = kest::dorven::openImageFifo();
};

TEST_F(ImageFifoPop, OfAnEmptyRingChangesNothing) { EXPECT_EQ(readIndexAfterPop(), 0u); }

TEST_F(ImageFifoPop, GoesOnAtTheFirstSlotAfterTheLast) {
    for (std::uint64_t i = 1; i <= 5; ++i) {
        putAndTakeFirst(1);
        EXPECT_EQ(readIndexAfterPop(), i % 5);
    }
}

TEST_F(ImageFifoPop, FollowsTheSlotCountThatWasChecked) {
    putAndTakeFirst(2);
    _ring.header().slotCount = 1;
    EXPECT_EQ(readIndexAfterPop(), 1u);
}

TEST_F(ImageFifoPop, LeavesAReadIndexThatAnotherHasStored) {
    putAndTakeFirst(4);
    _ring.header().readIndex = 2;
    EXPECT_EQ(readIndexAfterPop(), 2u);
    EXPECT_EQ(kest::dorven::frontLine(_fifo), static_cast<unsigned char*>(_ring.memory()) + 64 + 2 * 88);
    EXPECT_EQ(readIndexAfterPop(), 3u);
}

TEST_F(ImageFifoPop, OfARingThatBecameEmptyChangesNothing) {
    putAndTakeFirst(1);
    _ring.header().writeIndex = 0;
    EXPECT_EQ(readIndexAfterPop(), 0u);
}

TEST_F(ImageFifoPop, OfALineThatWasNotTakenChangesNothing) {
    _ring.put(1);
    EXPECT_EQ(readIndexAfterPop(), 0u);
    putAndTakeFirst(1);
    EXPECT_EQ(readIndexAfterPop(), 1u);
    EXPECT_EQ(readIndexAfterPop(), 1u);
}

TEST(ImageFifo, CloseClearsTheReaderMarkAndGivesTheMemoryBack) {
    test::LogRecorder log;
    auto ring = std::make_unique<test::SimulatorRing>(kPixelBytes, 4);
    const void* const memory = ring->memory();
    auto fifo = kest::dorven::openImageFifo();
    EXPECT_TRUE(ring->hasReader());
    kest::dorven::closeImageFifo(fifo);
    EXPECT_FALSE(ring->hasReader());
    ring.reset();
    EXPECT_EQ(MSharedMem_GetName(memory), nullptr);
}

TEST(ImageFifo, FrontLineIsNullOnceTheReaderMarkIsCleared) {
    test::LogRecorder log;
    test::SimulatorRing ring(kPixelBytes, 4);
    auto fifo = kest::dorven::openImageFifo();
    EXPECT_EQ(kest::dorven::frontLine(fifo), nullptr);
    ring.put(1);
    EXPECT_NE(kest::dorven::frontLine(fifo), nullptr);
    MMemLineFifo_Unlink(ring.memory());
    EXPECT_EQ(kest::dorven::frontLine(fifo), nullptr);
    kest::dorven::closeImageFifo(fifo);
    EXPECT_FALSE(fifo);
    EXPECT_EQ(log.traces().back(), kClosed);
    EXPECT_THAT(log.errors(), IsEmpty());
}

}  // namespace
