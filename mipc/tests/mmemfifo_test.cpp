#include "mmemfifo.h"

#include <array>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fifo_words.h"
#include "reports.h"

using test::notAligned;
using test::setWordAt;
using test::wordAt;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::size_t kSize = 10;
constexpr std::size_t kDataSize = kSize + 1;
constexpr std::size_t kFifoBytes = 64 + kDataSize;
constexpr unsigned char kGuard = 0xEE;

constexpr std::size_t kWriterMark = 0;
constexpr std::size_t kWriteOffset = 8;
constexpr std::size_t kReaderMark = 16;
constexpr std::size_t kReadOffset = 24;
constexpr std::size_t kDataSizeField = 32;

class MMemFifoTest : public testing::Test {
protected:
    MMemFifoTest() { _block.fill(kGuard); }
    ~MMemFifoTest() override {
        for (std::size_t byte = kFifoBytes; byte < _block.size(); ++byte)
            EXPECT_EQ(_block[byte], kGuard) << "behind the fifo, at " << byte;
    }

    void createAndLink() {
        ASSERT_EQ(MMemFifo_Create(_memory, kSize), 1);
        ASSERT_EQ(MMemFifo_Link(_memory), 1);
    }
    int write(const std::string& bytes) { return MMemFifo_Write(_memory, bytes.data(), bytes.size()); }
    std::string read(std::size_t maximum = 100) {
        char buffer[100];
        return {buffer, MMemFifo_Read(_memory, buffer, maximum)};
    }
    // Sets both offsets, on an empty ring.
    void moveTo(std::uint64_t offset) {
        setWordAt(_memory, kWriteOffset, offset);
        setWordAt(_memory, kReadOffset, offset);
    }

    alignas(64) std::array<unsigned char, kFifoBytes + 256> _block;
    unsigned char* const _memory = _block.data();
    const std::uintptr_t _dataArea = reinterpret_cast<std::uintptr_t>(_memory) + 64;
    test::Reports _reports{"mipc/src/mmemfifo"};
};

// ------------------------------------------------------------------------------------------------- Create, Destroy

TEST_F(MMemFifoTest, CreateLaysTheHeaderByteForByte) {
    EXPECT_EQ(MMemFifo_Create(_memory, 10), 1);
    EXPECT_EQ(wordAt(_memory, 0), _dataArea);
    EXPECT_EQ(wordAt(_memory, 8), 0u);
    EXPECT_EQ(wordAt(_memory, 16), 0u);
    EXPECT_EQ(wordAt(_memory, 24), 0u);
    EXPECT_EQ(wordAt(_memory, 32), 11u);
    for (std::size_t byte = 40; byte < _block.size(); ++byte) EXPECT_EQ(_block[byte], kGuard) << byte;
}

TEST_F(MMemFifoTest, FreshFifoIsEmptyWithAWriterAndNoReader) {
    EXPECT_EQ(MMemFifo_Create(_memory, 10), 1);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
    EXPECT_EQ(MMemFifo_GetFree(_memory), 10u);
    EXPECT_EQ(MMemFifo_IsWriterAttached(_memory), 1);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 0);
}

TEST_F(MMemFifoTest, CreateAnewEmptiesTheRingAndDetachesTheReader) {
    createAndLink();
    write("abc");
    read(1);
    EXPECT_EQ(MMemFifo_Create(_memory, kSize), 1);
    EXPECT_EQ(wordAt(_memory, kWriteOffset), 0u);
    EXPECT_EQ(wordAt(_memory, kReadOffset), 0u);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 0);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
}

