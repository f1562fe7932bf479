#include "no_memory.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int> untilFailure{0};  // 0: none waits
std::atomic<int> untilNothrowFailure{0};

bool failsNow(std::atomic<int>& counter) { return counter.load() > 0 && --counter == 0; }

}  // namespace

namespace test {

void failAllocation(int count) { untilFailure = count; }

void failNothrowAllocation(int count) { untilNothrowFailure = count; }

bool allocationHasFailed() { return untilFailure == 0 && untilNothrowFailure == 0; }

}  // namespace test

void* operator new(std::size_t size) {
    void* const memory = failsNow(untilFailure) ? nullptr : std::malloc(size > 0 ? size : 1);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (!failsNow(untilNothrowFailure)) return std::malloc(size > 0 ? size : 1);
    errno = ENOMEM;
    return nullptr;
}

void* operator new[](std::size_t size) { return operator new(size); }

void* operator new[](std::size_t size, const std::nothrow_t& none) noexcept { return operator new(size, none); }

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

void operator delete[](void* memory) noexcept { std::free(memory); }

void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
