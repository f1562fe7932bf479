#include "host.h"

#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include "ask_snap.h"
#include "bench.h"
#include "call.h"
#include "command_report.h"
#include "data_output.h"
#include "doctor.h"
#include "findings_template.h"
#include "grab_command.h"
#include "host_options.h"
#include "info.h"
#include "lost_memory.h"
#include "platform.h"
#include "plugin_library.h"
#include "program_log.h"
#include "snap.h"
#include "terminal.h"
#include "verify.h"

namespace host {
namespace {

int fail(const std::string& reason) {
    options::tellLogBefore("dorven-host", std::cerr);
    std::cerr << "dorven-host: " << reason << std::endl;
    return kExitFailed;
}

// Null after a message.
std::unique_ptr<PluginLibrary> load(const std::string& pluginPath, const std::string& configFile) {
    std::string error;
    // Another plugin may use other kinds of files.
    if (pluginPath == defaultPluginPath()) error = problemOfConfiguration(configFile);
    auto library = error.empty() ? PluginLibrary::load(pluginPath, error) : nullptr;
    if (!library) fail(error);
    return library;
}

// A command that uses the plugin's first device.
template <typename Options>
using UseDevice = int (*)(NUV::PluginDeviceBase& device, const Options& options, std::ostream& data,
                          std::ostream& people);

enum class AtCtrlC { ends, stops };  // the process; the command, which then reports its results

template <typename Options>
int runWithDevice(const Options& options, AtCtrlC atCtrlC, UseDevice<Options> command) {
    const auto library = load(options.pluginPath, options.configFile);
    if (!library) return kExitFailed;
    std::string error;
    NUV::PluginDeviceBase* const device = library->firstDevice(error);
    if (!device) return fail(error);
    if (atCtrlC == AtCtrlC::stops) platform_installStopHandler();
    return command(*device, options, std::cout, std::cerr);
}

int info(const InfoOptions& options) {
    const auto library = load(options.pluginPath, "");
    if (!library) return kExitFailed;
    return options.commands ? showCommands(*library, options.json, std::cout, std::cerr)
                            : showInfo(*library, options.json, std::cout, std::cerr);
}

int runVerify(const VerifyOptions& options) {
    if (options.printTemplate) {
        printFindingsTemplate(std::cout);
        return kExitDone;
    }
    return options.findingsFile.empty() ? runWithDevice(options, AtCtrlC::stops, verifyGrab)
                                        : verifySaved(options, std::cout, std::cerr);
}

int runCommand(const HostOptions& options) {
    if (writesImages(options) && platform_standardOutputIsTerminal()) {
        std::cerr << "dorven-host: standard output is a terminal, which shows no images\n"
                     "Send them to a program or a file: dorven-host snap - >picture.png"
                  << std::endl;
        return kExitWrongUsage;
    }
    switch (options.command) {
        case HostOptions::Command::info:
            return info(options.info);
        case HostOptions::Command::grab:
            return runWithDevice(options.grab, AtCtrlC::stops, grabCommand);
        case HostOptions::Command::verify:
            return runVerify(options.verify);
        case HostOptions::Command::snap:
            return runWithDevice(options.snap, AtCtrlC::stops, snap);
        case HostOptions::Command::call:
            return runWithDevice(options.call, AtCtrlC::ends, callCommand);
        case HostOptions::Command::doctor:
            return runDoctor(options.doctor, std::cout, std::cerr);
        case HostOptions::Command::bench:
            platform_installStopHandler();
            return runBench(options.bench, std::cout, std::cerr);
        case HostOptions::Command::benchPartner:
            return runBenchPartner(options.benchPartner);
        case HostOptions::Command::askSnap:
            platform_installStopHandler();
            return askSnap(options.askSnap, std::cout, std::cerr);
    }
    return kExitFailed;
}

int run(const HostOptions& options) {
    const std::string problem = options::openProgramLog(options.log);
    return problem.empty() ? runCommand(options) : fail(problem);
}

}  // namespace

int hostMain(int argc, const char* const* argv) {
    platform_openMissingStandardStreams();
    platform_letBrokenPipesFail();
    platform_beginUtf8Console();
    platform_explainLostMemory("dorven-host", kExitFailed);
    options::keepProgramLog();
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
