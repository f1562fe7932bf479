// What the whole-file functions and the small file operations do when the system fails.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fastfile.h"
#include "fileops.h"
#include "log_recorder.h"
#include "no_memory.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(BOOL, ReadFile, (HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped),
               (file, buffer, size, bytesRead, overlapped))
PLATFORM_FAULT(BOOL, WriteFile, (HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped),
               (file, buffer, size, bytesWritten, overlapped))
PLATFORM_FAULT(BOOL, FlushFileBuffers, (HANDLE file), (file))
PLATFORM_FAULT(BOOL, CloseHandle, (HANDLE handle), (handle))
PLATFORM_FAULT(HANDLE, CreateFileA,
               (LPCSTR fileName, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* attributes, DWORD creation,
                DWORD flags, HANDLE templateFile),
               (fileName, access, shareMode, attributes, creation, flags, templateFile))
PLATFORM_FAULT(UINT, GetTempFileNameA, (LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR fileName),
               (folder, prefix, unique, fileName))
PLATFORM_FAULT(BOOL, MoveFileExA, (LPCSTR from, LPCSTR to, DWORD flags), (from, to, flags))
PLATFORM_FAULT(int, _stat64, (const char* fileName, struct __stat64* status), (fileName, status))

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

BOOL closeAndFail(HANDLE handle) {
    real_CloseHandle(handle);
    return fail(ERROR_INVALID_HANDLE);
}

BOOL failingRead(HANDLE, LPVOID, DWORD, DWORD* bytesRead, OVERLAPPED*) {
    *bytesRead = 0;
    return fail(ERROR_IO_DEVICE);
}

BOOL failingWrite(HANDLE, LPCVOID, DWORD, DWORD* bytesWritten, OVERLAPPED*) {
    *bytesWritten = 0;
    return fail(ERROR_DISK_FULL);
}

// Writes only the first bytes; then reports the short count, or fails.
auto cutAfter(std::size_t room, bool reported) {
    return [room, reported](HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten, OVERLAPPED* overlapped) {
        const auto fitting = static_cast<DWORD>(std::min<std::size_t>(size, room));
        real_WriteFile(file, buffer, fitting, bytesWritten, overlapped);
        return reported || fitting == size ? TRUE : fail(ERROR_DISK_FULL);
    };
}

class MFastFileFaultTest : public testing::Test {
protected:
    MFastFileFaultTest() : _name(_folder.path("f")) {
        // Stores the temporary name, which the entries contain.
        fault_GetTempFileNameA = [this](LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR fileName) {
            const UINT number = real_GetTempFileNameA(folder, prefix, unique, fileName);
            _temporary = fileName;
            return number;
        };
    }
    ~MFastFileFaultTest() override { fault_GetTempFileNameA = nullptr; }

    std::ptrdiff_t write(const std::string& bytes, int mode) {
        return MFastFile_WriteAtOnce(_name.c_str(), bytes.data(), bytes.size(), mode);
    }

    std::ptrdiff_t filesInFolder() const {
        return std::distance(std::filesystem::directory_iterator(_folder.path()), {});
    }

    test::TemporaryFolder _folder;
    test::LogRecorder _recorder;
    const std::string _name;
    std::string _temporary;
};

// ------------------------------------------------------------------------------------------------------------ reading

TEST_F(MFastFileFaultTest, ReadAtOnceReportsAReadError) {
    _folder.file("f", "abc");
    const test::Fault fault(fault_ReadFile, failingRead);
    char bytes[5];
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), bytes, 5), -1);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("read64(): ReadFile() failed: 1117",
                            "MFastFile_ReadAtOnce(): ReadFile(..,5,..) failed for \"" + _name + "\""));
}

TEST_F(MFastFileFaultTest, ReadAtOnceIntoAStringEmptiesItOnAReadError) {
    _folder.file("f", "abc");
    const test::Fault fault(fault_ReadFile, failingRead);
    std::string content = "old";
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content), -1);
    EXPECT_EQ(content, "");
    EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), content), -1);
}

