#include "grab_command.h"

#include <cstdlib>

#include "grab_limits.h"
#include "grab_table.h"
#include "live_line.h"
#include "readable_number.h"
#include "save_options.h"
#include "terminal.h"

namespace host {
namespace {

bool wantsJson(const GrabOptions& options) { return options.json || options.jsonLines; }

void printAnswer(const GrabRun& run, const GrabOptions& options, bool findings, std::ostream& stream) {
    printTable(run.report, {options.all, microseconds(isStandardOutput(options.save.folder))}, stream);
    if (findings && !run.report.findings.kept().empty()) {
        stream << '\n';
        tellFindings(run.report.findings, stream);
    }
    if (!options.save.folder.empty()) stream << '\n';
    tellSaved(options.save, run.saved, stream);
}

}  // namespace

GrabRun runGrab(NUV::PluginDeviceBase& device, const GrabOptions& options, const GrabFindings& findings,
                std::ostream& data, std::ostream& people) {
    LiveLine liveLine(people, options.imageCount, coloursAreWanted(std::getenv("NO_COLOR")));
    JsonLines jsonLines(data, options.frames);
    Grab grab(device, options, people, findings);
    // On a terminal that shows both, each JSON line would continue the live line.
    const bool mixed = options.jsonLines && platform_standardOutputIsTerminal();
    if (platform_standardErrorIsTerminal() && !options.quiet && !mixed) grab.watch(liveLine);
    if (options.jsonLines) grab.watch(jsonLines);
    const int exitCode = grab.run();
    GrabRun run{exitCode, {grab.results(), grab.end(), {}, grab.findings()}, grab.saved()};
    run.report.limitsBroken = brokenLimits(options.limits, run.report.results);
    if (options.jsonLines) jsonLines.printEnd(run.report, grab.framesOmitted());
    return run;
}

void tellGrab(const GrabRun& run, const GrabOptions& options, bool findings, std::ostream& data, std::ostream& people) {
    if (!wantsJson(options)) {
        // With --output - standard output has the images alone.
        if (hasTable(run.report))
            printAnswer(run, options, findings, isStandardOutput(options.save.folder) ? people : data);
    } else if (run.saved.notSaved() > 0) {
        tellSaved(options.save, run.saved, people);
    }
    tellUnverified(run.report.results, people);
    tellStripShare(run.report.results, people);
    // A grab that ended with a reason of its own has told it; the limits would hide it.
    if (hasTable(run.report)) tellBrokenLimits(run.report.limitsBroken, people);
}

int grabCommand(NUV::PluginDeviceBase& device, const GrabOptions& options, std::ostream& data, std::ostream& people) {
    const GrabRun run = runGrab(device, options, {}, data, people);
    if (options.json) printJson(run.report, data);
    tellGrab(run, options, true, data, people);
    return run.exitCode == kExitDone && !run.report.limitsBroken.empty() ? kExitFailed : run.exitCode;
}

}  // namespace host
