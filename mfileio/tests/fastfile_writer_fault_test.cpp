// What a writer does when the system fails.
#include <algorithm>
#include <fstream>
#include <iterator>
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
PLATFORM_FAULT(BOOL, WriteFile, (HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped),
               (file, buffer, size, bytesWritten, overlapped))
PLATFORM_FAULT(BOOL, FlushFileBuffers, (HANDLE file), (file))
PLATFORM_FAULT(BOOL, CloseHandle, (HANDLE handle), (handle))

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

BOOL fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

BOOL failingWrite(HANDLE, LPCVOID, DWORD, DWORD* bytesWritten, OVERLAPPED*) {
    *bytesWritten = 0;
    return fail(ERROR_DISK_FULL);
}

// A disk with room for a number of bytes. A write beyond that is either refused as a whole or cut.
auto diskOf(std::size_t room, bool cuts) {
    return [room, cuts](HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped) mutable {
        if (size > room && !cuts) return failingWrite(file, buffer, size, bytesWritten, overlapped);
        const auto fitting = static_cast<DWORD>(std::min<std::size_t>(size, room));
        room -= fitting;
        return real_WriteFile(file, buffer, fitting, bytesWritten, overlapped);
    };
}

BOOL closeAndFail(HANDLE handle) {
    real_CloseHandle(handle);
    return fail(ERROR_INVALID_HANDLE);
}

class MFastFileWriterFaultTest : public testing::Test {
protected:
    MFastFileWriterFaultTest() : _name(_folder.path("f")) {}

    void open() { ASSERT_TRUE(_writer.Open(_name.c_str(), MFastFile::kTruncate)); }

    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
    const std::string _name;
    MFastFileWriter _writer;
};

const std::vector<std::string> kWriteFailed = {"write64(): WriteFile() failed: 112",
                                               "MFastFileWriter::write_to_disk(): write64() failed"};

// --------------------------------------------------------------------------------------------------------------- open

struct OpenCall {
    DWORD access, shareMode, creation, flags;
    bool operator==(const OpenCall&) const = default;
};

TEST_F(MFastFileWriterFaultTest, ModesDecideAccessAndCreationAndTheFlagWritesThrough) {
    std::vector<OpenCall> calls;
    const test::Fault fault(fault_CreateFileA,
                            [&calls](LPCSTR, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* attributes,
                                     DWORD creation, DWORD flags, HANDLE templateFile) {
                                EXPECT_EQ(attributes, nullptr);
                                EXPECT_EQ(templateFile, nullptr);
                                calls.push_back({access, shareMode, creation, flags});
                                return INVALID_HANDLE_VALUE;
                            });
    for (const int mode : {0, 1, 2, 4, 5, 6}) EXPECT_FALSE(_writer.Open("f", mode));
    const DWORD share = FILE_SHARE_READ;
    const DWORD plain = FILE_ATTRIBUTE_NORMAL;
    const DWORD through = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_WRITE_THROUGH;
    // clang-format off
    const std::vector<OpenCall> expected = {
        {FILE_WRITE_DATA,  share, CREATE_NEW,    plain  },
        {FILE_APPEND_DATA, share, OPEN_ALWAYS,   plain  },
        {FILE_WRITE_DATA,  share, CREATE_ALWAYS, plain  },
        {FILE_WRITE_DATA,  share, CREATE_NEW,    through},
        {FILE_APPEND_DATA, share, OPEN_ALWAYS,   through},
        {FILE_WRITE_DATA,  share, CREATE_ALWAYS, through}
    };
    // clang-format on
    EXPECT_EQ(calls, expected);
}

TEST_F(MFastFileWriterFaultTest, OpenFailsWhenTheFormerFileCannotBeFinished) {
    open();
    EXPECT_TRUE(_writer.WriteChar('x'));
    const test::Fault fault(fault_WriteFile, failingWrite);
    EXPECT_FALSE(_writer.Open(_folder.path("g").c_str(), 2));
    EXPECT_FALSE(_writer.IsOpen());
    EXPECT_FALSE(std::ifstream(_folder.path("g")).is_open());
    EXPECT_EQ(_recorder.errorTraces(), kWriteFailed);
}

// -------------------------------------------------------------------------------------------------------------- write

TEST_F(MFastFileWriterFaultTest, WriteCharReportsThatTheBufferCannotBeWritten) {
    open();
    EXPECT_EQ(_writer.WriteString(std::string(8192, 'x')), 8192);
    {
        const test::Fault fault(fault_WriteFile, failingWrite);
        EXPECT_FALSE(_writer.WriteChar('y'));
    }
    auto expected = kWriteFailed;
    expected.push_back("MFastFileWriter::WriteChar(): write_to_disk() failed");
    EXPECT_EQ(_recorder.errorTraces(), expected);
    EXPECT_TRUE(_writer.WriteChar('z'));  // the disk has room again
    EXPECT_TRUE(_writer.Close());
    EXPECT_EQ(contentOf(_name), std::string(8192, 'x') + "z");
}

