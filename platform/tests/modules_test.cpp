// Libraries that are loaded at run time, and the names that they report.
#include <cstring>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "child_process.h"
#include "platform.h"
#include "temporary_folder.h"
#include "utf8_path.h"

namespace fs = std::filesystem;

namespace {

// Changes the working folder of the process; the destructor restores it.
class WorkingFolder {
public:
    explicit WorkingFolder(const fs::path& folder) : _former(fs::current_path()) { fs::current_path(folder); }
    ~WorkingFolder() { fs::current_path(_former); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
    fs::path _former;
};

class ModulesTest : public testing::Test {
protected:
    ~ModulesTest() override {
        if (_module) FreeLibrary(_module);
    }

    void load(const std::string& path) {
        _module = LoadLibraryExA(path.c_str(), nullptr, 0);
        ASSERT_NE(_module, nullptr) << path << ": error " << GetLastError();
    }

    std::string fullName() const {
        char name[1024] = {};
        const DWORD length = GetModuleFileNameA(_module, name, sizeof name);
        EXPECT_EQ(length, std::strlen(name));
        return name;
    }

    test::TemporaryFolder _elsewhere;
    HMODULE _module = nullptr;
};

}  // namespace

TEST_F(ModulesTest, TheProgramsNameIsItsFullPath) {
    EXPECT_THAT(fullName(), testing::HasSubstr("platform_tests"));
    EXPECT_EQ(_access(fullName().c_str(), 0), 0);
}

TEST_F(ModulesTest, AnInventedHandleHasNoName) {
    int nothing = 0;
    char name[100] = {};
    EXPECT_EQ(GetModuleFileNameA(reinterpret_cast<HMODULE>(&nothing), name, sizeof name), 0u);
    EXPECT_NE(GetLastError(), ERROR_SUCCESS);
}

TEST_F(ModulesTest, ANameThatDoesNotFitFillsTheBuffer) {
    char name[8];
    std::memset(name, '#', sizeof name);
    EXPECT_EQ(GetModuleFileNameA(nullptr, name, 6), 6u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(name[6], '#');
}

TEST_F(ModulesTest, ALibraryThatIsAbsentIsNotFound) {
    EXPECT_EQ(LoadLibraryExA("no_such_library.here", nullptr, 0), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

// A path that depends on the working folder at the time of loading.
struct Spelling {
    const char* name;
    const char* path;
};

class RelativeModulesTest : public ModulesTest, public testing::WithParamInterface<Spelling> {};

TEST_P(RelativeModulesTest, ALibraryLoadedByARelativePathAnswersItsFullNameAlsoFromAnotherWorkingFolder) {
    fs::create_directories(pathOfText(_elsewhere.path("libraries/inner")));
    fs::copy_file(pathOfText(test::programFolder() + TEST_MODULE),
                  pathOfText(_elsewhere.path("libraries/" TEST_MODULE)));
    const std::string folder = textOfPath(fs::canonical(pathOfText(_elsewhere.path("libraries"))));
    {
        const WorkingFolder working(pathOfText(_elsewhere.path()));
        ASSERT_NO_FATAL_FAILURE(load(GetParam().path));
        EXPECT_TRUE(pathOfText(fullName()).is_absolute()) << fullName();
    }
    EXPECT_TRUE(pathOfText(fullName()).is_absolute()) << fullName();
    EXPECT_TRUE(fs::equivalent(pathOfText(fullName()), pathOfText(folder + "/" TEST_MODULE))) << fullName();
    EXPECT_THAT(fullName(), testing::Not(testing::HasSubstr("/./")));
    EXPECT_TRUE(fullName().ends_with(TEST_MODULE)) << fullName();
    FreeLibrary(_module);  // before its file is removed
    _module = nullptr;
}

// clang-format off
constexpr Spelling kSpellings[] = {
    {"WithADotInFront",      "./libraries/" TEST_MODULE       },
    {"WithoutADot",          "libraries/" TEST_MODULE         },
    {"WithBackslashes",      ".\\libraries\\.\\" TEST_MODULE  },
    {"ThroughAParentFolder", "libraries/inner/../" TEST_MODULE}
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(EachSpelling, RelativeModulesTest, testing::ValuesIn(kSpellings),
                         [](const auto& information) { return std::string(information.param.name); });
