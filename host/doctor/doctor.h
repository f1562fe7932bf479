// The command "doctor": looks at all that a grab needs, says what it found and what to do about it.
//
// It disturbs nobody: files are read; the plugin's library is loaded, but no camera made of it; named objects are
// looked at from outside (object_look.h), so that no ring is attached to and no event taken. One object of a name
// of its own is made, to see whether that works; like the first object of any program, it removes leftovers.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host_options.h"

namespace host {

enum class FindingLevel {
    ok,
    warning,  // works, but perhaps not as it is meant
    problem,  // a grab cannot work, or not with these settings
};

struct Diagnosis {
    const char* check;  // the name of what was looked at, such as "configuration"
    FindingLevel level;
    std::string found;
    std::string advice;  // what to do; empty when there is nothing to do
};

using Findings = std::vector<Diagnosis>;

/// Looks at everything.
///
/// @param options  pluginPath, configFile (empty: the camera's defaults).
Findings examine(const DoctorOptions& options);

/// Why a grab cannot work as that configuration says: a file of the chain is missing or cannot be read, the files lead
/// in a circle, or a key has no value that can be. Empty: it can work, or there is no configuration.
std::string problemOfConfiguration(const std::string& path);

/// Examines and prints.
///
/// @param data    Receives the findings, for people or as JSON: one object with schema, result ("ok", "warning" or
///                "problem": the worst level), warnings and problems (counts) and checks, an array of objects with
///                check, level, found and advice (null: nothing to do).
/// @param people  Receives everything else.
/// @return        Exit code: failed when there is a problem.
int runDoctor(const DoctorOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