TEST_F(MFastFileWriterFaultTest, EveryFormFailsWhenTheFullBufferCannotBeWritten) {
    open();
    EXPECT_EQ(_writer.WriteString(std::string(8191, 'x')), 8191);
    const test::Fault fault(fault_WriteFile, failingWrite);
    EXPECT_EQ(_writer.WriteLine("y"), -1);  // the text fits, its line end does not
    EXPECT_EQ(_writer.WriteLineNL("y"), -1);
    EXPECT_EQ(_writer.WriteLineNL(""), -1);
    EXPECT_EQ(_writer.WriteStringNL("y"), -1);
    EXPECT_EQ(_writer.WriteString("y"), -1);
    EXPECT_EQ(_writer.Write("y", 1), -1);
    EXPECT_FALSE(_writer.WriteCharNL('\n'));
    EXPECT_FALSE(_writer.WriteInt(1));
    EXPECT_FALSE(_writer.WriteShort(1));
    EXPECT_FALSE(_writer.WriteLong(1));
    EXPECT_FALSE(_writer.WriteFloat(1));
    EXPECT_FALSE(_writer.WriteDouble(1));
    EXPECT_FALSE(_writer.Flush());
    EXPECT_FALSE(_writer.Close());
    EXPECT_FALSE(_writer.IsOpen());
    EXPECT_EQ(contentOf(_name), "");
}

TEST_F(MFastFileWriterFaultTest, AShortWriteIsReportedAndItsRestWaits) {
    open();
    EXPECT_EQ(_writer.WriteString("0123456789"), 10);
    {
        const test::Fault fault(fault_WriteFile, diskOf(4, true));
        EXPECT_FALSE(_writer.Flush());
    }
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFileWriter::write_to_disk(): wrote only 4 bytes instead of 10 bytes"));
    EXPECT_EQ(contentOf(_name), "0123");
    EXPECT_TRUE(_writer.WriteChar('!'));
    EXPECT_TRUE(_writer.Close());
    EXPECT_EQ(contentOf(_name), "0123456789!");
}

TEST_F(MFastFileWriterFaultTest, BytesThatAFailedWriteLeftInTheFileAreNotWrittenTwice) {
    const std::string bytes = "0123456789";
    open();
    EXPECT_EQ(_writer.WriteString(bytes), 10);
    {
        const test::Fault fault(fault_WriteFile,
                                [](HANDLE file, LPCVOID buffer, DWORD, DWORD* bytesWritten, OVERLAPPED* overlapped) {
                                    real_WriteFile(file, buffer, 4, bytesWritten, overlapped);
                                    return fail(ERROR_DISK_FULL);
                                });
        EXPECT_FALSE(_writer.Flush());
    }
    EXPECT_EQ(contentOf(_name), "0123");
    EXPECT_TRUE(_writer.Close());
    EXPECT_EQ(contentOf(_name), bytes);
}

TEST_F(MFastFileWriterFaultTest, ADiskThatIsFullAtAnyByteIsReportedAndHoldsTheFirstBytes) {
    std::string bytes(8192 + 200, '\0');
    for (std::size_t at = 0; at < bytes.size(); ++at) bytes[at] = static_cast<char>(at * 31 + at / 256 * 7);
    std::string disk;  // a real one would take its time for thousands of files
    std::size_t room = 0;
    bool cuts = false;
    const test::Fault fault(fault_WriteFile, [&](HANDLE, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED*) {
        const std::size_t left = room - disk.size();
        *bytesWritten = size <= left ? size : cuts ? static_cast<DWORD>(left) : 0;
        disk.append(static_cast<const char*>(buffer), *bytesWritten);
        return size <= left || cuts ? TRUE : fail(ERROR_DISK_FULL);
    });
    for (const bool cutting : {false, true}) {
        cuts = cutting;
        for (room = 0; room <= bytes.size(); ++room) {
            disk.clear();
            open();
            const std::ptrdiff_t result = _writer.Write(bytes.data(), bytes.size());
            ASSERT_EQ(result, room < 8192 ? -1 : static_cast<std::ptrdiff_t>(bytes.size()));
            ASSERT_EQ(_writer.Close(), room == bytes.size()) << room;
            ASSERT_EQ(disk.size(), cuts || room == bytes.size() ? room : room / 8192 * 8192);
            ASSERT_EQ(disk, bytes.substr(0, disk.size()));
            _recorder.clear();
        }
    }
}

