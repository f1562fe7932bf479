// A ring that its writer lays anew between two steps of its reader.
#include <functional>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImagesFifo.h"
#include "log_recorder.h"
#include "simulator_ring.h"

// The moment after the reader has looked at its mark: what is set runs once, and the look's answer is an old one then.
static std::function<void()> afterLook;
extern "C" int __real__Z29MMemLineFifo_IsReaderAttachedPKv(const void* memory);
extern "C" int __wrap__Z29MMemLineFifo_IsReaderAttachedPKv(const void* memory);
int __wrap__Z29MMemLineFifo_IsReaderAttachedPKv(const void* memory) {
    const int attached = __real__Z29MMemLineFifo_IsReaderAttachedPKv(memory);
    if (const auto step = std::exchange(afterLook, nullptr)) step();
    return attached;
}

namespace {

using namespace kest::dorven;

constexpr std::size_t kLines = 4;

class RingLaidAnewBetweenStepsTest : public testing::Test {
protected:
    RingLaidAnewBetweenStepsTest() : _fifo(openImageFifo()) {}
    ~RingLaidAnewBetweenStepsTest() override {
        EXPECT_FALSE(afterLook) << "nobody looked";
        closeImageFifo(_fifo);
        EXPECT_THAT(_log.errors(), testing::IsEmpty());
    }

    void readImages(std::uint64_t count) {
        for (std::uint64_t number = 1; number <= count; ++number) {
            ASSERT_TRUE(_ring.put(number));
            ASSERT_NE(frontLine(_fifo), nullptr);
            popLine(_fifo);
        }
    }

    // What the writer stores first when it lays the ring anew; its last store, the read index, is still to come.
    void beginToLay() {
        _ring.header().writeIndex = 0;
        _ring.header().readerMark = 0;
    }

    test::LogRecorder _log{3};
    test::SimulatorRing _ring{64, kLines};
    ImageFifo _fifo;
};

TEST_F(RingLaidAnewBetweenStepsTest, NoOldImageIsHandedOut) {
    readImages(3);
    afterLook = [this] { beginToLay(); };
    EXPECT_EQ(frontLine(_fifo), nullptr);
}

TEST_F(RingLaidAnewBetweenStepsTest, ImageThatIsGivenBackLateLeavesTheFirstOneOfTheNewRing) {
    ASSERT_TRUE(_ring.put(1));
    ASSERT_NE(frontLine(_fifo), nullptr);
    afterLook = [this] {
        _ring.lay(kLines);
        _ring.put(2);
    };
    popLine(_fifo);
    EXPECT_EQ(_ring.header().readIndex, 0u);
    EXPECT_EQ(MMemLineFifo_GetCount(_ring.memory()), 1u);
}

TEST_F(RingLaidAnewBetweenStepsTest, RingThatStaysIsReadOn) {
    readImages(2 * kLines);
    EXPECT_EQ(frontLine(_fifo), nullptr);
    EXPECT_EQ(_ring.header().readIndex, _ring.header().writeIndex);
}

}  // namespace
