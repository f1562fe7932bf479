// Descriptors of the Linux layer are 3 or higher. A host that was started without standard input, output or error has
// their numbers free, and the system gives the lowest one: what the host then writes to standard error would land in
// the bytes that two processes share.
#pragma once

/// Every call of the layer that opens a descriptor goes through this, at once: highDescriptor(open(…)).
///
/// @param opened  What the call gave: a descriptor that is closed on exec, or a negative number.
/// @return        The same file under a number of 3 or higher, closed on exec; negative, with errno, when opening
///                failed or there are too many open files.
int highDescriptor(int opened);
