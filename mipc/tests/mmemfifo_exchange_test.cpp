// A byte fifo between two views of one memory, and between two processes.
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "byte_stream.h"
#include "child_process.h"
#include "fifo_words.h"
#include "meeting.h"
#include "mmemfifo.h"
#include "msharedmem.h"
#include "reports.h"
#include "shared_memory_test.h"

using namespace std::chrono_literals;
using test::wordAt;

namespace {

constexpr std::size_t kSize = 50'000;  // so that the two processes change places not too often on one processor

TEST(MMemFifoInTwoViews, EachSideCopiesInItsOwnView) {
    const std::string name = test::uniqueName("views");
    const test::ForeignMemory writersView(name, 4096);
    const test::ForeignMemory readersView(name, 4096);
    ASSERT_NE(writersView.bytes(), readersView.bytes());
    ASSERT_EQ(MMemFifo_Create(writersView.bytes(), 10), 1);
    ASSERT_EQ(MMemFifo_Link(readersView.bytes()), 1);
    ASSERT_EQ(MMemFifo_Write(writersView.bytes(), "abcdef", 6), 1);
    char bytes[6];
    EXPECT_EQ(MMemFifo_Read(readersView.bytes(), bytes, 6), 6u);
    EXPECT_EQ(std::memcmp(bytes, "abcdef", 6), 0);
    EXPECT_EQ(wordAt(writersView.bytes(), 0), reinterpret_cast<std::uintptr_t>(writersView.bytes()) + 64);
    EXPECT_EQ(wordAt(writersView.bytes(), 16), reinterpret_cast<std::uintptr_t>(readersView.bytes()) + 64);
}

CHILD_ROLE(writesTheStream) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    const bool written = test::writeStream(memory, std::stoi(arguments.at(1)));
    MMemFifo_Destroy(memory);
    return written && MSharedMem_Unlink(memory) ? 0 : 1;
}

class MMemFifoBetweenProcessesTest : public testing::Test {
protected:
    ~MMemFifoBetweenProcessesTest() override { EXPECT_EQ(MSharedMem_Unlink(_memory), 1); }

    std::string _name = test::uniqueName("bytes");
    void* _memory = MSharedMem_Create(_name.c_str(), kSize + kMMemFifoOverhead);
};

TEST_F(MMemFifoBetweenProcessesTest, MillionsOfPiecesOfAnySizeArriveAsOneStream) {
    ASSERT_EQ(MMemFifo_Create(_memory, kSize), 1);
    ASSERT_EQ(MMemFifo_Link(_memory), 1);
    test::ChildProcess writer("writesTheStream", {_name, std::to_string(STREAM_PIECES)});
    const test::StreamResult result = test::readStream(_memory);
    EXPECT_EQ(result.wrong, 0u);
    EXPECT_EQ(result.bytes, test::streamBytes(STREAM_PIECES));
    if (result.bytes != test::streamBytes(STREAM_PIECES)) writer.kill();
    EXPECT_EQ(writer.join(60s), 0);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
}

CHILD_ROLE(writesAndWaits) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    if (!MMemFifo_Create(memory, kSize) || !MMemFifo_Write(memory, "abc", 3)) return 1;
    return test::readyAndAwaitGo(arguments) ? 0 : 2;
}

TEST_F(MMemFifoBetweenProcessesTest, KilledWriterKeepsItsMarkAndItsBytesStayReadable) {
    const test::Meeting meeting;
    test::ChildProcess writer("writesAndWaits", meeting.arguments({_name}));
    meeting.awaitReady();
    writer.kill();
    EXPECT_EQ(MMemFifo_IsWriterAttached(_memory), 1);
    ASSERT_EQ(MMemFifo_Link(_memory), 1);
    char bytes[10];
    EXPECT_EQ(MMemFifo_Read(_memory, bytes, sizeof bytes), 3u);
}

CHILD_ROLE(readsOneByteAndWaits) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    char byte = 0;
    if (!MMemFifo_Link(memory) || MMemFifo_Read(memory, &byte, 1) != 1) return 1;
    return test::readyAndAwaitGo(arguments) ? 0 : 2;
}

TEST_F(MMemFifoBetweenProcessesTest, KilledReaderKeepsOthersOutUntilTheFifoIsLaidAnew) {
    const test::Meeting meeting;
    ASSERT_EQ(MMemFifo_Create(_memory, kSize), 1);
    ASSERT_EQ(MMemFifo_Write(_memory, "abc", 3), 1);
    test::ChildProcess reader("readsOneByteAndWaits", meeting.arguments({_name}));
    meeting.awaitReady();
    reader.kill();
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 2u);
    test::Reports reports("mipc/src/mmemfifo");
    EXPECT_EQ(MMemFifo_Link(_memory), 0);
    EXPECT_EQ(reports.errorTraces().size(), 1u);
    ASSERT_EQ(MMemFifo_Create(_memory, kSize), 1);
    EXPECT_EQ(MMemFifo_Link(_memory), 1);
}

}  // namespace
