// How the simulator ends on request: by signals, so only on Linux.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "fault_log.h"
#include "object_names.h"
#include "platform.h"
#include "replayed_images.h"
#include "ring_reader.h"
#include "temporary_folder.h"

extern char** environ;

namespace {

using testing::HasSubstr;

class StopTest : public testing::TestWithParam<int> {
protected:
    void start(const std::vector<std::string>& arguments) {
        startProgram(test::programFolder() + "dorven-simulator", arguments);
    }
    void startProgram(const std::string& path, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), path);
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, _output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
        ASSERT_EQ(posix_spawn(&_pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
    }
    /// No frame is skipped or refused, however late a busy machine is.
    void startWithEveryFrame(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(),
                         {"--size", "900x20", "--fps", "200", "--lines", "200", "--late", "burst", "--no-ask"});
        start(arguments);
    }
    int stopAndJoin(int signalNumber) {
        kill(_pid, signalNumber);
        int status = 0;
        waitpid(_pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    std::string output() const {
        std::ifstream file(_output);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    test::TemporaryFolder _folder;
    std::string _output = _folder.path("output.txt");
    pid_t _pid = 0;
};

TEST_P(StopTest, EndsCleanlyWithTheTotalsAndDetaches) {
    const frames::ImageFormat format{900, 20, 1};
    start({"--size", "900x20", "--fps", "200"});
    test::RingReader reader(format);
    ASSERT_TRUE(reader.attachAtSignal());
    for (int count = 0; count < 10; ++count) ASSERT_TRUE(reader.waitAndTake());
    EXPECT_TRUE(reader.writerAttached());
    EXPECT_EQ(stopAndJoin(GetParam()), 0);
    EXPECT_FALSE(reader.writerAttached());
    EXPECT_THAT(output(), HasSubstr("written "));
    EXPECT_THAT(output(), HasSubstr("; Ctrl-C ends"));
}

TEST_P(StopTest, EndsCleanlyWhileItSleepsLong) {
    start({"--size", "900x20", "--fps", "0.01"});
    test::RingReader reader({900, 20, 1});
    ASSERT_TRUE(reader.attachAtSignal());
    ASSERT_TRUE(reader.waitAndTake());
    EXPECT_EQ(stopAndJoin(GetParam()), 0);
    EXPECT_THAT(output(), HasSubstr("written 1, refused by the full ring 0, skipped as too late 0"));
}

TEST_P(StopTest, EndsCleanlyWhileItWaitsForSmallerMemoryToGo) {
    void* const small = MSharedMem_Create(image_road::kImagesMemory, 100);
    start({"--size", "900x20"});
    while (output().find("smaller") == std::string::npos) usleep(10'000);
    EXPECT_EQ(stopAndJoin(GetParam()), 0);
    EXPECT_THAT(output(), HasSubstr("written 0, refused by the full ring 0, skipped as too late 0"));
    MSharedMem_Unlink(small);
}

TEST_P(StopTest, EndsAFrozenProgramAndItsLogSaysWhereItStood) {
    const std::string log = _folder.path("log.jsonl");
    startWithEveryFrame({"--fault", "hang@3", "--fault-log", log});
    while (output().find("hangs from frame 3 on") == std::string::npos) usleep(10'000);
    EXPECT_EQ(stopAndJoin(GetParam()), 0);
    EXPECT_THAT(output(), HasSubstr("written 3, refused by the full ring 0, skipped as too late 0, faults provoked 1"));
    std::ifstream file(log);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, testing::EndsWith("{\"event\":\"end\",\"next_frame\":3}\n"));
}

TEST_P(StopTest, FrameThatWaitsForItsDelayIsNotCountedAsDelivered) {
    const std::string log = _folder.path("log.jsonl");
    startWithEveryFrame({"--fault", "delay:60s@5", "--fault-log", log});
    test::RingReader reader({900, 20, 1});
    ASSERT_TRUE(reader.attachAtSignal());
    for (std::uint32_t number = 0; number < 5; ++number) ASSERT_EQ(reader.waitAndTake()->header.imageCounter, number);
    usleep(100'000);  // most times the next one waits by then; before, it is not counted either
    EXPECT_EQ(stopAndJoin(GetParam()), 0);
    EXPECT_THAT(output(), HasSubstr("written 5, refused by the full ring 0, skipped as too late 0\n"));
    std::ifstream file(log);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, testing::EndsWith("{\"event\":\"end\",\"next_frame\":5}\n"));
}

// Is asked to stop and takes its time.
CHILD_ROLE(heedsNoStop) {
    platform_installStopHandler();
    std::fputs("ready\n", stderr);
    while (!platform_stopRequested()) usleep(1000);
    std::fputs("asked once\n", stderr);
    for (;;) usleep(1000);
}

TEST_P(StopTest, SecondRequestEndsAProgramThatIsStillBusyWithTheFirst) {
    startProgram(test::programPath(), {"--child-role", "heedsNoStop"});
    while (output().find("ready") == std::string::npos) usleep(1000);
    kill(_pid, GetParam());
    while (output().find("asked once") == std::string::npos) usleep(1000);
    EXPECT_EQ(stopAndJoin(GetParam()), -GetParam());
}

class LoadingStopTest : public testing::Test {
protected:
    LoadingStopTest() {
        for (const char* name : {"a.pgm", "b.pgm", "c.pgm"}) _folder.file(name, "P5 1 1 255\nx");
        _folder.file("raw/d.raw", "uvwxyz");
    }
    test::TemporaryFolder _folder;
};

// A stop is requested beforehand. @return How many pictures are loaded from a folder.
CHILD_ROLE(loadsPictures) {
    platform_installStopHandler();
    raise(SIGTERM);
    simulator::PictureOptions options;
    options.images = {arguments.at(0)};
    if (arguments.size() > 1) options.rawSize = frames::ImageFormat{1, 1, 1};
    std::string error;
    const auto images = simulator::ReplayedImages::load(options, std::nullopt, 1, 16, error);
    return images ? static_cast<int>(images->pictureCount()) : 100;
}

TEST_F(LoadingStopTest, NoPictureIsLoadedAfterTheFirst) {
    EXPECT_EQ(test::ChildProcess("loadsPictures", {_folder.path()}).join(std::chrono::seconds(60)), 1);
    EXPECT_EQ(test::ChildProcess("loadsPictures", {_folder.path("raw"), "raw"}).join(std::chrono::seconds(60)), 1);
}

TEST_F(LoadingStopTest, NeitherPipesNorDevicesAreLoaded) {
    ASSERT_EQ(mkfifo(_folder.path("pipes/p.png").c_str(), 0600), 0);
    simulator::PictureOptions options;
    options.rawSize = frames::ImageFormat{64, 64, 1};
    std::string error;
    for (const std::string& path : {std::string("/dev/zero"), _folder.path("pipes/p.png"), _folder.path("pipes")}) {
        options.images = {path};
        EXPECT_FALSE(simulator::ReplayedImages::load(options, std::nullopt, 1, 16, error));
        EXPECT_THAT(error, testing::EndsWith(": is no regular file"));
    }
}

TEST(FullDiskTest, LogThatCannotBeWrittenIsToldOfOnceAndImagesGoOn) {
    std::ostringstream people;
    std::string error;
    const auto log = simulator::FaultLog::open("/dev/full", people, error);
    ASSERT_TRUE(log) << error;
    log->run(1, 1, {900, 20, 1});
    log->fault("drop", 1, {});
    log->end(2);
    EXPECT_EQ(people.str(),
              "dorven-simulator: /dev/full: cannot be written any more; going on without the fault log\n");
}

INSTANTIATE_TEST_SUITE_P(Signals, StopTest, testing::Values(SIGINT, SIGTERM));

}  // namespace
