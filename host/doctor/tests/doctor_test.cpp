#include "doctor.h"

#include <fstream>
#include <iterator>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "child_process.h"
#include "doctor_checks.h"
#include "plugin_library.h"
#include "temporary_folder.h"

namespace {

using host::Diagnosis;
using host::FindingLevel;
using host::Findings;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class LibraryTest : public testing::Test {
protected:
    Diagnosis last(const std::string& path) {
        Findings findings;
        host::examineLibrary(path, findings);
        EXPECT_FALSE(findings.empty());
        return findings.empty() ? Diagnosis{} : findings.back();
    }
    Diagnosis lastOf(const std::string& content) { return last(_folder.file("plugin.bin", content)); }

    test::TemporaryFolder _folder;
};

TEST_F(LibraryTest, PluginBesideTheProgramIsWell) {
    Findings findings;
    host::examineLibrary(host::defaultPluginPath(), findings);
    ASSERT_EQ(findings.size(), 3u);
    for (const Diagnosis& finding : findings) EXPECT_EQ(finding.level, FindingLevel::ok) << finding.found;
    EXPECT_EQ(findings[0].found, host::defaultPluginPath());
    EXPECT_THAT(findings[1].found, EndsWith(" library for 64-bit x86"));
    EXPECT_EQ(findings[2].found, "exports CreatePlugin and ReleasePlugin");
}

TEST_F(LibraryTest, MissingFileIsAProblem) {
    const Diagnosis finding = last(_folder.path("none.so"));
    EXPECT_EQ(finding.level, FindingLevel::problem);
    EXPECT_THAT(finding.found, EndsWith("none.so: there is no such file"));
    EXPECT_THAT(finding.advice, HasSubstr("--plugin"));
}

TEST_F(LibraryTest, FolderCannotBeRead) {
    EXPECT_THAT(last(_folder.path()).found, EndsWith(": cannot be read"));
    EXPECT_EQ(last(_folder.path()).level, FindingLevel::problem);
}

TEST_F(LibraryTest, FileThatIsNoLibraryIsAProblem) {
    std::string farHeader = "MZ" + std::string(100, '\0');
    farHeader[60] = '\xFF';
    farHeader[61] = '\xFF';
    for (const std::string& content : {std::string(), std::string("text"),
                                       std::string("\x7F"
                                                   "ELF"),
                                       "MZ" + std::string(100, '\0'), farHeader}) {
        const Diagnosis finding = lastOf(content);
        EXPECT_EQ(finding.level, FindingLevel::problem);
        EXPECT_EQ(finding.found, "is no library");
        EXPECT_THAT(finding.advice, EndsWith(" library for 64-bit x86"));
    }
}

std::string elf(char machine) {
    std::string file =
        "\x7F"
        "ELF" +
        std::string(60, '\0');
    file[18] = machine;
    return file;
}

std::string pe(const std::string& machine) {
    std::string file = "MZ" + std::string(62, '\0');
    file[60] = 64;
    return file + "PE" + std::string(2, '\0') + machine + std::string(40, '\0');
}

// A library that consists only of its header, for the system that runs this test.
std::string wanted() {
    const bool windows = host::defaultPluginPath().find(".dll") != std::string::npos;
    return windows ? pe("\x64\x86") : elf('\x3E');
}

TEST_F(LibraryTest, LibraryForAnotherMachineIsNamed) {
    EXPECT_EQ(lastOf(elf('\xB7')).found, "is a Linux library for 64-bit ARM");
    EXPECT_EQ(lastOf(elf('\x01')).found, "is a Linux library for machine 1");
    EXPECT_EQ(lastOf(pe("\x4C\x01")).found, "is a Windows library for 32-bit x86");
    EXPECT_EQ(lastOf(pe("\x64\xAA")).level, FindingLevel::problem);
}

TEST_F(LibraryTest, LibraryThatIsCutShortIsNotLoaded) {
    std::ifstream file(host::defaultPluginPath(), std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // Within its code: what follows is for the debugger and is not loaded.
    for (const std::size_t size : {std::size_t{1000}, std::size_t{40'000}}) {
        ASSERT_GT(content.size(), 2 * size);
        const Diagnosis finding = lastOf(content.substr(0, size));
        EXPECT_EQ(finding.level, FindingLevel::problem);
        EXPECT_THAT(finding.found, testing::AnyOf(HasSubstr("is cut short: it has " + std::to_string(size) + " bytes"),
                                                  HasSubstr("cannot be loaded (error ")));
    }
}

TEST_F(LibraryTest, LibraryWithoutSegmentsCannotBeLoaded) {
    EXPECT_EQ(last(_folder.file("plugin.bin", wanted())).level, FindingLevel::problem);
    EXPECT_THAT(last(_folder.file("plugin.bin", wanted())).found, HasSubstr("cannot be loaded (error "));
}

TEST_F(LibraryTest, LibraryWithoutTheTwoFunctionsIsNoPlugin) {
    std::string other = host::defaultPluginPath();
    other.replace(other.rfind("DorVenKameraPlugin"), 18, "trace");
    EXPECT_EQ(last(other).level, FindingLevel::problem);
    EXPECT_EQ(last(other).found, "does not export CreatePlugin, ReleasePlugin");
}

class DoctorTest : public testing::Test {
protected:
    DoctorTest() { _options.pluginPath = host::defaultPluginPath(); }
    int run() { return host::runDoctor(_options, _data, _people); }

    host::DoctorOptions _options;
    std::ostringstream _data;
    std::ostringstream _people;
};

TEST_F(DoctorTest, MachineAtRestHasNoProblem) {
    EXPECT_EQ(run(), host::kExitDone) << _people.str();
    EXPECT_THAT(_data.str(), HasSubstr("\nok       library: "));
    EXPECT_THAT(_data.str(), HasSubstr("\nok       configuration: no file: the camera's defaults\n"));
    EXPECT_THAT(_data.str(), HasSubstr("\nwarning  programs: no simulator is running: the camera fakes images after "
                                       "22 s\n         -> start dorven-simulator\n"));
    EXPECT_THAT(_data.str(), HasSubstr("\n0 problems, "));
    EXPECT_EQ(_people.str(), "");
}

TEST_F(DoctorTest, RemedyIsSaidFirstAndLast) {
    _options.pluginPath = "/no/such/plugin";
    EXPECT_EQ(run(), host::kExitFailed);
    const std::string remedy =
        "To do: put the plugin beside this program or name it with --plugin; and: start dorven-simulator";
    EXPECT_THAT(_data.str(), StartsWith(remedy));
    const std::string last = _data.str().substr(_data.str().rfind("\n\n") + 2);
    EXPECT_THAT(last, StartsWith("1 problem, "));
    EXPECT_THAT(last, HasSubstr(" warning"));
    EXPECT_THAT(last, HasSubstr(remedy));
}

TEST_F(DoctorTest, DetailsOfWhatIsWellAreToldOnRequest) {
    const char* const detail = "configuration: pixel_format = 2 (the camera's default)\n";
    run();
    EXPECT_THAT(_data.str(), Not(HasSubstr(detail)));
    _options.all = true;
    _data.str("");
    run();
    EXPECT_THAT(_data.str(), HasSubstr(detail));
}

TEST(DoctorElsewhereTest, SimulatorsOfOtherNameSpacesAreNamedWithWhatToDo) {
    Findings findings;
    host::tellElsewhere({"mine", {"default", "line 2"}, {}}, findings);
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].level, FindingLevel::warning);
    EXPECT_EQ(findings[0].found, "a simulator runs in name space \"default\"; this program looks in \"mine\"");
    EXPECT_EQ(findings[0].advice, "or start the host without PLATFORM_OBJECT_NAMESPACE to use that simulator");
    EXPECT_EQ(findings[1].advice, "or start the host with PLATFORM_OBJECT_NAMESPACE='line 2' to use that simulator");
}

TEST(DoctorElsewhereTest, OtherUsersAndContainersAreTold) {
    Findings findings;
    host::tellElsewhere({"default", {}, {{"/shm/a", "user anna (1001)", false}, {"/shm/b", "user 100000", true}}},
                        findings);
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].found,
              "/shm/a belongs to user anna (1001): if a simulator of that user runs, it cannot be reached from here");
    EXPECT_EQ(findings[0].advice, "none, unless you want that simulator: then run host and simulator as one user");
    EXPECT_EQ(findings[1].found,
              "/shm/b belongs to user 100000 and was made in a container: if a simulator runs there, it cannot be "
              "reached from here");
}

