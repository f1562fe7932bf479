#include "count_rows.h"

namespace host {
namespace {

// clang-format off
constexpr CountRow kCounts[] = {
    {"images",     "images",     &GrabResults::images    },
    {"simulated",  "simulated",  &GrabResults::simulated },
    {"faked",      "faked",      &GrabResults::faked     },
    {"unverified", "unverified", &GrabResults::unverified},
    {"lost",       "lost",       &GrabResults::lost      },
    {"repeated",   "repeated",   &GrabResults::repeated  },
    {"reordered",  "reordered",  &GrabResults::reordered },
    {"torn",       "torn",       &GrabResults::torn      },
    {"stale",      "stale",      &GrabResults::stale     },
    {"format",     "format",     &GrabResults::format    },
    {"counter",    "counter",    &GrabResults::counter   },
    {"time_back",  "time back",  &GrabResults::timeBack  },
    {"late",       "late",       &GrabResults::late      },
    {"stopped",    "stopped",    &GrabResults::stopped   },
    {"restarts",   "restarts",   &GrabResults::restarts  },
    {"pauses",     "pauses",     &GrabResults::pauses    },
};
// clang-format on

}  // namespace

std::span<const CountRow> countRows() { return kCounts; }

}  // namespace host
