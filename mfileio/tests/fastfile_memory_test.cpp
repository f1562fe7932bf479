// Files while memory runs out at any allocation: a result reports it, nothing is thrown, and no file stays open.
#include <exception>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "fileops.h"
#include "log_recorder.h"
#include "no_memory.h"
#include "temporary_folder.h"

namespace {

const std::string kLongText(20'000, 'x');  // longer than the buffer and than a string's internal buffer

class MFastFileMemoryTest : public testing::Test {
protected:
    // Lets each allocation of a call fail once: the call returns false and throws nothing. Then it succeeds.
    // @return the number of its allocations.
    template <typename Call>
    static int expectFalseWithoutMemory(Call call) {
        for (int count = 1;; ++count) {
            test::failAllocation(count);
            bool answer = false;
            std::string thrown;
            try {
                answer = call();
            } catch (const std::exception& exception) {
                thrown = exception.what();
            }
            const bool failed = test::allocationHasFailed();
            test::failAllocation(0);
            EXPECT_EQ(thrown, "") << "allocation " << count;
            EXPECT_EQ(answer, !failed) << "allocation " << count;
            if (!failed || testing::Test::HasFailure()) return count - 1;
        }
    }

    // Whether nobody has the file open for writing, which would refuse a second writer.
    bool isFree() const { return MFastFileWriter(_name.c_str(), MFastFile::kAppend).IsOpen(); }

    std::ptrdiff_t filesInFolder() const {
        return std::distance(std::filesystem::directory_iterator(_folder.path()), {});
    }

    test::LogRecorder _recorder;
    test::TemporaryFolder _folder;
    const std::string _name = _folder.path("a name longer than a string holds within itself");
};

TEST_F(MFastFileMemoryTest, ALineThatDoesNotFitIntoMemoryIsFalse) {
    _folder.file(std::filesystem::path(_name).filename().string(), kLongText + "\nshorter, yet not short enough\n");
    for (const bool whole : {false, true}) {
        const int allocations = expectFalseWithoutMemory([&] {
            MFastFileReader reader;
            std::string line;
            return reader.Open(_name.c_str()) && reader.ReadLine(line) && (!whole || reader.ReadLine(line)) &&
                   line.front() == (whole ? 's' : 'x');
        });
        EXPECT_GE(allocations, 2);
    }
    EXPECT_THAT(_recorder.errorTraces(), testing::Contains("MFastFileReader::ReadLine(STL): no memory for the line"));
}

TEST_F(MFastFileMemoryTest, AShortLineThatIsBufferedWholeIsFalseToo) {
    _folder.file(std::filesystem::path(_name).filename().string(), "longer than a string holds within itself\nend\n");
    MFastFileReader reader(_name.c_str());
    std::string line;
    ASSERT_FALSE(reader.IsEOF());  // fills the buffer
    test::failAllocation(1);
    EXPECT_FALSE(reader.ReadLine(line));
    test::failAllocation(0);
    EXPECT_EQ(line, "");
    EXPECT_TRUE(reader.ReadLine(line));
    EXPECT_EQ(line, "longer than a string holds within itself");  // nothing was lost
}

TEST_F(MFastFileMemoryTest, ATextThatDoesNotFitIntoMemoryIsFalse) {
    _folder.file(std::filesystem::path(_name).filename().string(), kLongText);
    EXPECT_GE(expectFalseWithoutMemory([&] {
                  MFastFileReader reader;
                  std::string text;
                  return reader.Open(_name.c_str()) && reader.ReadString(text) && text == kLongText;
              }),
              2);
    EXPECT_THAT(_recorder.errorTraces(), testing::Contains("MFastFileReader::ReadString(): no memory for the text"));
}

TEST_F(MFastFileMemoryTest, AReaderOrWriterThatFindsNoMemoryStaysClosed) {
    EXPECT_GE(expectFalseWithoutMemory([&] {
                  MFastFileWriter writer;
                  return writer.Open(_name.c_str(), MFastFile::kTruncate) && writer.WriteString("abc") == 3 &&
                         writer.Close();
              }),
              1);
    EXPECT_TRUE(isFree());
    expectFalseWithoutMemory([&] { return MFastFileReader(_name.c_str()).IsOpen(); });
    expectFalseWithoutMemory([&] { return MFastFileWriter(_name.c_str(), MFastFile::kAppend).IsOpen(); });
    EXPECT_TRUE(isFree());
}

TEST_F(MFastFileMemoryTest, WholeFilesAreReadAndWrittenOrNot) {
    const std::string other = _name + " of the copy";
    for (const int mode : {MFastFile::kTruncate, MFastFile::kSafeReplace}) {
        expectFalseWithoutMemory([&] {
            return MFastFile_WriteLinesAtOnce(_name.c_str(), kLongText.data(), kLongText.size(), mode) == 20'000;
        });
        EXPECT_EQ(filesInFolder(), mode == MFastFile::kTruncate ? 1 : 2);  // no temporary file stays
        expectFalseWithoutMemory([&] {
            std::string text;
            return MFastFile_ReadLinesAtOnce(_name.c_str(), text) == 20'000 && text == kLongText;
        });
        expectFalseWithoutMemory([&] { return MFastFile_CopyFile(_name.c_str(), other.c_str(), mode) == 20'000; });
    }
    EXPECT_TRUE(isFree());
}

TEST_F(MFastFileMemoryTest, FileOperationsAnswerFalse) {
    const std::string other = _name + " of the other";
    _folder.file(std::filesystem::path(_name).filename().string(), "abc");
    expectFalseWithoutMemory([&] { return file_type(_name.c_str()) == '-'; });
    expectFalseWithoutMemory([&] { return file_size(_name.c_str()) == 3; });
    expectFalseWithoutMemory([&] { return file_access(_name.c_str()); });
    expectFalseWithoutMemory([&] { return file_rename(_name.c_str(), other.c_str()) == 1; });
    expectFalseWithoutMemory([&] { return file_unlink(other.c_str()); });
    EXPECT_EQ(filesInFolder(), 0);
}

}  // namespace
