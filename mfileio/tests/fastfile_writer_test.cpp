// What a writer leaves in a file.
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class MFastFileWriterTest : public testing::Test {
protected:
    MFastFileWriterTest() : _name(_folder.path("f")) {}

    void open(int mode = MFastFile::kTruncate) { ASSERT_TRUE(_writer.Open(_name.c_str(), mode)); }

    std::string closedContent() {
        EXPECT_TRUE(_writer.Close());
        return contentOf(_name);
    }

    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
    const std::string _name;
    MFastFileWriter _writer;
};

// ---------------------------------------------------------------------------------------------------- open and close

TEST_F(MFastFileWriterTest, IsClosedAtFirst) { EXPECT_FALSE(_writer.IsOpen()); }

TEST_F(MFastFileWriterTest, ConstructorOpensAndDestructorWritesWhatWaits) {
    {
        MFastFileWriter writer(_name.c_str(), MFastFile::kCreateNew);
        EXPECT_TRUE(writer.IsOpen());
        EXPECT_TRUE(writer.WriteChar('x'));
        EXPECT_EQ(contentOf(_name), "");
    }
    EXPECT_EQ(contentOf(_name), "x");
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileWriterTest, CreateNewFailsOnAnExistingFileAndLeavesIt) {
    _folder.file("f", "old");
    const MFastFileWriter writer(_name.c_str(), 0);
    EXPECT_FALSE(writer.IsOpen());
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFileWriter::Open(): openwritefile(" + _name + ", 0) failed",
                            "MFastFileWriter::MFastFileWriter(): Open(\"" + _name + "\",0) failed"));
    EXPECT_EQ(_recorder.entries().front().file, "mfileio/src/fastfile");
    EXPECT_EQ(contentOf(_name), "old");
}

TEST_F(MFastFileWriterTest, AppendWritesBehindWhatIsThere) {
    for (const char* text : {"one", "two"}) {
        open(1);
        EXPECT_EQ(_writer.WriteString(text), 3);
        EXPECT_TRUE(_writer.Close());
    }
    EXPECT_EQ(contentOf(_name), "onetwo");
}

TEST_F(MFastFileWriterTest, TruncateEmptiesTheFileAtOnce) {
    _folder.file("f", "a longer text");
    open(2);
    EXPECT_EQ(contentOf(_name), "");
    EXPECT_EQ(_writer.WriteString("new"), 3);
    EXPECT_EQ(closedContent(), "new");
}

TEST_F(MFastFileWriterTest, UnknownModesAreRefusedWithTheFlushFlagTakenOff) {
    for (const auto& [mode, shown] :
         {std::pair{3, "3"}, {7, "3"}, {8, "8"}, {9, "9"}, {10, "10"}, {11, "11"}, {14, "10"}, {-1, "-5"}}) {
        _recorder.clear();
        EXPECT_FALSE(_writer.Open(_name.c_str(), mode));
        EXPECT_THAT(
            _recorder.errorTraces(),
            ElementsAre("openwritefile(): unknown mode " + std::string(shown) + " for " + _name,
                        "MFastFileWriter::Open(): openwritefile(" + _name + ", " + std::string(shown) + ") failed"));
    }
    EXPECT_FALSE(_writer.IsOpen());
    EXPECT_FALSE(std::ifstream(_name).is_open());
}

TEST_F(MFastFileWriterTest, TheFlushFlagWritesTheSameBytes) {
    for (const int mode : {4, 5, 6}) {  // new, at the end, from the start
        open(mode);
        EXPECT_EQ(_writer.WriteString("x"), 1);
        EXPECT_EQ(closedContent(), mode == 5 ? "xx" : "x");
    }
}

TEST_F(MFastFileWriterTest, OpenOnAnOpenWriterFinishesTheFirstFile) {
    open();
    EXPECT_TRUE(_writer.WriteChar('1'));
    EXPECT_TRUE(_writer.Open(_folder.path("g").c_str(), 2));
    EXPECT_EQ(contentOf(_name), "1");
    EXPECT_TRUE(_writer.WriteChar('2'));
    EXPECT_TRUE(_writer.Close());
    EXPECT_EQ(contentOf(_folder.path("g")), "2");
}

TEST_F(MFastFileWriterTest, OpenThatFailsLeavesAnOpenWriterClosed) {
    open();
    EXPECT_FALSE(_writer.Open(_folder.path().c_str(), 2));
    EXPECT_FALSE(_writer.IsOpen());
}

