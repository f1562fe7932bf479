#include "simulator_program.h"

#include <exception>
#include <iostream>
#include <new>
#include <optional>

#include "ask.h"
#include "camera_link.h"
#include "data_output.h"
#include "image_choice.h"
#include "list_patterns.h"
#include "lost_memory.h"
#include "platform.h"
#include "program_log.h"
#include "simulator.h"
#include "terminal.h"

namespace simulator {
namespace {

constexpr int kFailed = 1;
const char kProgram[] = "dorven-simulator: ";

// Creates the log of what is drawn, for all sources of this run; false, with the reason, on failure.
bool openTruth(PatternOptions& options, std::string& error) {
    if (!options.truthFile.empty()) options.truth = TruthLog::open(options.truthFile, error);
    return options.truthFile.empty() || options.truth;
}

// The log is null if it was not requested.
template <typename Log>
bool isWhole(const Log* log, std::ostream& people) {
    if (!log || log->complete()) return true;
    people << kProgram << log->problem() << std::endl;
    return false;
}

int runSimulator(SimulatorOptions& options) {
    std::string error;
    const auto fail = [&error] {
        options::tellLogBefore("dorven-simulator", std::cerr);
        std::cerr << kProgram << error << std::endl;
        return kFailed;
    };
    if (!openTruth(options.pattern, error)) return fail();
    const auto source = makeImageSource(options, error);
    if (!source) return fail();
    if (const auto rate = source->ownRate(); rate && !options.pacing.rateIsGiven)
        options.pacing.framesPerSecond = *rate;
    const auto faults = openFaults(options, std::cerr, error);
    if (!error.empty()) return fail();
    std::optional<CameraLink> camera;
    if (options.ask) camera.emplace(AskingPace(), faults ? faults->answers() : nullptr);
    Simulator simulator(options, *source, std::cerr, camera ? &*camera : nullptr, faults.get());
    simulator.printTotalsOn(std::cout);
    const int exitCode = simulator.run();
    const bool truthIsWhole = isWhole(options.pattern.truth.get(), std::cerr);
    const bool faultLogIsWhole = isWhole(faults ? faults->log() : nullptr, std::cerr);
    return truthIsWhole && faultLogIsWhole ? exitCode : kFailed;
}

int run(SimulatorOptions& options) {
    if (const std::string problem = options::openProgramLog(options.log); !problem.empty()) {
        std::cerr << kProgram << problem << std::endl;
        return kFailed;
    }
    if (options.command == SimulatorOptions::Command::patterns) {
        listPatterns(options.listsAsJson, std::cout);
        return 0;
    }
    platform_installStopHandler();
    if (options.command == SimulatorOptions::Command::ask) return askCamera(options.asking, std::cout, std::cerr);
    return runSimulator(options);
}

}  // namespace

std::unique_ptr<Faults> openFaults(const SimulatorOptions& options, std::ostream& people, std::string& error) {
    return Faults::open(options.faults, options.pacing.framesPerSecond, options.ask, people, error);
}

int simulatorMain(int argc, const char* const* argv) {
    platform_openMissingStandardStreams();
    platform_letBrokenPipesFail();
    platform_beginUtf8Console();
    platform_explainLostMemory("dorven-simulator", kFailed);
    options::keepProgramLog();
    try {
        SimulatorOptions chosen;
        const auto ended = parseSimulatorOptions(argc, argv, chosen, std::cout, std::cerr);
        return options::afterWriting(std::cout, ended ? *ended : run(chosen), "dorven-simulator", std::cerr);
    } catch (const std::bad_alloc&) {
        std::cerr << kProgram << "out of memory" << std::endl;
    } catch (const std::exception& exception) {
        std::cerr << kProgram << exception.what() << std::endl;
    }
    return kFailed;
}

}  // namespace simulator
