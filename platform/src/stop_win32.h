// The stop request as an object to wait for.
#pragma once

#include "platform.h"

/// Manual-reset event that is set when a stop is requested; null when the system has none left. Never closed.
HANDLE stopEvent();
