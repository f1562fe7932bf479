// Wrong usage of every option of both programs: exit code 2, the option and what it takes on standard error, nothing on
// standard output. The programs themselves list their options, so that none is without a row.
#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "child_process.h"
#include "host_options.h"
#include "simulator_options.h"
#include "temporary_folder.h"

namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

struct Outcome {
    std::optional<int> exitCode;
    std::string data;
    std::string people;
};

Outcome run(const std::string& program, const Words& words) {
    std::vector<const char*> argv{program.c_str()};
    for (const std::string& word : words) argv.push_back(word.c_str());
    const int argc = static_cast<int>(argv.size());
    std::ostringstream data, people;
    Outcome outcome;
    if (program == "dorven-host") {
        host::HostOptions options;
        outcome.exitCode = host::parseHostOptions(argc, argv.data(), options, data, people);
    } else {
        simulator::SimulatorOptions options;
        outcome.exitCode = simulator::parseSimulatorOptions(argc, argv.data(), options, data, people);
    }
    outcome.data = data.str();
    outcome.people = people.str();
    return outcome;
}

void expectWrongUsage(const std::string& program, const Words& words, const Words& texts) {
    const Outcome outcome = run(program, words);
    std::string line = program;
    for (const std::string& word : words) line += " '" + word + "'";
    EXPECT_EQ(outcome.exitCode.value_or(0), 2) << line;
    EXPECT_EQ(outcome.data, "") << line;
    for (const std::string& text : texts) EXPECT_THAT(outcome.people, HasSubstr(text)) << line;
}

/// An option as the programs name it: "dorven-host grab --count".
struct Option {
    std::string program;
    std::string command;  // empty: the program itself
    std::string name;     // --count

    Words words() const { return command.empty() ? Words{} : Words{command}; }
    std::string text() const { return program + " " + command + " " + name; }
};

/// All options that a program has, from itself.
std::vector<Option> optionsOf(const std::string& program) {
    std::vector<Option> options;
    const auto shown = nlohmann::json::parse(run(program, {"config", "--show", "--json"}).data);
    for (const auto& option : shown["options"])
        options.push_back({program, option["command"], "--" + option["option"].get<std::string>()});
    return options;
}

std::vector<Option> allOptions() {
    std::vector<Option> options = optionsOf("dorven-host");
    for (Option& option : optionsOf("dorven-simulator")) options.push_back(std::move(option));
    return options;
}

// What the values of an option are, and so what is wrong for all of the kind.
enum class Kind {
    flag,    // true or false
    whole,   // a whole number
    number,  // with a fraction or not
    choice,  // one of some words
    other,   // a text with rules of its own
    file,    // one that has to be there
    path,    // any text: what is there is found out later
};

struct OptionRow {
    const char* program;  // host or simulator
    Words commands;       // "" for the program itself
    const char* name;
    Kind kind;
    const char* range;  // has to stand in the message
    Words wrong;        // values just outside, and others that are wrong for this option alone
    bool many = false;  // may be given again
};

const Words kAll{"info", "grab", "verify", "snap", "doctor", "bench", "call", "ask-snap"};
const Words kLoading{"info", "grab", "verify", "snap", "call", "bench"};
const Words kGrabbing{"grab", "verify"};
const Words kRun{""};
const char kAnyCount[] = "0 to 2^53, without a fraction";
const char kSize[] = "each side from 1 to 65536";

