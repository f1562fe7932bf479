#include "fault_runs.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <thread>
#include <utility>

#include "named_claim.h"
#include "object_names.h"

namespace test {
namespace {

using Json = nlohmann::json;
using namespace std::chrono_literals;

// Frames with two others on each side, which is the most that a finding needs.
struct Sight {
    std::uint64_t first = 1;
    std::uint64_t last = 0;
    bool has(std::uint64_t frame) const { return frame >= first && frame <= last; }
};

Sight sightOf(const FaultRun& run) {
    const Json& grab = run.verify["grab"];
    if (!grab["first_frame"].is_number() || grab["last_frame"] < 4) return {};
    return {grab["first_frame"].get<std::uint64_t>() + 2, grab["last_frame"].get<std::uint64_t>() - 2};
}

// A stop comes after all frames, and each counts.
void addRange(FrameFindings& findings, const Json& range, const std::string& finding, const Sight& sight) {
    const std::uint64_t first = range["first"];
    if (finding == "stopped") {
        findings.insert(finding + " " + std::to_string(first));
        return;
    }
    const std::uint64_t last = std::min(range["last"].get<std::uint64_t>(), sight.last);
    if (first <= last) addFindings(findings, finding, std::max(first, sight.first), last);
}

}  // namespace

void addFindings(FrameFindings& findings, const std::string& finding, std::uint64_t first, std::uint64_t last) {
    for (std::uint64_t frame = first; frame <= last; ++frame) findings.insert(finding + " " + std::to_string(frame));
}

std::vector<Json> FaultRun::faults(const std::string& name) const {
    std::vector<Json> found;
    for (const Json& line : log) {
        if (line["event"] == "fault" && line["fault"] == name) found.push_back(line);
    }
    return found;
}

std::set<std::string> FaultRun::names() const {
    std::set<std::string> found;
    for (const Json& line : log) {
        if (line["event"] == "fault") found.insert(line["fault"].get<std::string>());
    }
    return found;
}

std::vector<std::uint64_t> FaultRun::strikesBefore(const std::string& name, std::uint64_t end) const {
    std::vector<std::uint64_t> frames;
    for (const Json& line : faults(name)) {
        if (line["frame"] < end) frames.push_back(line["frame"]);
    }
    return frames;
}

ChildProcess FaultRunsTest::startVerify(Arguments arguments) {
    arguments.insert(arguments.begin(),
                     {"verify", "--config", _config, "--json", "--fault-log", _log, "--allow-explained"});
    ChildProcess host = startHost(std::move(arguments));
    while (host.running() && !NamedClaim::isTaken(image_road::finishedOf(image_road::kCameraAsks)))
        std::this_thread::sleep_for(1ms);
    return host;
}

ChildProcess FaultRunsTest::startFaults(Arguments arguments) const {
    // Not the camera's answer: until it has read its configuration, it briefly answers with its defaults.
    arguments.insert(arguments.begin(), {"--size", "900x40", "--fault-log", _log});
    // Five seconds late before it skips a frame.
    for (const auto& [option, value] : {std::pair{"--fps", "100"}, std::pair{"--lines", "1000"}}) {
        if (std::ranges::find(arguments, option) == arguments.end()) arguments.insert(arguments.end(), {option, value});
    }
    return startSimulator(arguments);
}

FaultRun FaultRunsTest::run(const Arguments& simulatorsOptions, const Arguments& hostsOptions) {
    auto host = startVerify(hostsOptions);
    auto simulator = startFaults(simulatorsOptions);
    const int exitCode = host.join(120s);
    simulator.kill();
    return takeRun(exitCode);
}

FaultRun FaultRunsTest::takeRun(int exitCode) const { return {exitCode, data(), logLines()}; }

std::vector<Json> FaultRunsTest::logLines() const {
    std::vector<Json> lines;
    std::string rest = text("faults.jsonl");
    for (std::size_t end = rest.find('\n'); end != std::string::npos; end = rest.find('\n')) {
        lines.push_back(Json::parse(rest.substr(0, end)));
        rest.erase(0, end + 1);
    }
    return lines;
}

bool FaultRunsTest::waitForFaults(const std::string& name, std::size_t count) const {
    for (int round = 0; round < 6000; ++round) {
        if (FaultRun{0, {}, logLines()}.faults(name).size() >= count) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

void FaultRunsTest::expectProven(const FaultRun& run) const {
    EXPECT_EQ(run.exitCode, 0) << people();
    ASSERT_TRUE(run.verify.is_object() && run.verify.contains("grab")) << people();
    EXPECT_EQ(foundIn(run), expectedIn(run)) << people();
    EXPECT_EQ(lateButNotFound(run), FrameFindings{}) << people();
    EXPECT_EQ(run.verify["matched"], true);
    EXPECT_EQ(run.verify["missed"], 0) << people();
    EXPECT_EQ(run.verify["not_injected"], run.verify["explained"]) << people();
    EXPECT_EQ(run.verify["lists_omitted"], 0);
    EXPECT_EQ(run.verify["grab"]["findings_omitted"], 0);
    EXPECT_EQ(run.verify["grab"]["faked"], 0);
    EXPECT_EQ(run.verify["grab"]["unverified"], 0);
}

FrameFindings foundIn(const FaultRun& run, std::uint64_t from) {
    FrameFindings findings;
    Sight sight = sightOf(run);
    sight.first = std::max(sight.first, from);
    for (const Json& finding : run.verify["grab"]["findings"]) {
        if (finding["finding"] != "late") addRange(findings, finding, finding["finding"], sight);
    }
    return findings;
}

FrameFindings notedIn(const FaultRun& run) {
    FrameFindings findings;
    for (const Json& line : run.log) {
        if (line["event"] == "note") addRange(findings, line, "lost", sightOf(run));
    }
    return findings;
}

FrameFindings expectedIn(const FaultRun& run) {
    FrameFindings findings = notedIn(run);
    for (const Json& line : run.log) {
        if (line["event"] != "fault") continue;
        for (const Json& expectation : line["expect"]) {
            if (expectation["finding"] != "late") addRange(findings, expectation, expectation["finding"], sightOf(run));
        }
    }
    return findings;
}

FrameFindings lateButNotFound(const FaultRun& run) {
    std::map<std::uint64_t, double> latencyUs;
    for (const Json& finding : run.verify["grab"]["findings"]) {
        if (finding["finding"] == "late") latencyUs[finding["first"]] = finding["latency_us"];
    }
    const Sight sight = sightOf(run);
    FrameFindings missing;
    for (const Json& line : run.log) {
        if (line["event"] != "fault") continue;
        for (const Json& expectation : line["expect"]) {
            if (expectation["finding"] != "late") continue;
            for (std::uint64_t frame = expectation["first"]; frame <= expectation["last"]; ++frame) {
                if (sight.has(frame) && latencyUs[frame] < expectation["min_us"].get<double>())
                    addFindings(missing, "late", frame, frame);
            }
        }
    }
    return missing;
}

}  // namespace test
