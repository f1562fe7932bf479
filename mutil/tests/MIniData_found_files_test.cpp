// Files written by other programs: typical ones beside this test, and any found on this machine. Each is read, or
// refused for a known reason, and what was read survives saving and reading again.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kPatient = MIniData::kAcceptBareLines | MIniData::kReplaceSections | MIniData::kReplaceEntries;

std::string bytesOf(const fs::path& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string sample(const std::string& name) {
    const std::string bytes = bytesOf(fs::path(INI_SAMPLES) / name);
    EXPECT_NE(bytes, "") << name;
    return bytes;
}

// The documented reasons: their beginnings and ends, with parts of the file in between.
bool isKnownReason(std::string_view reason) {
    struct Reason {
        std::string_view begin;
        std::string_view later;
    };
    // clang-format off
    static constexpr Reason kReasons[] = {
        {"no matching ']' found in \"",            "\""                                 },
        {"Section [",                              "] seen twice"                       },
        {"Section [",                              "] deleting previous version failed" },
        {"Possible entry \"",                      ""                                   },
        {"No '=' found in \"",                     "\" in section "                     },
        {"No entry name found before '=' in \"",   ""                                   },
        {"Entry \"",                               "\" seen twice in section "          },
        {"Entry \"",                               "\" deleting previous version failed"},
        {"UTF16/32 Unicode format not supported.", ""                                   },
    };
    // clang-format on
    return std::any_of(std::begin(kReasons), std::end(kReasons), [reason](const Reason& known) {
        return reason.starts_with(known.begin) &&
               reason.find(known.later, known.begin.size()) != std::string_view::npos;
    });
}

class MIniDataFoundFilesTest : public testing::Test {
protected:
    // Whether a file of these bytes is read. If so, its content must survive being written.
    bool isRead(const std::string& bytes, std::uint32_t options, const std::string& name) {
        const std::string file = _folder.file("copy.ini", bytes);
        MIniData data(options);
        if (!data.Open(file.c_str())) {
            EXPECT_TRUE(isKnownReason(data.GetLastErrorText())) << name << ": " << data.GetLastErrorText();
            fs::remove(file);
            return false;
        }
        const std::string content = data.GetContentString();
        fs::remove(file);  // a new file each time: some file systems flush one that is emptied and written again
        EXPECT_TRUE(data.Save()) << name;
        MIniData again(options);
        EXPECT_TRUE(again.Open(file.c_str())) << name << ": " << again.GetLastErrorText();
        EXPECT_EQ(again.GetContentString(), content) << name;
        EXPECT_TRUE(again.SetContentString(content)) << name;
        EXPECT_EQ(again.GetContentString(), content) << name;
        fs::remove(file);
        return true;
    }

    // The reason why a file of these bytes is refused.
    std::string refusal(const std::string& bytes) {
        MIniData data;
        EXPECT_FALSE(data.Open(_folder.file("refused.ini", bytes).c_str()));
        return data.GetLastErrorText();
    }

    std::string value(const std::string& bytes, const char* section, const char* entry) {
        std::string text = "(missing)";
        MIniData(_folder.file("asked.ini", bytes).c_str()).GetStringEntry(section, entry, text);
        return text;
    }

    test::LogRecorder _recorder;
    test::TemporaryFolder _folder;
};

TEST_F(MIniDataFoundFilesTest, TypicalFilesAreRead) {
    for (const std::string name : {"camera.ini", "windows.ini", "unit.service", "php.ini"}) {
        EXPECT_TRUE(isRead(sample(name), 0, name));
        EXPECT_TRUE(isRead(sample(name), kPatient, name));
    }
    EXPECT_EQ(value(sample("camera.ini"), "Dorven", "camera_config"), " C:\\cameras\\one.ini");
    EXPECT_EQ(value(sample("windows.ini"), "386Enh", "EGA80WOA.FON"), "EGA80WOA.FON");
    EXPECT_EQ(value(sample("unit.service"), "Service", "ExecStart"), "/usr/bin/camera --name 'one' -x a=b");
    EXPECT_EQ(value(sample("unit.service"), "Service", "Environment"), "\"A=1\" \"B=2\"");
    EXPECT_EQ(value(sample("php.ini"), "PHP", "disable_functions"), "");
    EXPECT_EQ(value(sample("php.ini"), "mail function", "SMTP"), " localhost");
}

TEST_F(MIniDataFoundFilesTest, FilesOfOtherRulesAreRefused) {
    EXPECT_EQ(refusal(sample("repeated.service")), "Entry \"Environment\" seen twice in section [Service]");
    EXPECT_EQ(refusal(sample("bare.cnf")), "No '=' found in \"skip-external-locking\" in section [mysqld]");
    EXPECT_EQ(refusal(sample("global.ini")), "Possible entry \"root = true\" found before first section");
}

TEST_F(MIniDataFoundFilesTest, OptionsReadFilesOfOtherRules) {
    EXPECT_TRUE(isRead(sample("repeated.service"), kPatient, "repeated.service"));
    EXPECT_TRUE(isRead(sample("bare.cnf"), kPatient, "bare.cnf"));
    EXPECT_FALSE(isRead(sample("global.ini"), kPatient, "global.ini"));
}

// ------------------------------------------------------------------------------------------------------- this machine

bool looksLikeIni(const fs::path& name) {
    static const std::vector<std::string> kEndings = {
        ".ini",     ".inf",     ".conf", ".cfg",   ".cnf",   ".service", ".socket", ".timer", ".target",
        ".desktop", ".network", ".link", ".mount", ".slice", ".path",    ".theme",  ".types"};
    return std::find(kEndings.begin(), kEndings.end(), name.extension().string()) != kEndings.end();
}

std::vector<fs::path> foundFiles() {
    constexpr std::uintmax_t kLargest = 1 << 20;
    std::vector<fs::path> files;
    for (const char* folder : {"/etc", "/usr/lib/systemd", "/usr/share", "C:/windows"}) {
        std::error_code error;
        fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
        for (; entry != fs::recursive_directory_iterator(); entry.increment(error)) {
            if (error) break;
            std::error_code unreadable;
            if (!looksLikeIni(entry->path()) || !entry->is_regular_file(unreadable)) continue;
            if (entry->file_size(unreadable) <= kLargest && !unreadable) files.push_back(entry->path());
        }
    }
    return files;
}

TEST_F(MIniDataFoundFilesTest, EveryFileOfThisMachineIsReadOrRefusedWithAKnownReason) {
    std::size_t strictly = 0;
    std::size_t patiently = 0;
    const std::vector<fs::path> files = foundFiles();
    for (const fs::path& file : files) {
        const std::string bytes = bytesOf(file);
        strictly += isRead(bytes, 0, file.string());
        patiently += isRead(bytes, kPatient, file.string());
        _recorder.clear();
    }
    std::cout << files.size() << " files found, " << strictly << " read without options, " << patiently
              << " with all of them\n";
    EXPECT_GT(files.size(), 0u);
    EXPECT_GE(patiently, strictly);
}

}  // namespace