const std::vector<OptionRow>& rows() {
    // clang-format off
    static const std::vector<OptionRow> all{
        {"host", kAll, "--json", Kind::flag, "", {}},
        {"host", kLoading, "--plugin", Kind::file, "is not a file that can be read", {}},
        {"host", {"doctor"}, "--plugin", Kind::path, "", {}},
        {"host", {"info"}, "--commands", Kind::flag, "", {}},
        {"host", {"grab", "verify", "snap", "call"}, "--config", Kind::file, "is not a file that can be read", {}},
        {"host", {"doctor"}, "--config", Kind::path, "", {}},
        {"host", kGrabbing, "--count", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", {"grab", "verify", "snap", "ask-snap"}, "--timeout", Kind::number, "0.01 to 86400",
         {"0", "0.009", "86401", "0x"}},
        {"host", kGrabbing, "--output", Kind::path, "", {}},
        {"host", kGrabbing, "--format", Kind::choice, "png, pgm, raw", {"PNG", "jpeg"}},
        {"host", kGrabbing, "--png-level", Kind::whole, "0 to 9, without a fraction", {"10"}},
        {"host", kGrabbing, "--every", Kind::whole, "1 to 2^53, without a fraction", {"0", "9007199254740993"}},
        {"host", kGrabbing, "--around-loss", Kind::whole, "1 to 10000, without a fraction", {"0", "10001"}},
        {"host", kGrabbing, "--save-memory", Kind::whole, "1 to 1000000, without a fraction", {"0", "1000001"}},
        {"host", {"grab", "verify", "snap"}, "--stretch", Kind::whole, "9 to 15, without a fraction", {"8", "16"}},
        {"host", {"grab", "verify", "snap"}, "--force", Kind::flag, "", {}},
        {"host", {"grab", "verify", "snap"}, "--share", Kind::flag, "", {}},
        {"host", kGrabbing, "--json-lines", Kind::flag, "", {}},
        {"host", kGrabbing, "--frames", Kind::flag, "", {}},
        {"host", kGrabbing, "--max-lost", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-repeated", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-reordered", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-torn", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-faked", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-not-saved", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-stale", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-unverified", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-format", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-counter", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-time-back", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--min-images", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", kGrabbing, "--max-jitter-us", Kind::number, "0 to 1e12", {"1.1e12"}},
        {"host", kGrabbing, "--max-latency-us", Kind::number, "0 to 1e12", {"1.1e12"}},
        {"host", kGrabbing, "--max-pause-s", Kind::number, "0 to 1e12", {"1.1e12"}},
        {"host", kGrabbing, "--min-fps", Kind::number, "0 to 1e12", {"1.1e12"}},
        {"host", {"verify"}, "--fault-log", Kind::path, "", {}},
        {"host", {"verify"}, "--findings", Kind::file, "is not a file that can be read", {}},
        {"host", {"verify"}, "--allow-explained", Kind::flag, "", {}},
        {"host", {"snap"}, "--any", Kind::flag, "", {}},
        {"host", {"bench"}, "--simulator", Kind::path, "", {}},
        {"host", {"bench"}, "--size", Kind::other, kSize, {"640", "640x", "x480", "0x1", "65537x1", "1x65537", "-1x1"}},
        {"host", {"bench"}, "--bytes-per-pixel", Kind::whole, "1 to 16", {"0", "17"}},
        {"host", {"bench"}, "--fps", Kind::number, "1 to 10000", {"0", "0.99", "10001"},true},
        {"host", {"bench"}, "--seconds", Kind::number, "0.2 to 600", {"0", "0.19", "601"}},
        {"host", {"call"}, "--open", Kind::flag, "", {}},
        {"simulator", kRun, "--size", Kind::other, kSize, {"640", "640x", "x480", "0x1", "65537x1", "1x65537", "-1x1"}},
        {"simulator", kRun, "--bytes-per-pixel", Kind::whole, "1 to 16", {"0", "17"}},
        {"simulator", kRun, "--config", Kind::file, "", {}},
        {"simulator", kRun, "--fps", Kind::number, "0.01 to 10000", {"0", "0.009", "10001", "60000/0", "1/1000", "6/"}},
        {"simulator", kRun, "--late", Kind::choice, "skip, burst", {"Skip", "2"}},
        {"simulator", kRun, "--count", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"simulator", kRun, "--lines", Kind::whole, "1 to 1000", {"0", "1001"}},
        {"simulator", kRun, "--max-memory", Kind::whole, "1 to 1000000, without a fraction", {"0", "1000001"}},
        {"simulator", kRun, "--reader-timeout", Kind::number, "0.001 to 86400", {"86401", "0.0001"}},
        {"simulator", kRun, "--no-strip", Kind::flag, "", {}},
        {"simulator", kRun, "--strip-cell", Kind::choice, "auto, 8, 4, line", {"5", "8x8", "Line"}},
        {"simulator", kRun, "--strip-place", Kind::choice, "top, bottom", {"left", "Top"}},
        {"simulator", kRun, "--fault", Kind::other, "", {"drp@5", "drop@", "drop@p:2", "delay@5", "drop:5s", ""},true},
        {"simulator", kRun, "--scenario", Kind::file, "", {}},
        {"simulator", kRun, "--seed", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"simulator", kRun, "--fault-log", Kind::path, "", {}},
        {"simulator", kRun, "--no-faults", Kind::flag, "",{}},
        {"simulator", kRun, "--pattern", Kind::choice, "patterns --list", {"circel"}},
        {"simulator", kRun, "--bits", Kind::whole, "10, 12, 16",{"0", "8", "11", "17"}},
        {"simulator", kRun, "--pattern-seed", Kind::whole, "0 to 2^64 - 1", {"18446744073709551616"}},
        {"simulator", kRun, "--digits", Kind::flag, "", {}},
        {"simulator", kRun, "--motion", Kind::choice, "none, linear, sine, step", {"circle"}},
        {"simulator", kRun, "--motion-px", Kind::number, "-10000 to 10000", {"-10001", "10001"}},
        {"simulator", kRun, "--motion-period", Kind::whole, "2 to 1000000, without a fraction", {"0", "1", "1000001"}},
        {"simulator", kRun, "--truth", Kind::path, "", {}},
        {"simulator", kRun, "--images", Kind::file, "", {}, true},
        {"simulator", kRun, "--raw-size", Kind::other, kSize, {"640", "0x1", "65537x1", "1x1x17", "1x1x0", "1x1x1x1"}},
        {"simulator", kRun, "--format", Kind::choice, "y4m", {"Y4M", "png"}},
        {"simulator", kRun, "--play", Kind::choice,"loop, ping-pong, hold",{"once"}},
        {"simulator", kRun, "--scale", Kind::flag, "", {}},
        {"simulator", kRun, "--window-motion", Kind::choice,"drift, none",{"sine"}},
        {"simulator", kRun, "--image-memory", Kind::whole, "1 to 1000000, without a fraction", {"0", "1000001"}},
        {"simulator", kRun, "--no-ask", Kind::flag,"",{}},
        {"simulator", {"ask", "patterns"}, "--json", Kind::flag, "", {}},
        {"simulator", {"ask"}, "--watch", Kind::flag,"",{}},
        {"simulator", {"ask"}, "--timeout", Kind::number, "0.01 to 86400", {"0", "0.009", "86401"}},
        {"simulator", {"patterns"}, "--list", Kind::flag,"",{}},
    };
    // clang-format on
    return all;
}

