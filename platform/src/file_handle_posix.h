// Handles of files that the layer has opened itself.
#pragma once

#include "descriptor_posix.h"
#include "platform.h"

/// Takes over the descriptor of a file that is open for writing and locked as CreateFileA locks one.
/// @return INVALID_HANDLE_VALUE, with its error, when there is no handle for it; it is closed then.
HANDLE FileHandle_OfWriter(Descriptor& descriptor);
