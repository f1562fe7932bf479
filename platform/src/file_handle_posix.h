// Handles of files that the layer has opened itself.
#pragma once

#include "descriptor_posix.h"
#include "platform.h"

/// Takes over the descriptor of a file that is open for writing and locked as by CreateFileA.
/// @return INVALID_HANDLE_VALUE, with its error, when no handle is left; the descriptor is then closed.
HANDLE FileHandle_OfWriter(Descriptor& descriptor);
