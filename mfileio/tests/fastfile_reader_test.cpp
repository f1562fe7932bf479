// How a reader interprets the bytes of a file.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

// Bytes that reveal their position.
std::string numberedBytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t at = 0; at < count; ++at) bytes[at] = static_cast<char>(at * 31 + at / 256 * 7);
    return bytes;
}

class MFastFileReaderTest : public testing::Test {
protected:
    void open(const std::string& content) { ASSERT_TRUE(_reader.Open(_folder.file("f", content).c_str())); }

    Lines lines() {
        Lines all;
        std::string line;
        while (!_reader.IsEOF() && _reader.ReadLine(line)) all.push_back(line);
        return all;
    }

    std::string read(std::size_t count) {
        std::string bytes(count, '\xEE');
        const std::ptrdiff_t result = _reader.Read(bytes.data(), count);
        EXPECT_GE(result, 0);
        EXPECT_TRUE(std::all_of(bytes.begin() + result, bytes.end(), [](char byte) { return byte == '\xEE'; }));
        bytes.resize(static_cast<std::size_t>(result));
        return bytes;
    }

    std::string characters(bool (MFastFileReader::*readCharacter)(char&)) {
        std::string all;
        char character = 0;
        while ((_reader.*readCharacter)(character)) all += character;
        return all;
    }

    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
    MFastFileReader _reader;
};

// ---------------------------------------------------------------------------------------------------- open and close

TEST_F(MFastFileReaderTest, IsClosedAtFirst) { EXPECT_FALSE(_reader.IsOpen()); }

TEST_F(MFastFileReaderTest, ConstructorOpensTheFile) {
    MFastFileReader reader(_folder.file("f", "text").c_str());
    EXPECT_TRUE(reader.IsOpen());
    std::string line;
    EXPECT_TRUE(reader.ReadLine(line));
    EXPECT_EQ(line, "text");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileReaderTest, ConstructorWithAMissingFileReportsItAndStaysClosed) {
    const std::string name = _folder.path("missing");
    const MFastFileReader reader(name.c_str());
    EXPECT_FALSE(reader.IsOpen());
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFileReader::Open(): openfile(\"" + name + "\") failed: 2",
                            "MFastFileReader::MFastFileReader(): Open(\"" + name + "\") failed"));
    EXPECT_EQ(_recorder.entries().front().file, "mfileio/src/fastfile");
}

TEST_F(MFastFileReaderTest, OpenOfAFolderFailsWithAccessDenied) {
    EXPECT_FALSE(_reader.Open(_folder.path().c_str()));
    EXPECT_FALSE(_reader.IsOpen());
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFileReader::Open(): openfile(\"" + _folder.path() + "\") failed: 5"));
}

TEST_F(MFastFileReaderTest, OpenOnAnOpenReaderReadsTheSecondFileFromItsStart) {
    open("first\nfile");
    char character = 0;
    EXPECT_TRUE(_reader.ReadChar(character));
    EXPECT_TRUE(_reader.Open(_folder.file("g", "second").c_str()));
    EXPECT_THAT(lines(), ElementsAre("second"));
}

TEST_F(MFastFileReaderTest, OpenOfAMissingFileLeavesAnOpenReaderClosed) {
    open("first");
    EXPECT_FALSE(_reader.Open(_folder.path("missing").c_str()));
    EXPECT_FALSE(_reader.IsOpen());
}

TEST_F(MFastFileReaderTest, CloseSucceedsForAClosedReaderToo) {
    EXPECT_TRUE(_reader.Close());
    open("x");
    EXPECT_TRUE(_reader.Close());
    EXPECT_FALSE(_reader.IsOpen());
    EXPECT_TRUE(_reader.Close());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileReaderTest, TwoReadersShareAFile) {
    open("text");
    MFastFileReader second(_folder.path("f").c_str());
    EXPECT_TRUE(second.IsOpen());
    EXPECT_THAT(lines(), ElementsAre("text"));
}

// -------------------------------------------------------------------------------------------------------- end of file

TEST_F(MFastFileReaderTest, AnEmptyFileIsAtItsEndHoweverOftenItIsAsked) {
    open("");
    for (int count = 0; count < 3; ++count) EXPECT_TRUE(_reader.IsEOF());
    std::string line = "old";
    EXPECT_TRUE(_reader.ReadLine(line));
    EXPECT_EQ(line, "");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileReaderTest, IsEOFWithoutAFileIsReportedAndTrue) {
    EXPECT_TRUE(_reader.IsEOF());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::IsEOF(): no open file"));
}

