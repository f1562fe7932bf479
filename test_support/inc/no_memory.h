// Makes single allocations of this test program fail.
#pragma once

namespace test {

/// The count-th allocation from now fails with std::bad_alloc; 1 is the next. Once.
void failAllocation(int count);

/// The same for allocations that return null (std::nothrow); errno is then ENOMEM.
void failNothrowAllocation(int count);

/// Whether no failure is pending any more.
bool allocationHasFailed();

}  // namespace test