TEST_F(MFastFileWriterTest, CloseSucceedsForAClosedWriterToo) {
    EXPECT_TRUE(_writer.Close());
    open();
    EXPECT_TRUE(_writer.Close());
    EXPECT_FALSE(_writer.IsOpen());
    EXPECT_TRUE(_writer.Close());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileWriterTest, AReaderMayReadButASecondWriterIsRefused) {
    open();
    EXPECT_EQ(_writer.WriteString("text"), 4);
    EXPECT_TRUE(_writer.Flush());
    MFastFileReader reader(_name.c_str());
    std::string line;
    EXPECT_TRUE(reader.ReadLine(line));
    EXPECT_EQ(line, "text");
    MFastFileWriter second;
    EXPECT_FALSE(second.Open(_name.c_str(), 2));
    EXPECT_EQ(closedContent(), "text");
}

// -------------------------------------------------------------------------------------------------------------- flush

TEST_F(MFastFileWriterTest, FlushShowsTheBytesToOthersBeforeClose) {
    open();
    EXPECT_TRUE(_writer.WriteChar('x'));
    EXPECT_EQ(contentOf(_name), "");
    EXPECT_TRUE(_writer.Flush());
    EXPECT_EQ(contentOf(_name), "x");
    EXPECT_TRUE(_writer.WriteChar('y'));
    EXPECT_EQ(closedContent(), "xy");
}

TEST_F(MFastFileWriterTest, FlushWithoutAFileIsReported) {
    EXPECT_FALSE(_writer.Flush());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileWriter::Flush(): no open file"));
}

class WriterWithoutHandle : public MFastFileWriter {
public:
    WriterWithoutHandle() { _openState = kOpen; }
    ~WriterWithoutHandle() override { _openState = kClosed; }
};

TEST_F(MFastFileWriterTest, FlushWithoutAHandleIsReported) {
    WriterWithoutHandle writer;
    EXPECT_FALSE(writer.Flush());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileWriter::Flush(): hFile not valid"));
}

// ------------------------------------------------------------------------------------------------------ bytes and text

TEST_F(MFastFileWriterTest, EveryFormReportsAWriterWithoutAFile) {
    EXPECT_EQ(_writer.Write("x", 1), -1);
    EXPECT_FALSE(_writer.WriteChar('x'));
    EXPECT_FALSE(_writer.WriteCharNL('\n'));
    EXPECT_EQ(_writer.WriteString(""), -1);
    EXPECT_EQ(_writer.WriteStringNL("x"), -1);
    EXPECT_EQ(_writer.WriteStringNL(""), -1);
    EXPECT_EQ(_writer.WriteLine("x"), -1);
    EXPECT_EQ(_writer.WriteLineNL(""), -1);
    EXPECT_FALSE(_writer.WriteInt(1));
    EXPECT_FALSE(_writer.WriteShort(1));
    EXPECT_FALSE(_writer.WriteLong(1));
    EXPECT_FALSE(_writer.WriteFloat(1));
    EXPECT_FALSE(_writer.WriteDouble(1));
    EXPECT_EQ(_recorder.errorTraces(),
              std::vector<std::string>(13, "MFastFileWriter::write_to_buffer(): no open file"));
}

