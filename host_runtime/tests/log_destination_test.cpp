// Programs that send their log elsewhere than the environment says.
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>

#include "errorlog.h"
#include "errortrace.h"
#include "log_core.h"
#include "log_file_fixture.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

void report(const std::string& text) {
    _MErrLog_Location(0, "folder/logged", 7);
    _MErrLog_Add("%s", text.c_str());
}

std::vector<LogKeptEntry> kept() {
    std::vector<LogKeptEntry> entries;
    LogKeptEntry entry{};
    for (unsigned long long number = 0; LogCore_NextKept(&number, &entry) != 0;) entries.push_back(entry);
    return entries;
}

class LogDestinationTest : public LogFileTest {
protected:
    const std::string other = folder.path("other.txt");
};

// Further arguments: the file, "1" for standard error. 0: it was set, and one entry is kept.
CHILD_ROLE(reportsToADestination) {
    beginReporter(arguments);
    // As a program does before it reads its options.
    const LogDestination memory{nullptr, 1, 1};
    if (LogCore_SetDestination(&memory) == 0) return 3;
    const LogDestination destination{arguments.at(3).c_str(), arguments.at(4) == "1", 0};
    if (LogCore_SetDestination(&destination) == 0) return 2;
    report("text");
    return kept().size() == 1 && std::string(kept()[0].text) == "text" ? 0 : 1;
}

TEST_F(LogDestinationTest, WithoutAFileEntriesStayInMemory) {
    EXPECT_EQ(run("reportsToADestination", "", "", {"", "0"}), 0);
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(LogDestinationTest, FileOfTheEnvironmentIsWrittenAllTheSame) {
    EXPECT_EQ(run("reportsToADestination", "", log, {"", "0"}), 0);
    EXPECT_THAT(said(), IsEmpty());
    EXPECT_THAT(logged(), ElementsAre(EndsWith("folder/logged:7 text")));
}

TEST_F(LogDestinationTest, FileThatIsAskedForWinsOverThatOfTheEnvironment) {
    EXPECT_EQ(run("reportsToADestination", "", log, {other, "0"}), 0);
    EXPECT_FALSE(std::filesystem::exists(log)) << "not even opened";
    EXPECT_THAT(linesOf(other), ElementsAre(EndsWith("folder/logged:7 text")));
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(LogDestinationTest, StandardErrorHasEntriesAloneOrBesideAFile) {
    EXPECT_EQ(run("reportsToADestination", "", "", {"", "1"}), 0);
    EXPECT_THAT(said(), ElementsAre(EndsWith("folder/logged:7 text")));
    EXPECT_EQ(run("reportsToADestination", "", "", {other, "1"}), 0);
    EXPECT_THAT(said(), ElementsAre(EndsWith("folder/logged:7 text")));
    EXPECT_THAT(linesOf(other), ElementsAre(EndsWith("folder/logged:7 text")));
}

TEST_F(LogDestinationTest, FileThatCannotBeOpenedIsRefused) {
    EXPECT_EQ(run("reportsToADestination", "", log, {folder.path() + "/none/log.txt", "0"}), 2);
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(LogDestinationTest, FileOfTheEnvironmentThatCannotBeOpenedIsTold) {
    EXPECT_EQ(run("reportsToADestination", "", folder.path() + "/none/log.txt", {"", "0"}), 0);
    EXPECT_THAT(said(), ElementsAre(HasSubstr("(DORVEN_LOG_FILE) cannot be opened: entries are kept in memory.")));
}

CHILD_ROLE(reportsIntoMemoryAlone) {
    beginReporter(arguments);
    const LogDestination memory{nullptr, 1, 1};
    if (LogCore_SetDestination(&memory) == 0) return 2;
    report("text");
    return kept().size() == 1 ? 0 : 1;
}

TEST_F(LogDestinationTest, MemoryAloneOpensNoFileAndShowsNothing) {
    EXPECT_EQ(run("reportsIntoMemoryAlone", "", log, {}), 0);
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_THAT(said(), IsEmpty());
}

TEST_F(LogDestinationTest, WithoutADestinationNothingIsKept) {
    unsigned long long number = 0;
    LogKeptEntry entry{};
    EXPECT_EQ(LogCore_NextKept(&number, &entry), 0);
    EXPECT_EQ(LogCore_NextKept(nullptr, &entry), 0);
    EXPECT_EQ(LogCore_SetDestination(nullptr), 0);
}

constexpr int kThreads = 4;
constexpr int kPerThread = 2000;

// Threads report while another reads; nothing is lost or mixed.
CHILD_ROLE(reportsFromManyThreadsIntoMemory) {
    const LogDestination memory{nullptr, 0, 1};
    if (LogCore_SetDestination(&memory) == 0) return 2;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([thread] {
            for (int i = 0; i < kPerThread; ++i) report("from thread " + std::to_string(thread));
        });
    while (kept().size() < kThreads) std::this_thread::yield();
    threads.clear();
    unsigned long long times = 0;
    for (const LogKeptEntry& entry : kept()) times += entry.times;
    return kept().size() == kThreads && times == kThreads * kPerThread ? 0 : 1;
}

TEST_F(LogDestinationTest, EntriesOfManyThreadsAreAllCounted) {
    EXPECT_EQ(test::ChildProcess("reportsFromManyThreadsIntoMemory").join(60s), 0);
}

}  // namespace
