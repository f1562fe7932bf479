// The place that a log entry names: source and number. Hosts and people search logs by it, so no two statements that
// report under one name may have the same number. This table keeps them distinct.
#pragma once

#include <algorithm>
#include <string_view>

/// A source that shares its reporting name, or whose name has fixed numbers. Its statements report their line plus an
/// offset, which is greater than the number of lines of any source.
struct ReportedSource {
    std::string_view source;  // file name without folder
    std::string_view name;    // its name in the logs
    int added;                // a multiple of 1000
};

/// If you divide a source, give the new one a row here; merror/tests/reported_places_test.py says when one is missing.
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

/// A statement whose number stays fixed wherever the statement moves in its source.
struct FixedPlace {
    std::string_view name;
    int line;
};

// kept on purpose: docs/oddities.md, entry-numbers
inline constexpr FixedPlace kFixedPlaces[] = {
    { "DorVenPlugin",          31 },  // a device is created
    { "DorVenPlugin",          41 },  // a device is destroyed
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

/// The number that a statement on this line reports.
#define M_HERE reportedLine(__FILE__, __LINE__)
