// The faults of a run: those of the options, those of the scenario, their seed and their log.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "answer_faults.h"
#include "fault_log.h"
#include "fault_plan.h"
#include "scenario.h"
#include "scenario_watch.h"
#include "simulator_options.h"

namespace simulator {

/// One thread's, but for answers(). A scenario's file is watched by a further one.
class Faults {
public:
    /// Reads the scenario and opens the log.
    ///
    /// @param people  Learns seed and faults now, and later what becomes of a scenario that changes. Outlives the
    /// faults.
    /// @return        null when neither faults nor a log are wanted, and, with the reason, when that cannot be done.
    static std::unique_ptr<Faults> open(const SimulatorOptions& options, std::ostream& people, std::string& error);

    /// What strikes at the frame, in the order in which it takes effect.
    std::vector<Strike> strikesAt(std::uint64_t frame) const { return _plan.strikesAt(frame); }

    /// Whether one of the kind may strike as things are.
    bool has(FaultKind kind) const { return _plan.has(kind); }

    /// Asks whether the scenario was changed. Cheap: another thread reads the file.
    void look();

    /// Puts a changed scenario into force: the frame is the next one. A broken one is told of, and the former stays.
    /// @return  Whether the faults are others now.
    bool applyChange(std::uint64_t frame);

    bool watches() const { return _watch != nullptr; }
    FaultLog* log() const { return _log.get(); }
    std::uint64_t seed() const { return _seed; }

    /// Shared with the thread that answers the camera's side.
    const std::shared_ptr<AnswerFaults>& answers() const { return _answers; }

private:
    explicit Faults(const SimulatorOptions& options, std::ostream& people);
    bool takeScenario(const Scenario& scenario, std::uint64_t frame, std::string& error);
    bool openScenario(std::string& error);
    void tellStart() const;

    SimulatorOptions _options;
    std::ostream& _people;
    std::uint64_t _seed = 0;
    FaultPlan _plan;
    std::vector<FaultSpec> _scenarioFaults;  // those of the plan that the scenario brought
    std::unique_ptr<FaultLog> _log;
    std::unique_ptr<ScenarioWatch> _watch;
    std::optional<std::string> _changed;  // text that waits for its frame
    std::shared_ptr<AnswerFaults> _answers = std::make_shared<AnswerFaults>();
};

}  // namespace simulator