TEST_F(MFastFileFaultTest, WholeFilesAreReadWithOneCall) {
    _folder.file("f", std::string(100'000, 'x'));
    std::vector<DWORD> sizes;
    const test::Fault fault(fault_ReadFile,
                            [&sizes](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
                                sizes.push_back(size);
                                return real_ReadFile(file, buffer, size, bytesRead, overlapped);
                            });
    std::string content;
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content), 100'000);
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content.data(), content.size()), 100'000);
    EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), content), 100'000);
    EXPECT_EQ(MFastFile_ReadLinesAtOnce(_name.c_str(), content.data(), content.size()), 100'000);
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), _folder.path("to").c_str(), 2), 100'000);
    EXPECT_EQ(sizes, std::vector<DWORD>(5, 100'000));
}

TEST_F(MFastFileFaultTest, WholeFilesAreWrittenWithOneCall) {
    std::vector<DWORD> sizes;
    const test::Fault fault(fault_WriteFile, [&sizes](HANDLE file, LPCVOID buffer, DWORD size, DWORD* bytesWritten,
                                                      OVERLAPPED* overlapped) {
        sizes.push_back(size);
        return real_WriteFile(file, buffer, size, bytesWritten, overlapped);
    });
    const std::string bytes(100'000, 'x');
    EXPECT_EQ(write(bytes, 2), 100'000);
    EXPECT_EQ(write(bytes, 10), 100'000);
    EXPECT_EQ(MFastFile_WriteLinesAtOnce(_name.c_str(), bytes.data(), bytes.size(), 2), 100'000);
    EXPECT_EQ(sizes, std::vector<DWORD>(3, 100'000));
}

TEST_F(MFastFileFaultTest, ReadAtOnceReportsThatItCouldNotClose) {
    _folder.file("f", "abc");
    const test::Fault fault(fault_CloseHandle, closeAndFail);
    char bytes[5];
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), bytes, 5), -1);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFile_ReadAtOnce(): CloseHandle() failed for \"" + _name + "\": 6"));
}

TEST_F(MFastFileFaultTest, ReadAtOnceClosesTheFileAfterAReadErrorToo) {
    _folder.file("f", "abc");
    const test::Fault read(fault_ReadFile, failingRead);
    const test::Fault close(fault_CloseHandle, closeAndFail);
    char bytes[5];
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), bytes, 5), -1);
    EXPECT_EQ(_recorder.errorTraces().size(), 3u);
}

TEST_F(MFastFileFaultTest, ReadAtOnceIntoAStringTakesAFileThatBecameShorter) {
    _folder.file("f", "abc");
    const test::Fault fault(fault_ReadFile,
                            [](HANDLE file, LPVOID buffer, DWORD size, DWORD* bytesRead, OVERLAPPED* overlapped) {
                                return real_ReadFile(file, buffer, std::min<DWORD>(size, 2), bytesRead, overlapped);
                            });
    std::string content;
    EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content), 2);
    EXPECT_EQ(content, "ab");
}

TEST_F(MFastFileFaultTest, WithoutMemoryForTheContentNothingIsRead) {
    _folder.file("f", std::string(100, 'x'));
    const auto refuseMemoryBehind = [](auto refuse) {
        return [refuse](const char* fileName, struct __stat64* status) {
            const int result = real__stat64(fileName, status);
            refuse(1);
            return result;
        };
    };
    std::string content;
    {
        const test::Fault fault(fault__stat64, refuseMemoryBehind(test::failAllocation));
        EXPECT_EQ(MFastFile_ReadAtOnce(_name.c_str(), content), -1);
    }
    EXPECT_TRUE(test::allocationHasFailed());
    {
        const test::Fault fault(fault__stat64, refuseMemoryBehind(test::failNothrowAllocation));
        EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), _folder.path("to").c_str(), 2), -1);
    }
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFile_ReadAtOnce(): no memory for the 100 bytes of \"" + _name + "\"",
                            "MFastFile_CopyFile(): no memory for the 100 bytes of \"" + _name + "\""));
}

