// What this process holds of the system, to be compared before and after.
#pragma once

#include <ostream>

namespace test {

/// On Windows handles and TLS indices are told by the values that the next fresh ones get: slots that were given back
/// are given out again. Elsewhere open files, and mappings of the process; there is no TLS index to count.
struct ProcessCounts {
    long handles = 0;
    long tlsIndices = 0;
    long threads = 0;
    long mappings = 0;

    static ProcessCounts now();

    friend bool operator==(const ProcessCounts&, const ProcessCounts&) = default;
    friend ProcessCounts operator-(const ProcessCounts& a, const ProcessCounts& b) {
        return {a.handles - b.handles, a.tlsIndices - b.tlsIndices, a.threads - b.threads, a.mappings - b.mappings};
    }
};

inline std::ostream& operator<<(std::ostream& out, const ProcessCounts& counts) {
    return out << counts.handles << " handles, " << counts.tlsIndices << " TLS indices, " << counts.threads
               << " threads, " << counts.mappings << " mappings";
}

/// Each takes something and keeps it, so that a test sees whether the counts notice; and tells what they should.
ProcessCounts keepAHandle();
ProcessCounts keepAMapping();
ProcessCounts keepATlsIndex();
ProcessCounts keepAThread();

}  // namespace test
