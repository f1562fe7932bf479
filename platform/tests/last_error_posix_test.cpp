// Windows codes for the kernel's error numbers, for named objects and memory, and for files.
#include "last_error_posix.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

struct Row {
    int number;
    DWORD code;
    DWORD fileCode;
};

// clang-format off
constexpr Row kRows[] = {
    {ENOENT,       2,    2   },
    {ENOTDIR,      3,    3   },
    {EMFILE,       4,    4   },
    {ENFILE,       4,    4   },
    {EACCES,       5,    5   },
    {EPERM,        5,    5   },
    {ELOOP,        5,    5   },
    {EISDIR,       5,    5   },
    {EROFS,        5,    5   },
    {ENXIO,        5,    5   },
    {EEXIST,       1117, 80  },
    {ENOMEM,       8,    8   },
    {ENOSPC,       1455, 112 },
    {EFBIG,        1455, 112 },
    {EDQUOT,       1455, 112 },
    {EINVAL,       87,   87  },
    {ENAMETOOLONG, 206,  206 },
    {EIO,          1117, 1117},  // as every other
    {EHOSTDOWN,    1117, 1117},
};
// clang-format on

TEST(LastErrorTest, EachNumberHasTheCodeThatWindowsAnswersForObjectsAndForFiles) {
    for (const Row& row : kRows) {
        EXPECT_EQ(platform_errorOf(row.number), row.code) << row.number;
        EXPECT_EQ(platform_fileErrorOf(row.number, "/file"), row.fileCode) << row.number;
    }
}

TEST(LastErrorTest, MissingFolderIsToldFromAMissingFile) {
    EXPECT_EQ(platform_fileErrorOf(ENOENT, "/no such folder/file"), 3u);
    EXPECT_EQ(platform_fileErrorOf(ENOENT, ""), 3u);
    EXPECT_EQ(platform_fileErrorOf(ENOENT, "file"), 2u);
}

}  // namespace
