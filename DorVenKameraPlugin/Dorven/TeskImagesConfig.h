// The camera's configuration file.
#pragma once

#include <memory>

#include "HostTypes.h"
#include "MIniData.h"

namespace kest::dorven {

/// Opens the ini file that contains the camera's configuration: the last one of the chain that begins with the given
/// one (config_chain.h).
///
/// @param path  Null: no file. A missing file counts as empty.
/// @return      Null, after an entry in the error log, when a file cannot be read or the names lead in a circle.
std::shared_ptr<MIniData> openIniFile(const char* path);

/// Applies section "image" to a record. A missing key leaves its field unchanged; a size that is no number becomes 0.
void applyImageSection(const MIniData& ini, NUV::IMAGEMEMORY& record);

}  // namespace kest::dorven
