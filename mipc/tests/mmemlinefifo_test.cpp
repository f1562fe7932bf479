#include "mmemlinefifo.h"

#include <array>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>

#include "child_process.h"
#include "fifo_words.h"
#include "meeting.h"
#include "msharedmem.h"
#include "reports.h"
#include "shared_memory_test.h"

using namespace std::chrono_literals;
using test::LimitedWait;
using test::notAligned;
using test::setWordAt;
using test::wordAt;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::size_t kLineLength = 100;
constexpr std::size_t kSlots = 4;
constexpr std::size_t kFifoBytes = 64 + kSlots * kLineLength;
constexpr unsigned char kGuard = 0xEE;

class MMemLineFifoTest : public testing::Test {
protected:
    MMemLineFifoTest() { _block.fill(kGuard); }
    ~MMemLineFifoTest() override {
        for (std::size_t byte = kFifoBytes; byte < _block.size(); ++byte)
            EXPECT_EQ(_block[byte], kGuard) << "behind the fifo, at " << byte;
    }

    void create(std::size_t lineCount = kSlots - 1) {
        ASSERT_EQ(MMemLineFifo_Create(_memory, lineCount, kLineLength), 1);
    }
    void createAndLink() {
        create();
        ASSERT_EQ(MMemLineFifo_Link(_memory), 1);
    }
    // Fills a whole line with one byte and publishes it.
    int put(int value) {
        std::memset(MMemLineFifo_GetWriteLine(_memory), value, kLineLength);
        return MMemLineFifo_PutLine(_memory);
    }
    // First and last byte of the oldest line as one number; -1 when no line waits or the two differ.
    int peek() {
        const auto* line = static_cast<const unsigned char*>(MMemLineFifo_GetReadLine(_memory));
        return line && line[0] == line[kLineLength - 1] ? line[0] : -1;
    }
    int take() {
        const int value = peek();
        MMemLineFifo_ReleaseLine(_memory);
        return value;
    }

    alignas(64) std::array<unsigned char, kFifoBytes + 256> _block;
    unsigned char* const _memory = _block.data();
    test::Reports _reports{"mipc/src/mmemlinefifo"};
};

// ----------------------------------------------------------------------------------------------------------- Create

TEST_F(MMemLineFifoTest, CreateLaysTheHeaderByteForByte) {
    create(3);
    EXPECT_EQ(wordAt(_memory, 0), reinterpret_cast<std::uintptr_t>(_memory) + 64);
    EXPECT_EQ(wordAt(_memory, 8), 0u);
    EXPECT_EQ(wordAt(_memory, 16), 0u);
    EXPECT_EQ(wordAt(_memory, 24), 0u);
    EXPECT_EQ(wordAt(_memory, 32), 100u);
    EXPECT_EQ(wordAt(_memory, 40), 4u);
    for (std::size_t byte = 48; byte < _block.size(); ++byte) EXPECT_EQ(_block[byte], kGuard) << byte;
}

TEST_F(MMemLineFifoTest, FreshFifoIsEmptyWithAWriterAndNoReader) {
    create(3);
    EXPECT_EQ(MMemLineFifo_GetCount(_memory), 0u);
    EXPECT_EQ(MMemLineFifo_GetFree(_memory), 3u);
    EXPECT_EQ(MMemLineFifo_GetLineLength(_memory), 100u);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 1);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 0);
}

TEST_F(MMemLineFifoTest, CreateDoesNotCheckCountOrLength) {
    EXPECT_EQ(MMemLineFifo_Create(_memory, 0, 0), 1);
    EXPECT_EQ(wordAt(_memory, 40), 1u);
    EXPECT_EQ(MMemLineFifo_GetFree(_memory), 0u);
    EXPECT_EQ(MMemLineFifo_Create(_memory, SIZE_MAX, 8), 1);
    EXPECT_EQ(wordAt(_memory, 40), 0u);
    EXPECT_EQ(MMemLineFifo_GetFree(_memory), SIZE_MAX);
}

TEST_F(MMemLineFifoTest, FifoWithoutLinesIsAlwaysFull) {
    EXPECT_EQ(MMemLineFifo_Create(_memory, 0, 8), 1);
    EXPECT_EQ(wordAt(_memory, 40), 1u);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 0);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 0);
    EXPECT_EQ(MMemLineFifo_GetFree(_memory), 0u);
    EXPECT_EQ(MMemLineFifo_GetCount(_memory), 0u);
}