const OptionRow* rowOf(const Option& option) {
    const auto fits = [&](const OptionRow& row) {
        return "dorven-" + std::string(row.program) == option.program && row.name == option.name &&
               std::ranges::find(row.commands, option.command) != row.commands.end();
    };
    const auto found = std::ranges::find_if(rows(), fits);
    return found == rows().end() ? nullptr : &*found;
}

// Wrong for every option of a kind.
Words wrongOfKind(Kind kind) {
    Words noNumber{"", "x", "5x", "5 5", "nan", "inf", "-inf", "1e999", "-1e999", "100000000000000000000000"};
    switch (kind) {
        case Kind::flag:
            return {"maybe", "2x", "2"};
        case Kind::whole: {
            Words wrong = noNumber;
            wrong.insert(wrong.end(), {"1.5", "-1", "0.1e1x", "0x"});
            return wrong;
        }
        case Kind::number:
            return noNumber;
        case Kind::choice:
        case Kind::other:
            return {"", "x", "no such thing"};
        case Kind::file:
            return {"", "/no/such/file", "no such file"};
        case Kind::path:
            return {""};
    }
    return {};
}

TEST(WrongUsageTest, EveryOptionHasARowAndEveryRowAnOption) {
    std::set<const OptionRow*> used;
    for (const Option& option : allOptions()) {
        const OptionRow* const row = rowOf(option);
        EXPECT_TRUE(row) << option.text() << " has no row here";
        used.insert(row);
    }
    for (const OptionRow& row : rows()) EXPECT_TRUE(used.contains(&row)) << row.program << ' ' << row.name;
}

