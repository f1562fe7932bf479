#include "verify.h"

#include <chrono>
#include <thread>

#include "grab_command.h"
#include "grab_limits.h"
#include "grab_table.h"
#include "platform.h"
#include "save_options.h"
#include "saved_findings.h"
#include "verify_report.h"

namespace host {
namespace {

constexpr int kReadings = 10;  // of a log that does not explain everything yet
constexpr std::int64_t kReadingNs = 200'000'000;

// Images are kept as late from the smallest lateness on that fault logs contain.
constexpr GrabFindings kGrabFindings{200'000, 1000.0, false};

bool fail(std::ostream& people, const std::string& reason) {
    people << "dorven-host: " << reason << std::endl;
    return false;
}

// A log in its final state, as far as that can be known, and its comparison with the findings.
struct LogComparison {
    FaultLog log;
    FaultMatch match;
};

// Why nothing can be compared; empty: result is set.
std::string compare(const VerifyOptions& options, const GrabEvidence& evidence, int readings, LogComparison& result) {
    for (int reading = 1;; ++reading) {
        std::string error;
        if (!readFaultLog(options.faultLog, result.log, error)) return error;
        result.match = matchFaults(result.log, evidence);
        const bool settled = !result.log.cut && (result.match.oneToOne(false) || result.log.nextFrame);
        if (settled || reading >= readings) break;
        // Not a sleep that Ctrl-C ends: Ctrl-C may have ended the grab before.
        std::this_thread::sleep_for(std::chrono::nanoseconds(kReadingNs));
    }
    if (!result.log.cut) return "";
    return options.faultLog + ", line " + std::to_string(result.log.lines) +
           ": ends in its middle; the simulator was killed, or its disk is full";
}

// What prevents any comparison at the end of the grab; empty: nothing, though there may have been a warning.
std::string problemBeforeGrab(const VerifyOptions& options, std::ostream& people) {
    std::string problem;
    switch (lookAtFaultLog(options.faultLog, problem)) {
        case FaultLogLook::never:
            return problem;
        case FaultLogLook::notYet:
            fail(people, problem);
            break;
        case FaultLogLook::readable:
            break;
    }
    return "";
}

// The object of a comparison that did not take place. @param grab  null: there was no grab.
void printProblem(const VerifyOptions& options, const std::string& problem, const GrabReport* grab,
                  std::ostream& data) {
    const LogComparison none;
    if (options.json || options.jsonLines)
        printVerifyJson({options.faultLog, none.log, none.match, false, grab, problem}, options.jsonLines, data);
}

// The grab's own exit code keeps its meaning, unless the log contains the stop that ended it.
int exitCodeOf(int grabExitCode, const FaultMatch& match, bool matched, bool limitsKept) {
    const bool stopped = grabExitCode == kExitNoImage || grabExitCode == kExitConnectionLost;
    if (stopped && !match.stopFound) return grabExitCode;
    if (!stopped && grabExitCode != kExitDone) return grabExitCode;
    return matched && limitsKept ? kExitDone : kExitFailed;
}

// @param comparable  There was something to compare; else people get no table of it.
void printComparison(const VerifyReport& report, const VerifyOptions& options, bool comparable, std::ostream& data) {
    if (options.json || options.jsonLines) {
        printVerifyJson(report, options.jsonLines, data);
    } else if (comparable) {
        tellVerify(report, data);
    }
}

// With --output - standard output has the images alone.
std::ostream& answerOf(const VerifyOptions& options, std::ostream& data, std::ostream& people) {
    return isStandardOutput(options.save.folder) ? people : data;
}

void tellIncomparable(std::ostream& people) {
    fail(people, "no image since the grab began could be compared with the log");
}

GrabEvidence evidenceOf(const VerifyOptions& options, const GrabReport& report) {
    GrabEvidence evidence;
    evidence.findings = report.findings.kept();
    evidence.sight = report.results.sight;
    evidence.lateFromUs = report.results.lateFromUs;
    if (const auto limitNs = latencyLimitNs(options.limits)) {
        evidence.judgesLateness = true;
        evidence.judgedFromUs = static_cast<double>(*limitNs) / 1000.0;
    }
    return evidence;
}

}  // namespace

int verifyGrab(NUV::PluginDeviceBase& device, const VerifyOptions& options, std::ostream& data, std::ostream& people) {
    if (const std::string problem = problemBeforeGrab(options, people); !problem.empty()) {
        fail(people, problem);
        printProblem(options, problem, nullptr, data);
        return kExitFailed;
    }
    const GrabRun run = runGrab(device, options, kGrabFindings, data, people);
    const GrabReport& report = run.report;
    if (report.end == "failed") {  // of which people have been told
        tellGrab(run, options, false, data, people);
        printProblem(options, "the grab failed", &report, data);
        return kExitFailed;
    }
    if (report.end == "no_simulator") {  // of which they have been told, too
        printProblem(options, "no simulator came", &report, data);
        return run.exitCode;
    }
    const auto cannotCompare = [&](const std::string& reason) {
        tellGrab(run, options, false, data, people);
        fail(people, reason);
        printProblem(options, reason, &report, data);
        return kExitFailed;
    };
    std::string problem = problemOfEvidence(report.findings.omitted(), report.results.restarts);
    if (!problem.empty()) return cannotCompare(problem);
    LogComparison comparison;
    problem = compare(options, evidenceOf(options, report), kReadings, comparison);
    if (!problem.empty()) return cannotCompare(problem);
    const bool comparable = report.results.sight || comparison.match.stopFound;
    const bool matched = comparable && comparison.match.oneToOne(options.allowExplained);
    printComparison({options.faultLog, comparison.log, comparison.match, matched, &report}, options, comparable,
                    answerOf(options, data, people));
    tellGrab(run, options, false, data, people);
    // A grab that ended with a reason of its own has told it.
    if (!comparable && hasTable(run.report)) tellIncomparable(people);
    return exitCodeOf(run.exitCode, comparison.match, matched, report.limitsBroken.empty());
}

int verifySaved(const VerifyOptions& options, std::ostream& data, std::ostream& people) {
    GrabEvidence evidence;
    LogComparison comparison;
    std::string problem;
    if (readSavedFindingsFile(options.findingsFile, evidence, problem))
        problem = compare(options, evidence, 1, comparison);
    if (!problem.empty()) {
        fail(people, problem);
        printProblem(options, problem, nullptr, data);
        return kExitFailed;
    }
    const bool comparable = evidence.sight || comparison.match.stopFound;
    const bool matched = comparable && comparison.match.oneToOne(options.allowExplained);
    printComparison({options.faultLog, comparison.log, comparison.match, matched, nullptr}, options, comparable, data);
    if (!comparable) tellIncomparable(people);
    return matched ? kExitDone : kExitFailed;
}

}  // namespace host