TEST_F(MMemLineFifoTest, CreateAnewEmptiesTheRing) {
    createAndLink();
    put(1);
    put(2);
    take();
    create();
    EXPECT_EQ(wordAt(_memory, 8), 0u);
    EXPECT_EQ(wordAt(_memory, 24), 0u);
    EXPECT_EQ(MMemLineFifo_GetCount(_memory), 0u);
}

// ------------------------------------------------------------------------------------------------------ CreateBySize

TEST_F(MMemLineFifoTest, SmallestSizeCarriesOneLine) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, 64 + 2 * kLineLength, kLineLength), 1);
    EXPECT_EQ(wordAt(_memory, 40), 2u);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 1);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 0);
}

TEST_F(MMemLineFifoTest, OneByteLessIsTooSmall) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, 64 + 2 * kLineLength - 1, kLineLength), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MMemLineFifo_CreateBySize(): memory area too small: 263 bytes. "
                                                    "Must be at least 264 bytes."));
    EXPECT_EQ(_block[0], kGuard);  // nothing was created
}

TEST_F(MMemLineFifoTest, SizesBelowTheHeaderAreTooSmall) {
    for (const std::size_t size : {0u, 63u, 64u}) {
        EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, size, 1), 0);
        EXPECT_THAT(_reports.errorTraces(), ElementsAre("MMemLineFifo_CreateBySize(): memory area too small: " +
                                                        std::to_string(size) + " bytes. Must be at least 66 bytes."));
    }
}

TEST_F(MMemLineFifoTest, CreateBySizeTakesAsManySlotsAsFit) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, 64 + 7 * 50 + 3, 50), 1);
    EXPECT_EQ(wordAt(_memory, 40), 7u);
    EXPECT_EQ(wordAt(_memory, 32), 50u);
}

TEST_F(MMemLineFifoTest, CreateBySizeRefusesLengthZero) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, 1000, 0), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MMemLineFifo_CreateBySize(): line length must not be 0"));
}

TEST_F(MMemLineFifoTest, HugeLengthIsRefusedWithANeedThatWraps) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, 1000, SIZE_MAX), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemLineFifo_CreateBySize(): memory area too small: 1000 bytes. Must be at least 62 "
                            "bytes."));
}

TEST_F(MMemLineFifoTest, SizesAreReportedInFull) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_memory, 81985529216486895u, 81985529216486895u), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemLineFifo_CreateBySize(): memory area too small: 81985529216486895 bytes. Must be at "
                            "least 163971058432973854 bytes."));
}

// ----------------------------------------------------------------------------------------------------------- writing

TEST_F(MMemLineFifoTest, WriteLineIsTheSlotAtTheWriteIndex) {
    create();
    EXPECT_EQ(MMemLineFifo_GetWriteLine(_memory), _memory + 64);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(_memory), _memory + 64);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 1);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(_memory), _memory + 164);
}

TEST_F(MMemLineFifoTest, FullRingRefusesTheNextLineSilentlyAndChangesNothing) {
    create(3);
    for (int line = 0; line < 3; ++line) EXPECT_EQ(put(line), 1);
    const auto before = _block;
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 0);
    EXPECT_EQ(_block, before);
    EXPECT_EQ(MMemLineFifo_GetCount(_memory), 3u);
    EXPECT_EQ(MMemLineFifo_GetFree(_memory), 0u);
}

TEST_F(MMemLineFifoTest, FullRingStillGivesASlotToFill) {
    create(3);
    for (int line = 0; line < 3; ++line) put(line);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(_memory), _memory + 64 + 300);
}

TEST_F(MMemLineFifoTest, DestroyDetachesTheWriterAloneAndWaitingLinesStayReadable) {
    createAndLink();
    put(5);
    MMemLineFifo_Destroy(_memory);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 0);
    EXPECT_EQ(wordAt(_memory, 0), 0u);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(_memory), nullptr);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 1);
    EXPECT_EQ(take(), 5);
}

TEST_F(MMemLineFifoTest, PutLineAndReleaseLineLookAtNoMark) {
    create();
    MMemLineFifo_Destroy(_memory);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 1);
    EXPECT_EQ(wordAt(_memory, 8), 1u);
    MMemLineFifo_ReleaseLine(_memory);
    EXPECT_EQ(wordAt(_memory, 24), 1u);
}

// ----------------------------------------------------------------------------------------------------------- reading

