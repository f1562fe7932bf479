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
    std::string truthFile;                                            // --truth; empty: none
    std::shared_ptr<TruthLog> truth;                                  // opened by who runs; shared by all that draw
};

/// Adds the options to a command line and reads what they say.
class PatternCommandLine {
public:
    /// @param options  Outlives the parsing; set by take.
    PatternCommandLine(CLI::App& app, PatternOptions& options);

    /// To call after parsing. @return why the options do not go together; empty when they do.
    std::string take();

    /// The first option given that asks for a pattern, such as "--motion"; empty when none was.
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
