#include "grab_command.h"

#include <cstdlib>

#include "grab_limits.h"
#include "live_line.h"
#include "save_options.h"
#include "terminal.h"

namespace host {

GrabRun runGrab(NUV::PluginDeviceBase& device, const GrabOptions& options, const GrabFindings& findings,
                std::ostream& data, std::ostream& people) {
    LiveLine liveLine(people, options.imageCount, coloursAreWanted(std::getenv("NO_COLOR")));
    JsonLines jsonLines(data, options.frames);
    Grab grab(device, options, people, findings);
    if (platform_standardErrorIsTerminal()) grab.watch(liveLine);
    if (options.jsonLines) grab.watch(jsonLines);
    const int exitCode = grab.run();
    GrabReport report{grab.results(), grab.end(), {}, grab.findings()};
    report.limitsBroken = brokenLimits(options.limits, report.results);
    printTable(report.results, people);
    if (findings.areTold) tellFindings(report.findings, people);
    tellSaved(options.save, grab.saved(), people);
    tellUnverified(report.results, people);
    tellStripShare(report.results, people);
    tellBrokenLimits(report.limitsBroken, people);
    if (options.jsonLines) jsonLines.printEnd(report, grab.framesOmitted());
    return {exitCode, std::move(report)};
}

int grabCommand(NUV::PluginDeviceBase& device, const GrabOptions& options, std::ostream& data, std::ostream& people) {
    const GrabRun run = runGrab(device, options, {}, data, people);
    if (options.json) printJson(run.report, data);
    return run.exitCode == kExitDone && !run.report.limitsBroken.empty() ? kExitFailed : run.exitCode;
}

}  // namespace host