TEST_F(MMemFifoTest, LargestSizeIsRefusedAfterItsDataSizeWasStored) {
    createAndLink();
    write("abc");
    auto expected = _block;
    setWordAt(expected.data(), kDataSizeField, 0);
    setWordAt(expected.data(), kWriterMark, 0);
    EXPECT_EQ(MMemFifo_Create(_memory, SIZE_MAX), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemFifo_Create(): size " + std::to_string(SIZE_MAX) + " is not supported"));
    EXPECT_EQ(_block, expected);
}

TEST_F(MMemFifoTest, EveryOtherSizeIsAccepted) {
    EXPECT_EQ(MMemFifo_Create(_memory, SIZE_MAX - 1), 1);
    EXPECT_EQ(wordAt(_memory, kDataSizeField), SIZE_MAX);
    EXPECT_EQ(MMemFifo_Create(_memory, 0), 1);
    EXPECT_EQ(wordAt(_memory, kDataSizeField), 1u);
    EXPECT_EQ(MMemFifo_GetFree(_memory), 0u);
    EXPECT_EQ(write("a"), 0);
    EXPECT_EQ(write(""), 1);
}

TEST_F(MMemFifoTest, DestroyDetachesTheWriterAloneAndWaitingBytesStayReadable) {
    createAndLink();
    write("abc");
    auto expected = _block;
    setWordAt(expected.data(), kWriterMark, 0);
    MMemFifo_Destroy(_memory);
    EXPECT_EQ(_block, expected);
    EXPECT_EQ(MMemFifo_IsWriterAttached(_memory), 0);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 1);
    EXPECT_EQ(read(), "abc");
}

// ------------------------------------------------------------------------------------------------------------ Write

TEST_F(MMemFifoTest, AsManyBytesAsTheSizeFitAndNotOneMore) {
    createAndLink();
    EXPECT_EQ(write("0123456789"), 1);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 10u);
    EXPECT_EQ(MMemFifo_GetFree(_memory), 0u);
    const auto full = _block;
    EXPECT_EQ(write("x"), 0);
    EXPECT_EQ(_block, full);
    EXPECT_EQ(write(""), 1);  // nothing fits everywhere
    EXPECT_EQ(_block, full);
}

TEST_F(MMemFifoTest, MoreThanTheSizeIsRefusedWhole) {
    createAndLink();
    const auto empty = _block;
    EXPECT_EQ(write("0123456789x"), 0);
    EXPECT_EQ(MMemFifo_Write(_memory, "x", SIZE_MAX), 0);
    EXPECT_EQ(_block, empty);
}

TEST_F(MMemFifoTest, BytesLieFromTheWriteOffsetOn) {
    createAndLink();
    write("abc");
    write("de");
    EXPECT_EQ(std::memcmp(_memory + 64, "abcde", 5), 0);
    EXPECT_EQ(_memory[64 + 5], kGuard);
    EXPECT_EQ(wordAt(_memory, kWriteOffset), 5u);
}

TEST_F(MMemFifoTest, WriteAcrossTheEndGoesOnAtTheStart) {
    createAndLink();
    write("01234567");
    read();
    EXPECT_EQ(write("abcdef"), 1);
    EXPECT_EQ(wordAt(_memory, kWriteOffset), 3u);
    EXPECT_EQ(std::memcmp(_memory + 64, "def34567abc", 11), 0);
    EXPECT_EQ(read(), "abcdef");
    EXPECT_EQ(wordAt(_memory, kReadOffset), 3u);
}

TEST_F(MMemFifoTest, BothOffsetsAreZeroAfterTheExactEnd) {
    createAndLink();
    write("01234567");
    read();
    EXPECT_EQ(write("abc"), 1);
    EXPECT_EQ(wordAt(_memory, kWriteOffset), 0u);
    EXPECT_EQ(wordAt(_memory, kReadOffset), 8u);
    EXPECT_EQ(read(), "abc");
    EXPECT_EQ(wordAt(_memory, kReadOffset), 0u);
}