// ------------------------------------------------------------------------------------------------------------ writing

TEST_F(MFastFileFaultTest, WriteAtOnceReportsAWriteErrorAndClosesTheFile) {
    {
        const test::Fault fault(fault_WriteFile, failingWrite);
        EXPECT_EQ(write("abc", 6), -1);
    }
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("write64(): WriteFile() failed: 112", "MFastFile_WriteAtOnce(): write64() failed"));
    EXPECT_EQ(write("abc", 2), 3);  // no second writer is in the way
}

TEST_F(MFastFileFaultTest, WriteAtOnceCountsAShortWriteAsAFailure) {
    const test::Fault fault(fault_WriteFile, cutAfter(2, true));
    EXPECT_EQ(write("abc", 2), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteAtOnce(): write64() failed"));
    EXPECT_EQ(contentOf(_name), "ab");
}

TEST_F(MFastFileFaultTest, WriteAtOnceFlushesBeforeItClosesWhereTheModeAsksForIt) {
    for (const auto& [mode, expected] : {std::pair{2, "wc"}, {6, "wfc"}, {5, "wfc"}, {10, "wfc"}, {14, "wfc"}}) {
        std::string calls;
        const test::Fault writing(fault_WriteFile, [&calls](HANDLE file, LPCVOID buffer, DWORD size,
                                                            DWORD* bytesWritten, OVERLAPPED* overlapped) {
            calls += 'w';
            return real_WriteFile(file, buffer, size, bytesWritten, overlapped);
        });
        const test::Fault flush(fault_FlushFileBuffers, [&calls](HANDLE file) {
            calls += 'f';
            return real_FlushFileBuffers(file);
        });
        const test::Fault close(fault_CloseHandle, [&calls](HANDLE handle) {
            calls += 'c';
            return real_CloseHandle(handle);
        });
        EXPECT_GE(write("abc", mode), 0);
        EXPECT_EQ(calls, expected) << mode;
    }
}

TEST_F(MFastFileFaultTest, WholeFilesAreNeverOpenedToWriteThrough) {
    const test::Fault fault(
        fault_CreateFileA, [](LPCSTR fileName, DWORD access, DWORD shareMode, SECURITY_ATTRIBUTES* attributes,
                              DWORD creation, DWORD flags, HANDLE templateFile) {
            EXPECT_EQ(flags, static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
            return real_CreateFileA(fileName, access, shareMode, attributes, creation, flags, templateFile);
        });
    EXPECT_EQ(write("abc", 6), 3);
    EXPECT_EQ(write("abc", 14), 3);
}

TEST_F(MFastFileFaultTest, WriteAtOnceReportsAFlushError) {
    const test::Fault fault(fault_FlushFileBuffers, [](HANDLE) { return fail(ERROR_IO_DEVICE); });
    EXPECT_EQ(write("abc", 6), -1);
    EXPECT_EQ(write("abc", 2), 3);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteAtOnce(): FlushFileBuffers() failed: 1117"));
}

TEST_F(MFastFileFaultTest, WriteAtOnceReportsACloseError) {
    const test::Fault fault(fault_CloseHandle, closeAndFail);
    EXPECT_EQ(write("abc", 2), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteAtOnce(): CloseHandle() failed: 6"));
}

TEST_F(MFastFileFaultTest, ASafeReplacementRenamesAlsoWhenAStepFailed) {
    const auto replacesAndFails = [this](const std::string& content, const std::vector<std::string>& errors) {
        EXPECT_EQ(write("abc", 10), -1);
        EXPECT_EQ(contentOf(_name), content);
        EXPECT_EQ(filesInFolder(), 1);
        EXPECT_EQ(_recorder.errorTraces(), errors);
        _recorder.clear();
        _folder.file("f", "old");
    };
    _folder.file("f", "old");
    {
        const test::Fault fault(fault_WriteFile, failingWrite);
        replacesAndFails("", {"write64(): WriteFile() failed: 112", "MFastFile_WriteAtOnce(): write64() failed"});
    }
    {
        const test::Fault fault(fault_FlushFileBuffers, [](HANDLE) { return fail(ERROR_IO_DEVICE); });
        replacesAndFails("abc", {"MFastFile_WriteAtOnce(): FlushFileBuffers() failed: 1117"});
    }
    {
        const test::Fault fault(fault_CloseHandle, closeAndFail);
        replacesAndFails("abc", {"MFastFile_WriteAtOnce(): CloseHandle() failed: 6"});
    }
    const test::Fault fault(fault_CreateFileA, [](LPCSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    });
    EXPECT_EQ(write("abc", 10), -1);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFile_WriteAtOnce(): openwritefile(" + _temporary + ", 2) failed"));
    EXPECT_EQ(contentOf(_name), "");
}

TEST_F(MFastFileFaultTest, ASafeReplacementOnADiskThatIsFullAtAnyByteFailsAndLeavesOneFile) {
    const std::string bytes = "0123456789abcdefghijklmnopqrstuvwxyz";
    for (const bool reported : {false, true}) {
        for (std::size_t room = 0; room < bytes.size(); ++room) {
            _folder.file("f", "old");
            const test::Fault fault(fault_WriteFile, cutAfter(room, reported));
            ASSERT_EQ(write(bytes, 10), -1) << room;
            // The system decides how much a failing write leaves, but it is always the beginning of the bytes.
            ASSERT_EQ(contentOf(_name), bytes.substr(0, room));
            ASSERT_EQ(filesInFolder(), 1);
        }
    }
    const test::Fault fault(fault_WriteFile, cutAfter(bytes.size(), true));
    EXPECT_EQ(write(bytes, 10), static_cast<std::ptrdiff_t>(bytes.size()));
    EXPECT_EQ(contentOf(_name), bytes);
}

TEST_F(MFastFileFaultTest, ASafeReplacementThatCannotRenameLeavesTheOldContentAlone) {
    _folder.file("f", "old");
    const test::Fault fault(fault_MoveFileExA, [](LPCSTR, LPCSTR, DWORD) {
        errno = EACCES;
        return fail(ERROR_SHARING_VIOLATION);
    });
    EXPECT_EQ(write("abc", 10), -1);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("file_rename(): MoveFileEx(" + _temporary + "," + _name + ") failed: 32",
                            "MFastFile_WriteAtOnce(): file_rename(" + _temporary + "," + _name +
                                ") failed: " + std::strerror(EACCES)));
    EXPECT_EQ(contentOf(_name), "old");
    EXPECT_EQ(filesInFolder(), 1) << "the temporary file is still there";
}

TEST_F(MFastFileFaultTest, ASafeReplacementWithoutATemporaryNameTouchesNothing) {
    _folder.file("f", "old");
    fault_GetTempFileNameA = [](LPCSTR, LPCSTR prefix, UINT unique, LPSTR) {
        EXPECT_STREQ(prefix, "ffw");
        EXPECT_EQ(unique, 0u);
        SetLastError(ERROR_ACCESS_DENIED);
        return 0u;
    };
    EXPECT_EQ(write("abc", 10), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteAtOnce(): GetTempFileName() failed:5"));
    EXPECT_EQ(contentOf(_name), "old");
}

TEST_F(MFastFileFaultTest, TheTemporaryFileStandsInTheFolderOfTheName) {
    std::vector<std::string> folders;
    fault_GetTempFileNameA = [&folders](LPCSTR folder, LPCSTR, UINT, LPSTR) {
        folders.push_back(folder);
        return 0u;
    };
    for (const char* name : {"f", "a/f", "a\\f", "a/b\\f", "a\\b/f", "/f", "a//f"})
        EXPECT_EQ(MFastFile_WriteAtOnce(name, "", 0, 10), -1);
    EXPECT_THAT(folders, ElementsAre(".", "a\\", "a\\", "a/b\\", "a\\b\\", "\\", "a/\\"));
}

TEST_F(MFastFileFaultTest, ASafeReplacementWithoutMemoryIsReported) {
    for (const int count : {1, 2}) {
        test::failNothrowAllocation(count);
        EXPECT_EQ(write("abc", 10), -1);
        EXPECT_TRUE(test::allocationHasFailed());
    }
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre("MFastFile_WriteAtOnce(): malloc() failed", "MFastFile_WriteAtOnce(): malloc() failed"));
    EXPECT_EQ(filesInFolder(), 0);
}

TEST_F(MFastFileFaultTest, WriteLinesAtOnceWithoutMemoryIsReportedWithTwiceTheSize) {
    test::failNothrowAllocation(1);
    EXPECT_EQ(MFastFile_WriteLinesAtOnce(_name.c_str(), "x\ny", 3, 2), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteLinesAtOnce(): malloc(6) failed: " +
                                                     std::string(std::strerror(ENOMEM)).substr(0, 50)));
}

TEST_F(MFastFileFaultTest, WriteLinesAtOnceOfATextThatNoMemoryTakesTwiceIsReported) {
    const std::size_t size = SIZE_MAX / 2 + 1;
    EXPECT_EQ(MFastFile_WriteLinesAtOnce(_name.c_str(), "x", size, 2), -1);
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MFastFile_WriteLinesAtOnce(): malloc(18446744073709551615) "
                                                     "failed: " +
                                                     std::string(std::strerror(ENOMEM)).substr(0, 50)));
    EXPECT_EQ(filesInFolder(), 0);
}

