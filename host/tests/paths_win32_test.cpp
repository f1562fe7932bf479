// Paths that the system's own code page cannot represent, on the command line of the program.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <process.h>

#include "child_process.h"
#include "host_options.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

class ForeignPathTest : public testing::Test {
protected:
    ForeignPathTest() { fs::create_directories(_path); }

    /// Runs dorven-host. @return Its exit code.
    static std::intptr_t run(std::vector<std::wstring> arguments) {
        const std::wstring program = fs::path(test::programFolder()).wstring() + L"dorven-host.exe";
        for (std::wstring& argument : arguments) argument = L'"' + argument + L'"';
        std::vector<const wchar_t*> argv{L"dorven-host"};
        for (const std::wstring& argument : arguments) argv.push_back(argument.c_str());
        argv.push_back(nullptr);
        return _wspawnv(_P_WAIT, program.c_str(), argv.data());
    }

    test::TemporaryFolder _folder;
    const fs::path _path = fs::path(_folder.path()) / L"Pr\u00FCfstand \u76F8\u673A";
};

TEST_F(ForeignPathTest, PluginIsLoaded) {
    for (const wchar_t* name :
         {L"DorVenKameraPlugin", L"trace", L"errorlog", L"errortrace", L"log_core", L"NUV_Base"}) {
        const std::wstring file = std::wstring(name) + L".dll";
        fs::copy_file(fs::path(test::programFolder()) / file, _path / file);
    }
    EXPECT_EQ(run({L"info", L"--plugin", (_path / L"DorVenKameraPlugin.dll").wstring()}), host::kExitDone);
    EXPECT_EQ(run({L"info", L"--plugin", (_path / L"none.dll").wstring()}), host::kExitWrongUsage);
}

TEST_F(ForeignPathTest, ConfigurationIsRead) {
    const fs::path config = _path / L"gr\u00F6\u00DFe.ini";
    std::ofstream(config) << "[image]\nimage_size_x=640\n";
    EXPECT_EQ(run({L"call", L"1008", L"--config", config.wstring()}), host::kExitDone);
    EXPECT_EQ(run({L"grab", L"--timeout", L"0.2", L"--config", config.wstring()}), host::kExitNoImage);
    std::ofstream(config) << "[image]\nimage_size_x=18446744073709551615\n";
    EXPECT_EQ(run({L"call", L"1008", L"--config", config.wstring()}), host::kExitFailed);
    EXPECT_EQ(run({L"grab", L"--timeout", L"0.2", L"--config", config.wstring()}), host::kExitFailed);
    EXPECT_EQ(run({L"call", L"1008", L"--config", (_path / L"none.ini").wstring()}), host::kExitWrongUsage);
}

TEST_F(ForeignPathTest, OutputFolderIsMade) {
    const fs::path output = _path / L"Bilder";
    EXPECT_EQ(run({L"grab", L"--timeout", L"0.2", L"--output", output.wstring()}), host::kExitNoImage);
    EXPECT_TRUE(fs::is_directory(output));
}

}  // namespace