TEST_F(MMemFifoTest, FullRingIsFullAtEveryOffset) {
    createAndLink();
    for (std::uint64_t offset = 0; offset < kDataSize; ++offset) {
        moveTo(offset);
        EXPECT_EQ(write("0123456789x"), 0) << offset;
        EXPECT_EQ(write("0123456789"), 1) << offset;
        EXPECT_EQ(write("x"), 0) << offset;
        EXPECT_EQ(wordAt(_memory, kWriteOffset), (offset + 10) % kDataSize);
        EXPECT_EQ(read(), "0123456789") << offset;
        EXPECT_EQ(wordAt(_memory, kReadOffset), (offset + 10) % kDataSize);
    }
}

TEST_F(MMemFifoTest, WriteNeedsNoReader) {
    MMemFifo_Create(_memory, kSize);
    EXPECT_EQ(write("abc"), 1);
    MMemFifo_Link(_memory);
    EXPECT_EQ(read(), "abc");
}

TEST_F(MMemFifoTest, WithoutWritersMarkNothingIsWritten) {
    createAndLink();
    MMemFifo_Destroy(_memory);
    const auto before = _block;
    EXPECT_EQ(write("abc"), 0);
    EXPECT_EQ(write(""), 0);
    EXPECT_EQ(_block, before);
}

// ------------------------------------------------------------------------------------------------------------- Read

TEST_F(MMemFifoTest, ReadTakesAtMostTheMaximumAndLeavesTheRest) {
    createAndLink();
    write("0123456789");
    EXPECT_EQ(read(4), "0123");
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 6u);
    EXPECT_EQ(wordAt(_memory, kReadOffset), 4u);
    EXPECT_EQ(read(100), "456789");
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
}

TEST_F(MMemFifoTest, ReadOfNothingChangesNothing) {
    createAndLink();
    const auto empty = _block;
    EXPECT_EQ(read(), "");
    EXPECT_EQ(_block, empty);
    write("abc");
    const auto waiting = _block;
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(MMemFifo_Read(_memory, nullptr, 0), 0u);
    EXPECT_EQ(_block, waiting);
}

TEST_F(MMemFifoTest, ReadStopsAtTheMaximumBeforeAtAndBehindTheEnd) {
    createAndLink();
    for (std::size_t maximum = 1; maximum <= 10; ++maximum) {
        moveTo(8);
        write("0123456789");
        EXPECT_EQ(read(maximum), std::string("0123456789").substr(0, maximum));
        EXPECT_EQ(wordAt(_memory, kReadOffset), (8 + maximum) % kDataSize);
        EXPECT_EQ(MMemFifo_GetUsed(_memory), 10 - maximum);
    }
}

TEST_F(MMemFifoTest, ReadTouchesNoByteBehindWhatItGives) {
    createAndLink();
    write("abc");
    std::string buffer(8, '.');
    EXPECT_EQ(MMemFifo_Read(_memory, buffer.data(), buffer.size()), 3u);
    EXPECT_EQ(buffer, "abc.....");
}

TEST_F(MMemFifoTest, WithoutReadersMarkNothingIsRead) {
    createAndLink();
    write("abc");
    MMemFifo_Unlink(_memory);
    const auto before = _block;
    EXPECT_EQ(read(), "");
    EXPECT_EQ(_block, before);
}

TEST_F(MMemFifoTest, ReaderThatLosesItsMarkWhileItCopiesReadsNothing) {
    createAndLink();
    write(std::string(8, '\0'));
    // Here the copy itself clears the mark, like a writer that recreates the ring at that moment.
    EXPECT_EQ(MMemFifo_Read(_memory, _memory + kReaderMark, 8), 0u);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 0);
    EXPECT_EQ(wordAt(_memory, kReadOffset), 0u);
}

TEST_F(MMemFifoTest, ClearDropsWhatWaitsAndAnswersWithTheOffset) {
    createAndLink();
    write("0123456");
    auto expected = _block;
    setWordAt(expected.data(), kReadOffset, 7);
    EXPECT_EQ(MMemFifo_Clear(_memory), 7u);
    EXPECT_EQ(_block, expected);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
    EXPECT_EQ(read(), "");
}

