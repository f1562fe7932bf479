// What is reported when something else has the name of the folder of named objects; only Linux has this folder.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "child_process.h"
#include "doctor_checks.h"
#include "object_parent_posix.h"
#include "plugin_library.h"
#include "temporary_folder.h"

namespace {

using host::FindingLevel;
using testing::HasSubstr;

class DoctorFolderTest : public testing::Test {
protected:
    DoctorFolderTest() : _former(ObjectParent_Place()) {
        ObjectParent_Place().root = _folder.path();
        std::ofstream(_usual) << "taken";
    }
    ~DoctorFolderTest() override { ObjectParent_Place() = _former; }
    host::Findings examine() {
        host::Findings findings;
        host::examineObjectFolder(findings);
        return findings;
    }

    test::TemporaryFolder _folder;
    std::string _usual = _folder.path("dorven-objects-" + std::to_string(geteuid()));
    ObjectPlace _former;
};

TEST_F(DoctorFolderTest, NameThatIsTakenAndTheFolderToComeAreTold) {
    const host::Findings findings = examine();
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].level, FindingLevel::warning);
    EXPECT_EQ(findings[0].found, _usual + " is no folder; the first program that runs makes a folder of another name");
    EXPECT_THAT(findings[0].advice, HasSubstr("all your programs find the same folder"));
}

TEST_F(DoctorFolderTest, FolderThatServesInsteadIsTold) {
    const int made = ObjectParent_Open();
    ASSERT_GE(made, 0);
    close(made);
    const host::Findings findings = examine();
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].found, _usual + " is no folder; a folder of another name serves in its place");
    EXPECT_EQ(findings[1].level, FindingLevel::ok);
    EXPECT_THAT(findings[1].found, HasSubstr(_usual + "-"));
}

// A separate process that has created no object yet: (place of the folder, file for the outcome).
CHILD_ROLE(doctorInPlace) {
    ObjectParent_Place().root = arguments.at(0);
    std::ofstream people(arguments.at(1));
    host::DoctorOptions options;
    options.pluginPath = host::defaultPluginPath();
    options.all = true;
    return host::runDoctor(options, people, people);
}

class DoctorPlaceTest : public testing::Test {
protected:
    // Returns the exit code; the messages go to _people.
    int examineIn(const std::string& place) {
        const std::string outcome = _folder.path("outcome");
        const int exitCode = test::ChildProcess("doctorInPlace", {place, outcome}).join(std::chrono::seconds(60));
        std::ifstream file(outcome);
        _people = {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        return exitCode;
    }
    std::string makePlace() {
        const std::string place = _folder.path("place");
        std::filesystem::create_directory(place);
        return place;
    }

    test::TemporaryFolder _folder;
    std::string _people;
};

TEST_F(DoctorPlaceTest, PlaceInWhichNoObjectCanBeMadeIsAProblem) {
    EXPECT_EQ(examineIn(_folder.path("none")), host::kExitFailed);
    EXPECT_THAT(_people, HasSubstr("\nproblem  objects: none can be made: " + _folder.path("none") +
                                   " is absent\n         -> mount a file system in memory there: "));
    EXPECT_THAT(_people, HasSubstr("\n1 problem, 1 warning. To do: "));
}

TEST_F(DoctorPlaceTest, ObjectIsMadeToSeeAndRemoved) {
    const std::string place = makePlace();
    EXPECT_EQ(examineIn(place), host::kExitDone) << _people;
    EXPECT_THAT(_people, HasSubstr("\nok       objects: one was made and removed\n"));
    const auto space =
        place + "/dorven-objects-" + std::to_string(geteuid()) + "/" + std::getenv("PLATFORM_OBJECT_NAMESPACE");
    EXPECT_TRUE(std::filesystem::is_empty(space));
}

TEST_F(DoctorPlaceTest, FolderOfWrongModeIsOneProblem) {
    const std::string place = makePlace();
    const auto folder = place + "/dorven-objects-" + std::to_string(geteuid());
    std::filesystem::create_directory(folder);
    std::filesystem::permissions(folder, std::filesystem::perms(0755));
    EXPECT_EQ(examineIn(place), host::kExitFailed);
    EXPECT_THAT(_people, HasSubstr("\nproblem  access rights: " + folder + " has mode 0755 instead of 0700\n"));
    EXPECT_THAT(_people, HasSubstr("\n1 problem, 1 warning. To do: "));
}

}  // namespace
