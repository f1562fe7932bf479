// Paths that the system's own code page cannot represent, on the command line of the program.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <process.h>

#include "child_process.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr std::intptr_t kDone = 0;
constexpr std::intptr_t kFailed = 1;
constexpr std::intptr_t kWrongUsage = 2;

class ForeignPathTest : public testing::Test {
protected:
    ForeignPathTest() { fs::create_directories(_path); }

    /// Runs dorven-simulator for two images. @return Its exit code.
    static std::intptr_t run(std::vector<std::wstring> arguments) {
        const std::wstring program = fs::path(test::programFolder()).wstring() + L"dorven-simulator.exe";
        for (std::wstring& argument : arguments) argument = L'"' + argument + L'"';
        std::vector<const wchar_t*> argv{L"dorven-simulator", L"--no-ask", L"--count", L"2", L"--fps", L"1000"};
        for (const std::wstring& argument : arguments) argv.push_back(argument.c_str());
        argv.push_back(nullptr);
        return _wspawnv(_P_WAIT, program.c_str(), argv.data());
    }
    fs::path file(const wchar_t* name, const std::string& content) const {
        std::ofstream(_path / name, std::ios::binary) << content;
        return _path / name;
    }
    static std::string firstLine(const fs::path& path) {
        std::ifstream stream(path);
        std::string line;
        std::getline(stream, line);
        return line;
    }

    test::TemporaryFolder _folder;
    const fs::path _path = fs::path(_folder.path()) / L"Pr\u00FCfstand \u76F8\u673A";
};

TEST_F(ForeignPathTest, PicturesAreLoaded) {
    const fs::path picture = file(L"gr\u00F6\u00DFe \u76F8.PGM", "P5 2 1 255\nab");
    EXPECT_EQ(run({L"--images", picture.wstring()}), kDone);
    EXPECT_EQ(run({L"--images", _path.wstring()}), kDone);
    EXPECT_EQ(run({L"--images", (_path / L"*\u00F6?e*.PGM").wstring()}), kDone);
    EXPECT_EQ(run({L"--images", (_path / L"*\u00FC*.PGM").wstring()}), kFailed);
    EXPECT_EQ(run({L"--images", (_path / L"none.pgm").wstring()}), kWrongUsage);
    EXPECT_EQ(run({L"--raw-size", L"1x1", L"--images", file(L"\u673A.raw", "abc").wstring()}), kDone);
}

TEST_F(ForeignPathTest, ScenarioIsPlayedAndLogged) {
    const fs::path scenario = file(L"st\u00F6rung.json", R"({"schema":"dorven-scenario/1","faults":["drop@1"]})");
    const fs::path log = _path / L"\u673A.jsonl";
    EXPECT_EQ(run({L"--scenario", scenario.wstring(), L"--fault-log", log.wstring()}), kDone);
    EXPECT_THAT(firstLine(log), testing::HasSubstr("dorven-fault-log/1"));
    EXPECT_EQ(run({L"--scenario", (_path / L"none.json").wstring()}), kWrongUsage);
}

TEST_F(ForeignPathTest, TruthIsWritten) {
    const fs::path truth = _path / L"w\u00E4hr.jsonl";
    EXPECT_EQ(run({L"--pattern", L"circle", L"--truth", truth.wstring()}), kDone);
    EXPECT_THAT(firstLine(truth), testing::HasSubstr("circle"));
}

TEST_F(ForeignPathTest, ConfigurationIsRead) {
    const fs::path config = file(L"gr\u00F6\u00DFe.ini", "[image]\nimage_size_x=320\nimage_size_y=240\n");
    EXPECT_EQ(run({L"--config", config.wstring()}), kDone);
    const fs::path absurd = file(L"zu gro\u00DF.ini", "[image]\nimage_size_x=65537\n");
    EXPECT_EQ(run({L"--config", absurd.wstring()}), kFailed);
    EXPECT_EQ(run({L"--config", (_path / L"none.ini").wstring()}), kWrongUsage);
}

}  // namespace
