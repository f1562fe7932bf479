// What another process may see of the ring's header between two stores of the writer, and what it may store there: the
// writer runs instruction by instruction, and each is followed by a check.
#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <thread>

#include <gtest/gtest.h>
#include <ucontext.h>

#include "mmemlinereader.h"
#include "mmemlinewriter.h"

namespace {

constexpr greg_t kTrapFlag = 0x100;

// Called behind each instruction of its thread, while set.
thread_local void (*look)() = nullptr;

void trapped(int, siginfo_t*, void* context) {
    greg_t& flags = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL];
    flags = look ? flags | kTrapFlag : flags & ~kTrapFlag;
    if (look) look();
}

class MMemLineWriterTest : public testing::Test {
protected:
    MMemLineWriterTest() {
        struct sigaction action {};
        action.sa_sigaction = trapped;
        action.sa_flags = SA_SIGINFO;
        EXPECT_EQ(sigaction(SIGTRAP, &action, &_former), 0);
    }
    ~MMemLineWriterTest() override { EXPECT_EQ(sigaction(SIGTRAP, &_former, nullptr), 0); }

    static void begin(void (*looking)()) {
        look = looking;
        std::raise(SIGTRAP);
    }
    static void end() {
        look = nullptr;
        std::raise(SIGTRAP);  // in case the last step is already over
    }

private:
    struct sigaction _former {};
};

constexpr std::size_t kLineBytes = 8;
constexpr std::size_t kLines = 5;
constexpr std::uint64_t kBehindTheReader = 2;

LineFifoHeader* lookedAt = nullptr;
int looks = 0;
int linesInTheNextSlot = 0;

// A host that attaches now takes its first line from the read index.
void lookForLines() {
    ++looks;
    if (lookedAt->readIndex == kBehindTheReader && lookedAt->writeIndex != kBehindTheReader) ++linesInTheNextSlot;
}

TEST_F(MMemLineWriterTest, SlotThatIsFilledNextIsAtNoMomentALineWhileTheRingIsRecreated) {
    alignas(64) std::array<std::uint8_t, MMemLineFifo_MemoryBytes(kLines, kLineBytes)> memory{};
    lookedAt = reinterpret_cast<LineFifoHeader*>(memory.data());
    MMemLineWriter writer;
    ASSERT_TRUE(writer.lay(memory.data(), kLines, kLineBytes));
    for (int line = 0; line < 4; ++line) ASSERT_TRUE(writer.put());
    std::atomic_ref(lookedAt->readIndex).store(1);
    begin(lookForLines);
    writer.recreate();
    end();
    EXPECT_GT(looks, 10);
    EXPECT_EQ(linesInTheNextSlot, 0);
    EXPECT_EQ(lookedAt->readIndex, kBehindTheReader);
    EXPECT_EQ(lookedAt->writeIndex, kBehindTheReader);
}

// A reader that has looked at its mark before the ring is recreated gives slot 0 back beside that: the read index moves
// at one of the writer's instructions, and the reader goes on at a later one.
constexpr int kNever = 1'000'000;
int step = 0, stepOfTheMove = 0, stepBehindIt = 0;
std::atomic<bool> hasLooked{false}, mayMove{false}, hasMoved{false}, mayGoOn{false}, isDone{false};

void waitFor(const std::atomic<bool>& flag) {
    while (!flag) std::this_thread::yield();
}

void holdAtTheMove() {
    if (std::atomic_ref(lookedAt->readIndex).load() == 0 || hasMoved.exchange(true)) return;
    waitFor(mayGoOn);
}

int stepsFromTheLookOn(const void* memory) {
    const int attached = MMemLineFifo_IsReaderAttached(memory);
    hasLooked = true;
    waitFor(mayMove);
    look = holdAtTheMove;
    std::raise(SIGTRAP);
    return attached;
}

void letTheReaderMove() {
    if (++step == stepOfTheMove) {
        mayMove = true;
        waitFor(hasMoved);
    } else if (step == stepBehindIt) {
        mayGoOn = true;
        waitFor(isDone);
    }
}

class MMemLineWriterRaceTest : public MMemLineWriterTest, public testing::WithParamInterface<std::size_t> {
protected:
    void layWithOneLine() {
        lookedAt = reinterpret_cast<LineFifoHeader*>(_memory.data());
        ASSERT_TRUE(_writer.lay(_memory.data(), GetParam(), kLineBytes));
        ASSERT_TRUE(_writer.put());
    }

    /// @return  Instructions of the writer.
    int recreateBesideTheReader(int move, int behindIt) {
        step = 0;
        stepOfTheMove = move;
        stepBehindIt = behindIt;
        for (auto* const flag : {&hasLooked, &mayMove, &hasMoved, &mayGoOn, &isDone}) *flag = false;
        std::thread reader([&] {
            releaseSlotZero();
            end();
            hasMoved = isDone = true;
        });
        waitFor(hasLooked);
        begin(letTheReaderMove);
        _writer.recreate();
        end();
        mayMove = mayGoOn = true;
        reader.join();
        return step;
    }

private:
    void releaseSlotZero() {
        static const auto looksOn = [](const void*) { return 1; };
        static MMemLineReader::MarkLook onLook = looksOn;
        onLook = looksOn;
        MMemLineReader reader([](const void* memory) { return onLook(memory); });
        EXPECT_EQ(reader.link(_memory.data(), _memory.size(), kLineBytes), MMemLineReader::Link::linked);
        EXPECT_NE(reader.peek(), nullptr);
        onLook = stepsFromTheLookOn;
        reader.release();
    }

    alignas(64) std::array<std::uint8_t, MMemLineFifo_MemoryBytes(kLines, kLineBytes)> _memory{};
    MMemLineWriter _writer;
};

TEST_P(MMemLineWriterRaceTest, NoOldLineWaitsInARingThatIsRecreatedWhileAReaderGivesOneBack) {
    constexpr int kMoves = 100;  // sanitizers add so many instructions that each of them would take minutes
    layWithOneLine();
    const int steps = recreateBesideTheReader(kNever, kNever);
    for (const int later : {5, kNever}) {
        for (int move = 1; move <= steps; move += std::max(steps / kMoves, 1)) {
            layWithOneLine();
            recreateBesideTheReader(move, move + later);
            ASSERT_EQ(lookedAt->readIndex, lookedAt->writeIndex) << "moved at " << move << ", went on " << later;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Lines, MMemLineWriterRaceTest, testing::Values(1u, kLines));

}  // namespace
