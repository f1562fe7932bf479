// A fifo that its writer recreates between two steps of its reader, or that another process has damaged.
#include "mmemlinereader.h"

#include <array>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kLineLength = 88;
constexpr std::size_t kLines = 4;

// Runs once, right after the reader has checked its mark; the result of that check is then outdated.
std::function<void()> afterLook;

// Runs before the reader's last check of a line, after all its loads.
std::function<void()> beforeSecondLook;
int looks = 0;

int lookAndGoOn(const void* memory) {
    if (++looks == 2) {
        if (const auto step = std::exchange(beforeSecondLook, nullptr)) step();
    }
    const int attached = MMemLineFifo_IsReaderAttached(memory);
    if (const auto step = std::exchange(afterLook, nullptr)) step();
    return attached;
}

class MMemLineReaderTest : public testing::Test {
protected:
    MMemLineReaderTest() {
        lay();
        EXPECT_EQ(_reader.link(_memory, _block.size(), 24), MMemLineReader::Link::linked);
    }
    ~MMemLineReaderTest() override { EXPECT_FALSE(afterLook) << "nobody looked"; }

    void lay() { MMemLineFifo_Create(_memory, kLines, kLineLength); }
    void putAndRead(int count) {
        for (int line = 0; line < count; ++line) {
            ASSERT_EQ(MMemLineFifo_PutLine(_memory), 1);
            ASSERT_NE(_reader.peek(), nullptr);
            _reader.release();
        }
    }
    unsigned char* slot(std::size_t index) { return _memory + sizeof(LineFifoHeader) + index * kLineLength; }

    alignas(64) std::array<unsigned char, MMemLineFifo_MemoryBytes(kLines, kLineLength)> _block{};
    unsigned char* const _memory = _block.data();
    LineFifoHeader& _header = *reinterpret_cast<LineFifoHeader*>(_memory);
    MMemLineReader _reader{lookAndGoOn};
};

TEST_F(MMemLineReaderTest, OldLineIsNotHandedOutWhileTheFifoIsLaidAnew) {
    putAndRead(3);
    afterLook = [this] {  // the writer's first stores; its last one, the read index, follows later
        _header.writeIndex = 0;
        _header.readerMark = 0;
    };
    EXPECT_EQ(_reader.peek(), nullptr);
    EXPECT_EQ(_reader.damage(), MMemLineReader::Damage::none);
}

TEST_F(MMemLineReaderTest, LineOfAFifoThatWasRecreatedBehindTheLoadsIsNotHandedOut) {
    MMemLineFifo_PutLine(_memory);
    looks = 0;
    beforeSecondLook = [this] { lay(); };
    EXPECT_EQ(_reader.peek(), nullptr);
    EXPECT_FALSE(beforeSecondLook) << "nobody looked twice";
    EXPECT_EQ(_reader.damage(), MMemLineReader::Damage::none);
    beforeSecondLook = nullptr;
}

TEST_F(MMemLineReaderTest, LineThatIsGivenBackLateLeavesTheFirstOneOfTheNewFifo) {
    for (const int before : {0, 1, 4}) {
        lay();
        ASSERT_EQ(_reader.link(_memory, _block.size(), 24), MMemLineReader::Link::linked);
        putAndRead(before);
        MMemLineFifo_PutLine(_memory);
        ASSERT_NE(_reader.peek(), nullptr);
        afterLook = [this] {
            lay();
            MMemLineFifo_PutLine(_memory);
        };
        _reader.release();
        EXPECT_EQ(_header.readIndex, 0u) << before;
        EXPECT_EQ(MMemLineFifo_GetCount(_memory), 1u) << before;
    }
}

TEST_F(MMemLineReaderTest, FifoThatStaysIsReadOnAcrossTheWrap) {
    for (std::size_t line = 0; line < 3 * kLines; ++line) {
        ASSERT_EQ(MMemLineFifo_PutLine(_memory), 1);
        EXPECT_EQ(_reader.peek(), slot(line % (kLines + 1)));
        _reader.release();
    }
    EXPECT_EQ(_reader.peek(), nullptr);
    EXPECT_EQ(_header.readIndex, _header.writeIndex);
}

// The product wraps, so its address is that of slot 0.
TEST_F(MMemLineReaderTest, ReadIndexWhoseLineSeemsToLieInsideIsDamageAllTheSame) {
    MMemLineFifo_PutLine(_memory);
    _header.readIndex = std::uint64_t{1} << 61;
    ASSERT_EQ(MMemLineFifo_GetReadLine(_memory), slot(0));
    EXPECT_EQ(_reader.peek(), nullptr);
    EXPECT_EQ(_reader.damage(), MMemLineReader::Damage::impossibleIndices);
    EXPECT_EQ(_reader.damagedHeader().readIndex, std::uint64_t{1} << 61);
}

TEST_F(MMemLineReaderTest, DamagedFifoGivesNoLineUntilItIsLinkedAnew) {
    MMemLineFifo_PutLine(_memory);
    _header.slotCount = 1000;
    EXPECT_EQ(_reader.peek(), nullptr);
    EXPECT_EQ(_reader.damage(), MMemLineReader::Damage::otherGeometry);
    _header.slotCount = kLines + 1;
    EXPECT_EQ(_reader.peek(), nullptr);
    EXPECT_EQ(_reader.unlink(), _memory);
    ASSERT_EQ(_reader.link(_memory, _block.size(), 24), MMemLineReader::Link::linked);
    EXPECT_EQ(_reader.peek(), slot(0));
}

TEST_F(MMemLineReaderTest, LinkTellsWhatDoesNotFit) {
    MMemLineFifo_Unlink(_memory);
    EXPECT_EQ(MMemLineReader().link(_memory, 63, 24), MMemLineReader::Link::noHeader);
    EXPECT_FALSE(MMemLineFifo_IsReaderAttached(_memory));
    MMemLineReader tooLong;
    EXPECT_EQ(tooLong.link(_memory, _block.size() - 1, 24), MMemLineReader::Link::linked);
    EXPECT_EQ(tooLong.damage(), MMemLineReader::Damage::slotsDoNotFit);
    tooLong.unlink();
    MMemLineReader tooShort;
    EXPECT_EQ(tooShort.link(_memory, _block.size(), kLineLength + 1), MMemLineReader::Link::linked);
    EXPECT_EQ(tooShort.damage(), MMemLineReader::Damage::shortLines);
    EXPECT_FALSE(tooShort.isReadable());
}

TEST(MMemLineReader, UnlinkedGivesNoLine) {
    MMemLineReader reader;
    EXPECT_EQ(reader.peek(), nullptr);
    reader.release();
    EXPECT_EQ(reader.unlink(), nullptr);
}

}  // namespace
