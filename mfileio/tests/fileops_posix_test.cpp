// Linux knows no hidden files; programs there merely leave out names that begin with a dot.
#include <gmock/gmock.h>

#include "fileops.h"
#include "temporary_folder.h"

TEST(FileOperationsOfLinux, TypeHidesNothingForADotInFront) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(file_type(folder.file(".f", "").c_str()), '-');
}