TEST_F(MMemLineFifoTest, NoLineIsGivenBeforeLinkEvenWhenOneWaits) {
    create();
    put(7);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
    MMemLineFifo_Link(_memory);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), _memory + 64);
}

TEST_F(MMemLineFifoTest, EmptyRingGivesNoLineSilently) {
    createAndLink();
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
}

TEST_F(MMemLineFifoTest, ReadLineStaysUntilItIsReleased) {
    createAndLink();
    put(7);
    put(8);
    EXPECT_EQ(peek(), 7);
    EXPECT_EQ(peek(), 7);
    MMemLineFifo_ReleaseLine(_memory);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), _memory + 164);
    EXPECT_EQ(peek(), 8);
}

TEST_F(MMemLineFifoTest, ReleaseOnAnEmptyRingDoesNothing) {
    createAndLink();
    put(1);
    take();
    const auto before = _block;
    MMemLineFifo_ReleaseLine(_memory);
    EXPECT_EQ(_block, before);
}

TEST_F(MMemLineFifoTest, BothIndicesWrapAfterTheLastSlotAndOrderIsKept) {
    createAndLink();
    std::vector<std::uint64_t> writeIndices;
    std::vector<std::uint64_t> readIndices;
    for (int line = 0; line < 9; ++line) {
        EXPECT_EQ(put(line), 1);
        EXPECT_EQ(put(100 + line), 1);
        writeIndices.push_back(wordAt(_memory, 8));
        EXPECT_EQ(take(), line);
        EXPECT_EQ(take(), 100 + line);
        readIndices.push_back(wordAt(_memory, 24));
    }
    EXPECT_THAT(writeIndices, ElementsAre(2u, 0u, 2u, 0u, 2u, 0u, 2u, 0u, 2u));
    EXPECT_EQ(readIndices, writeIndices);
}

TEST_F(MMemLineFifoTest, LastSlotIsFollowedByTheFirst) {
    createAndLink();
    setWordAt(_memory, 8, 3);
    setWordAt(_memory, 24, 3);
    EXPECT_EQ(put(1), 1);
    EXPECT_EQ(wordAt(_memory, 8), 0u);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), _memory + 364);
    MMemLineFifo_ReleaseLine(_memory);
    EXPECT_EQ(wordAt(_memory, 24), 0u);
}

TEST_F(MMemLineFifoTest, RingIsFullAcrossTheWrap) {
    createAndLink();
    setWordAt(_memory, 8, 2);
    setWordAt(_memory, 24, 2);
    EXPECT_EQ(put(1), 1);
    EXPECT_EQ(put(2), 1);
    EXPECT_EQ(put(3), 1);
    EXPECT_EQ(MMemLineFifo_PutLine(_memory), 0);
    EXPECT_EQ(take(), 1);
    EXPECT_EQ(put(4), 1);
    for (const int expected : {2, 3, 4}) EXPECT_EQ(take(), expected);
    EXPECT_EQ(peek(), -1);
}

TEST_F(MMemLineFifoTest, CountAndFreeAreRightForEveryPairOfIndices) {
    create();
    for (std::uint64_t write = 0; write < kSlots; ++write) {
        for (std::uint64_t read = 0; read < kSlots; ++read) {
            setWordAt(_memory, 8, write);
            setWordAt(_memory, 24, read);
            const std::size_t waiting = (write + kSlots - read) % kSlots;  // e.g. write 1, read 3: 2 lines
            EXPECT_EQ(MMemLineFifo_GetCount(_memory), waiting) << write << " " << read;
            EXPECT_EQ(MMemLineFifo_GetFree(_memory), kSlots - 1 - waiting) << write << " " << read;
        }
    }
}

// ------------------------------------------------------------------------------------------------------ Link, Unlink

TEST_F(MMemLineFifoTest, LinkStoresTheReadersMarkAndNothingElse) {
    create();
    auto expected = _block;
    setWordAt(expected.data(), 16, reinterpret_cast<std::uintptr_t>(_memory) + 64);
    EXPECT_EQ(MMemLineFifo_Link(_memory), 1);
    EXPECT_EQ(_block, expected);
}

TEST_F(MMemLineFifoTest, SecondReaderIsRefusedUntilTheFirstUnlinks) {
    createAndLink();
    EXPECT_EQ(MMemLineFifo_Link(_memory), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemLineFifo_Link(): Fifo not initialized or already has an exlusive reader"));
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 1);
    MMemLineFifo_Unlink(_memory);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 0);
    EXPECT_EQ(MMemLineFifo_Link(_memory), 1);
}

