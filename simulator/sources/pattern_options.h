// The options that choose and shape a pattern.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "pattern.h"
#include "truth_log.h"

namespace CLI {
class App;
}

namespace simulator {

struct PatternOptions {
    const frames::PatternRow* pattern = &frames::patterns().front();  // --pattern
    frames::PatternSettings settings;                                 // --bits, --pattern-seed, --digits, --motion …
    std::string truthFile;                                            // --truth; empty: not given
    std::shared_ptr<TruthLog> truth;                                  // opened by the program; shared by its sources
};

/// Adds the options to a command line and evaluates them.
class PatternCommandLine {
public:
    /// @param options  Must outlive the parsing; set by take.
    PatternCommandLine(CLI::App& app, PatternOptions& options);

    /// Call it after parsing. @return Why the options contradict each other; empty when they do not.
    std::string take();

    /// The first given option that asks for a pattern, such as "--motion"; empty when there is none.
    std::string firstGiven() const;

private:
    void addMotion();

    CLI::App& _app;
    PatternOptions& _options;
    std::string _pattern;
    std::string _motion;
    bool _digits = true;
    std::optional<double> _motionPixels;
    std::optional<std::uint64_t> _motionPeriod;
};

}  // namespace simulator