TEST(DoctorElsewhereTest, ThreeOfAKindAreEnough) {
    Findings findings;
    host::tellElsewhere({"default", {"a", "b", "c", "d", "e"}, {}}, findings);
    ASSERT_EQ(findings.size(), 4u);
    EXPECT_EQ(findings[3].found, "simulators run in 2 more name spaces");
    findings.clear();
    host::tellElsewhere({"default", {}, std::vector(5, ObjectsElsewhere::Folder{"/shm/a", "user 1", true})}, findings);
    ASSERT_EQ(findings.size(), 4u);
    EXPECT_EQ(findings[3].found, "2 more folders belong to other users or containers");
}

TEST_F(DoctorTest, ProblemEndsWithOneAndJsonTellsIt) {
    _options.json = true;
    _options.pluginPath = "/no/such/plugin";
    EXPECT_EQ(run(), host::kExitFailed);
    const auto object = nlohmann::json::parse(_data.str());
    EXPECT_EQ(object["schema"], "dorven-doctor/1");
    EXPECT_EQ(object["result"], "problem");
    EXPECT_EQ(object["problems"], 1);
    EXPECT_GE(object["warnings"], 1);
    EXPECT_EQ(object["checks"][0]["check"], "library");
    EXPECT_EQ(object["checks"][0]["level"], "problem");
    EXPECT_THAT(object["checks"][0]["advice"], HasSubstr("--plugin"));
    EXPECT_TRUE(object["checks"][1]["advice"].is_null());
    EXPECT_EQ(_people.str(), "");
}

}  // namespace
