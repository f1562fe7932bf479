// What only Windows has among files: devices that every folder seems to hold.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "regular_file.h"

namespace {

TEST(RegularFileWin32Test, DevicesAreRefused) {
    RegularFile file;
    std::string error;
    EXPECT_FALSE(file.open("NUL", error));
    EXPECT_EQ(error, "NUL: is no regular file");
}

}  // namespace