TEST_F(MFastFileWriterTest, WriteTakesBytesOfAnyValueAndNumber) {
    std::string expected;
    open();
    for (const std::size_t count : {0, 1, 8190, 2, 8192, 8193, 20'000}) {
        std::string bytes(count, '\0');
        for (std::size_t at = 0; at < count; ++at) bytes[at] = static_cast<char>(at * 31 + count);
        EXPECT_EQ(_writer.Write(bytes.data(), count), static_cast<std::ptrdiff_t>(count));
        expected += bytes;
    }
    EXPECT_EQ(closedContent(), expected);
}

TEST_F(MFastFileWriterTest, WriteCharFillsTheBufferBeforeItWrites) {
    std::string expected;
    open();
    for (int at = 0; at < 20'000; ++at) {
        expected += static_cast<char>(at * 7);
        EXPECT_TRUE(_writer.WriteChar(expected.back()));
        if (at == 8191 || at == 8192) {
            EXPECT_EQ(contentOf(_name), at == 8191 ? "" : expected.substr(0, 8192));
        }
    }
    EXPECT_EQ(closedContent(), expected);
}

TEST_F(MFastFileWriterTest, WriteCharNLPutsACrBeforeAnLfOnly) {
    open();
    for (const char character : {'a', '\n', '\r', '\0'}) EXPECT_TRUE(_writer.WriteCharNL(character));
    EXPECT_EQ(closedContent(), std::string("a\r\n\r\0", 5));
}

TEST_F(MFastFileWriterTest, WriteCharNLWritesAcrossTheBuffersBorder) {
    open();
    EXPECT_EQ(_writer.WriteString(std::string(8191, 'x')), 8191);
    EXPECT_TRUE(_writer.WriteCharNL('\n'));
    EXPECT_EQ(closedContent(), std::string(8191, 'x') + "\r\n");
}

TEST_F(MFastFileWriterTest, WriteStringLeavesLineEndsAlone) {
    open();
    EXPECT_EQ(_writer.WriteString("a\nb\r\n"), 5);
    EXPECT_EQ(_writer.WriteString(std::string(20'000, 'x')), 20'000);
    EXPECT_EQ(closedContent(), "a\nb\r\n" + std::string(20'000, 'x'));
}

TEST_F(MFastFileWriterTest, WriteStringNLConvertsEachLf) {
    open();
    EXPECT_EQ(_writer.WriteStringNL("a\nb"), 4);
    EXPECT_EQ(_writer.WriteStringNL("\r\n"), 3);
    EXPECT_EQ(closedContent(), "a\r\nb\r\r\n");
}

TEST_F(MFastFileWriterTest, WriteLineEndsWithCrLf) {
    open();
    EXPECT_EQ(_writer.WriteLine("ab"), 4);
    EXPECT_EQ(_writer.WriteLine(""), 2);
    EXPECT_EQ(_writer.WriteLine("c\rd"), 5);
    EXPECT_EQ(closedContent(), "ab\r\n\r\nc\rd\r\n");
}

TEST_F(MFastFileWriterTest, WriteLineRefusesATextWithAnLf) {
    open();
    EXPECT_EQ(_writer.WriteLine("a\nb\n"), -1);
    EXPECT_EQ(_writer.WriteLine("\n"), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileWriter::WriteLine(): EOL detected in string at pos 1",
                                                     "MFastFileWriter::WriteLine(): EOL detected in string at pos 0"));
    EXPECT_EQ(closedContent(), "");
}

TEST_F(MFastFileWriterTest, WriteLineNLConvertsEachLfAndEndsWithCrLf) {
    open();
    EXPECT_EQ(_writer.WriteLineNL("a\nb"), 6);
    EXPECT_EQ(_writer.WriteLineNL(""), 2);
    EXPECT_EQ(closedContent(), "a\r\nb\r\n\r\n");
}

// ------------------------------------------------------------------------------------------------------------- values

TEST_F(MFastFileWriterTest, BinaryValuesAreReadBackFrom22Bytes) {
    open();
    EXPECT_TRUE(_writer.WriteInt(0x12345678));
    EXPECT_TRUE(_writer.WriteShort(-2));
    EXPECT_TRUE(_writer.WriteLong(-1));
    EXPECT_TRUE(_writer.WriteFloat(1.5f));
    EXPECT_TRUE(_writer.WriteDouble(-2.5));
    const std::string content = closedContent();
    EXPECT_EQ(content.size(), 22u);
    EXPECT_EQ(content.substr(0, 6), "\x78\x56\x34\x12\xFE\xFF");

    MFastFileReader reader(_name.c_str());
    std::int32_t integer = 0;
    std::int16_t shortInteger = 0;
    std::int32_t longInteger = 0;
    float single = 0;
    double real = 0;
    EXPECT_TRUE(reader.ReadInt(integer) && reader.ReadShort(shortInteger) && reader.ReadLong(longInteger) &&
                reader.ReadFloat(single) && reader.ReadDouble(real));
    EXPECT_EQ(integer, 0x12345678);
    EXPECT_EQ(shortInteger, -2);
    EXPECT_EQ(longInteger, -1);
    EXPECT_EQ(single, 1.5f);
    EXPECT_EQ(real, -2.5);
    EXPECT_TRUE(reader.IsEOF());
}

}  // namespace
