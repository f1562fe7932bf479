// A program with some of everything, for tests: options of its own, two commands that share some, lists, flags, options
// that need or exclude others.
#pragma once

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "option_checks.h"
#include "option_sources.h"
#include "temporary_folder.h"

namespace test {

struct SampleProgram {
    // what the last run set
    int rate = 100;
    int timeout = 30;
    int pollTimeout = 12;
    int every = 1;
    int width = 0;
    std::string output;
    std::string format = "png";
    std::string pattern;
    std::string images;
    std::vector<std::string> faults;
    bool json = false;
    bool quiet = false;

    std::optional<int> exitCode;
    std::string data;
    std::string people;

    std::vector<std::string> environment;
    TemporaryFolder folder;

    /// Writes the user's configuration file. @return its path.
    std::string configFile(const std::string& text) { return folder.file("sample.conf", text); }
    std::string configPath() const { return folder.path("sample.conf"); }

    void run(std::vector<const char*> arguments) {
        CLI::App app("A sample.", "dorven-sample");
        app.set_version_flag("--version", "dorven-sample 1");
        app.require_subcommand(0, 1);
        app.add_option("--rate", rate, "Rate")->check(options::within(1, 200, "1 to 200"));
        CLI::Option* const own = app.add_option("--pattern", pattern, "Pattern");
        app.add_option("--images", images, "Images")->excludes(own);
        app.add_option("--fault", faults, "Faults");
        app.add_flag("-q,--quiet,!--no-quiet", quiet, "Quiet");
        addGrab(*app.add_subcommand("grab", "Grab"));
        CLI::App* const poll = app.add_subcommand("poll", "Poll");
        poll->add_option("--timeout", pollTimeout, "Timeout");
        poll->add_flag("--json", json, "JSON");
        CLI::App* const send = app.add_subcommand("send", "Send");
        send->group("");  // for the program alone
        send->add_option("--to", output, "Receiver")->required()->type_name("PLACE");
        arguments.insert(arguments.begin(), "dorven-sample");
        std::ostringstream dataStream;
        std::ostringstream peopleStream;
        exitCode = options::parse(
            app, static_cast<int>(arguments.size()), arguments.data(), dataStream, peopleStream,
            {environment, configPath().substr(0, configPath().size() - std::string("sample.conf").size())});
        data = dataStream.str();
        people = peopleStream.str();
    }

private:
    void addGrab(CLI::App& grab) {
        grab.add_option("--timeout", timeout, "Timeout")
            ->check(options::within(1, 60, "1 to 60"))
            ->type_name("SECONDS");
        CLI::Option* const target = grab.add_option("--output", output, "Output")->type_name("DIR");
        grab.add_option("--every", every, "Every")->needs(target);
        grab.add_option("--width", width, "Width");
        grab.add_option("--format", format, "Format")->check(options::oneOf({"png", "pgm", "raw"}));
        grab.add_option("PICTURE", images, "A picture")
            ->check(CLI::Validator(
                [](const std::string& text) {
                    return text.find('.') == std::string::npos ? "'" + text + "' is no picture" : std::string();
                },
                ""))
            ->type_name("FILE.png");
        grab.add_flag("--json", json, "JSON");
    }
};

}  // namespace test
