// Wrong usage of every option of both programs: exit code 2, the option and its valid values on standard error, nothing
// on standard output. The programs themselves list their options, so none can be missing here.
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

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
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

// What only a library says.
constexpr const char* kForeignWords[] = {"required but received",
                                         "At Most",
                                         "At most",
                                         "At Least",
                                         "At least",
                                         "Could not convert",
                                         "not expected",
                                         "not in range",
                                         "not in {",
                                         "json.exception",
                                         "INI was not",
                                         "should not see",
                                         " excludes ",
                                         " requires ",
                                         "subcommand",
                                         "Subcommand",
                                         "argument",
                                         "required TEXT",
                                         "FLOAT",
                                         "UINT",
                                         "Run with --help"};

void expectWrongUsage(const std::string& program, const Words& words, const Words& texts) {
    const Outcome outcome = run(program, words);
    std::string line = program;
    for (const std::string& word : words) line += " '" + word + "'";
    EXPECT_EQ(outcome.exitCode.value_or(0), 2) << line;
    EXPECT_EQ(outcome.data, "") << line;
    for (const std::string& text : texts) EXPECT_THAT(outcome.people, HasSubstr(text)) << line;
    EXPECT_THAT(outcome.people, StartsWith(program + ": ")) << line;
    EXPECT_EQ(std::ranges::count(outcome.people, '\n'), 1) << line << ": " << outcome.people;
    EXPECT_THAT(outcome.people, EndsWith("\n")) << line;
    for (const char* foreign : kForeignWords) EXPECT_THAT(outcome.people, Not(HasSubstr(foreign))) << line;
}

host::HostOptions hostOptions(const Words& words) {
    std::vector<const char*> argv{"dorven-host"};
    for (const std::string& word : words) argv.push_back(word.c_str());
    std::ostringstream data, people;
    host::HostOptions options;
    EXPECT_FALSE(host::parseHostOptions(static_cast<int>(argv.size()), argv.data(), options, data, people))
        << people.str();
    return options;
}

// With single blanks, also for line ends.
std::string oneLine(const std::string& text) {
    std::istringstream words(text);
    std::string line;
    for (std::string word; words >> word;) line += " " + word;
    return line;
}

/// An option with its program: "dorven-host grab --count".
struct Option {
    std::string program;
    std::string command;  // empty: the program itself
    std::string name;     // --count

    Words words() const { return command.empty() ? Words{} : Words{command}; }
    std::string text() const { return program + " " + command + " " + name; }
};

/// All options of a program, as it lists them itself.
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

// The kind of an option's values, which determines what is wrong for all options of the kind.
enum class Kind {
    flag,    // true or false
    whole,   // a whole number
    number,  // with a fraction or not
    choice,  // one of some words
    other,   // a text with its own rules
    file,    // a file that must exist
    path,    // any text, checked only later
};