TEST_F(MMemFifoTest, UsedAndFreeAreRightForEveryPairOfOffsets) {
    MMemFifo_Create(_memory, kSize);
    for (std::uint64_t write = 0; write < kDataSize; ++write) {
        for (std::uint64_t read = 0; read < kDataSize; ++read) {
            setWordAt(_memory, kWriteOffset, write);
            setWordAt(_memory, kReadOffset, read);
            const std::size_t waiting = (write + kDataSize - read) % kDataSize;  // e.g. write 3, read 8: 6 bytes
            EXPECT_EQ(MMemFifo_GetUsed(_memory), waiting) << write << " " << read;
            EXPECT_EQ(MMemFifo_GetFree(_memory), kSize - waiting) << write << " " << read;
        }
    }
}

TEST_F(MMemFifoTest, RingWithoutBytesHasNoneFree) {
    std::memset(_memory, 0, 64);
    EXPECT_EQ(MMemFifo_GetFree(_memory), 0u);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
    setWordAt(_memory, kWriterMark, _dataArea);
    EXPECT_EQ(write(""), 0);
}

// ----------------------------------------------------------------------------------------------------- Link, Unlink

TEST_F(MMemFifoTest, LinkStoresTheReadersMarkAndNothingElse) {
    MMemFifo_Create(_memory, kSize);
    auto expected = _block;
    setWordAt(expected.data(), kReaderMark, _dataArea);
    EXPECT_EQ(MMemFifo_Link(_memory), 1);
    EXPECT_EQ(_block, expected);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 1);
}

TEST_F(MMemFifoTest, SecondReaderIsRefusedUntilTheFirstUnlinks) {
    createAndLink();
    EXPECT_EQ(MMemFifo_Link(_memory), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemFifo_Link(): Fifo not initialized or already has an exlusive reader"));
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 1);
    MMemFifo_Unlink(_memory);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 0);
    EXPECT_EQ(wordAt(_memory, kReaderMark), 0u);
    EXPECT_EQ(MMemFifo_Link(_memory), 1);
}

TEST_F(MMemFifoTest, ReaderCanLinkBeforeTheWriterAndIsDetachedByCreate) {
    std::memset(_memory, 0, 65);
    EXPECT_EQ(MMemFifo_Link(_memory), 1);
    EXPECT_EQ(MMemFifo_IsWriterAttached(_memory), 0);
    EXPECT_EQ(read(), "");
    EXPECT_EQ(MMemFifo_Create(_memory, kSize), 1);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_memory), 0);
}

TEST_F(MMemFifoTest, UnlinkKeepsUnreadBytesForTheNextReader) {
    createAndLink();
    write("abcdef");
    read(2);
    MMemFifo_Unlink(_memory);
    EXPECT_EQ(MMemFifo_GetUsed(_memory), 4u);
    MMemFifo_Link(_memory);
    EXPECT_EQ(read(), "cdef");
}

// ------------------------------------------------------------------------------------------ misaligned, null memory

class MisalignedByteFifoTest : public MMemFifoTest, public testing::WithParamInterface<std::size_t> {
protected:
    unsigned char* const _shifted = _memory + GetParam();
};

TEST_P(MisalignedByteFifoTest, CreateFailsAndLeavesNeitherWriterNorReader) {
    EXPECT_EQ(MMemFifo_Create(_shifted, 2), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notAligned("MMemFifo_Create", _dataArea + GetParam())));
    for (const std::size_t field : {kWriterMark, kWriteOffset, kReaderMark, kReadOffset})
        EXPECT_EQ(wordAt(_shifted, field), 0u) << field;
    EXPECT_EQ(wordAt(_shifted, kDataSizeField), 3u);
    for (std::size_t byte = 40; byte < 64; ++byte) EXPECT_EQ(_shifted[byte], kGuard);
    EXPECT_EQ(MMemFifo_IsWriterAttached(_shifted), 0);
    EXPECT_EQ(MMemFifo_GetFree(_shifted), 2u);
    EXPECT_EQ(MMemFifo_Write(_shifted, "a", 1), 0);
}