TEST(WrongUsageTest, WrongValuesAreRefusedWithTheOptionAndItsRange) {
    for (const Option& option : allOptions()) {
        const OptionRow* const row = rowOf(option);
        if (!row) continue;
        Words values = wrongOfKind(row->kind);
        values.insert(values.end(), row->wrong.begin(), row->wrong.end());
        for (const std::string& value : values) {
            Words words = option.words();
            // Nothing behind = would count as no value at all.
            if (value.empty()) {
                words.insert(words.end(), {option.name, value});
            } else {
                words.push_back(option.name + "=" + value);
            }
            expectWrongUsage(option.program, words, {option.name, value.empty() ? "" : row->range});
        }
    }
}

TEST(WrongUsageTest, OptionWithoutItsValueIsRefused) {
    for (const Option& option : allOptions()) {
        const OptionRow* const row = rowOf(option);
        if (!row || row->kind == Kind::flag) continue;
        Words words = option.words();
        words.push_back(option.name);
        expectWrongUsage(option.program, words, {option.name});
    }
}

// A valid value of an option, twice.
TEST(WrongUsageTest, OptionThatTakesOneValueRefusesTwo) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("some.png", "text");
    const auto valid = [&](const OptionRow& row) -> std::string {
        const std::string name = row.name;
        if (row.kind == Kind::file || row.kind == Kind::path) return std::string(file);
        if (name == "--bits") return "16";
        if (name == "--stretch") return "12";
        if (name == "--size" || name == "--raw-size") return "64x64";
        for (const char* word : {"png", "skip", "circle", "sine", "hold", "drift", "line", "top", "y4m"}) {
            if (row.kind == Kind::choice && std::string(row.range).find(word) != std::string::npos) return word;
        }
        return row.kind == Kind::choice ? "circle" : "2";
    };
    for (const Option& option : allOptions()) {
        const OptionRow* const row = rowOf(option);
        if (!row || row->kind == Kind::flag || row->many) continue;
        Words words = option.words();
        words.insert(words.end(), {option.name, valid(*row), option.name, valid(*row)});
        expectWrongUsage(option.program, words, {option.name + ": At Most 1 required but received 2"});
    }
}

struct LineCase {
    const char* program;
    Words words;
    Words texts;
};

