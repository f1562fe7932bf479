// What another process may see of the ring's header between two stores of the writer: this process runs instruction by
// instruction and checks the header after each.
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>

#include <gtest/gtest.h>
#include <ucontext.h>

#include "mmemlinewriter.h"

namespace {

constexpr greg_t kTrapFlag = 0x100;

LineFifoHeader* lookedAt = nullptr;
volatile std::sig_atomic_t stepping = 0;
int looks = 0;
int linesInTheNextSlot = 0;

constexpr std::uint64_t kBehindTheReader = 2;

// Called after each instruction while stepping.
void look(int, siginfo_t*, void* context) {
    greg_t& flags = static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL];
    flags = stepping ? flags | kTrapFlag : flags & ~kTrapFlag;
    if (!stepping) return;
    ++looks;
    // A host that attaches now takes its first line from the read index.
    if (lookedAt->readIndex == kBehindTheReader && lookedAt->writeIndex != kBehindTheReader) ++linesInTheNextSlot;
}

template <typename Function>
void stepThrough(const Function& function) {
    struct sigaction action {};
    struct sigaction former {};
    action.sa_sigaction = look;
    action.sa_flags = SA_SIGINFO;
    ASSERT_EQ(sigaction(SIGTRAP, &action, &former), 0);
    stepping = 1;
    std::raise(SIGTRAP);
    function();
    stepping = 0;
    std::raise(SIGTRAP);  // in case the last step is already over
    ASSERT_EQ(sigaction(SIGTRAP, &former, nullptr), 0);
}

TEST(MMemLineWriterTest, SlotThatIsFilledNextIsAtNoMomentALineWhileTheRingIsRecreated) {
    constexpr std::size_t kLineBytes = 8;
    constexpr std::size_t kLines = 5;
    alignas(64) std::array<std::uint8_t, MMemLineFifo_MemoryBytes(kLines, kLineBytes)> memory{};
    lookedAt = reinterpret_cast<LineFifoHeader*>(memory.data());
    MMemLineWriter writer;
    ASSERT_TRUE(writer.lay(memory.data(), kLines, kLineBytes));
    for (int line = 0; line < 4; ++line) ASSERT_TRUE(writer.put());
    std::atomic_ref(lookedAt->readIndex).store(1);
    stepThrough([&] { writer.recreate(); });
    EXPECT_GT(looks, 10);
    EXPECT_EQ(linesInTheNextSlot, 0);
    EXPECT_EQ(lookedAt->readIndex, kBehindTheReader);
    EXPECT_EQ(lookedAt->writeIndex, kBehindTheReader);
}

}  // namespace
