// What is told of the folder of named objects when something else has its name; it is a folder on Linux only.
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "doctor_checks.h"
#include "object_parent_posix.h"
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

}  // namespace
