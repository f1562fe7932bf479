#include "grab_report.h"

#include "count_rows.h"
#include "grab_json.h"
#include "strip_advice.h"
#include "unverified_reason.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

struct MeasureRow {
    const char* key;
    std::optional<double> GrabResults::*value;
};

// clang-format off
constexpr MeasureRow kMeasures[] = {
    {"fps_mean",       &GrabResults::fpsMean     },
    {"period_p50_us",  &GrabResults::periodP50Us },
    {"period_p99_us",  &GrabResults::periodP99Us },
    {"period_max_us",  &GrabResults::periodMaxUs },
    {"jitter_p99_us",  &GrabResults::jitterP99Us },
    {"latency_p50_us", &GrabResults::latencyP50Us},
    {"latency_p99_us", &GrabResults::latencyP99Us},
    {"latency_max_us", &GrabResults::latencyMaxUs},
    {"mb_per_s",       &GrabResults::mbPerS      },
    {"cpu_percent",    &GrabResults::cpuPercent  },
    {"duration_s",     &GrabResults::durationS   },
    {"pause_s",        &GrabResults::pauseS      },
};
// clang-format on

template <typename Value>
Json orNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json(nullptr);
}

void addMeasures(Json& object, const GrabResults& results) {
    for (const MeasureRow& row : kMeasures) object[row.key] = orNull(results.*row.value);
}

Json jsonOf(const BrokenLimit& limit) {
    Json object;
    object["option"] = limit.row->option;
    object["key"] = limit.row->key;
    object["value"] = orNull(limit.value);
    object["limit"] = limit.limit;
    return object;
}

void addReport(Json& object, const GrabReport& report) {
    for (const CountRow& row : countRows()) object[row.key] = report.results.*row.value;
    addMeasures(object, report.results);
    object["saved"] = orNull(report.results.saved);
    object["not_saved"] = orNull(report.results.notSaved);
    object["not_saved_reason"] = report.results.notSavedReason ? Json(report.results.notSavedReason) : Json(nullptr);
    const auto& sight = report.results.sight;
    object["first_frame"] = sight ? Json(sight->first) : Json(nullptr);
    object["last_frame"] = sight ? Json(sight->last) : Json(nullptr);
    object["end"] = report.end;
    object["late_from_us"] = orNull(report.results.lateFromUs);
    object["limits_broken"] = Json::array();
    for (const BrokenLimit& limit : report.limitsBroken) object["limits_broken"].push_back(jsonOf(limit));
    object["findings"] = Json::array();
    for (const Finding& finding : report.findings.kept()) object["findings"].push_back(findingJson(finding));
    object["findings_omitted"] = report.findings.omitted();
}

}  // namespace

Json findingJson(const Finding& finding) {
    Json object;
    object["finding"] = findingName(finding.kind);
    object["first"] = finding.frames.first;
    if (finding.kind != FindingKind::stopped) object["last"] = finding.frames.last;
    if (finding.latencyUs) object["latency_us"] = *finding.latencyUs;
    return object;
}

Json grabJson(const GrabReport& report) {
    Json object;
    object["schema"] = kGrabSchema;
    addReport(object, report);
    return object;
}

void tellUnverified(const GrabResults& results, std::ostream& people) {
    for (std::size_t reason = 0; reason < frames::kUnverifiedReasons; ++reason) {
        const std::uint64_t images = results.unverifiedBecause[reason];
        if (images == 0) continue;
        people << "dorven-host: not verified: " << images << " of " << results.images
               << " images: " << unverifiedReason(static_cast<frames::Unverified>(reason)).sentence << '\n';
    }
    if (results.simulated == 0 && results.torn > 0)
        people << "dorven-host: no image of this grab was verified: all that have a strip are torn, as those of a "
                  "simulator whose images have another size than the camera's\n";
    if (results.images > 0 && results.faked == results.images) {
        people << "dorven-host: all " << results.images
               << " images are faked: the camera made them itself, as no simulator sent any\n";
    } else if (results.images > 0 && results.simulated + results.torn == 0) {
        people << "dorven-host: no image of this grab was verified\n";
    }
    people << std::flush;
}

void tellStripShare(const GrabResults& results, std::ostream& people) {
    const std::string advice = stripShareAdvice(results.verifiedFormat, results.strip, "the simulator's ");
    if (!advice.empty()) people << "dorven-host: " << advice << std::endl;
}

void printJson(const GrabReport& report, std::ostream& stream) { stream << grabJson(report).dump() << std::endl; }

void JsonLines::onSecond(const SecondNumbers& numbers) {
    Json object;
    object["schema"] = kGrabSchema;
    object["event"] = "second";
    object["elapsed_s"] = numbers.elapsedS;
    object["length_s"] = numbers.lengthS;
    for (const CountRow& row : countRows())
        object[row.key] = static_cast<std::int64_t>(numbers.totals.*row.value - _before.*row.value);
    for (const MeasureRow& row : kMeasures)
        if (row.value != &GrabResults::durationS && row.value != &GrabResults::pauseS)
            object[row.key] = orNull(numbers.second.*row.value);
    for (const CountRow& row : countRows()) object[std::string(row.key) + "_total"] = numbers.totals.*row.value;
    _before = numbers.totals;
    _data << object.dump() << std::endl;
}

void JsonLines::onFrames(std::span<const FrameRow> rows) {
    for (const FrameRow& row : rows) {
        Json object;
        object["schema"] = kGrabSchema;
        object["event"] = "frame";
        object["image"] = row.image;
        object["number"] = orNull(row.number);
        object["kind"] = frames::imageKindName(row.kind);
        const auto us = [](const std::optional<std::int64_t>& ns) {
            return ns ? Json(static_cast<double>(*ns) / 1000.0) : Json(nullptr);
        };
        object["period_us"] = us(row.periodNs);
        object["latency_us"] = us(row.latencyNs);
        object["time_stamp_ns"] = orNull(row.timeStampNs);
        object["arrival_ns"] = row.arrivalNs;
        object["record_counter"] = row.counter;
        object["record_time_stamp_us"] = row.recordTimeStampUs;
        _data << object.dump() << '\n';
    }
    _data << std::flush;
}

void JsonLines::printEnd(const GrabReport& report, std::uint64_t framesOmitted) {
    Json object;
    object["schema"] = kGrabSchema;
    object["event"] = "end";
    addReport(object, report);
    if (_frames) object["frames_omitted"] = framesOmitted;
    _data << object.dump() << std::endl;
}

}  // namespace host
