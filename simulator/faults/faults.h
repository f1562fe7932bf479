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
#include "fault_options.h"
#include "fault_plan.h"
#include "frame_rate.h"
#include "scenario.h"
#include "scenario_watch.h"

namespace simulator {

/// Used by one thread, except answers(). Another thread watches a scenario's file.
class Faults {
public:
    /// Reads the scenario and opens the log.
    ///
    /// @param hasLink  Whether the run has a link to the camera; some faults need it.
    /// @param people   Receives seed and faults now, and later reports about a changing scenario. Must outlive the
    ///                 faults.
    /// @return         null when neither faults nor a log are wanted; also null, with the reason, on failure.
    static std::unique_ptr<Faults> open(const FaultOptions& options, const FrameRate& rate, bool hasLink,
                                        std::ostream& people, std::string& error);

    /// The faults that strike at the frame, in the order in which they take effect.
    std::vector<Strike> strikesAt(std::uint64_t frame) const { return _plan.strikesAt(frame); }

    /// Whether a fault of that kind may strike with the present scenario.
    bool has(FaultKind kind) const { return _plan.has(kind); }

    /// Checks whether the scenario was changed. Cheap: another thread reads the file.
    void look();

    /// Applies a changed scenario; the frame is the next one. A broken scenario is reported, and the previous one
    /// stays.
    /// @return  Whether the faults have changed.
    bool applyChange(std::uint64_t frame);

    bool watches() const { return _watch != nullptr; }
    FaultLog* log() const { return _log.get(); }
    std::uint64_t seed() const { return _seed; }

    /// Shared with the thread that answers the camera's side.
    const std::shared_ptr<AnswerFaults>& answers() const { return _answers; }

private:
    Faults(const FaultOptions& options, const FrameRate& rate, bool hasLink, std::ostream& people);
    bool takeScenario(const Scenario& scenario, std::uint64_t frame, std::string& error);
    bool openScenario(std::string& error);
    void tellStart() const;

    FaultOptions _options;
    FrameRate _rate;
    bool _hasLink;
    std::ostream& _people;
    std::uint64_t _seed = 0;
    FaultPlan _plan;
    std::vector<FaultRequest> _scenarioFaults;  // faults of the plan that came from the scenario
    std::unique_ptr<FaultLog> _log;
    std::unique_ptr<ScenarioWatch> _watch;
    std::optional<std::string> _changed;  // text that waits for its frame
    std::shared_ptr<AnswerFaults> _answers = std::make_shared<AnswerFaults>();
};

}  // namespace simulator
