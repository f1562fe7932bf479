// Named auto-reset events, as free functions. The rest of the system uses MProcessEvent.
#pragma once

#include "platform.h"

/// Creates an event, not signalled, or opens the existing one of that name.
///
/// @param name  Name, shared with mappings; null or "" for an unnamed event.
/// @return      A handle for MEvent_Delete. On failure INVALID_HANDLE_VALUE after an entry in the error trace, or null
///              without an entry when the system refuses, for example because a mapping has the name. Callers test for
///              both.
HANDLE MEvent_Create(const char* name);

/// Closes the handle. 1, or 0 after an entry in the error trace.
int MEvent_Delete(HANDLE event);

/// Waits for one event, which resets itself.
///
/// @param event      Pointer to one handle.
/// @param count      Ignored: the call waits for exactly one handle.
/// @param timeoutMs  Milliseconds; INFINITE: no limit.
/// @return           0 signalled, -2 timed out, -1 failed, after an entry in the error trace.
int MEvent_Wait(const HANDLE* event, int count, DWORD timeoutMs);

/// Signals the event: releases one wait, now or the next one. 1, or 0 after an entry in the error trace.
int MEvent_Notify(HANDLE event);
