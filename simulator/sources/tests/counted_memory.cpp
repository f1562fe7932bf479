#include "counted_memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

// What the allocator adds to a usual block, apart from rounding.
constexpr std::size_t kHead = 16;

std::atomic<std::size_t> taken{0};
std::atomic<std::size_t> peak{0};

void* take(std::size_t size) noexcept {
    auto* const head = static_cast<std::size_t*>(std::malloc(kHead + size));
    if (!head) return nullptr;
    *head = kHead + size;
    const std::size_t now = taken += *head;
    for (std::size_t seen = peak; seen < now && !peak.compare_exchange_weak(seen, now);) {
    }
    return reinterpret_cast<char*>(head) + kHead;
}

void giveBack(void* memory) noexcept {
    if (!memory) return;
    auto* const head = reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - kHead);
    taken -= *head;
    std::free(head);
}

}  // namespace

namespace test {

MemoryPeak::MemoryPeak() : _before(taken) { peak = _before; }

std::size_t MemoryPeak::bytes() const { return std::max(peak.load(), _before) - _before; }

std::size_t takenMemory() { return taken; }

}  // namespace test

void* operator new(std::size_t size) {
    void* const memory = take(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return take(size); }
void operator delete(void* memory) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { giveBack(memory); }
void operator delete[](void* memory) noexcept { giveBack(memory); }
void operator delete[](void* memory, std::size_t) noexcept { giveBack(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { giveBack(memory); }
