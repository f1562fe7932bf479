// What a reader does when the system fails.
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "fastfile_transfer.h"
#include "log_recorder.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(HANDLE, CreateFileA,
               (LPCSTR fileName, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* attributes, DWORD creation,
                DWORD flags, HANDLE templateFile),
               (fileName, access, shareMode, attributes, creation, flags, templateFile))
PLATFORM_FAULT(BOOL, ReadFile, (HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped),
               (file, buffer, size, bytesRead, overlapped))
PLATFORM_FAULT(BOOL, CloseHandle, (HANDLE handle), (handle))

namespace {

using testing::ElementsAre;

// Lets a number of reads pass and fails those that follow, with one error code.
auto readsThenFails(int reads, DWORD error = ERROR_IO_DEVICE) {
    return [reads, error](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) mutable {
        if (reads-- > 0) return real_ReadFile(file, buffer, size, bytesRead, overlapped);
        SetLastError(error);
        return FALSE;
    };
}

// Closes, and reports a failure.
BOOL closeAndFail(HANDLE handle) {
    real_CloseHandle(handle);
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

const std::vector<std::string> kFillFailed = {"read64(): ReadFile() failed: 1117",
                                              "MFastFileReader::fill_buffer(): read64() failed"};

std::vector<std::string> fillFailedThen(std::vector<std::string> texts) {
    texts.insert(texts.begin(), kFillFailed.begin(), kFillFailed.end());
    return texts;
}

class MFastFileReaderFaultTest : public testing::Test {
protected:
    void open(const std::string& content) { ASSERT_TRUE(_reader.Open(_folder.file("f", content).c_str())); }

    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
    MFastFileReader _reader;
};

TEST_F(MFastFileReaderFaultTest, OpensForReadingSharedAndInheritable) {
    int calls = 0;
    const test::Fault fault(fault_CreateFileA,
                            [&calls](LPCSTR fileName, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* attributes,
                                     DWORD creation, DWORD flags, HANDLE templateFile) {
                                ++calls;
                                EXPECT_STREQ(fileName, "name");
                                EXPECT_EQ(access, GENERIC_READ);
                                EXPECT_EQ(shareMode, static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE));
                                EXPECT_EQ(attributes->nLength, sizeof(SECURITY_ATTRIBUTES));
                                EXPECT_EQ(attributes->bInheritHandle, TRUE);
                                EXPECT_EQ(creation, static_cast<DWORD>(OPEN_EXISTING));
                                EXPECT_EQ(flags, static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
                                EXPECT_EQ(templateFile, nullptr);
                                SetLastError(ERROR_SHARING_VIOLATION);
                                return INVALID_HANDLE_VALUE;
                            });
    EXPECT_FALSE(_reader.Open("name"));
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::Open(): openfile(\"name\") failed: 32"));
}

TEST_F(MFastFileReaderFaultTest, CloseReportsTheErrorAndGivesTheFileUp) {
    open("x");
    const test::Fault fault(fault_CloseHandle, closeAndFail);
    EXPECT_FALSE(_reader.Close());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::Close(): CloseHandle() failed: 6"));
    EXPECT_FALSE(_reader.IsOpen());
    EXPECT_TRUE(_reader.Close());
}

TEST_F(MFastFileReaderFaultTest, DestructorReportsThatItCouldNotClose) {
    {
        const MFastFileReader reader(_folder.file("f", "x").c_str());
        fault_CloseHandle = closeAndFail;
    }
    fault_CloseHandle = nullptr;
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::Close(): CloseHandle() failed: 6",
                                                     "MFastFileReader::~MFastFileReader(): Close() failed"));
}

TEST_F(MFastFileReaderFaultTest, OpenFailsWhenTheFormerFileCannotBeClosed) {
    open("x");
    const test::Fault fault(fault_CloseHandle, closeAndFail);
    EXPECT_FALSE(_reader.Open(_folder.file("g", "y").c_str()));
    EXPECT_FALSE(_reader.IsOpen());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::Close(): CloseHandle() failed: 6",
                                                     "MFastFileReader::Open(): Close() failed"));
}

TEST_F(MFastFileReaderFaultTest, IsEOFReportsAReadErrorAndIsFalse) {
    open("x");
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    EXPECT_FALSE(_reader.IsEOF());
    EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::IsEOF(): fill_buffer() failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadLineReportsAReadError) {
    open("x");
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    std::string line;
    EXPECT_FALSE(_reader.ReadLine(line));
    EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::ReadLine(STL): fill_buffer() failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadLineReportsAReadErrorInTheMiddleOfALine) {
    open(std::string(9000, 'x'));
    const test::Fault fault(fault_ReadFile, readsThenFails(1));
    std::string line;
    EXPECT_FALSE(_reader.ReadLine(line));
    EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::ReadLine(STL): fill_buffer() failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadLineReportsAReadErrorBehindACrInWordsOfItsOwn) {
    open(std::string(8191, 'x') + "\r\n");
    const test::Fault fault(fault_ReadFile, readsThenFails(1));
    std::string line;
    EXPECT_FALSE(_reader.ReadLine(line));
    EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::ReadLine(STL):fill_buffer() failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadLineIntoABufferReportsAReadError) {
    char line[16];
    for (const int reads : {0, 1}) {  // at once; after the CR
        open(std::string(8191, 'x') + "\r\n");
        _recorder.clear();
        const test::Fault fault(fault_ReadFile, readsThenFails(reads));
        EXPECT_EQ(_reader.ReadLine(line, sizeof line), -1);
        EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::ReadLine(): fill_buffer() failed"}));
    }
}

