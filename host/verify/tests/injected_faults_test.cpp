#include "injected_faults.h"

#include <ostream>
#include <random>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace {

using host::FaultLog;
using host::FindingKind;
using host::FrameRange;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kRun =
    R"({"schema":"dorven-fault-log/1","event":"run","seed":42,"period_ns":10000000,"width":1280,"height":1024,)"
    R"("bytes_per_pixel":1})"
    "\n";

struct Read {
    bool good = false;
    FaultLog log;
    std::string error;
};

Read read(const std::string& text) {
    std::istringstream stream(text);
    Read result;
    result.good = readFaultLog(stream, "a.jsonl", result.log, result.error);
    return result;
}

Read readAfterRun(const std::string& text) { return read(kRun + text); }

TEST(InjectedFaultsTest, WholeLogIsRead) {
    const Read result = readAfterRun(
        R"({"event":"fault","fault":"drop","frame":100,"time_ns":1,)"
        R"("expect":[{"finding":"lost","first":100,"last":102}]})"
        "\n"
        R"({"event":"note","note":"refused","first":17,"last":19,"time_ns":5})"
        "\n"
        R"({"event":"fault","fault":"wrong-answer","frame":7,"time_ns":2,"expect":[]})"
        "\n"
        R"({"event":"fault","fault":"delay","frame":9,"expect":[{"finding":"late","first":9,"last":9,"min_us":20000},)"
        R"({"finding":"stopped","first":18446744073709551615}]})"
        "\n"
        R"({"event":"end","next_frame":1234})"
        "\n");
    ASSERT_TRUE(result.good) << result.error;
    const FaultLog& log = result.log;
    EXPECT_EQ(log.seed, 42u);
    EXPECT_EQ(log.lines, 6u);
    EXPECT_FALSE(log.cut);
    EXPECT_EQ(log.nextFrame, 1234u);
    ASSERT_EQ(log.faults.size(), 3u);
    EXPECT_EQ(log.faults[0].name, "drop");
    EXPECT_EQ(log.faults[0].frame, 100u);
    EXPECT_EQ(log.faults[0].line, 2u);
    ASSERT_EQ(log.faults[0].expect.size(), 1u);
    EXPECT_EQ(log.faults[0].expect[0].kind, FindingKind::lost);
    EXPECT_EQ(log.faults[0].expect[0].frames, (FrameRange{100, 102}));
    EXPECT_THAT(log.faults[1].expect, IsEmpty());
    EXPECT_EQ(log.faults[2].expect[0].minUs, 20000.0);
    EXPECT_EQ(log.faults[2].expect[1].kind, FindingKind::stopped);
    EXPECT_EQ(log.faults[2].expect[1].frames, (FrameRange{UINT64_MAX, UINT64_MAX}));
    ASSERT_EQ(log.notes.size(), 1u);
    EXPECT_EQ(log.notes[0].name, "refused");
    EXPECT_EQ(log.notes[0].frames, (FrameRange{17, 19}));
}

TEST(InjectedFaultsTest, RunWithoutFaultsAndWithoutAnEndIsALog) {
    const Read result = readAfterRun("");
    ASSERT_TRUE(result.good) << result.error;
    EXPECT_THAT(result.log.faults, IsEmpty());
    EXPECT_EQ(result.log.nextFrame, std::nullopt);
}

TEST(InjectedFaultsTest, LastLineThatEndsInItsMiddleIsCut) {
    const std::string fault = R"({"event":"fault","fault":"drop","frame":1,"expect":[]})";
    for (std::size_t length = 1; length < fault.size(); ++length) {
        const Read result = readAfterRun(fault + '\n' + fault.substr(0, length));
        ASSERT_TRUE(result.good) << result.error;
        EXPECT_TRUE(result.log.cut) << length;
        EXPECT_EQ(result.log.faults.size(), 1u);
        EXPECT_EQ(result.log.lines, 3u);
    }
    const Read whole = readAfterRun(fault + '\n' + fault);
    ASSERT_TRUE(whole.good) << whole.error;
    EXPECT_FALSE(whole.log.cut) << "only the line's end is missing";
    EXPECT_EQ(whole.log.faults.size(), 2u);
}

TEST(InjectedFaultsTest, EmptyLogIsRefusedWithAdvice) {
    const Read result = read("");
    EXPECT_FALSE(result.good);
    EXPECT_EQ(result.error, "a.jsonl: is empty; a simulator with --fault-log writes a line when it begins");
}