TEST_F(MFastFileFaultTest, WriteLinesAtOnceReportsThatWritingFailed) {
    const test::Fault fault(fault_WriteFile, failingWrite);
    EXPECT_EQ(MFastFile_WriteLinesAtOnce(_name.c_str(), "x\ny", 3, 2), -1);
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MFastFile_WriteLinesAtOnce(): MFastFile_WriteAtOnce(\"" + _name + "\",..,4,2) failed");
}

// ------------------------------------------------------------------------------------------------------------ copying

TEST_F(MFastFileFaultTest, CopyFileReportsAReadError) {
    _folder.file("f", "abc");
    const test::Fault fault(fault_ReadFile, failingRead);
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), _folder.path("to").c_str(), 2), -1);
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MFastFile_CopyFile(): MFastFile_ReadAtOnce(\"" + _name + "\",..,3) failed");
    EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(MFastFileFaultTest, CopyFileReportsAWriteError) {
    _folder.file("f", "abc");
    const std::string to = _folder.path("to");
    const test::Fault fault(fault_WriteFile, failingWrite);
    EXPECT_EQ(MFastFile_CopyFile(_name.c_str(), to.c_str(), 2), -1);
    EXPECT_EQ(_recorder.errorTraces().back(),
              "MFastFile_CopyFile(): MFastFile_WriteAtOnce(\"" + to + "\",..,3,2) failed");
}

// ---------------------------------------------------------------------------------------------------------- file size

TEST_F(MFastFileFaultTest, FileSizeFailsWithoutTheFilesStatus) {
    _folder.file("f", "abc");
    const test::Fault fault(fault__stat64, [](const char*, struct __stat64*) {
        errno = EACCES;
        return -1;
    });
    EXPECT_EQ(file_size(_name.c_str()), -1);
    EXPECT_THAT(_recorder.entries(), IsEmpty());
}

TEST_F(MFastFileFaultTest, FileSizeIsTheSystemsInFull) {
    _folder.file("f", "abc");
    const test::Fault fault(fault__stat64, [](const char*, struct __stat64* status) {
        status->st_size = std::int64_t{5} << 32;
        return 0;
    });
    EXPECT_EQ(file_size(_name.c_str()), std::int64_t{5} << 32);
}

}  // namespace
