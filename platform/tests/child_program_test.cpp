// Programs that are started with arguments of any kind.
#include "child_program.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include <gtest/gtest.h>

#include "child_process.h"
#include "temporary_folder.h"

namespace {

using namespace std::chrono_literals;

// With what separates, quotes and protects arguments on a command line.
const std::vector<std::string> kArguments = {
    "",  "plain",  "two words", "\ttab", "a\"quote", "\"", "folder\\", "two words\\", "\\\\server\\x", "a\\\"b\\\\\"",
    "'", "%PATH%", "*",         "^&|<>",
};

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += text + "\n";
    return all;
}

CHILD_ROLE(writesItsArguments) {
    const std::string path = arguments.at(0);
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    std::ofstream(path + ".part", std::ios::binary) << joined(rest);
    return std::rename((path + ".part").c_str(), path.c_str());
}

class ChildArgumentsTest : public testing::Test {
protected:
    std::vector<std::string> arguments() const {
        std::vector<std::string> all{_path};
        all.insert(all.end(), kArguments.begin(), kArguments.end());
        return all;
    }
    std::string written() const {
        std::ifstream file(_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    test::TemporaryFolder _folder;
    std::string _path = _folder.path("arguments");
};

TEST_F(ChildArgumentsTest, OfAChildOfATestArriveAsTheyWereGiven) {
    test::ChildProcess child("writesItsArguments", arguments());
    EXPECT_EQ(child.join(60s), 0);
    EXPECT_EQ(written(), joined(kArguments));
}

TEST_F(ChildArgumentsTest, OfAProgramThatRunsBesideThisOneArriveAsTheyWereGiven) {
    std::vector<std::string> all{"--child-role", "writesItsArguments"};
    for (const std::string& argument : arguments()) all.push_back(argument);
    ChildProgram child;
    std::string error;
    ASSERT_TRUE(child.start(test::programPath(), all, error)) << error;
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (child.running() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(written(), joined(kArguments));
}

TEST(ChildProgramTest, ThatIsNotThereIsToldByItsName) {
    ChildProgram child;
    std::string error;
    EXPECT_FALSE(child.start("no-such-program-here", {}, error));
    EXPECT_EQ(error.rfind("no-such-program-here: ", 0), 0u) << error;
    EXPECT_FALSE(child.running());
    EXPECT_EQ(child.cpuSeconds(), 0.0);
}

}  // namespace
