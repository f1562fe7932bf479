// What the program is made of.
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "child_process.h"

namespace {

using testing::HasSubstr;
using testing::Not;

// A source names itself in the messages that it writes.
TEST(LinkedCodeTest, HostHasTheLinkToTheSimulatorAndNothingElseOfThePlugin) {
    std::ifstream file(test::programFolder() + "dorven-host" + DORVEN_PROGRAM_SUFFIX, std::ios::binary);
    const std::string program{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_TRUE(program.find("Dorven/DorVenImagesComm") != program.npos);
    EXPECT_TRUE(program.find("Dorven/TeskImages") == program.npos);
}

}  // namespace
