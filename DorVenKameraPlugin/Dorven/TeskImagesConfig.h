// The camera's configuration file.
#pragma once

#include <memory>

#include "HostTypes.h"
#include "MIniData.h"

namespace kest::dorven {

/// Opens the ini file that holds the camera's configuration: the last one of the chain that begins with the given one
/// (config_chain.h).
///
/// @param path  May be null: no file. A file that does not exist is an empty one.
/// @return      Null, after an entry in the error log, when a file cannot be read or the names lead in a circle.
std::shared_ptr<MIniData> openIniFile(const char* path);

/// Applies section "image" to a record. A key that is absent leaves its field; a size that is no number becomes 0.
void applyImageSection(const MIniData& ini, NUV::IMAGEMEMORY& record);

}  // namespace kest::dorven
