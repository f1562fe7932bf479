// The command "doctor": examines everything that a grab needs, reports what it found and what to do about it.
//
// It disturbs nobody. Files are only read. The plugin's library is loaded, but no camera is created. Named objects are
// examined from outside (object_look.h), so it attaches to no ring and takes no event's signal. One object with a
// unique name is created to see whether that works; like the first object of any program, this removes leftovers.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "host_options.h"

namespace host {

enum class FindingLevel {
    ok,
    warning,  // works, but perhaps not as intended
    problem,  // a grab cannot work, or not with these settings
};

struct Diagnosis {
    const char* check;  // the name of what was examined, such as "configuration"
    FindingLevel level;
    std::string found;
    std::string advice;     // what to do; empty when there is nothing to do
    bool isDetail = false;  // told with --all and in the JSON alone
};

using Findings = std::vector<Diagnosis>;

/// Examines everything.
///
/// @param options  pluginPath, configFile (empty: the camera's defaults).
Findings examine(const DoctorOptions& options);

/// Why a grab cannot work with that configuration: a file of the chain is missing or cannot be read, the files lead in
/// a circle, or a key has an impossible value. Empty: it can work, or there is no configuration.
std::string problemOfConfiguration(const std::string& path);

/// Examines and prints.
///
/// For people the remedy comes first, then what was found, then the remedy again, since the first lines may have left
/// the screen.
///
/// @param data    Receives the findings, for people or as JSON: one object with schema, result ("ok", "warning" or
///                "problem": the worst level), warnings and problems (counts) and checks, an array of objects with
///                check, level, found and advice (null: nothing to do).
/// @param people  Receives everything else.
/// @return        Exit code: failed when there is a problem.
int runDoctor(const DoctorOptions& options, std::ostream& data, std::ostream& people);

}  // namespace host
