#include "faults.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>

namespace simulator {
namespace {

const char kProgram[] = "dorven-simulator: ";

/// The first fault that needs a link to the camera, if there is no link.
const FaultRequest* withoutLink(const std::vector<FaultRequest>& requests) {
    const auto needsLink = [](const FaultRequest& request) {
        return request.kind == FaultKind::lateAnswer || request.kind == FaultKind::wrongAnswer;
    };
    const auto found = std::ranges::find_if(requests, needsLink);
    return found == requests.end() ? nullptr : &*found;
}

std::string countText(std::size_t faults) { return std::to_string(faults).append(faults == 1 ? " fault" : " faults"); }

}  // namespace

Faults::Faults(const FaultOptions& options, const FrameRate& rate, bool hasLink, std::ostream& people)
    : _options(options), _rate(rate), _hasLink(hasLink), _people(people), _plan({}, 0, rate) {}

std::unique_ptr<Faults> Faults::open(const FaultOptions& options, const FrameRate& rate, bool hasLink,
                                     std::ostream& people, std::string& error) {
    FaultOptions wanted = options;
    if (options.off) {
        if (!options.requests.empty() || !options.scenarioFile.empty())
            people << kProgram << "faults are off (--no-faults)" << std::endl;
        wanted.requests.clear();
        wanted.scenarioFile.clear();
    }
    if (wanted.requests.empty() && wanted.scenarioFile.empty() && wanted.logFile.empty()) return nullptr;
    std::unique_ptr<Faults> faults(new Faults(wanted, rate, hasLink, people));
    if (!faults->openScenario(error)) return nullptr;
    if (!wanted.logFile.empty()) {
        faults->_log = FaultLog::open(wanted.logFile, people, error);
        if (!faults->_log) return nullptr;
    }
    faults->tellStart();
    return faults;
}

bool Faults::openScenario(std::string& error) {
    Scenario scenario;
    if (!_options.scenarioFile.empty()) {
        const auto text = readScenarioFile(_options.scenarioFile, error);
        if (!text) return false;
        auto parsed = parseScenario(*text, error);
        if (!parsed) error.insert(0, _options.scenarioFile + ": ");
        if (!parsed) return false;
        scenario = std::move(*parsed);
        _watch = std::make_unique<ScenarioWatch>(
            [look = ScenarioLook(_options.scenarioFile, *text)]() mutable { return look.look(); });
    }
    // A random seed of 32 bits, so that it can be typed.
    _seed = _options.seed ? *_options.seed : scenario.seed ? *scenario.seed : std::random_device()();
    return takeScenario(scenario, 0, error);
}

/// A fault of the scenario that was already in force stays so: one without frames does not strike again. A fault that
/// is written twice counts as two.
bool Faults::takeScenario(const Scenario& scenario, std::uint64_t frame, std::string& error) {
    std::vector<FaultRequest> requests = _options.requests;
    std::vector<FaultRequest> formers = _scenarioFaults;
    for (FaultRequest request : scenario.faults) {
        const auto former = std::ranges::find(formers, request.text, &FaultRequest::text);
        request.since = former == formers.end() ? frame : former->since;
        if (former != formers.end()) formers.erase(former);
        requests.push_back(std::move(request));
    }
    if (const FaultRequest* request = _hasLink ? nullptr : withoutLink(requests)) {
        error = request->text + " needs the link to the camera, but --no-ask switches it off";
        return false;
    }
    _scenarioFaults.assign(requests.begin() + static_cast<std::ptrdiff_t>(_options.requests.size()), requests.end());
    _plan = FaultPlan(std::move(requests), _seed, _rate);
    return true;
}

void Faults::look() {
    if (!_watch) return;
    if (auto text = _watch->take()) _changed = std::move(text);
}

bool Faults::applyChange(std::uint64_t frame) {
    const auto text = std::exchange(_changed, std::nullopt);
    if (!text) return false;
    std::string error;
    const auto scenario = parseScenario(*text, error);
    if (!scenario || !takeScenario(*scenario, frame, error)) {
        _people << kProgram << _options.scenarioFile << ": " << error << "; going on with the former scenario"
                << std::endl;
        return false;
    }
    _people << kProgram << _options.scenarioFile << ": " << countText(scenario->faults.size())
            << " in force from frame " << frame << " on" << std::endl;
    return true;
}

void Faults::tellStart() const {
    _people << kProgram << countText(_plan.requests().size()) << ", seed " << _seed << std::endl;
}

}  // namespace simulator
