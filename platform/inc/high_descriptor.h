// Descriptors of the Linux layer are 3 or higher. If a host was started without standard input, output or error, their
// numbers are free, and the system hands out the lowest free number. Text that the host then writes to standard error
// would end up in the bytes that two processes share.
#pragma once

/// Every call of the layer that opens a descriptor passes it to this function at once: highDescriptor(open(…)).
///
/// @param opened  Result of the call: a descriptor that is closed on exec, or a negative number.
/// @return        The same file under a number of 3 or higher, closed on exec. Negative, with errno, when opening
///                failed or too many files are open.
int highDescriptor(int opened);
