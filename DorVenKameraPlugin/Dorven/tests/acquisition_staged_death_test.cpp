// A simulator that dies after each single store that it makes: the camera delivers whole images in order, reports that
// nobody is there, and grabs from the next simulator.
#include <cstdlib>
#include <cstring>

#include "acquisition_processes.h"
#include "image_line.h"
#include "object_names.h"

namespace {

using namespace test::processes;
using testing::Contains;

constexpr int kDied = 77;
constexpr std::uint32_t kStagedImages = 3;
constexpr std::size_t kMemoryBytes = MMemLineFifo_MemoryBytes(8, sizeof(image_road::ImageLineHeader) + kPixelBytes);

/// The simulator's side of the protocol, store by store.
class StagedSimulator {
public:
    /// @param lastStep  The step after which the process ends, counted from 1.
    StagedSimulator(int lastStep, std::uint64_t slotCount)
        : _lastStep(lastStep),
          _slotCount(slotCount),
          _memory(static_cast<unsigned char*>(MSharedMem_LinkOrCreate(image_road::kImagesMemory, kMemoryBytes))) {}

    void attach() {
        store(&LineFifoHeader::lineLength, kLineLength);
        store(&LineFifoHeader::writeIndex, 0);
        store(&LineFifoHeader::slotCount, _slotCount);
        store(&LineFifoHeader::readerMark, 0);
        store(&LineFifoHeader::writerMark, reinterpret_cast<std::uintptr_t>(_memory) + sizeof(LineFifoHeader));
        store(&LineFifoHeader::readIndex, 0);
    }
    void put(std::uint64_t counter) {
        const double times[] = {static_cast<double>(counter), 0.5};
        unsigned char* const line = _memory + sizeof(LineFifoHeader) + _writeIndex * kLineLength;
        copy(line, &counter, 8);
        copy(line + 8, &times[0], 8);
        copy(line + 16, &times[1], 8);
        const std::vector<unsigned char> half(kPixelBytes / 2, test::fillOf(counter));
        copy(line + 24, half.data(), half.size());
        copy(line + 24 + half.size(), half.data(), half.size());
        _writeIndex = (_writeIndex + 1) % _slotCount;
        store(&LineFifoHeader::writeIndex, _writeIndex);
        _event.Notify();
        step();
    }
    void detach() { store(&LineFifoHeader::writerMark, 0); }

private:
    static constexpr std::uint64_t kLineLength = sizeof(image_road::ImageLineHeader) + kPixelBytes;

    void store(std::uint64_t LineFifoHeader::*field, std::uint64_t value) {
        std::atomic_ref(reinterpret_cast<LineFifoHeader*>(_memory)->*field).store(value);
        step();
    }
    void copy(unsigned char* target, const void* source, std::size_t size) {
        std::memcpy(target, source, size);
        step();
    }
    void step() {
        if (++_step == _lastStep) std::_Exit(kDied);
    }

    int _lastStep;
    int _step = 0;
    std::uint64_t _slotCount;
    std::uint64_t _writeIndex = 0;
    unsigned char* _memory;
    MProcessEvent _event{image_road::kImagesEvent};
};

constexpr int kAttachSteps = 6;
constexpr int kPutSteps = 7;  // header, times, two halves, index, signal
constexpr int kSteps = kAttachSteps + kPutSteps * static_cast<int>(kStagedImages) + 1;

/// argument: the step after which it ends; beyond the last step it ends normally
CHILD_ROLE(diesAfterAStep) {
    StagedSimulator simulator(std::stoi(arguments.at(0)), 5);
    simulator.attach();
    for (std::uint64_t i = 1; i <= kStagedImages; ++i) simulator.put(i);
    simulator.detach();
    return 0;
}

CHILD_ROLE(writesElevenToFifteen) {
    test::SimulatorRing ring(kPixelBytes, 8);
    return test::writeImages(ring, 11, 15) ? 0 : 1;
}

/// Checks the simulators' images after the first `before`: at least that many from the staged one, whole and in order
/// from the first, then those of its successor.
void expectWholeImagesInOrder(const std::vector<std::uint32_t>& images, std::size_t before, int atLeast) {
    const std::vector<std::uint32_t> since(images.begin() + static_cast<std::ptrdiff_t>(before), images.end());
    const std::size_t staged = since.size() < 5 ? 0 : since.size() - 5;
    ASSERT_LE(staged, kStagedImages);
    EXPECT_GE(static_cast<int>(staged), atLeast);
    std::vector<std::uint32_t> expected = test::consecutive(1, kStagedImages);
    expected.resize(staged);
    const auto successor = test::consecutive(11, 15);
    expected.insert(expected.end(), successor.begin(), successor.end());
    EXPECT_EQ(since, expected);
}

class StagedDeathTest : public ProcessTest {
protected:
    void dieAfter(int step) {
        test::ChildProcess staged("diesAfterAStep", {std::to_string(step)});
        EXPECT_EQ(staged.join(60s), step <= kSteps ? kDied : 0);
    }
    void succeed() {
        test::ChildProcess successor("writesElevenToFifteen");
        EXPECT_EQ(successor.join(60s), 0);
        EXPECT_TRUE(_event->waitForSilence());
    }
};

TEST_F(StagedDeathTest, SuccessorThatComesAtOnceIsGrabbedFrom) {
    ASSERT_NE(MSharedMem_Create(image_road::kImagesMemory, kMemoryBytes),
              nullptr);  // so that it outlives each simulator
    ASSERT_TRUE(_source.grab());
    for (int step = 1; step <= kSteps + 1; ++step) {
        SCOPED_TRACE(step);
        const std::size_t before = real().size();
        dieAfter(step);
        ASSERT_TRUE(_event->waitForSilence());
        succeed();
        const int signalled = std::clamp((step - kAttachSteps) / kPutSteps, 0, static_cast<int>(kStagedImages));
        expectWholeImagesInOrder(real(), before, signalled);
        if (HasFailure()) break;
    }
    EXPECT_TRUE(_source.freeze());
}

TEST_F(StagedDeathTest, CameraSaysThatNobodyIsThereAndGrabsFromALateSuccessor) {
    ASSERT_TRUE(_source.grab());
    for (int step = 1; step <= kSteps + 1; ++step) {
        SCOPED_TRACE(step);
        const std::size_t before = real().size();
        dieAfter(step);
        ASSERT_TRUE(_event->waitForSilence());
        ASSERT_TRUE(waitForFaked(faked().size() + 2));
        EXPECT_THAT(_log.traces(), Contains("no dorven connected, faking images"));
        _log.clear();
        succeed();
        EXPECT_GE(traced("grabbing from dorven"), 1u);
        expectWholeImagesInOrder(real(), before, 0);  // its memory may go with it before the camera came to look
        if (HasFailure()) break;
        ASSERT_TRUE(waitForFaked(faked().size() + 2));  // the ring is closed, and its memory gone
    }
    EXPECT_TRUE(_source.freeze());
    EXPECT_EQ(MSharedMem_Link(image_road::kImagesMemory), nullptr);  // nothing is left of any of them
}

}  // namespace
