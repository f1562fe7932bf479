// What happens to files when the disk is full: /dev/full, and a limit on the size of each file of a process, which only
// Linux has.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "host_options.h"
#include "programs_fixture.h"

namespace {

using test::ProgramsTest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

constexpr std::uintmax_t kImageBytes = std::uintmax_t{900} * 40;

class FullDiskTest : public ProgramsTest {
protected:
    /// While it exists, no file of a started program grows beyond a size.
    class FileSizeLimit {
    public:
        explicit FileSizeLimit(rlim_t bytes) {
            getrlimit(RLIMIT_FSIZE, &_former);
            const rlimit limit{bytes, _former.rlim_max};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &_former); }
        FileSizeLimit(const FileSizeLimit&) = delete;
        FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    private:
        rlimit _former{};
    };

    test::ChildProcess startHostWithLimit(rlim_t bytes, const test::Arguments& arguments) {
        const FileSizeLimit limit(bytes);
        return startHost(arguments);
    }

    std::set<std::string> filesIn(const std::string& folder) const {
        std::set<std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            files.insert(entry.path().filename().string());
        return files;
    }
    /// Files that the sidecar lists; each line is a whole one.
    std::set<std::string> filesOfSidecar(const std::string& folder) const {
        std::set<std::string> files;
        std::ifstream sidecar(folder + "/frames.jsonl");
        for (std::string line; std::getline(sidecar, line);)
            files.insert(nlohmann::json::parse(line)["file"].get<std::string>());
        return files;
    }

    std::string _output = _folder.path() + "/images";
};

TEST_F(FullDiskTest, SavedImagesStayAndTheSidecarNamesExactlyThem) {
    auto simulator = startSimulator({"--config", _config, "--fps", "200", "--lines", "100"});
    // Room for every image, but not for a line for each.
    auto host = startHostWithLimit(kImageBytes + 5000, {"grab", "--config", _config, "--count", "300", "--output",
                                                        _output, "--format", "raw", "--json"});
    EXPECT_EQ(host.join(60s), host::kExitFailed) << people();
    simulator.kill();
    EXPECT_THAT(people(),
                HasSubstr("dorven-host: " + _output + "/frames.jsonl: cannot be written: the disk is full\n"));
    EXPECT_THAT(people(), HasSubstr(" could not be written\n"));
    std::set<std::string> files = filesIn(_output);
    EXPECT_EQ(files.erase("frames.jsonl"), 1u);
    EXPECT_THAT(files, SizeIs(testing::AllOf(testing::Gt(20u), testing::Lt(300u))));
    EXPECT_EQ(filesOfSidecar(_output), files);
    for (const std::string& file : files) EXPECT_EQ(std::filesystem::file_size(_output + "/" + file), kImageBytes);
    EXPECT_THAT(people(), HasSubstr("saved " + std::to_string(files.size()) + " images in "));
    EXPECT_EQ(data()["images"], 300) << "the grab itself goes on";
}

TEST_F(FullDiskTest, ImagesThatDoNotFitLeaveNothingBehind) {
    auto simulator = startSimulator({"--config", _config, "--fps", "100"});
    for (const char* format : {"raw", "pgm", "png"}) {
        auto host = startHostWithLimit(
            300, {"grab", "--config", _config, "--count", "5", "--output", _output, "--format", format});
        EXPECT_EQ(host.join(60s), host::kExitFailed) << people();
        EXPECT_THAT(filesIn(_output), IsEmpty()) << format;
    }
    simulator.kill();
}

TEST_F(FullDiskTest, SnapThatDoesNotFitLeavesNothingBehind) {
    auto simulator = startSimulator({"--config", _config, "--fps", "100"});
    std::filesystem::create_directory(_output);
    auto host = startHostWithLimit(4096, {"snap", _output + "/a.raw", "--config", _config});
    EXPECT_EQ(host.join(60s), host::kExitFailed) << people();
    simulator.kill();
    EXPECT_THAT(people(), HasSubstr("a.raw: cannot be written: the disk is full"));
    EXPECT_THAT(filesIn(_output), IsEmpty());
}

TEST_F(FullDiskTest, FaultLogThatIsCutIsToldOfOnceImagesGoOnAndTheSimulatorFailsAtTheEnd) {
    auto simulator = startSimulatorWithOutputs({"--config", _config, "--fps", "200", "--count", "50", "--no-ask",
                                                "--fault", "drop@every:2", "--fault-log", "/dev/full"});
    EXPECT_EQ(simulator.join(60s), 1) << people();
    const std::string told = "/dev/full: cannot be written any more; going on without the fault log\n";
    const std::string all = people();
    const std::size_t first = all.find(told);
    ASSERT_NE(first, std::string::npos) << all;
    EXPECT_EQ(all.find(told, first + 1), std::string::npos) << all;
    EXPECT_THAT(text("out.txt"), HasSubstr("faults provoked 24"));
    EXPECT_THAT(all, HasSubstr("dorven-simulator: /dev/full: could not be written to its end\n"));
}

TEST_F(FullDiskTest, TruthThatIsNotWholeFailsTheSimulatorAtTheEnd) {
    auto simulator = startSimulatorWithOutputs({"--config", _config, "--fps", "200", "--count", "20", "--no-ask",
                                                "--pattern", "circle", "--truth", "/dev/full"});
    EXPECT_EQ(simulator.join(60s), 1);
    EXPECT_THAT(people(), HasSubstr("dorven-simulator: /dev/full: could not be written to its end\n"));
}

TEST_F(FullDiskTest, LimitForFilesEndsNoSimulator) {
    const std::string truth = _folder.path("truth.jsonl");
    const auto start = [&] {
        const FileSizeLimit limit(20'000);
        return startSimulatorWithOutputs({"--size", "64x20", "--lines", "4", "--fps", "500", "--count", "1500",
                                          "--no-ask", "--pattern", "circle", "--truth", truth});
    };
    const std::string config = _folder.file("small.ini", "[image]\nimage_size_x=64\nimage_size_y=20\n");
    auto reader = test::ChildProcess::program("dorven-host", {"grab", "--config", config});
    EXPECT_EQ(start().join(60s), 1) << people();
    reader.kill();
    EXPECT_THAT(people(), HasSubstr("truth.jsonl: could not be written to its end\n"));
    EXPECT_THAT(text("out.txt"), HasSubstr("written ")) << "the totals";
    EXPECT_LE(std::filesystem::file_size(truth), 20'000u);
    EXPECT_GT(std::filesystem::file_size(truth), 15'000u);
}

}  // namespace
