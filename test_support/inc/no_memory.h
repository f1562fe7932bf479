// Refuses memory to single allocations of this test program.
#pragma once

namespace test {

/// The count-th allocation from now fails with std::bad_alloc; 1 is the next. Once.
void failAllocation(int count);

/// The same for allocations that answer with null (std::nothrow); errno is then ENOMEM.
void failNothrowAllocation(int count);

/// Whether no failure is waiting any more.
bool allocationHasFailed();

}  // namespace test
