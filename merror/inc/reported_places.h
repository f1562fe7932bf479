// The place that an entry in a log names: source and number. Hosts and their logs' readers search by it, so no two
// statements that report under one name may have the same number. This table owns what keeps them apart.
#pragma once

#include <algorithm>
#include <string_view>

/// A source that reports under a name that it shares, or under which fixed numbers are known. Its statements report
/// their line plus a number of its own, which is greater than the lines of any source.
struct ReportedSource {
    std::string_view source;  // file name without folder
    std::string_view name;    // what it calls itself in the logs
    int added;                // a multiple of 1000
};

/// Whoever divides a source gives the new one a row here; merror/tests/reported_places_test.py says when one is
/// missing.
// clang-format off
inline constexpr ReportedSource kReportedSources[] = {
    { "DorVenPlugin.cpp",         "DorVenPlugin",                   1000 },
    { "DorVenPluginQCamCtrl.cpp", "DorVenPluginQCamCtrl",           1000 },
    { "DorVenPluginQImage.cpp",   "DorVenPluginQImage",             1000 },
    { "TeskImages.cpp",           "Dorven/TeskImages",              1000 },
    { "TeskImagesConfig.cpp",     "Dorven/TeskImages",              2000 },
    { "TeskImagesFifo.cpp",       "Dorven/TeskImages",              3000 },
    { "TeskImagesThread.cpp",     "Dorven/TeskImages",              4000 },
    { "errtrace.cpp",             "merror/inc/errtrace",            1000 },
    { "fastfile_reader.cpp",      "mfileio/src/fastfile",           1000 },
    { "fastfile_transfer.cpp",    "mfileio/src/fastfile",           2000 },
    { "fastfile_whole.cpp",       "mfileio/src/fastfile",           3000 },
    { "fastfile_writer.cpp",      "mfileio/src/fastfile",           4000 },
    { "msharedmem_registry.cpp",  "mipc/src/msharedmem_win32",      1000 },
    { "msharedmem_win32.cpp",     "mipc/src/msharedmem_win32",      2000 },
    { "MIniData_files.cpp",       "mutil/src/MIniData_template_core", 1000 },
    { "MIniData_edit.cpp",        "mutil/src/MIniData_template_core", 2000 },
    { "MIniData_parser.cpp",      "mutil/src/MIniData_template_core", 3000 },
    { "MIniData_section.cpp",     "mutil/src/MIniData_template_core", 4000 },
    { "MIniData_template_core.cpp", "mutil/src/MIniData_template_core", 5000 },
};

/// A statement whose number stays, wherever it moves in its source.
struct FixedPlace {
    std::string_view name;
    int line;
};

// kept on purpose: docs/oddities.md, entry-numbers
inline constexpr FixedPlace kFixedPlaces[] = {
    { "DorVenPlugin",          31 },  // a device is made
    { "DorVenPlugin",          41 },  // and goes
    // commands to a device that was never opened:
    { "DorVenPluginQCamCtrl",  64 },  // set frame rate
    { "DorVenPluginQCamCtrl",  72 },  // frame rate
    { "DorVenPluginQImage",    57 },  // grab
    { "DorVenPluginQImage",    66 },  // freeze
    { "DorVenPluginQImage",    75 },  // set callback
    { "DorVenPluginQImage",    89 },  // remove callback
    { "DorVenPluginQImage",    97 },  // meta data map
    { "DorVenPluginQImage",   105 },  // image buffer
    { "DorVenPluginQImage",   113 },  // image memory
    { "DorVenPluginQImage",   121 },  // pixel format
    { "DorVenPluginQImage",   129 },  // pixel size
    { "DorVenPluginQImage",   139 },  // clipping capability
    { "DorVenPluginQImage",   170 },  // set clipping
    { "DorVenPluginQImage",   182 },  // clipping
    // the support library:
    { "merror/inc/errtrace",   89 },  // a dump's text was cut
    { "mutil/src/massert",     61 },  // every failed assertion
};
// clang-format on

/// The number that a statement reports.
///
/// @param file  __FILE__ of the statement, with folders or without.
/// @param line  __LINE__ of the statement.
consteval int reportedLine(std::string_view file, int line) {
    const std::string_view source = file.substr(file.find_last_of("/\\") + 1);
    const auto* const row = std::ranges::find(kReportedSources, source, &ReportedSource::source);
    return row == std::end(kReportedSources) ? line : row->added + line;
}

/// The number of the statement that stands here.
#define M_HERE reportedLine(__FILE__, __LINE__)