TEST_F(MMemLineFifoTest, ReaderCanLinkBeforeTheWriterAndIsDetachedByCreate) {
    std::memset(_memory, 0, 64);
    EXPECT_EQ(MMemLineFifo_Link(_memory), 1);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 0);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 1);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
    create();
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 0);
    EXPECT_EQ(MMemLineFifo_Link(_memory), 1);
}

TEST_F(MMemLineFifoTest, UnlinkKeepsUnreleasedLinesForTheNextReader) {
    createAndLink();
    put(1);
    put(2);
    put(3);
    EXPECT_EQ(take(), 1);
    EXPECT_EQ(peek(), 2);
    MMemLineFifo_Unlink(_memory);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
    EXPECT_EQ(MMemLineFifo_GetCount(_memory), 2u);
    MMemLineFifo_Link(_memory);
    EXPECT_EQ(take(), 2);
    EXPECT_EQ(take(), 3);
}

TEST_F(MMemLineFifoTest, ReaderThatNeverUnlinkedBlocksOthersUntilTheMemoryIsLaidAnew) {
    create();
    setWordAt(_memory, 16, 0x7F0000000040u);  // of a process that died
    EXPECT_EQ(MMemLineFifo_Link(_memory), 0);
    EXPECT_EQ(_reports.errorTraces().size(), 1u);
    create();
    EXPECT_EQ(MMemLineFifo_Link(_memory), 1);
}

// ------------------------------------------------------------------------------------------- misaligned, null memory

class MisalignedFifoTest : public MMemLineFifoTest, public testing::WithParamInterface<std::size_t> {
protected:
    unsigned char* const _shifted = _memory + GetParam();
    const std::uintptr_t _slotArea = reinterpret_cast<std::uintptr_t>(_shifted) + 64;
};

TEST_P(MisalignedFifoTest, CreateFailsAndLeavesNeitherWriterNorReader) {
    EXPECT_EQ(MMemLineFifo_Create(_shifted, 3, 50), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notAligned("MMemLineFifo_Create", _slotArea)));
    EXPECT_EQ(wordAt(_shifted, 0), 0u);
    EXPECT_EQ(wordAt(_shifted, 8), 0u);
    EXPECT_EQ(wordAt(_shifted, 16), 0u);
    EXPECT_EQ(wordAt(_shifted, 24), 0u);
    EXPECT_EQ(wordAt(_shifted, 32), 50u);
    EXPECT_EQ(wordAt(_shifted, 40), 4u);
    for (std::size_t byte = 48; byte < 64; ++byte) EXPECT_EQ(_shifted[byte], kGuard);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_shifted), 0);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_shifted), 0);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(_shifted), nullptr);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_shifted), nullptr);
    EXPECT_EQ(MMemLineFifo_GetLineLength(_shifted), 50u);
    EXPECT_EQ(MMemLineFifo_GetFree(_shifted), 3u);
}

TEST_P(MisalignedFifoTest, CreateBySizeFailsLikewise) {
    EXPECT_EQ(MMemLineFifo_CreateBySize(_shifted, 264, 50), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notAligned("MMemLineFifo_Create", _slotArea)));
}

TEST_P(MisalignedFifoTest, LinkFailsAndLeavesNoReader) {
    std::memset(_shifted, 0, 64);
    EXPECT_EQ(MMemLineFifo_Link(_shifted), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notAligned("MMemLineFifo_Link", _slotArea)));
    EXPECT_EQ(wordAt(_shifted, 16), 0u);
}

