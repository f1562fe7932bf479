// Which code the program contains.
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// A source contains its own name in its messages.
TEST(LinkedCodeTest, HostHasTheLinkToTheSimulatorAndNothingElseOfThePlugin) {
    std::ifstream file(test::programFolder() + "dorven-host" + DORVEN_PROGRAM_SUFFIX, std::ios::binary);
    const std::string program{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_TRUE(program.find("Dorven/DorVenImagesComm") != program.npos);
    EXPECT_TRUE(program.find("Dorven/TeskImages") == program.npos);
}

}  // namespace
