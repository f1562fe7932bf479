// A process that was started with standard input, output or error closed: what the layer opens must not get their
// numbers, because output meant for them would be written into it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "child_process.h"
#include "high_descriptor.h"
#include "object_look.h"
#include "platform.h"
#include "regular_file.h"
#include "temporary_folder.h"

using namespace std::chrono_literals;

namespace {

constexpr int kStandardStreams = 3;

void closeStandardStreams() {
    for (int stream = 0; stream < kStandardStreams; ++stream) close(stream);
}

bool isOpen(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

bool anyStandardStreamIsOpen() { return isOpen(0) || isOpen(1) || isOpen(2); }

HANDLE createFile(const std::string& path, DWORD access, DWORD creation) {
    return CreateFileA(path.c_str(), access, FILE_SHARE_READ, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

// Arguments: a folder, and a file in it. Returns 0, or the number of the step whose descriptor was too low.
CHILD_ROLE(opensEverythingWithoutStandardStreams) {
    closeStandardStreams();
    const std::string& folder = arguments.at(0);
    RegularFile regular;
    // Everything stays open until the end, so that each step would take the lowest free number.
    const auto steps = {
        +[](const std::string&, RegularFile&) { return CreateEventA(nullptr, FALSE, FALSE, "low_event") != nullptr; },
        +[](const std::string&, RegularFile&) { return CreateEventA(nullptr, FALSE, FALSE, nullptr) != nullptr; },
        +[](const std::string&, RegularFile&) {
            const HANDLE mapping =
                CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, "low_mapping");
            return MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0) != nullptr;
        },
        +[](const std::string& path, RegularFile&) {
            return createFile(path + "/new", FILE_WRITE_DATA, CREATE_NEW) != INVALID_HANDLE_VALUE;
        },
        +[](const std::string& path, RegularFile&) {
            return createFile(path + "/written", FILE_WRITE_DATA, CREATE_ALWAYS) != INVALID_HANDLE_VALUE;
        },
        +[](const std::string& path, RegularFile&) {
            return createFile(path + "/appended", FILE_APPEND_DATA, OPEN_ALWAYS) != INVALID_HANDLE_VALUE;
        },
        +[](const std::string& path, RegularFile&) {
            char name[MAX_PATH];
            return GetTempFileNameA(path.c_str(), "low", 0, name) != 0 &&
                   createFile(name, FILE_WRITE_DATA, CREATE_ALWAYS) != INVALID_HANDLE_VALUE;
        },
        +[](const std::string& path, RegularFile&) {
            return createFile(path + "/there", GENERIC_READ, OPEN_EXISTING) != INVALID_HANDLE_VALUE;
        },
        +[](const std::string& path, RegularFile& file) {
            std::string reason;
            return file.open(path + "/there", reason);
        },
    };
    int number = 0;
    for (const auto& step : steps) {
        ++number;
        if (!step(folder, regular)) return 100 + number;
        if (anyStandardStreamIsOpen()) return number;
    }
    return 0;
}

TEST(Descriptors, WithoutStandardStreamsNothingGetsTheirNumbers) {
    const test::TemporaryFolder folder;
    folder.file("there", "x");
    test::ChildProcess child("opensEverythingWithoutStandardStreams", {folder.path()});
    EXPECT_EQ(child.join(60s), 0);
}

CHILD_ROLE(movesDescriptorsUp) {
    closeStandardStreams();
    const int low = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int high = highDescriptor(low);
    if (low != 0 || high < kStandardStreams || anyStandardStreamIsOpen()) return 1;
    if ((fcntl(high, F_GETFD) & FD_CLOEXEC) == 0 || (fcntl(high, F_GETFL) & O_ACCMODE) != O_WRONLY) return 2;
    if (highDescriptor(high) != high) return 3;
    errno = ENOENT;
    return highDescriptor(-1) == -1 && errno == ENOENT ? 0 : 4;
}

TEST(Descriptors, AreMovedAboveTheStandardStreamsAndStayWhatTheyAre) {
    test::ChildProcess child("movesDescriptorsUp");
    EXPECT_EQ(child.join(60s), 0);
}

CHILD_ROLE(opensMissingStandardStreams) {
    const int kept = dup(STDOUT_FILENO);
    closeStandardStreams();
    dup2(kept, STDOUT_FILENO);
    platform_openMissingStandardStreams();
    if (!isOpen(0) || !isOpen(2)) return 1;
    char name[100] = {};
    for (const char* stream : {"/proc/self/fd/0", "/proc/self/fd/2"}) {
        if (readlink(stream, name, sizeof name) != 9 || std::string(name, 9) != "/dev/null") return 2;
    }
    char byte = 0;
    if (read(0, &byte, 1) != 0 || write(2, "x", 1) != 1) return 3;
    return fcntl(2, F_GETFD) & FD_CLOEXEC ? 4 : 0;  // what the program starts has them, too
}

TEST(Descriptors, MissingStandardStreamsAreTheNullDevice) {
    test::ChildProcess child("opensMissingStandardStreams");
    EXPECT_EQ(child.join(60s), 0);
}
