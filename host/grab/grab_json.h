// Parts of the host's JSON that several reports share.
#pragma once

#include <nlohmann/json.hpp>

#include "grab_report.h"

namespace host {

nlohmann::ordered_json findingJson(const Finding& finding);

/// The object that printJson prints.
nlohmann::ordered_json grabJson(const GrabReport& report);

}  // namespace host
