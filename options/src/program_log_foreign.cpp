// With a host's own logging libraries: they know where their lines go, and this program cannot ask.
#include "program_log.h"

namespace options {

void keepProgramLog() {}

std::string openProgramLog(const LogOptions& options) {
    return options.file.empty() ? ""
                                : "--log: this build logs by the libraries of a host, which choose the file themselves";
}

std::vector<LogLine> programLog() { return {}; }

void tellLogBefore(const char* /*program*/, std::ostream& /*people*/) {}

}  // namespace options