TEST_F(MFastFileWriterFaultTest, WritesGoThroughTheBufferWhateverTheirSize) {
    open();
    std::vector<DWORD> sizes;
    const test::Fault fault(fault_WriteFile, [&sizes](HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten,
                                                      OVERLAPPED* overlapped) {
        sizes.push_back(size);
        return real_WriteFile(file, buffer, size, bytesWritten, overlapped);
    });
    EXPECT_EQ(_writer.WriteString(std::string(20'000, 'x')), 20'000);
    EXPECT_THAT(sizes, ElementsAre(8192, 8192));
    EXPECT_TRUE(_writer.Close());
    EXPECT_THAT(sizes, ElementsAre(8192, 8192, 3616));
}

TEST_F(MFastFileWriterFaultTest, NothingIsWrittenWhereNothingWaits) {
    open();
    const test::Fault fault(fault_WriteFile, failingWrite);
    EXPECT_TRUE(_writer.Flush());
    EXPECT_TRUE(_writer.Close());
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

// ----------------------------------------------------------------------------------------------------- flush and close

TEST_F(MFastFileWriterFaultTest, FlushReportsTheSystemsError) {
    open();
    const test::Fault fault(fault_FlushFileBuffers, [](HANDLE) { return fail(ERROR_IO_DEVICE); });
    EXPECT_FALSE(_writer.Flush());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileWriter::Flush(): FlushFileBuffers() failed: 1117"));
}

TEST_F(MFastFileWriterFaultTest, FlushDoesNotFlushWhatCouldNotBeWritten) {
    open();
    EXPECT_TRUE(_writer.WriteChar('x'));
    const test::Fault write(fault_WriteFile, failingWrite);
    const test::Fault flush(fault_FlushFileBuffers, [](HANDLE) { return fail(ERROR_IO_DEVICE); });
    EXPECT_FALSE(_writer.Flush());
    EXPECT_EQ(_recorder.errorTraces(), kWriteFailed);
}

TEST_F(MFastFileWriterFaultTest, CloseReportsTheErrorAndGivesTheFileUp) {
    open();
    EXPECT_TRUE(_writer.WriteChar('x'));
    const test::Fault fault(fault_CloseHandle, closeAndFail);
    EXPECT_FALSE(_writer.Close());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFileWriter::Close(): CloseHandle() failed: 6"));
    EXPECT_FALSE(_writer.IsOpen());
    EXPECT_TRUE(_writer.Close());
    EXPECT_EQ(contentOf(_name), "x");
}

TEST_F(MFastFileWriterFaultTest, CloseLetsTheFileGoAlsoWhenTheRestCannotBeWritten) {
    open();
    EXPECT_TRUE(_writer.WriteChar('x'));
    {
        const test::Fault fault(fault_WriteFile, failingWrite);
        EXPECT_FALSE(_writer.Close());
    }
    EXPECT_EQ(_recorder.errorTraces(), kWriteFailed);
    open();  // no second writer is in the way
    EXPECT_TRUE(_writer.Close());
    EXPECT_EQ(contentOf(_name), "");  // what could not be written is not carried into another file
}

// ------------------------------------------------------------------------------------------------------------ transfer

class Write64Test : public MFastFileWriterFaultTest {
protected:
    Write64Test() {
        for (int at = 0; at < 2500; ++at) _bytes += static_cast<char>(at * 7);
        _file = openwritefile(_name.c_str(), 2);
        fault_WriteFile = [this](HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped) {
            _sizes.push_back(size);
            return real_WriteFile(file, buffer, size, bytesWritten, overlapped);
        };
    }
    ~Write64Test() override {
        fault_WriteFile = nullptr;
        CloseHandle(_file);
    }

    HANDLE _file;
    std::string _bytes;
    std::vector<DWORD> _sizes;
};

TEST_F(Write64Test, WritesInPiecesOfTheLargestSize) {
    EXPECT_EQ(write64(_file, _bytes.data(), _bytes.size(), 1000), 2500);
    EXPECT_EQ(contentOf(_name), _bytes);
    EXPECT_THAT(_sizes, ElementsAre(1000, 1000, 500));
}

TEST_F(Write64Test, WritesInOneCallWhatFitsIntoOne) {
    EXPECT_EQ(write64(_file, _bytes.data(), _bytes.size()), 2500);
    EXPECT_EQ(write64(_file, _bytes.data(), 1000, 1000), 1000);
    EXPECT_THAT(_sizes, ElementsAre(2500, 1000));
}

TEST_F(Write64Test, EndsWithAPieceThatWasNotWrittenWhole) {
    fault_WriteFile = diskOf(1400, true);
    EXPECT_EQ(write64(_file, _bytes.data(), _bytes.size(), 1000), 1400);
    EXPECT_EQ(contentOf(_name), _bytes.substr(0, 1400));
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(Write64Test, WritesNothingFromNothing) { EXPECT_EQ(write64(_file, nullptr, 0), 0); }

TEST_F(Write64Test, FailsWithThePieceThatFails) {
    fault_WriteFile = diskOf(1999, false);
    EXPECT_EQ(write64(_file, _bytes.data(), _bytes.size(), 1000), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("write64(): WriteFile() failed: 112"));
    EXPECT_EQ(_recorder.entries().front().file, "mfileio/src/fastfile");
}

}  // namespace
