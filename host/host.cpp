#include "host.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>

#include "ask_snap.h"
#include "bench.h"
#include "call.h"
#include "command_report.h"
#include "data_output.h"
#include "doctor.h"
#include "doctor_checks.h"
#include "grab.h"
#include "grab_limits.h"
#include "grab_report.h"
#include "host_options.h"
#include "info.h"
#include "live_line.h"
#include "lost_memory.h"
#include "platform.h"
#include "plugin_library.h"
#include "save_options.h"
#include "snap.h"
#include "terminal.h"
#include "verify.h"

namespace host {
namespace {

// The plugin's first device; null after a message.
NUV::PluginDeviceBase* firstDevice(PluginLibrary& library) {
    std::string error;
    NUV::PluginDeviceBase* const device = library.firstDevice(error);
    if (!device) std::cerr << "dorven-host: " << error << std::endl;
    return device;
}

int verify(PluginLibrary& library, const HostOptions& options) {
    NUV::PluginDeviceBase* const device = firstDevice(library);
    if (!device) return kExitFailed;
    platform_installStopHandler();
    return verifyGrab(*device, options, std::cout, std::cerr);
}

int snap(PluginLibrary& library, const HostOptions& options) {
    NUV::PluginDeviceBase* const device = firstDevice(library);
    if (!device) return kExitFailed;
    platform_installStopHandler();
    return snap(*device, options, std::cout, std::cerr);
}

int grab(PluginLibrary& library, const HostOptions& options) {
    NUV::PluginDeviceBase* const device = firstDevice(library);
    if (!device) return kExitFailed;
    platform_installStopHandler();
    Grab grab(*device, options, std::cerr);
    LiveLine liveLine(std::cerr, options.imageCount, coloursAreWanted(std::getenv("NO_COLOR")));
    JsonLines jsonLines(std::cout, options.frames);
    if (standardErrorIsTerminal()) grab.watch(liveLine);
    if (options.jsonLines) grab.watch(jsonLines);
    const int exitCode = grab.run();
    GrabReport report{grab.results(), grab.end(), {}, grab.findings()};
    report.limitsBroken = brokenLimits(options.limits, report.results);
    printTable(report.results, std::cerr);
    tellFindings(report.findings, std::cerr);
    tellSaved(options, grab.saved(), std::cerr);
    tellUnverified(report.results, std::cerr);
    tellBrokenLimits(report.limitsBroken, std::cerr);
    if (options.json) printJson(report, std::cout);
    if (options.jsonLines) jsonLines.printEnd(report, grab.framesOmitted());
    return exitCode == kExitDone && !report.limitsBroken.empty() ? kExitFailed : exitCode;
}

int run(PluginLibrary& library, const HostOptions& options) {
    switch (options.command) {
        case HostOptions::Command::grab:
            return grab(library, options);
        case HostOptions::Command::verify:
            return verify(library, options);
        case HostOptions::Command::snap:
            return snap(library, options);
        case HostOptions::Command::call:
            if (NUV::PluginDeviceBase* const device = firstDevice(library))
                return callCommand(*device, options, std::cout, std::cerr);
            return kExitFailed;
        case HostOptions::Command::info:
        case HostOptions::Command::askSnap:  // these need no library
        case HostOptions::Command::doctor:
        case HostOptions::Command::bench:
        case HostOptions::Command::benchPartner:
            break;
    }
    return options.commands ? showCommands(library, options.json, std::cout, std::cerr)
                            : showInfo(library, options.json, std::cout, std::cerr);
}

int run(const HostOptions& options) {
    switch (options.command) {
        case HostOptions::Command::askSnap:
            platform_installStopHandler();
            return askSnap(options, std::cout, std::cerr);
        case HostOptions::Command::doctor:
            return runDoctor(options, std::cout, std::cerr);
        case HostOptions::Command::benchPartner:
            return runBenchPartner(options);
        case HostOptions::Command::bench:
            platform_installStopHandler();
            return runBench(options, std::cout, std::cerr);
        default:
            break;
    }
    if (!options.findingsFile.empty()) return verifySaved(options, std::cout, std::cerr);
    // Another plugin may have files of another kind.
    std::string error;
    if (options.pluginPath == defaultPluginPath()) error = problemOfConfiguration(options.configFile);
    const auto library = error.empty() ? PluginLibrary::load(options.pluginPath, error) : nullptr;
    if (library) return run(*library, options);
    std::cerr << "dorven-host: " << error << std::endl;
    return kExitFailed;
}

}  // namespace

int hostMain(int argc, const char* const* argv) {
    platform_openMissingStandardStreams();
    platform_letBrokenPipesFail();
    platform_explainLostMemory("dorven-host", kExitFailed);
    try {
        HostOptions chosen;
        const auto ended = parseHostOptions(argc, argv, chosen, std::cout, std::cerr);
        return options::afterWriting(std::cout, ended ? *ended : run(chosen), "dorven-host", std::cerr);
    } catch (const std::bad_alloc&) {
        std::cerr << "dorven-host: out of memory" << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << "dorven-host: " << exception.what() << std::endl;
    }
    return kExitFailed;
}

}  // namespace host
