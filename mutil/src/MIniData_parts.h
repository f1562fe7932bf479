// Shared by the sources of ini data: their name in reports, and the grammar of a single line.
#pragma once

#include <cstddef>
#include <string_view>

#include "MIniData_template_core.h"

using IniData = MIniDataT<MIniDataCaseSensitiveCompare>;
using IniSection = IniData::Section;

namespace {

const char kFile[] = "mutil/src/MIniData_template_core";  // all of these sources report under this name

constexpr std::size_t kLastErrorSize = 1024;
constexpr std::size_t kUsualLinesPerSection = 10;

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kCommentMarks = "#*/;";  // kept on purpose: docs/oddities.md, comment-marks

constexpr std::string_view withoutTrailingBlanks(std::string_view text) {
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

constexpr bool beginsComment(char firstVisible) { return kCommentMarks.find(firstVisible) != std::string_view::npos; }

// The name of an entry's line: from its first visible character up to '=', without trailing blanks. Without '=' it is
// the whole rest of the line, including trailing blanks; kept on purpose: docs/oddities.md, bare-line-name
constexpr std::string_view entryName(std::string_view line, std::size_t nameBegin, std::size_t equals) {
    if (equals == std::string_view::npos) return line.substr(nameBegin);
    return withoutTrailingBlanks(line.substr(nameBegin, equals - nameBegin));
}

}  // namespace
