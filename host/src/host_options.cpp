#include "host_options.h"

#include <CLI/CLI.hpp>

#include "plugin_library.h"

namespace host {
namespace {

constexpr double kMinTimeout = 0.01;
constexpr double kMaxTimeout = 86400.0;

// A number within limits; one that is not a number (nan) is within none.
template <typename Number>
CLI::Validator within(Number least, Number greatest, const char* limits) {
    return CLI::Validator(
        [least, greatest, limits](const std::string& text) {
            Number value{};
            if (CLI::detail::lexical_cast(text, value) && value >= least && value <= greatest) return std::string();
            return "'" + text + "' is not a number from " + limits;
        },
        "");
}

// CLI's own check, without the word that it would add to the help.
CLI::Validator existingFile() { return CLI::Validator(CLI::ExistingFile).description(""); }

void addCommonOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--plugin", options.pluginPath, "The plugin's library (default: the one beside this program)")
        ->check(existingFile())
        ->type_name("PATH");
    command.add_flag("--json", options.json, "Print one flat JSON object on standard output");
}

void addGrabOptions(CLI::App& command, HostOptions& options) {
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->check(existingFile())
        ->type_name("FILE");
    command.add_option("--count", options.imageCount, "End after that many images; 0: at Ctrl-C (default 0)")
        ->check(within(std::uint64_t{0}, std::uint64_t{1} << 53, "0 to 2^53, without a fraction"))
        ->type_name("IMAGES");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no image came for that long, 0.01 to 86400 s (default 30; the camera "
                    "itself begins to fake images after 22 s)")
        ->check(within(kMinTimeout, kMaxTimeout, "0.01 to 86400"))
        ->type_name("SECONDS");
    CLI::Option* output = command.add_option("--output", options.outputFolder,
                                             "Save images as PNG in that folder, which is made when it is missing");
    output->type_name("DIR");
    command.add_option("--every", options.saveEvery, "Save every Nth image, beginning with the first (default 1)")
        ->check(within(std::uint64_t{1}, std::uint64_t{1} << 53, "1 to 2^53, without a fraction"))
        ->needs(output)
        ->type_name("N");
}

}  // namespace

std::optional<int> parseHostOptions(int argc, const char* const* argv, HostOptions& options, std::ostream& data,
                                    std::ostream& people) {
    CLI::App app("Loads a camera plugin as a measuring host does, and shows what it offers or what it delivers.",
                 "dorven-host");
    app.set_version_flag("--version", std::string("dorven-host ") + DORVEN_VERSION);
    app.require_subcommand(0, 1);  // none is told below: here it would hide what else is wrong
    CLI::App* info = app.add_subcommand("info", "Show the plugin's device: identity, kinds, properties, document");
    addCommonOptions(*info, options);
    CLI::App* grab = app.add_subcommand("grab", "Receive images, verify each from its pixels, measure, save");
    addCommonOptions(*grab, options);
    addGrabOptions(*grab, options);
    const char* footer =
        "Examples:\n"
        "  dorven-host info\n"
        "  dorven-host grab --count 300\n"
        "  dorven-host grab --config camera.ini --count 1000 --output images --every 100 --json\n"
        "\n"
        "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 no image in time, 4 connection to the simulator lost.";
    app.footer(footer);
    grab->footer(footer);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, data, people) == 0 ? kExitDone : kExitWrongUsage;
    }
    if (!grab->parsed() && !info->parsed()) {
        people << "A subcommand is required: info or grab\nRun with --help for more information.\n";
        return kExitWrongUsage;
    }
    options.command = grab->parsed() ? HostOptions::Command::grab : HostOptions::Command::info;
    if (options.pluginPath.empty()) options.pluginPath = defaultPluginPath();
    return std::nullopt;
}

}  // namespace host
