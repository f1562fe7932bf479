#include "platform.h"

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

}  // namespace

extern "C" DWORD GetLastError() { return lastError; }

extern "C" void SetLastError(DWORD code) { lastError = code; }