TEST_P(MisalignedFifoTest, LinkLooksAtTheReadersMarkFirst) {
    setWordAt(_shifted, 16, 1);
    EXPECT_EQ(MMemLineFifo_Link(_shifted), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemLineFifo_Link(): Fifo not initialized or already has an exlusive reader"));
    EXPECT_EQ(wordAt(_shifted, 16), 1u);
}

INSTANTIATE_TEST_SUITE_P(Shifts, MisalignedFifoTest, testing::Values(1, 2, 4, 7));

TEST_F(MMemLineFifoTest, HeaderOnAnyEightByteBoundaryIsFine) {
    EXPECT_EQ(MMemLineFifo_Create(_memory + 8, 1, 50), 1);
    EXPECT_EQ(MMemLineFifo_Link(_memory + 8), 1);
}

TEST_F(MMemLineFifoTest, LinesOfOddLengthLieCloseTogether) {
    EXPECT_EQ(MMemLineFifo_Create(_memory, 2, 3), 1);
    std::memcpy(MMemLineFifo_GetWriteLine(_memory), "abc", 3);
    MMemLineFifo_PutLine(_memory);
    std::memcpy(MMemLineFifo_GetWriteLine(_memory), "def", 3);
    MMemLineFifo_PutLine(_memory);
    EXPECT_EQ(std::memcmp(_memory + 64, "abcdef", 6), 0);
}

TEST_F(MMemLineFifoTest, NullMemoryIsAnsweredSilently) {
    EXPECT_EQ(MMemLineFifo_Create(nullptr, 3, 100), 0);
    EXPECT_EQ(MMemLineFifo_CreateBySize(nullptr, 1000, 100), 0);
    MMemLineFifo_Destroy(nullptr);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(nullptr), nullptr);
    EXPECT_EQ(MMemLineFifo_PutLine(nullptr), 0);
    EXPECT_EQ(MMemLineFifo_Link(nullptr), 0);
    MMemLineFifo_Unlink(nullptr);
    EXPECT_EQ(MMemLineFifo_GetReadLine(nullptr), nullptr);
    MMemLineFifo_ReleaseLine(nullptr);
    EXPECT_EQ(MMemLineFifo_GetCount(nullptr), 0u);
    EXPECT_EQ(MMemLineFifo_GetFree(nullptr), 0u);
    EXPECT_EQ(MMemLineFifo_GetLineLength(nullptr), 0u);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(nullptr), 0);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(nullptr), 0);
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

// --------------------------------------------------------------------------------------- two views, two processes

TEST(MMemLineFifoInTwoViews, EachSideGetsLinesInItsOwnView) {
    const std::string name = test::uniqueName("views");
    const test::ForeignMemory writersView(name, 4096);
    const test::ForeignMemory readersView(name, 4096);
    ASSERT_NE(writersView.bytes(), readersView.bytes());
    ASSERT_EQ(MMemLineFifo_Create(writersView.bytes(), 3, 100), 1);
    ASSERT_EQ(MMemLineFifo_Link(readersView.bytes()), 1);
    MMemLineFifo_PutLine(writersView.bytes());
    EXPECT_EQ(MMemLineFifo_GetWriteLine(writersView.bytes()), writersView.bytes() + 164);
    EXPECT_EQ(MMemLineFifo_GetReadLine(readersView.bytes()), readersView.bytes() + 64);
    EXPECT_EQ(wordAt(writersView.bytes(), 0), reinterpret_cast<std::uintptr_t>(writersView.bytes()) + 64);
    EXPECT_EQ(wordAt(writersView.bytes(), 16), reinterpret_cast<std::uintptr_t>(readersView.bytes()) + 64);
}

constexpr std::uint64_t kManyLines = 100'000;
constexpr std::size_t kWordsPerLine = 128;

// Every word of a line contains the line's number, so that a torn line shows.
void fill(void* line, std::uint64_t number) {
    auto* words = static_cast<std::uint64_t*>(line);
    for (std::uint64_t word = 0; word < kWordsPerLine; ++word) words[word] = number * kWordsPerLine + word;
}

bool isWhole(const void* line, std::uint64_t number) {
    const auto* words = static_cast<const std::uint64_t*>(line);
    for (std::uint64_t word = 0; word < kWordsPerLine; ++word) {
        if (words[word] != number * kWordsPerLine + word) return false;
    }
    return true;
}

CHILD_ROLE(writesManyLines) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    if (!MMemLineFifo_IsWriterAttached(memory)) return 1;
    for (std::uint64_t number = 0; number < kManyLines; ++number) {
        LimitedWait limit;
        fill(MMemLineFifo_GetWriteLine(memory), number);
        while (!MMemLineFifo_PutLine(memory)) {
            if (limit.isOver()) return 2;
        }
    }
    MMemLineFifo_Destroy(memory);
    return MSharedMem_Unlink(memory) ? 0 : 3;
}

class MMemLineFifoBetweenProcessesTest : public testing::Test {
protected:
    static constexpr std::size_t kBytes = 64 + 8 * kWordsPerLine * 8;
    ~MMemLineFifoBetweenProcessesTest() override { EXPECT_EQ(MSharedMem_Unlink(_memory), 1); }

    std::string _name = test::uniqueName("lines");
    void* _memory = MSharedMem_Create(_name.c_str(), kBytes);
};