// Wrong use of commands, of their positional values, and of options that need or exclude each other.
TEST(WrongUsageTest, WrongLinesAreRefusedWithWhatIsWrong) {
    const char host[] = "dorven-host";
    const char simulator[] = "dorven-simulator";
    const std::string file = test::programPath();
    // clang-format off
    for (const LineCase& line : std::vector<LineCase>{
             {host, {}, {"A subcommand is required", "info, grab, verify, snap, doctor, bench, call or ask-snap"}},
             {host, {"grip"}, {"grip", "did you mean 'grab'?"}},
             {host, {"grab", "info"}, {"info"}},
             {host, {"--count", "5"}, {"--count"}},
             {host, {"snap"}, {"OUT is required"}},
             {host, {"snap", "picture.jpg"}, {"OUT", "has to end in .png, .pgm or .raw"}},
             {host, {"snap", "a.png", "b.png"}, {"b.png"}},
             {host, {"call"}, {"ID is required"}},
             {host, {"call", "1e3x"}, {"ID"}},
             {host, {"call", "99999999999"}, {"ID"}},
             {host, {"call", "1106", "fast"}, {"VALUE", "1106", "'fast' is not a number"}},
             {host, {"call", "1106", "50", "60"}, {"60"}},
             {host, {"verify"}, {"--fault-log is required"}},
             {host, {"verify", "--fault-log", "f", "--findings", file, "--count", "5"}, {"--findings", "--count"}},
             {host, {"verify", "--fault-log", "f", "--findings", file, "--output", "d"}, {"--findings", "--output"}},
             {host, {"grab", "--json", "--json-lines"}, {"--json-lines", "--json"}},
             {host, {"grab", "--frames"}, {"--frames", "--json-lines"}},
             {host, {"grab", "--format", "png"}, {"--format", "--output"}},
             {host, {"grab", "--every", "5"}, {"--every", "--output"}},
             {host, {"grab", "--around-loss", "5"}, {"--around-loss", "--output"}},
             {host, {"grab", "--save-memory", "5"}, {"--save-memory", "--output"}},
             {host, {"grab", "--force"}, {"--force", "--output"}},
             {host, {"config"}, {"config wants --show or --completion"}},
             {host, {"config", "--json"}, {"--json", "--show"}},
             {host, {"config", "--show", "--completion"}, {"--completion", "--show"}},
             {simulator, {"aks"}, {"aks"}},
             {simulator, {"ask", "patterns"}, {"patterns"}},
             {simulator, {"--fps", "100", "ask"}, {"--fps does not go with ask"}},
             {simulator, {"--no-faults", "patterns"}, {"--no-faults does not go with patterns"}},
             {simulator, {"config"}, {"config wants --show or --completion"}},
             {simulator, {"--images", file, "--pattern", "circle"}, {"--pattern does not go with --images"}},
             {simulator, {"--images", file, "--truth", "t"}, {"--truth"}},
             {simulator, {"--raw-size", "4x4"}, {"--raw-size goes with --images only"}},
             {simulator, {"--play", "loop"}, {"--play goes with --images only"}},
             {simulator, {"--scale"}, {"--scale goes with --images only"}},
             {simulator, {"--window-motion", "none"}, {"--window-motion goes with --images only"}},
             {simulator, {"--image-memory", "5"}, {"--image-memory goes with --images only"}},
             {simulator, {"--truth", "t"}, {"--truth goes with a measuring target only: --pattern edge"}},
             {simulator, {"--motion", "sine"}, {"--motion goes with a measuring target only"}},
             {simulator, {"--pattern", "circle", "--motion-px", "3"}, {"--motion-px goes with --motion"}},
             {simulator, {"--pattern", "circle", "--motion-period", "3"}, {"--motion-period goes with --motion"}},
             {simulator, {"--fault", "drop@every:0"}, {"--fault", "every:0"}},
             {simulator, {"--fault", "drp@5"}, {"did you mean", "drop"}},
             {simulator, {"--pattern", "circel"}, {"did you mean", "circle"}},
    })
        // clang-format on
        expectWrongUsage(line.program, line.words, line.texts);
}

TEST(WrongUsageTest, EveryCommandRefusesAnOptionThatItDoesNotHaveAndASurplusWord) {
    std::set<std::pair<std::string, std::string>> commands;
    for (const Option& option : allOptions()) commands.emplace(option.program, option.command);
    for (const auto& [program, command] : commands) {
        const Words words = command.empty() ? Words{} : Words{command};
        for (const char* surplus : {"--no-such-option", "no-such-word-17"}) {
            // What a command needs of its own has to be there, or that would be told of first.
            Words line = words;
            if (command == "snap") line.push_back("a.png");
            if (command == "call") line.insert(line.end(), {"1106", "50"});
            if (command == "verify") line.insert(line.end(), {"--fault-log", "f"});
            line.push_back(surplus);
            expectWrongUsage(program, line, {surplus});
        }
    }
}

}  // namespace