struct OptionRow {
    const char* program;  // host or simulator
    Words commands;       // "" for the program itself
    const char* name;
    Kind kind;
    const char* range;  // must be in the message
    Words wrong;        // values just outside, and others that are wrong for this option alone
    bool many = false;  // may be given several times
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
        {"host", kAll, "--log", Kind::path, "", {}},
        {"host", kAll, "--verbose", Kind::flag, "", {}},
        {"host", {"doctor"}, "--all", Kind::flag, "", {}},
        {"host", kLoading, "--plugin", Kind::file, "is not a file that can be read", {}},
        {"host", {"doctor"}, "--plugin", Kind::path, "", {}},
        {"host", {"info"}, "--commands", Kind::flag, "", {}},
        {"host", {"grab", "verify", "snap", "call"}, "--config", Kind::file, "is not a file that can be read", {}},
        {"host", {"doctor"}, "--config", Kind::path, "", {}},
        {"host", kGrabbing, "--count", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"host", {"grab", "verify", "snap", "ask-snap"}, "--timeout", Kind::number, "0.01 to 86400",
         {"0", "0.009", "86401", "0x"}},
        {"host", kGrabbing, "--duration", Kind::other, "min, h)", {"5", "0s", "5d", "1001h"}},
        {"host", {"grab", "verify", "bench"}, "--quiet", Kind::flag, "", {}},
        {"host", kGrabbing, "--output", Kind::path, "", {}},
        {"host", {"grab", "verify", "snap"}, "--format", Kind::choice, "png, pgm, raw, y4m", {"PNG", "jpeg"}},
        {"host", {"grab", "verify", "snap"}, "--bits", Kind::whole, "10, 12, 16", {"0", "8", "11", "17"}},
        {"host", kGrabbing, "--png-level", Kind::whole, "0 to 9, without a fraction", {"10"}},
        {"host", kGrabbing, "--every", Kind::whole, "1 to 2^53, without a fraction", {"0", "9007199254740993"}},
        {"host", kGrabbing, "--around-loss", Kind::whole, "1 to 10000, without a fraction", {"0", "10001"}},
        {"host", kGrabbing, "--save-memory", Kind::whole, "1 to 1000000, without a fraction", {"0", "1000001"}},
        {"host", {"grab", "verify", "snap"}, "--stretch", Kind::whole, "9 to 15, without a fraction", {"8", "16"}},
        {"host", {"grab", "verify", "snap"}, "--force", Kind::flag, "", {}},
        {"host", {"grab", "verify", "snap"}, "--share", Kind::flag, "", {}},
        {"host", kGrabbing, "--require-simulator", Kind::flag, "", {}},
        {"host", kGrabbing, "--json-lines", Kind::flag, "", {}},
        {"host", kGrabbing, "--frames", Kind::flag, "", {}},
        {"host", kGrabbing, "--all", Kind::flag, "", {}},
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
        {"host", {"verify"}, "--findings-template", Kind::flag, "", {}},
        {"host", {"snap"}, "--any", Kind::flag, "", {}},
        {"host", {"bench"}, "--simulator", Kind::path, "", {}},
        {"host", {"bench"}, "--size", Kind::other, kSize, {"640", "640x", "x480", "0x1", "65537x1", "1x65537", "-1x1"}},
        {"host", {"bench"}, "--bytes-per-pixel", Kind::whole, "1 to 16", {"0", "17"}},
        {"host", {"bench"}, "--fps", Kind::number, "1 to 10000", {"0", "0.99", "10001"},true},
        {"host", {"bench"}, "--seconds", Kind::number, "0.2 to 600", {"0", "0.19", "601"}},
        {"host", {"call"}, "--open", Kind::flag, "", {}},
        {"simulator", {"", "ask"}, "--log", Kind::path, "", {}},
        {"simulator", {"", "ask"}, "--verbose", Kind::flag, "", {}},
        {"simulator", kRun, "--size", Kind::other, kSize, {"640", "640x", "x480", "0x1", "65537x1", "1x65537", "-1x1"}},
        {"simulator", kRun, "--bytes-per-pixel", Kind::whole, "1 to 16", {"0", "17"}},
        {"simulator", kRun, "--config", Kind::file, "", {}},
        {"simulator", kRun, "--fps", Kind::number, "0.01 to 10000", {"0", "0.009", "10001", "60000/0", "1/1000", "6/"}},
        {"simulator", kRun, "--late", Kind::choice, "skip, burst", {"Skip", "2"}},
        {"simulator", kRun, "--count", Kind::whole, kAnyCount, {"9007199254740993"}},
        {"simulator", kRun, "--duration", Kind::other, "min, h)", {"5", "0s", "5d", "1001h"}},
        {"simulator", kRun, "--quiet", Kind::flag, "", {}},
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
        {"simulator", kRun, "--pattern", Kind::choice, "pattern '", {"circel"}},
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

// Values that are wrong for every option of a kind.
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
            // An empty text after = would count as no value at all.
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

// A valid value of an option, after another one.
TEST(WrongUsageTest, OptionThatIsGivenTwiceTakesTheLastValue) {
    const test::TemporaryFolder folder;
    const std::string file = folder.file("some.png", "text");
    const auto valid = [&](const OptionRow& row) -> std::string {
        const std::string name = row.name;
        if (row.kind == Kind::file || row.kind == Kind::path) return file;
        if (name == "--bits") return "16";
        if (name == "--duration") return "5s";
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
        EXPECT_THAT(run(option.program, words).people, Not(HasSubstr(option.name + ":"))) << option.text();
    }
    EXPECT_EQ(hostOptions({"grab", "--count", "5", "--count", "7"}).grab.imageCount, 7u);
    EXPECT_EQ(hostOptions({"grab", "--timeout", "5", "-n", "7", "--timeout=6"}).grab.timeoutSeconds, 6.0);
    EXPECT_EQ(hostOptions({"bench", "--size", "5x5", "--size", "6x7"}).bench.format.width, 6u);
    EXPECT_TRUE(hostOptions({"grab", "--json", "--json"}).grab.json);
}

TEST(WrongUsageTest, OptionThatCollectsTakesEveryValueAndItsHelpSaysSo) {
    EXPECT_EQ(hostOptions({"bench", "--fps", "5", "--fps", "7"}).bench.rates, (std::vector<double>{5, 7}));
    for (const Option& option : allOptions()) {
        const OptionRow* const row = rowOf(option);
        if (!row || !row->many) continue;
        Words words = option.words();
        words.push_back("--help");
        const std::string help = oneLine(run(option.program, words).data);
        const std::string own = help.substr(help.find(" " + option.name + " "));
        EXPECT_LT(own.find("may be given again"), own.find(" --", 3)) << option.text();
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
             {host, {}, {"a command is missing", "info, grab, verify, snap, doctor, bench, call, ask-snap"}},
             {host, {"grip"}, {"dorven-host: did you mean 'grab'? There is no command 'grip'\n"}},
             {host, {"grap", "--count", "5"}, {"did you mean 'grab'? There is no command 'grap'"}},
             {host, {"look"}, {"there is no command 'look'; there are info, grab"}},
             {host, {"help", "grip"}, {"did you mean 'grab'? There is no command 'grip'"}},
             {host, {"help", "look"}, {"there is no command 'look'"}},
             {host, {"help", "grab", "info"}, {"'info' is one word too many; 'dorven-host help help'"}},
             {host, {"grab", "info"}, {"'info'", "one command at a time"}},
             {host, {"grab", "300"}, {"'300' is one word too many; 'dorven-host help grab' shows what grab takes"}},
             {host, {"--count", "5"}, {"'--count' belongs after its command: dorven-host grab --count"}},
             {host, {"--count", "5", "grab"}, {"'--count' belongs after its command: dorven-host grab --count"}},
             {host, {"--json", "info"}, {"'--json' belongs after its command: dorven-host info --json"}},
             {host, {"-q", "grab"}, {"'-q' belongs after its command: dorven-host grab -q"}},
             {host, {"grab", "-timeout", "3"}, {"did you mean '--timeout'? grab has no option '-timeout'"}},
             {host, {"--cuont", "5"}, {"dorven-host has no option '--cuont'"}},
             {host, {"grab", "--cuont", "5"}, {"dorven-host: did you mean '--count'? grab has no option '--cuont'\n"}},
             {host, {"grab", "--cuont=5"}, {"did you mean '--count'? grab has no option '--cuont'"}},
             {host, {"grab", "-cuont"}, {"-c", "is not a file"}},
             {host, {"grab", "-x"}, {"grab has no option '-x'"}},
             {host, {"grab", "-count", "5"}, {"'5' is one word too many"}},
             {host, {"grab", "-qx"}, {"grab has no option '-x'"}},
             {host, {"grab", "--nonsense-option"}, {"grab has no option '--nonsense-option'; 'dorven-host help grab'"}},
             {host, {"info", "--count", "3"}, {"info has no option '--count'; grab and verify have it"}},
             {host, {"info", "--fault-log", "f"}, {"info has no option '--fault-log'; verify has it"}},
             {host, {"grab", "--size", "5x5"}, {"grab has no option '--size'; bench has it"}},
             {host, {"grab", "--fps", "5"}, {"grab has no option '--fps'"}},
             {host, {"grab", "--count", "5", "extra"}, {"'extra' is one word too many"}},
             {host, {"grab", "--count", "-5"}, {"--count", "'-5'"}},
             {host, {"grab", "--count", "5\n6"}, {"--count: '5?6'"}},
             {host, {"grab", "--count"}, {"--count needs a value"}},
             {host, {"grab", "-n"}, {"--count needs a value"}},
             {host, {"grab", "-o"}, {"--output needs a value"}},
             {host, {"grab", "--duration", "5"}, {"--duration: '5' has no unit", "5s"}},
             {host, {"grab", "--duration", "5sec"}, {"--duration: '5sec'", "10s"}},
             {host, {"grab", "--duration", "0s"}, {"--duration: '0s'", "1ms to 1000h"}},
             {host, {"grab", "--duration", "-5s"}, {"--duration: '-5s'"}},
             {host, {"grab", "--duration", "1001h"}, {"--duration: '1001h'", "1ms to 1000h"}},
             {host, {"grab", "--json=perhaps"}, {"--json: 'perhaps' is neither true nor false"}},
             {host, {"snap"}, {"snap needs OUT; 'dorven-host help snap' shows what snap takes"}},
             {host, {"snap", "picture.jpg"}, {"OUT: 'picture.jpg' has to end in .png, .pgm or .raw"}},
             {host, {"snap", "picture"}, {"OUT: 'picture' has to end in .png, .pgm or .raw"}},
             {host, {"snap", "a.png", "b.png"}, {"'b.png' is one word too many"}},
             {host, {"snap", "--any"}, {"snap needs OUT"}},
             {host, {"call"}, {"call needs ID"}},
             {host, {"call", "1e3x"}, {"ID: '1e3x' is not a number from -2147483648 to 2147483647"}},
             {host, {"call", "99999999999"}, {"ID: '99999999999' is not a number"}},
             {host, {"call", "1106", "fast"}, {"VALUE", "1106", "'fast' is not a number"}},
             {host, {"call", "1106"}, {"VALUE", "1106", "needs a value"}},
             {host, {"call", "1106", "50", "60"}, {"'60' is one word too many"}},
             {host, {"verify"}, {"verify needs --fault-log FILE"}},
             {host, {"verify", "--count", "5"}, {"verify needs --fault-log FILE"}},
             {host, {"verify", "--faultlog", "f"}, {"did you mean '--fault-log'? verify has no option '--faultlog'"}},
             {host, {"verify", "--fault-log", "f", "--findings", file, "--count", "5"},
              {"--count and --findings do not go together"}},
             {host, {"verify", "--fault-log", "f", "--findings", file, "--output", "d"},
              {"--output and --findings do not go together"}},
             {host, {"grab", "--json", "--json-lines"}, {"--json and --json-lines do not go together"}},
             {host, {"grab", "--frames"}, {"--frames goes with --json-lines only"}},
             {host, {"grab", "--format", "png"}, {"--format goes with --output only"}},
             {host, {"grab", "--output", "d", "--format", "pgn"}, {"--format: did you mean 'png'?", "png, pgm, raw"}},
             {host, {"grab", "--every", "5"}, {"--every goes with --output only"}},
             {host, {"grab", "--around-loss", "5"}, {"--around-loss goes with --output only"}},
             {host, {"grab", "--save-memory", "5"}, {"--save-memory goes with --output only"}},
             {host, {"grab", "--force"}, {"--force goes with --output only"}},
             {host, {"grab", "--png-level", "5"}, {"--png-level goes with --output only"}},
             {host, {"grab", "--config", "/no/such/file"}, {"--config: '/no/such/file' is not a file"}},
             {host, {"grab", "-c", "/no/such/file"}, {"--config: '/no/such/file' is not a file that can be read"}},
             {host, {"grab", "--max-lost", "few"}, {"--max-lost: 'few' is not a number from 0 to 2^53"}},
             {host, {"grab", "--max-lots", "0"}, {"did you mean '--max-lost'?"}},
             {host, {"bench", "--fps", "0", "--fps", "5"}, {"--fps: '0' is not a number from 1 to 10000"}},
             {host, {"bench", "--size", "5"}, {"--size: '5' is no image size such as 1280x1024"}},
             {host, {"config"}, {"config wants --show or --completion"}},
             {host, {"config", "--json"}, {"--json goes with --show only"}},
             {host, {"config", "--show", "--completion"}, {"--show and --completion do not go together"}},
             {host, {"config", "--completion", "fish"}, {"--completion", "'fish' is none of bash, powershell"}},
             {host, {"config", "--show", "cuont"}, {"did you mean 'count'? There is no option 'cuont'"}},
             {host, {"-X"}, {"dorven-host has no option '-X'; 'dorven-host help'"}},
             {simulator, {"aks"}, {"did you mean 'ask'? There is no command 'aks'"}},
             {simulator, {"grab"}, {"there is no command 'grab'; there are ask, patterns, config, help"}},
             {simulator, {"ask", "patterns"}, {"'patterns'", "one command at a time"}},
             {simulator, {"ask", "--fps", "5"}, {"ask has no option '--fps'"}},
             {simulator, {"--ftp", "100"}, {"dorven-simulator: did you mean '--fps'? dorven-simulator has no option"}},
             {simulator, {"--watch"}, {"'--watch' belongs after its command: dorven-simulator ask --watch"}},
             {simulator, {"--fps", "100", "ask"}, {"--fps does not go with ask"}},
             {simulator, {"--fps", "fast"}, {"--fps: 'fast' is not a number from 0.01 to 10000"}},
             {simulator, {"--fps", "5/"}, {"--fps: '5/' is not a number from 0.01 to 10000"}},
             {simulator, {"--duration", "10"}, {"--duration: '10' has no unit"}},
             {simulator, {"--duration", "10 s"}, {"--duration: '10 s'"}},
             {simulator, {"--no-faults", "patterns"}, {"--no-faults does not go with patterns"}},
             {simulator, {"config"}, {"config wants --show or --completion"}},
             {simulator, {"--images", file, "--pattern", "circle"}, {"--pattern does not go with --images"}},
             {simulator, {"--images", "/no/such/folder"}, {"--images: '/no/such/folder' does not exist"}},
             {simulator, {"--images", file, "--truth", "t"}, {"--truth"}},
             {simulator, {"--raw-size", "4x4"}, {"--raw-size goes with --images only"}},
             {simulator, {"--play", "loop"}, {"--play goes with --images only"}},
             {simulator, {"--images", file, "--play", "lop"}, {"--play: did you mean 'loop'?"}},
             {simulator, {"--scale"}, {"--scale goes with --images only"}},
             {simulator, {"--window-motion", "none"}, {"--window-motion goes with --images only"}},
             {simulator, {"--image-memory", "5"}, {"--image-memory goes with --images only"}},
             {simulator, {"--truth", "t"}, {"--truth goes with a measuring target only: --pattern edge"}},
             {simulator, {"--motion", "sine"}, {"--motion goes with a measuring target only"}},
             {simulator, {"--pattern", "circle", "--motion", "sin"}, {"--motion: did you mean 'sine'?"}},
             {simulator, {"--pattern", "circle", "--motion-px", "3"}, {"--motion-px goes with --motion"}},
             {simulator, {"--pattern", "circle", "--motion-period", "3"}, {"--motion-period goes with --motion"}},
             {simulator, {"--fault", "drop@every:0"}, {"--fault", "every:0"}},
             {simulator, {"--fault", "drp@5"}, {"--fault: did you mean 'drop'? There is no fault 'drp'\n"}},
             {simulator, {"--fault", "delay"}, {"--fault", "delay needs a time, such as delay:20ms"}},
             {simulator, {"--fault", "drop:5ms"}, {"--fault", "drop takes no time"}},
             {simulator, {"--fault", "nothing-like"}, {"there is no fault 'nothing-like'; there are late-answer"}},
             {simulator, {"--pattern", "circel"}, {"--pattern: did you mean 'circle'? There is no pattern 'circel'\n"}},
             {simulator, {"--pattern", "1"}, {"--pattern: there is no pattern '1'", "patterns --list"}},
             {simulator, {"--scenario", "/no/such/file"}, {"--scenario", "/no/such/file"}},
             {simulator, {"--late", "brust"}, {"--late: did you mean 'burst'?"}},
             {simulator, {"--size", "1280*1024"}, {"--size: '1280*1024' is no image size such as 1280x1024"}},
             {simulator, {"--config"}, {"--config needs a value"}},
             {simulator, {"-n", "many"}, {"--count: 'many' is not a number"}},
             {simulator, {"patterns", "--lsit"}, {"did you mean '--list'? patterns has no option '--lsit'"}},
             {simulator, {"help", "aks"}, {"did you mean 'ask'?"}},
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
            // Whatever a command itself needs must be there, or that would be reported first.
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