TEST_F(MMemLineFifoBetweenProcessesTest, ReaderSeesEveryLineInOrderAndWhole) {
    ASSERT_EQ(MMemLineFifo_CreateBySize(_memory, kBytes, kWordsPerLine * 8), 1);
    ASSERT_EQ(MMemLineFifo_Link(_memory), 1);
    test::ChildProcess writer("writesManyLines", {_name});
    for (std::uint64_t number = 0; number < kManyLines; ++number) {
        LimitedWait limit;
        const void* line = nullptr;
        while ((line = MMemLineFifo_GetReadLine(_memory)) == nullptr) {
            if (limit.isOver()) {
                writer.kill();
                FAIL() << "line " << number << " did not come";
            }
        }
        if (!isWhole(line, number)) {
            writer.kill();
            FAIL() << "line " << number << " is lost or torn";
        }
        MMemLineFifo_ReleaseLine(_memory);
    }
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
    EXPECT_EQ(writer.join(60s), 0);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 0);
}

CHILD_ROLE(readsOneOfItsLines) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    if (!MMemLineFifo_Link(memory) || !isWhole(MMemLineFifo_GetReadLine(memory), 0)) return 1;
    MMemLineFifo_ReleaseLine(memory);
    return test::readyAndAwaitGo(arguments) ? 0 : 2;
}

TEST_F(MMemLineFifoBetweenProcessesTest, KilledReaderKeepsItsMarkAndLosesNoLine) {
    const test::Meeting meeting;
    ASSERT_EQ(MMemLineFifo_CreateBySize(_memory, kBytes, kWordsPerLine * 8), 1);
    for (std::uint64_t number = 0; number < 3; ++number) {
        fill(MMemLineFifo_GetWriteLine(_memory), number);
        MMemLineFifo_PutLine(_memory);
    }
    test::ChildProcess reader("readsOneOfItsLines", meeting.arguments({_name}));
    meeting.awaitReady();
    reader.kill();
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 1);
    {
        test::Reports reports("mipc/src/mmemlinefifo");
        EXPECT_EQ(MMemLineFifo_Link(_memory), 0);
        EXPECT_EQ(reports.errorTraces().size(), 1u);
    }
    EXPECT_EQ(MMemLineFifo_GetCount(_memory), 2u);
    MMemLineFifo_Unlink(_memory);  // as only who knows of the death may
    ASSERT_EQ(MMemLineFifo_Link(_memory), 1);
    EXPECT_TRUE(isWhole(MMemLineFifo_GetReadLine(_memory), 1));
}

CHILD_ROLE(writesOneLineAndHalfAnother) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    if (!MMemLineFifo_CreateBySize(memory, MSharedMem_GetSize(memory), kWordsPerLine * 8)) return 1;
    fill(MMemLineFifo_GetWriteLine(memory), 0);
    MMemLineFifo_PutLine(memory);
    std::memset(MMemLineFifo_GetWriteLine(memory), 0xAB, kWordsPerLine * 4);
    return test::readyAndAwaitGo(arguments) ? 0 : 2;
}

TEST_F(MMemLineFifoBetweenProcessesTest, KilledWriterKeepsItsMarkAndItsHalfLineIsNeverSeen) {
    const test::Meeting meeting;
    test::ChildProcess writer("writesOneLineAndHalfAnother", meeting.arguments({_name}));
    meeting.awaitReady();
    writer.kill();
    ASSERT_EQ(MMemLineFifo_Link(_memory), 1);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 1);
    EXPECT_TRUE(isWhole(MMemLineFifo_GetReadLine(_memory), 0));
    MMemLineFifo_ReleaseLine(_memory);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
}

TEST_F(MMemLineFifoBetweenProcessesTest, WriterThatComesLateDetachesTheReaderThatWaited) {
    const test::Meeting meeting;
    ASSERT_EQ(MMemLineFifo_Link(_memory), 1);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 0);
    EXPECT_EQ(MMemLineFifo_GetReadLine(_memory), nullptr);
    test::ChildProcess writer("writesOneLineAndHalfAnother", meeting.arguments({_name}));
    meeting.awaitReady();
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(_memory), 1);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(_memory), 0);
    ASSERT_EQ(MMemLineFifo_Link(_memory), 1);
    EXPECT_TRUE(isWhole(MMemLineFifo_GetReadLine(_memory), 0));
    meeting.go();
    EXPECT_EQ(writer.join(60s), 0);
}

}  // namespace