TEST_F(MFastFileReaderTest, IsEOFComesBehindTheLastByte) {
    open("x");
    EXPECT_FALSE(_reader.IsEOF());
    char character = 0;
    EXPECT_TRUE(_reader.ReadChar(character));
    EXPECT_TRUE(_reader.IsEOF());
}

// -------------------------------------------------------------------------------------------------------------- lines

TEST_F(MFastFileReaderTest, ReadLineYieldsALastLineWithoutLineEnd) {
    open("a\nb");
    EXPECT_THAT(lines(), ElementsAre("a", "b"));
    EXPECT_TRUE(_reader.IsEOF());
}

TEST_F(MFastFileReaderTest, ReadLineYieldsNoLineBehindTheLastLineEnd) {
    open("a\n");
    std::string line;
    EXPECT_TRUE(_reader.ReadLine(line));
    EXPECT_EQ(line, "a");
    EXPECT_TRUE(_reader.IsEOF());
    EXPECT_TRUE(_reader.ReadLine(line));
    EXPECT_EQ(line, "");
}

TEST_F(MFastFileReaderTest, ReadLineEndsLinesAtCrLfAndAtEachAlone) {
    open("a\r\nb\rc\nd\n\re");
    EXPECT_THAT(lines(), ElementsAre("a", "b", "c", "d", "", "e"));
}

TEST_F(MFastFileReaderTest, ReadLineYieldsAnEmptyLineBetweenTwoLineEnds) {
    open("a\n\nb\r\n\r\nc\r\rd");
    EXPECT_THAT(lines(), ElementsAre("a", "", "b", "", "c", "", "d"));
}

TEST_F(MFastFileReaderTest, ReadLineTakesCrCrLfAsTwoLineEnds) {
    open("a\r\r\nb");
    EXPECT_THAT(lines(), ElementsAre("a", "", "b"));
}

TEST_F(MFastFileReaderTest, ReadLineKeepsBytesOfAnyValue) {
    const std::string line{'a', '\0', '\xFF', '\t', '\x80'};
    open(line + "\n" + line);
    EXPECT_THAT(lines(), ElementsAre(line, line));
}

TEST_F(MFastFileReaderTest, ReadLineTakesALineEndAcrossTheBuffersBorderAsOne) {
    for (const std::string lineEnd : {"\r\n", "\n", "\r"}) {
        for (const std::size_t length : {8189, 8190, 8191, 8192, 8193, 16383, 16384, 20000}) {
            const std::string longLine = std::string(length, 'x');
            open(longLine + lineEnd + "next" + lineEnd);
            EXPECT_THAT(lines(), ElementsAre(longLine, "next")) << length;
        }
    }
}

TEST_F(MFastFileReaderTest, ReadLineTakesACrAtTheEndOfTheFileAsALineEnd) {
    for (const std::size_t length : {1, 8191}) {
        open(std::string(length, 'x') + "\r");
        EXPECT_THAT(lines(), ElementsAre(std::string(length, 'x')));
        EXPECT_TRUE(_reader.IsEOF());
    }
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileReaderTest, ReadLineIntoABufferAnswersTheCountAndTerminates) {
    open("short\r\n\nlast");
    char line[16];
    std::memset(line, '#', sizeof line);
    EXPECT_EQ(_reader.ReadLine(line, sizeof line), 5);
    EXPECT_STREQ(line, "short");
    EXPECT_EQ(_reader.ReadLine(line, sizeof line), 0);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(_reader.ReadLine(line, sizeof line), 4);
    EXPECT_STREQ(line, "last");
    EXPECT_EQ(_reader.ReadLine(line, sizeof line), 0);  // end of the file
    EXPECT_STREQ(line, "");
}

TEST_F(MFastFileReaderTest, ReadLineIntoABufferOfTheLinesLengthHasNoRoomForATerminator) {
    open("0123456789\nnext");
    char line[11];
    std::memset(line, '#', sizeof line);
    EXPECT_EQ(_reader.ReadLine(line, 10), 10);
    EXPECT_EQ(std::string(line, sizeof line), "0123456789#");
    EXPECT_EQ(_reader.ReadLine(line, 10), 4);
    EXPECT_STREQ(line, "next");
}