TEST_F(MFastFileReaderFaultTest, ReadLineOfAClosedReaderFailsAsAReadError) {
    std::string line = "old";
    EXPECT_FALSE(_reader.ReadLine(line));
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("read64(): ReadFile() failed: 6", "MFastFileReader::fill_buffer(): read64() failed",
                            "MFastFileReader::ReadLine(STL): fill_buffer() failed"));
}

TEST_F(MFastFileReaderFaultTest, AClosedReaderDoesNotTouchItsFormerHandle) {
    open("x");
    EXPECT_TRUE(_reader.Close());
    const test::Fault fault(fault_ReadFile, [](HANDLE file, LPVOID, DWORD, DWORD*, OVERLAPPED*) {
        EXPECT_EQ(file, INVALID_HANDLE_VALUE);
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    });
    std::string line;
    EXPECT_FALSE(_reader.ReadLine(line));
}

TEST_F(MFastFileReaderFaultTest, ReadStringReportsAReadError) {
    open("x");
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    std::string text;
    EXPECT_FALSE(_reader.ReadString(text));
    EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::ReadString(): fill_buffer() failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadReportsAnErrorOfTheRefill) {
    open("x");
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    char bytes[8191];
    EXPECT_EQ(_reader.Read(bytes, sizeof bytes), -1);
    EXPECT_EQ(_recorder.errorTraces(), fillFailedThen({"MFastFileReader::read_from_buffer(): fill_buffer() failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadReportsAnErrorOfTheStraightReadWithItsSize) {
    open(std::string(20000, 'x'));
    char bytes[10001];
    EXPECT_EQ(_reader.Read(bytes, 8191), 8191);
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    EXPECT_EQ(_reader.Read(bytes, sizeof bytes), -1);  // 1 byte is buffered
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("read64(): ReadFile() failed: 1117",
                            "MFastFileReader::read_from_buffer(): read64(..,10000,..) failed"));
}

TEST_F(MFastFileReaderFaultTest, ReadsOf8192BytesAndMoreGoStraightAndSmallerOnesThroughTheBuffer) {
    open(std::string(40000, 'x'));
    std::vector<DWORD> sizes;
    const test::Fault fault(fault_ReadFile,
                            [&sizes](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
                                sizes.push_back(size);
                                return real_ReadFile(file, buffer, size, bytesRead, overlapped);
                            });
    std::string bytes(20000, '\0');
    for (const std::size_t size : {8192, 8191, 9001}) EXPECT_EQ(_reader.Read(bytes.data(), size), size);
    EXPECT_THAT(sizes, ElementsAre(8192, 8192, 9000));
}

TEST_F(MFastFileReaderFaultTest, ReadRefillsOnceHoweverLittleComes) {
    open(std::string(1000, 'x'));
    int calls = 0;
    const test::Fault fault(fault_ReadFile,
                            [&calls](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
                                ++calls;
                                return real_ReadFile(file, buffer, std::min<DWORD>(size, 100), bytesRead, overlapped);
                            });
    char bytes[500];
    EXPECT_EQ(_reader.Read(bytes, 500), 100);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(_reader.Read(bytes, 40), 40);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(_reader.Read(bytes, 500), 160);  // 60 are buffered
    EXPECT_EQ(calls, 3);
}

TEST_F(MFastFileReaderFaultTest, AValueThatARefillCutsIsNotRead) {
    open("abcdefgh");
    const test::Fault fault(fault_ReadFile,
                            [](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
                                return real_ReadFile(file, buffer, std::min<DWORD>(size, 2), bytesRead, overlapped);
                            });
    std::int32_t value = 5;
    EXPECT_FALSE(_reader.ReadInt(value));
    EXPECT_EQ(value, 5);
}

TEST_F(MFastFileReaderFaultTest, ReadCharAndValuesFailOnAReadErrorAndLeaveTheOutput) {
    open("abcdefgh");
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    char character = '#';
    EXPECT_FALSE(_reader.ReadChar(character));
    EXPECT_EQ(character, '#');
    double value = 5;
    EXPECT_FALSE(_reader.ReadDouble(value));
    EXPECT_EQ(value, 5);
}

TEST_F(MFastFileReaderFaultTest, ReadCharNLReportsAReadErrorOfTheFirstCharacter) {
    open("x");
    const test::Fault fault(fault_ReadFile, readsThenFails(0));
    char character = '#';
    EXPECT_FALSE(_reader.ReadCharNL(character));
    EXPECT_EQ(character, '#');
    EXPECT_EQ(_recorder.errorTraces(),
              fillFailedThen({"MFastFileReader::read_from_buffer(): fill_buffer() failed",
                              "MFastFileReader::ReadCharNL: read_char_from_buffer() #1 failed"}));
}

TEST_F(MFastFileReaderFaultTest, ReadCharNLReportsAReadErrorBehindACr) {
    open("\r");
    const test::Fault fault(fault_ReadFile, readsThenFails(1));
    char character = '#';
    EXPECT_FALSE(_reader.ReadCharNL(character));
    EXPECT_EQ(character, '#');
    EXPECT_EQ(_recorder.errorTraces(),
              fillFailedThen({"MFastFileReader::read_from_buffer(): fill_buffer() failed",
                              "MFastFileReader::ReadCharNL(): read_char_from_buffer() #2 failed"}));
}

// Supplies a CR, then closes itself while it supplies the next character.
class SelfClosingReader : public MFastFileReader {
public:
    bool Start() {
        _openState = kOpen;
        return true;
    }

protected:
    bool fill_buffer() override {
        if (_fills++ > 0) _openState = kClosed;
        _buffer[0] = _fills == 1 ? '\r' : 'x';
        _current = _buffer;
        _end = _buffer + 1;
        return true;
    }

private:
    int _fills = 0;
};

TEST_F(MFastFileReaderFaultTest, ReadCharNLReportsThatItCannotStepBack) {
    SelfClosingReader reader;
    ASSERT_TRUE(reader.Start());
    char character = '#';
    EXPECT_FALSE(reader.ReadCharNL(character));
    EXPECT_EQ(character, '#');
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileReader::UnReadChar(): can't rewind",
                                                     "MFastFileReader::ReadCharNL(): UnReadChar() failed"));
}