TEST(InjectedFaultsTest, FailedReadingLeavesTheLogAlone) {
    FaultLog log;
    log.seed = 5;
    std::istringstream stream("x\n");
    std::string error;
    EXPECT_FALSE(readFaultLog(stream, "a", log, error));
    EXPECT_EQ(log.seed, 5u);
}

struct Bad {
    const char* text;  // after the first line, whose number is 1
    const char* error;
};

void PrintTo(const Bad& row, std::ostream* stream) { *stream << row.error; }

class BadFaultLogTest : public testing::TestWithParam<Bad> {};

TEST_P(BadFaultLogTest, IsRefusedWithLineAndReason) {
    const Read result = readAfterRun(std::string(GetParam().text) + "\n");
    EXPECT_FALSE(result.good);
    EXPECT_EQ(result.error, std::string("a.jsonl, line ") + GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadFaultLogTest,
    testing::Values(
        Bad{"", "2: is not a JSON object"}, Bad{"[]", "2: is not a JSON object"}, Bad{"{", "2: is not a JSON object"},
        Bad{"{}\x01", "2: is not a JSON object"}, Bad{"{\"event\":\"\xFF\"}", "2: is not a JSON object"},
        Bad{"{}", "2: \"event\" is missing"}, Bad{R"({"event":5})", "2: \"event\" is not a name"},
        Bad{R"({"event":""})", "2: \"event\" is not a name"},
        Bad{R"({"event":"a\u001b[2J"})", "2: \"event\" is not a name"},
        Bad{R"({"event":"party"})", "2: there is no event \"party\""},
        Bad{R"({"event":"run"})", "2: a second run begins; give each run a log of its own"},
        Bad{"{\"event\":\"end\",\"next_frame\":3}\n{\"event\":\"end\",\"next_frame\":3}",
            "3: stands behind the end of the run"},
        Bad{R"({"event":"end"})", "2: \"next_frame\" is missing"},
        Bad{R"({"event":"end","next_frame":-1})", "2: \"next_frame\" is not a number from 0 to 2^64 - 1"},
        Bad{R"({"event":"end","next_frame":1.5})", "2: \"next_frame\" is not a number from 0 to 2^64 - 1"},
        Bad{R"({"event":"end","next_frame":18446744073709551616})",
            "2: \"next_frame\" is not a number from 0 to 2^64 - 1"},
        Bad{R"({"event":"note","note":"refused","first":3,"last":2})", "2: \"last\" is smaller than \"first\""},
        Bad{R"({"event":"note","note":"refused","first":3})", "2: \"last\" is missing"},
        Bad{R"({"event":"note","first":3,"last":3})", "2: \"note\" is missing"},
        Bad{R"({"event":"fault","frame":3,"expect":[]})", "2: \"fault\" is missing"},
        Bad{R"({"event":"fault","fault":"drop","expect":[]})", "2: \"frame\" is missing"},
        Bad{R"({"event":"fault","fault":"drop","frame":3})", "2: \"expect\" is missing"},
        Bad{R"({"event":"fault","fault":"drop","frame":3,"expect":{}})", "2: \"expect\" is not a list"},
        Bad{R"({"event":"fault","fault":"drop","frame":3,"expect":[1]})",
            "2: \"expect\" has something else than objects"},
        Bad{R"({"event":"fault","fault":"drop","frame":3,"expect":[{"finding":"gone","first":1,"last":1}]})",
            "2: there is no finding \"gone\""},
        Bad{R"({"event":"fault","fault":"drop","frame":3,"expect":[{"finding":"lost","first":1}]})",
            "2: \"last\" is missing"},
        Bad{R"({"event":"fault","fault":"drop","frame":3,"expect":[{"finding":"late","first":1,"last":1}]})",
            "2: \"min_us\" is missing"},
        Bad{R"({"event":"fault","fault":"x","frame":3,"expect":[{"finding":"late","first":1,"last":1,"min_us":-1}]})",
            "2: \"min_us\" is not a time in microseconds"},
        Bad{R"({"event":"fault","fault":"x","frame":3,"expect":[{"finding":"late","first":1,"last":1,"min_us":"1"}]})",
            "2: \"min_us\" is not a time in microseconds"}));

TEST(InjectedFaultsTest, FirstLineHasToBeginARunOfTheKnownSchema) {
    EXPECT_EQ(read(R"({"event":"end","next_frame":1})").error, "a.jsonl, line 1: is not the beginning of a fault log");
    EXPECT_EQ(read(R"({"event":"run","schema":"dorven-fault-log/2","seed":1})").error,
              "a.jsonl, line 1: has the schema \"dorven-fault-log/2\"; known is \"dorven-fault-log/1\"");
    EXPECT_EQ(read(R"({"event":"run","schema":"dorven-fault-log/1"})").error, "a.jsonl, line 1: \"seed\" is missing");
    EXPECT_THAT(read(std::string(kRun).substr(0, 40)).error, StartsWith("a.jsonl, line 1: is not a JSON object"));
}

TEST(InjectedFaultsTest, LineBeyondTheLimitIsRefusedBeforeItIsRead) {
    EXPECT_EQ(readAfterRun(std::string(host::kMaxFaultLogLine + 1, ' ')).error,
              "a.jsonl, line 2: is longer than 65536 bytes");
    EXPECT_THAT(readAfterRun(std::string(host::kMaxFaultLogLine, '[') + "\n").error, HasSubstr("is not a JSON object"));
}

TEST(InjectedFaultsTest, DeepNestingIsRefusedWithoutGoingDown) {
    const std::string deep = std::string(30'000, '[') + std::string(30'000, ']');
    EXPECT_THAT(readAfterRun("{\"event\":\"fault\",\"fault\":" + deep + "}\n").error,
                HasSubstr("\"fault\" is not a name"));
    EXPECT_THAT(readAfterRun("{\"event\":\"fault\",\"fault\":\"drop\",\"frame\":1,\"expect\":" + deep + "}\n").error,
                HasSubstr("\"expect\" has something else than objects"));
    EXPECT_TRUE(readAfterRun("{\"event\":\"end\",\"next_frame\":1,\"more\":" + deep + "}\n").good);
}

// An endless stream of valid lines, like a device file or a runaway simulator.
class EndlessBuffer : public std::streambuf {
protected:
    int underflow() override {
        _line = _begun ? "{\"event\":\"note\",\"note\":\"" + std::string(64, 'x') + "\",\"first\":1,\"last\":1" +
                             std::string(65'000, ' ') + "}\n"
                       : kRun;
        _begun = true;
        setg(_line.data(), _line.data(), _line.data() + _line.size());
        return traits_type::to_int_type(_line[0]);
    }

private:
    std::string _line;
    bool _begun = false;
};

TEST(InjectedFaultsTest, LogWithoutAnEndIsRefusedAtItsSize) {
    EndlessBuffer buffer;
    std::istream stream(&buffer);
    FaultLog log;
    std::string error;
    EXPECT_FALSE(readFaultLog(stream, "a.jsonl", log, error, 1));
    EXPECT_THAT(error, HasSubstr(": the log is larger than 1 MiB"));
}

TEST(InjectedFaultsTest, FileThatIsNotThereOrAFolderCannotBeRead) {
    const test::TemporaryFolder folder;
    FaultLog log;
    std::string error;
    EXPECT_FALSE(host::readFaultLog(folder.path() + "/none", log, error));
    EXPECT_EQ(error, folder.path() + "/none: cannot be read");
    EXPECT_FALSE(host::readFaultLog(folder.path(), log, error));
    EXPECT_EQ(error, folder.path() + ": cannot be read");
    const std::string path = folder.file("f.jsonl", kRun);
    EXPECT_TRUE(host::readFaultLog(path, log, error)) << error;
}

// Whatever bytes a log contains, it is read, or refused with a line.
TEST(InjectedFaultsTest, MutatedLogsAreReadOrRefused) {
    const std::string good =
        std::string(kRun) +
        R"({"event":"fault","fault":"delay","frame":9,"expect":[{"finding":"late","first":9,"last":9,"min_us":2e3}]})"
        "\n"
        R"({"event":"fault","fault":"crash","frame":12,"expect":[{"finding":"stopped","first":12}]})"
        "\n"
        R"({"event":"note","note":"skipped","first":3,"last":5})"
        "\n"
        R"({"event":"end","next_frame":12})"
        "\n";
    std::mt19937 random(11);
    const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random()) % limit; };
    int taken = 0;
    int refused = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string text = good;
        for (std::size_t change = 0; change <= below(4); ++change) {
            const std::size_t at = below(text.size());
            switch (below(4)) {
                case 0:
                    text[at] = static_cast<char>(random());
                    break;
                case 1:
                    text.erase(at, 1 + below(30));
                    break;
                case 2:
                    text.insert(at, text.substr(below(text.size()), below(60)));
                    break;
                default:
                    text[at] = "0123456789-{}[]\",:\n"[below(19)];
            }
            if (text.empty()) text = "x";
        }
        const Read result = read(text);
        ++(result.good ? taken : refused);
        if (!result.good) {
            EXPECT_THAT(result.error, StartsWith("a.jsonl"));
        }
    }
    EXPECT_GT(taken, 100);
    EXPECT_GT(refused, 100);
}

}  // namespace