TEST_F(MFastFileReaderTest, ReadLineIntoABufferCutsALongerLineAndConsumesItWhole) {
    open(std::string(9000, 'x') + "\r\nnext");
    char line[5];
    std::memset(line, '#', sizeof line);
    EXPECT_EQ(_reader.ReadLine(line, 4), 4);
    EXPECT_EQ(std::string(line, sizeof line), "xxxx#");
    EXPECT_EQ(_reader.ReadLine(line, 4), 4);
    EXPECT_EQ(std::string(line, 4), "next");
}

TEST_F(MFastFileReaderTest, ReadLineIntoNoRoomConsumesTheLine) {
    open("first\nnext");
    EXPECT_EQ(_reader.ReadLine(nullptr, 0), 0);
    EXPECT_THAT(lines(), ElementsAre("next"));
}

TEST_F(MFastFileReaderTest, ReadStringEndsAtAByteZeroAndAtTheEndOfTheFile) {
    const std::string longText(9000, 'x');
    open(std::string("one\r\n two") + '\0' + '\0' + longText + '\0' + "last");
    std::string text = "old";
    for (const std::string& expected : Lines{"one\r\n two", "", longText, "last", ""}) {
        EXPECT_TRUE(_reader.ReadString(text));
        EXPECT_EQ(text, expected);
    }
    EXPECT_TRUE(_reader.IsEOF());
}

// ------------------------------------------------------------------------------------------------------------- blocks

TEST_F(MFastFileReaderTest, ReadMixesBufferedAndStraightBytesInTheFilesOrder) {
    const std::string bytes = numberedBytes(30000);
    open(bytes);
    EXPECT_EQ(read(10), bytes.substr(0, 10));
    EXPECT_EQ(read(8191), bytes.substr(10, 8191));
    EXPECT_EQ(read(9000), bytes.substr(8201, 9000));
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(20000), bytes.substr(17201));
    EXPECT_EQ(read(1), "");
    EXPECT_TRUE(_reader.IsEOF());
}

TEST_F(MFastFileReaderTest, ReadAcrossTheBorderRefillsOnce) {
    const std::string bytes = numberedBytes(30000);
    open(bytes);
    EXPECT_EQ(read(8182).size(), 8182u);  // 10 bytes are left in the buffer
    EXPECT_EQ(read(8191 + 10), bytes.substr(8182, 8201));
    EXPECT_EQ(read(8192 + 1), bytes.substr(16383, 8193));
}

TEST_F(MFastFileReaderTest, ReadIsShortAtTheEndOfTheFile) {
    open("abc");
    EXPECT_EQ(read(10), "abc");
    open("abc");
    EXPECT_EQ(read(10000), "abc");
}

TEST_F(MFastFileReaderTest, ReadWithoutAFileIsReported) {
    char byte = 'x';
    EXPECT_EQ(_reader.Read(&byte, 1), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::read_from_buffer(): no open file"));
}

// --------------------------------------------------------------------------------------------------------- characters

TEST_F(MFastFileReaderTest, ReadCharYieldsEveryByteToTheEnd) {
    const std::string bytes = numberedBytes(20000);
    open(bytes);
    EXPECT_EQ(characters(&MFastFileReader::ReadChar), bytes);
    char character = '#';
    EXPECT_FALSE(_reader.ReadChar(character));
    EXPECT_EQ(character, '#');
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileReaderTest, ReadCharNLTakesCrLfAsLfAndKeepsACrAlone) {
    open("a\r\nb\rc");
    EXPECT_EQ(characters(&MFastFileReader::ReadCharNL), "a\nb\rc");
}

TEST_F(MFastFileReaderTest, ReadCharNLYieldsACrAtTheEndOfTheFileWithoutAReport) {
    open("a\r");
    EXPECT_EQ(characters(&MFastFileReader::ReadCharNL), "a\r");
    EXPECT_TRUE(_reader.IsEOF());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileReaderTest, ReadCharNLWorksAcrossTheBuffersBorder) {
    const std::string start(8191, 'x');
    open(start + "\r\nb");
    EXPECT_EQ(characters(&MFastFileReader::ReadCharNL), start + "\nb");
    open(start + "\rb");
    EXPECT_EQ(characters(&MFastFileReader::ReadCharNL), start + "\rb");
}

TEST_F(MFastFileReaderTest, UnReadCharGivesTheSameByteAgain) {
    open("ab");
    char character = 0;
    EXPECT_TRUE(_reader.ReadChar(character));
    EXPECT_TRUE(_reader.UnReadChar());
    EXPECT_EQ(characters(&MFastFileReader::ReadChar), "ab");
    EXPECT_TRUE(_reader.UnReadChar());
    EXPECT_FALSE(_reader.IsEOF());
    EXPECT_EQ(characters(&MFastFileReader::ReadChar), "b");
}

TEST_F(MFastFileReaderTest, UnReadCharCannotGoBehindTheBuffersStart) {
    EXPECT_FALSE(_reader.UnReadChar());
    open(std::string(8193, 'x'));
    EXPECT_FALSE(_reader.UnReadChar());
    EXPECT_EQ(read(8192).size(), 8192u);  // straight: none of these bytes is buffered
    EXPECT_FALSE(_reader.UnReadChar());
    EXPECT_EQ(read(1).size(), 1u);
    EXPECT_TRUE(_reader.UnReadChar());
    EXPECT_FALSE(_reader.UnReadChar());
    const std::string text = "MFastFileReader::UnReadChar(): can't rewind";
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre(text, text, text, text));
}