// ----------------------------------------------------------------------------------------------------------- transfer

class Read64Test : public MFastFileReaderFaultTest {
protected:
    Read64Test() {
        for (int at = 0; at < 2500; ++at) _content += static_cast<char>(at * 7);
        _file = openfile(_folder.file("f", _content).c_str());
        fault_ReadFile = [this](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
            _sizes.push_back(size);
            return real_ReadFile(file, buffer, size, bytesRead, overlapped);
        };
    }
    ~Read64Test() override {
        fault_ReadFile = nullptr;
        CloseHandle(_file);
    }

    HANDLE _file;
    std::string _content;
    std::vector<DWORD> _sizes;
};

TEST_F(Read64Test, ReadsInPiecesOfTheLargestSize) {
    std::string bytes(2500, '\0');
    EXPECT_EQ(read64(_file, bytes.data(), bytes.size(), 1000), 2500);
    EXPECT_EQ(bytes, _content);
    EXPECT_THAT(_sizes, ElementsAre(1000, 1000, 500));
}

TEST_F(Read64Test, ReadsInOneCallWhatFitsIntoOne) {
    std::string bytes(9000, '\0');
    EXPECT_EQ(read64(_file, bytes.data(), bytes.size()), 2500);
    EXPECT_THAT(_sizes, ElementsAre(9000));
}

TEST_F(Read64Test, EndsEarlyWithAPieceOfNoBytes) {
    std::string bytes(9000, '\0');
    EXPECT_EQ(read64(_file, bytes.data(), bytes.size(), 1250), 2500);
    EXPECT_THAT(_sizes, ElementsAre(1250, 1250, 1250));
}

TEST_F(Read64Test, JoinsPiecesThatCameShort) {
    fault_ReadFile = [](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
        return real_ReadFile(file, buffer, size > 10 ? size - 10 : size, bytesRead, overlapped);
    };
    std::string bytes(2500, '#');
    EXPECT_EQ(read64(_file, bytes.data(), bytes.size(), 1000), 2470);
    EXPECT_EQ(bytes, _content.substr(0, 2470) + std::string(30, '#'));
}

TEST_F(Read64Test, ReadsNothingIntoNothing) { EXPECT_EQ(read64(_file, nullptr, 0), 0); }

TEST_F(Read64Test, FailsWithThePieceThatFails) {
    fault_ReadFile = readsThenFails(1, ERROR_INVALID_HANDLE);
    std::string bytes(2500, '\0');
    EXPECT_EQ(read64(_file, bytes.data(), bytes.size(), 1000), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("read64(): ReadFile() failed: 6"));
    EXPECT_EQ(_recorder.entries().front().file, "mfileio/src/fastfile");
}

TEST_F(Read64Test, TheLargestTransferIsTheLargest32BitCount) { EXPECT_EQ(kLargestTransfer, 4294967295u); }

}  // namespace
