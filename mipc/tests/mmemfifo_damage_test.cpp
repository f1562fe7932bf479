// A byte fifo whose header somebody else has damaged: whatever it contains, no byte outside the block is touched and
// every loop ends. The blocks have exactly the needed size, so that AddressSanitizer sees an access one byte beyond.
#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fifo_words.h"
#include "mmemfifo.h"

using test::setWordAt;
using test::wordAt;

namespace {

constexpr std::size_t kSize = 40;
constexpr std::size_t kBytes = kSize + kMMemFifoOverhead;
constexpr std::uint64_t kFar = 0x7F00'0000'0000u;

class DamagedFifoTest : public testing::Test {
protected:
    DamagedFifoTest() {
        MMemFifo_Create(_memory, kSize);
        MMemFifo_Link(_memory);
    }
    int write(std::size_t count) { return MMemFifo_Write(_memory, std::string(count, 'w').data(), count, kBytes); }
    std::size_t read(std::size_t maximum) {
        return MMemFifo_Read(_memory, std::vector<char>(maximum).data(), maximum, kBytes);
    }

    // From new, so that it is aligned and nothing follows closely.
    std::unique_ptr<unsigned char[]> _block{new unsigned char[kBytes]};
    unsigned char* const _memory = _block.get();
};

TEST_F(DamagedFifoTest, SoundIsWhatLiesInTheMemory) {
    EXPECT_EQ(MMemFifo_IsSound(_memory, kBytes), 1);
    EXPECT_EQ(MMemFifo_IsSound(_memory), 1);
    EXPECT_EQ(MMemFifo_IsSound(_memory, kBytes - 1), 0);
    EXPECT_EQ(MMemFifo_IsSound(_memory, 63), 0);
    EXPECT_EQ(MMemFifo_IsSound(_memory, 0), 0);
}

TEST_F(DamagedFifoTest, OffsetsAreSoundUpToTheLastByteOfTheRing) {
    for (const std::size_t offset : {8u, 24u}) {
        setWordAt(_memory, offset, kSize);
        EXPECT_EQ(MMemFifo_IsSound(_memory, kBytes), 1) << offset;
        setWordAt(_memory, offset, kSize + 1);
        EXPECT_EQ(MMemFifo_IsSound(_memory, kBytes), 0) << offset;
        setWordAt(_memory, offset, 0);
    }
}

TEST_F(DamagedFifoTest, NothingIsWrittenAroundADamagedReadOffset) {
    setWordAt(_memory, 24, kSize + 1 + 100);
    const std::vector<unsigned char> before(_memory, _memory + kBytes);
    EXPECT_EQ(write(10), 0);
    EXPECT_EQ(std::vector<unsigned char>(_memory, _memory + kBytes), before);
}

TEST_F(DamagedFifoTest, DamagedReadOffsetIsRepairedByDroppingWhatWaits) {
    write(5);
    setWordAt(_memory, 24, kSize + 1 + 100);
    EXPECT_EQ(read(10), 0u);
    EXPECT_EQ(wordAt(_memory, 24), 5u);
    EXPECT_EQ(write(7), 1);
    EXPECT_EQ(read(10), 7u);
}

TEST_F(DamagedFifoTest, DamagedWriteOffsetLeavesNothingWaitingAndNothingIsWritten) {
    for (const std::uint64_t offset : {std::uint64_t{kSize + 1}, kFar, UINT64_MAX}) {
        setWordAt(_memory, 8, offset);
        EXPECT_EQ(write(1), 0);
        EXPECT_EQ(read(10), 0u);
        EXPECT_EQ(MMemFifo_GetUsed(_memory), 0u);
        EXPECT_EQ(wordAt(_memory, 8), offset);
    }
}

TEST_F(DamagedFifoTest, DataSizeBeyondTheMemoryIsNotFollowed) {
    write(5);
    for (const std::uint64_t size : {std::uint64_t{kSize + 2}, std::uint64_t{1} << 40, UINT64_MAX}) {
        setWordAt(_memory, 32, size);
        EXPECT_EQ(write(1), 0) << size;
        setWordAt(_memory, 24, 0);
        EXPECT_EQ(read(10), 0u) << size;
        EXPECT_EQ(wordAt(_memory, 24), 5u) << size;
    }
}

TEST_F(DamagedFifoTest, BytesGoToTheOwnMappingWhateverTheMarksHold) {
    setWordAt(_memory, 0, 0x1000);
    setWordAt(_memory, 16, 0x2000);
    EXPECT_EQ(write(5), 1);
    EXPECT_EQ(_memory[64], 'w');
    EXPECT_EQ(read(10), 5u);
    EXPECT_EQ(wordAt(_memory, 0), 0x1000u);
    EXPECT_EQ(wordAt(_memory, 16), 0x2000u);
}

// A value for a field: near a limit, far away, or anything.
std::uint64_t garbage(std::mt19937_64& random) {
    static const std::uint64_t kBorders[] = {0,          1,         kSize - 1, kSize,         kSize + 1,
                                             kSize + 2,  2 * kSize, 64,        kBytes,        kFar,
                                             UINT64_MAX, INT64_MAX, 1u << 31,  UINT32_MAX,    UINT64_MAX - kSize,
                                             0 - 64ull,  0 - 65ull, 8,         SIZE_MAX - 64, SIZE_MAX - kBytes};
    return random() % 4 == 0 ? random() : kBorders[random() % std::size(kBorders)];
}

void useOnce(unsigned char* memory, std::mt19937_64& random) {
    std::vector<char> buffer(random() % (2 * kSize) + 1);
    switch (random() % 6) {
        case 0:
            MMemFifo_Create(memory, kSize);
            break;
        case 1:
            MMemFifo_Clear(memory);
            break;
        case 2:
        case 3:
            MMemFifo_Write(memory, buffer.data(), buffer.size(), kBytes);
            break;
        default:
            MMemFifo_Read(memory, buffer.data(), buffer.size(), kBytes);
            break;
    }
    MMemFifo_GetUsed(memory);
    MMemFifo_GetFree(memory);
}

TEST_F(DamagedFifoTest, NoGarbageInAnyFieldLeadsOutOfTheBlock) {
    std::mt19937_64 random(20250313);
    for (int round = 0; round < 300'000; ++round) {
        for (std::uint64_t count = random() % 3; count > 0; --count)
            setWordAt(_memory, random() % 8 * 8, garbage(random));
        useOnce(_memory, random);
    }
    MMemFifo_Create(_memory, kSize);
    MMemFifo_Link(_memory);
    EXPECT_EQ(write(kSize), 1);
    EXPECT_EQ(read(2 * kSize), kSize);
}

TEST_F(DamagedFifoTest, DrainingLoopEndsWhateverStandsInTheHeader) {
    std::mt19937_64 random(1);
    for (int round = 0; round < 100'000; ++round) {
        for (std::size_t field = 0; field < 40; field += 8) setWordAt(_memory, field, garbage(random));
        setWordAt(_memory, 16, 1);  // attached; otherwise it would not read
        int reads = 0;
        while (MMemFifo_GetUsed(_memory) != 0 && reads < 1000) {
            read(1);
            ++reads;
        }
        ASSERT_LE(reads, static_cast<int>(kSize)) << "round " << round;
    }
}

}  // namespace
