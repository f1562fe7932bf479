#include "grab_report.h"

#include <nlohmann/json.hpp>

#include "platform.h"

namespace host {
namespace {

struct CountRow {
    const char* key;
    const char* label;
    std::uint64_t GrabResults::*value;
};

struct MeasureRow {
    const char* key;
    const char* label;
    const char* unit;
    std::optional<double> GrabResults::*value;
};

constexpr CountRow kCounts[] = {
    {"images",     "images",     &GrabResults::images    },
    {"simulated",  "simulated",  &GrabResults::simulated },
    {"faked",      "faked",      &GrabResults::faked     },
    {"unverified", "unverified", &GrabResults::unverified},
    {"lost",       "lost",       &GrabResults::lost      },
    {"repeated",   "repeated",   &GrabResults::repeated  },
    {"reordered",  "reordered",  &GrabResults::reordered },
    {"torn",       "torn",       &GrabResults::torn      },
};

constexpr MeasureRow kMeasures[] = {
    {"fps_mean",       "mean rate",   "images/s", &GrabResults::fpsMean     },
    {"period_p50_us",  "period p50",  "us",       &GrabResults::periodP50Us },
    {"period_p99_us",  "period p99",  "us",       &GrabResults::periodP99Us },
    {"period_max_us",  "period max",  "us",       &GrabResults::periodMaxUs },
    {"latency_p50_us", "latency p50", "us",       &GrabResults::latencyP50Us},
    {"latency_p99_us", "latency p99", "us",       &GrabResults::latencyP99Us},
    {"mb_per_s",       "data rate",   "MB/s",     &GrabResults::mbPerS      },
};

}  // namespace

void printTable(const GrabResults& results, std::ostream& stream) {
    char line[100];
    for (const CountRow& row : kCounts) {
        platform_format(line, sizeof line, "%-12s %12Iu\n", row.label, static_cast<std::size_t>(results.*row.value));
        stream << line;
    }
    for (const MeasureRow& row : kMeasures) {
        const std::optional<double>& value = results.*row.value;
        if (value) {
            platform_format(line, sizeof line, "%-12s %12.1f %s\n", row.label, *value, row.unit);
        } else {
            platform_format(line, sizeof line, "%-12s %12s\n", row.label, "-");
        }
        stream << line;
    }
    stream << std::flush;
}

void printJson(const GrabResults& results, std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kJsonSchema;
    for (const CountRow& row : kCounts) object[row.key] = results.*row.value;
    for (const MeasureRow& row : kMeasures) {
        const std::optional<double>& value = results.*row.value;
        object[row.key] = value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
    }
    stream << object.dump() << std::endl;
}

}  // namespace host
