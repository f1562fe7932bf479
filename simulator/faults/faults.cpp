#include "faults.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <utility>

namespace simulator {
namespace {

const char kProgram[] = "dorven-simulator: ";

/// The first fault that only the link to the camera can carry out, while there is none.
const FaultSpec* withoutLink(const std::vector<FaultSpec>& specs) {
    const auto needsLink = [](const FaultSpec& spec) {
        return spec.kind == FaultKind::lateAnswer || spec.kind == FaultKind::wrongAnswer;
    };
    const auto found = std::ranges::find_if(specs, needsLink);
    return found == specs.end() ? nullptr : &*found;
}

std::string countText(std::size_t faults) { return std::to_string(faults).append(faults == 1 ? " fault" : " faults"); }

}  // namespace

Faults::Faults(const SimulatorOptions& options, std::ostream& people)
    : _options(options), _people(people), _plan({}, 0, options.framesPerSecond) {}

std::unique_ptr<Faults> Faults::open(const SimulatorOptions& options, std::ostream& people, std::string& error) {
    SimulatorOptions wanted = options;
    if (options.noFaults) {
        if (!options.faults.empty() || !options.scenarioFile.empty())
            people << kProgram << "faults are off (--no-faults)" << std::endl;
        wanted.faults.clear();
        wanted.scenarioFile.clear();
    }
    if (wanted.faults.empty() && wanted.scenarioFile.empty() && wanted.faultLogFile.empty()) return nullptr;
    std::unique_ptr<Faults> faults(new Faults(wanted, people));
    if (!faults->openScenario(error)) return nullptr;
    if (!wanted.faultLogFile.empty()) {
        faults->_log = FaultLog::open(wanted.faultLogFile, people, error);
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
    // A random one of 32 bits, so that it can be typed.
    _seed = _options.seed ? *_options.seed : scenario.seed ? *scenario.seed : std::random_device()();
    return takeScenario(scenario, 0, error);
}

/// A fault of the scenario that was in force already stays so: one without frames does not strike again. Written twice,
/// it is two.
bool Faults::takeScenario(const Scenario& scenario, std::uint64_t frame, std::string& error) {
    std::vector<FaultSpec> specs = _options.faults;
    std::vector<FaultSpec> formers = _scenarioFaults;
    for (FaultSpec spec : scenario.faults) {
        const auto former = std::ranges::find(formers, spec.text, &FaultSpec::text);
        spec.since = former == formers.end() ? frame : former->since;
        if (former != formers.end()) formers.erase(former);
        specs.push_back(std::move(spec));
    }
    if (const FaultSpec* spec = _options.ask ? nullptr : withoutLink(specs)) {
        error = spec->text + " needs the link to the camera, but --no-ask switches it off";
        return false;
    }
    _scenarioFaults.assign(specs.begin() + static_cast<std::ptrdiff_t>(_options.faults.size()), specs.end());
    _plan = FaultPlan(std::move(specs), _seed, _options.framesPerSecond);
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
    _people << kProgram << countText(_plan.specs().size()) << ", seed " << _seed << std::endl;
}

}  // namespace simulator
