// The stop request as something to wait for.
#pragma once

#include "platform.h"

/// Manual-reset event that is set once a stop was requested; null when the system has none left. Never closed.
HANDLE stopEvent();
