// Configurations that cannot be read: both programs report which file and why, and end.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_options.h"
#include "programs_fixture.h"

namespace {

using test::ProgramsTest;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

struct ConfigCase {
    const char* file;       // passed to the programs
    int exitCode;           // 2: wrong usage, noticed first
    const char* host;       // what the host must report
    const char* simulator;  // and the simulator
};

void PrintTo(const ConfigCase& row, std::ostream* stream) { *stream << row.file; }

const ConfigCase kCases[] = {
    {"missing.ini", 2, "missing.ini", "missing.ini"},
    {"folder", 2, "folder' is not a file that can be read", "folder"},
    {"to_missing.ini", 1,
     "gone.ini: there is no such file: the camera takes it for empty; make the file, or correct its name",
     "gone.ini: could not open camera config file"},
    {"to_folder.ini", 1, "folder: cannot be read", "folder: could not open camera config file"},
    {"self.ini", 1, "self.ini: the files lead in a circle",
     "self.ini: could not open camera config file, because it leads "
     "back to itself"},
    {"circle.ini", 1, "circle.ini: the files lead in a circle", "because it leads back to itself"},
    {"garbage.ini", 1, "garbage.ini: cannot be read", "garbage.ini: could not open camera config file"},
};

class UnreadableConfigTest : public ProgramsTest, public testing::WithParamInterface<ConfigCase> {
protected:
    UnreadableConfigTest() {
        _folder.file("folder/x", "");
        _folder.file("to_missing.ini", "[Dorven]\ncamera_config=gone.ini\n");
        _folder.file("to_folder.ini", "[Dorven]\ncamera_config=folder\n");
        _folder.file("self.ini", "[Dorven]\ncamera_config=self.ini\n");
        _folder.file("circle.ini", "[Dorven]\ncamera_config=other.ini\n");
        _folder.file("other.ini", "[Dorven]\ncamera_config=circle.ini\n");
        _folder.file("garbage.ini", std::string("\0\1\2[garbage\xff\n no = line \n]]\n=", 29));
        _given = _folder.path() + "/" + GetParam().file;
    }

    std::string _given;
};

TEST_P(UnreadableConfigTest, EveryCommandOfTheHostSaysWhichFileAndWhyAndEnds) {
    for (const test::Arguments& command : std::vector<test::Arguments>{
             {"grab", "--json"},
             {"verify", "--fault-log", "none"},
             {"snap", _folder.path() + "/a.png"},
             {"call", "1008"},
         }) {
        test::Arguments arguments = command;
        arguments.insert(arguments.end(), {"--config", _given});
        EXPECT_EQ(startHost(arguments).join(60s), GetParam().exitCode) << command.front() << people();
        EXPECT_THAT(people(), HasSubstr(GetParam().host)) << command.front();
        EXPECT_EQ(text("out.txt"), "") << command.front();
    }
}

TEST_P(UnreadableConfigTest, SimulatorSaysWhichFileAndWhyAndEnds) {
    EXPECT_EQ(startSimulatorWithOutputs({"--config", _given, "--count", "1"}).join(60s), GetParam().exitCode);
    EXPECT_THAT(people(), HasSubstr(GetParam().simulator));
    EXPECT_THAT(people(), Not(HasSubstr("ring of"))) << "no image was made";
    EXPECT_EQ(text("out.txt"), "");
}

TEST_P(UnreadableConfigTest, DoctorTellsOfTheSameFile) {
    EXPECT_EQ(startHost({"doctor", "--config", _given}).join(60s), host::kExitFailed);
    EXPECT_THAT(text("out.txt"), HasSubstr("\nproblem  "));
    EXPECT_THAT(text("out.txt"), testing::AnyOf(HasSubstr(".ini"), HasSubstr("folder: cannot be read")));
}

INSTANTIATE_TEST_SUITE_P(Configs, UnreadableConfigTest, testing::ValuesIn(kCases));

// A file can contain it, but no camera can have it.
TEST_F(ProgramsTest, AbsurdSizesAreRefusedByBothProgramsWithTheirRange) {
    for (const char* size : {"0", "-5", "99999999", "99999999999999999999"}) {
        const std::string config = _folder.file("absurd.ini", "[image]\nimage_size_x=" + std::string(size) + "\n");
        EXPECT_EQ(startHost({"grab", "--config", config, "--count", "1"}).join(60s), host::kExitFailed) << size;
        EXPECT_THAT(people(), HasSubstr("image_size_x = " + std::string(size))) << size;
        EXPECT_THAT(people(), HasSubstr(" is out of range; give a number from 1 to 65536")) << size;
        EXPECT_EQ(startSimulatorWithOutputs({"--config", config, "--count", "1"}).join(60s), 1) << size;
        EXPECT_THAT(people(), HasSubstr("image_size_x is ")) << size;
        EXPECT_THAT(people(), HasSubstr("but has to be from 1 to 65536")) << size;
    }
}

}  // namespace
