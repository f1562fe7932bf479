// Counts of the system's resources that this process holds, to compare before and after.
#pragma once

#include <ostream>

namespace test {

/// On Windows, handles and TLS indices are counted by the values of the next new ones, because released slots are
/// reused. Elsewhere open files and mappings of the process are counted; there is no TLS index to count.
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

/// Each takes and keeps something, and returns the counts that this should change.
ProcessCounts keepAHandle();
ProcessCounts keepAMapping();
ProcessCounts keepATlsIndex();
ProcessCounts keepAThread();

}  // namespace test