TEST_P(MisalignedByteFifoTest, LinkFailsAndLeavesNoReader) {
    std::memset(_shifted, 0, 64);
    EXPECT_EQ(MMemFifo_Link(_shifted), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notAligned("MMemFifo_Link", _dataArea + GetParam())));
    EXPECT_EQ(wordAt(_shifted, kReaderMark), 0u);
}

TEST_P(MisalignedByteFifoTest, LinkLooksAtTheReadersMarkFirst) {
    setWordAt(_shifted, kReaderMark, 1);
    EXPECT_EQ(MMemFifo_Link(_shifted), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MMemFifo_Link(): Fifo not initialized or already has an exlusive reader"));
    EXPECT_EQ(wordAt(_shifted, kReaderMark), 1u);
}

TEST_P(MisalignedByteFifoTest, MarksThatNobodyCanHaveSetAreNoMarks) {
    std::memset(_shifted, 0, 64);
    setWordAt(_shifted, kWriterMark, 1);
    setWordAt(_shifted, kReaderMark, 1);
    setWordAt(_shifted, kDataSizeField, 4);
    EXPECT_EQ(MMemFifo_Write(_shifted, "a", 1), 0);
    setWordAt(_shifted, kWriteOffset, 1);
    char byte = '.';
    EXPECT_EQ(MMemFifo_Read(_shifted, &byte, 1), 0u);
    EXPECT_EQ(byte, '.');
    EXPECT_EQ(MMemFifo_Clear(_shifted), 1u);
    EXPECT_EQ(MMemFifo_GetUsed(_shifted), 0u);
    MMemFifo_Destroy(_shifted);
    MMemFifo_Unlink(_shifted);
    EXPECT_EQ(MMemFifo_IsWriterAttached(_shifted), 0);
    EXPECT_EQ(MMemFifo_IsReaderAttached(_shifted), 0);
}

INSTANTIATE_TEST_SUITE_P(Shifts, MisalignedByteFifoTest, testing::Values(1, 2, 4, 7));

TEST_F(MMemFifoTest, HeaderOnAnyEightByteBoundaryIsFine) {
    EXPECT_EQ(MMemFifo_Create(_memory + 8, 2), 1);
    EXPECT_EQ(MMemFifo_GetDataSize(_memory + 8), 3u);
    EXPECT_EQ(MMemFifo_Link(_memory + 8), 1);
}

TEST_F(MMemFifoTest, NullMemoryIsAnsweredSilently) {
    char byte = 'x';
    EXPECT_EQ(MMemFifo_Create(nullptr, 10), 0);
    EXPECT_EQ(MMemFifo_Create(nullptr, SIZE_MAX), 0);
    MMemFifo_Destroy(nullptr);
    EXPECT_EQ(MMemFifo_Write(nullptr, &byte, 1), 0);
    EXPECT_EQ(MMemFifo_Link(nullptr), 0);
    MMemFifo_Unlink(nullptr);
    EXPECT_EQ(MMemFifo_Read(nullptr, &byte, 1), 0u);
    EXPECT_EQ(MMemFifo_Clear(nullptr), 0u);
    EXPECT_EQ(MMemFifo_GetUsed(nullptr), 0u);
    EXPECT_EQ(MMemFifo_GetFree(nullptr), 0u);
    EXPECT_EQ(MMemFifo_GetDataSize(nullptr), 0u);
    EXPECT_EQ(MMemFifo_IsWriterAttached(nullptr), 0);
    EXPECT_EQ(MMemFifo_IsReaderAttached(nullptr), 0);
    EXPECT_EQ(MMemFifo_IsSound(nullptr, 100), 0);
    EXPECT_EQ(byte, 'x');
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

}  // namespace