TEST_F(MFastFileReaderTest, UnReadCharAfterAStraightReadCannotReachOlderBytes) {
    open(numberedBytes(30000));
    EXPECT_EQ(read(10).size(), 10u);
    EXPECT_EQ(read(20000).size(), 20000u);
    EXPECT_FALSE(_reader.UnReadChar());
}

// ------------------------------------------------------------------------------------------------------------- values

TEST_F(MFastFileReaderTest, BinaryValuesAre4And2And4And4And8BytesLittleEndian) {
    open(std::string("\x78\x56\x34\x12", 4) + std::string("\xFE\xFF", 2) + std::string("\xFF\xFF\xFF\xFF", 4) +
         std::string("\x00\x00\xC0\x3F", 4) + std::string("\x00\x00\x00\x00\x00\x00\x04\xC0", 8));
    std::int32_t integer = 0;
    std::int16_t shortInteger = 0;
    std::int32_t longInteger = 0;
    float single = 0;
    double real = 0;
    EXPECT_TRUE(_reader.ReadInt(integer));
    EXPECT_TRUE(_reader.ReadShort(shortInteger));
    EXPECT_TRUE(_reader.ReadLong(longInteger));
    EXPECT_TRUE(_reader.ReadFloat(single));
    EXPECT_TRUE(_reader.ReadDouble(real));
    EXPECT_EQ(integer, 0x12345678);
    EXPECT_EQ(shortInteger, -2);
    EXPECT_EQ(longInteger, -1);
    EXPECT_EQ(single, 1.5f);
    EXPECT_EQ(real, -2.5);
    EXPECT_TRUE(_reader.IsEOF());
}

TEST_F(MFastFileReaderTest, AValueThatTheFileEndsWithinFailsAndLeavesTheOutput) {
    const auto failsWithin = [this](const std::string& content, auto value, auto readValue) {
        open(content);
        const auto before = value;
        EXPECT_FALSE((_reader.*readValue)(value));
        EXPECT_EQ(value, before);
        EXPECT_TRUE(_reader.IsEOF());
    };
    failsWithin("abc", std::int32_t{5}, &MFastFileReader::ReadInt);
    failsWithin("a", std::int16_t{5}, &MFastFileReader::ReadShort);
    failsWithin("", std::int32_t{5}, &MFastFileReader::ReadLong);
    failsWithin("abc", 5.0f, &MFastFileReader::ReadFloat);
    failsWithin("abcdefg", 5.0, &MFastFileReader::ReadDouble);
}

TEST_F(MFastFileReaderTest, AValueAcrossTheBuffersBorderIsWhole) {
    const std::string bytes = numberedBytes(8200);
    open(bytes);
    EXPECT_EQ(read(8190).size(), 8190u);
    std::int32_t value = 0;
    EXPECT_TRUE(_reader.ReadInt(value));
    std::int32_t expected = 0;
    std::memcpy(&expected, bytes.data() + 8190, sizeof expected);
    EXPECT_EQ(value, expected);
}

}  // namespace
