#include "without_memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool refuses = false;

}  // namespace

WithoutMemory::WithoutMemory() { refuses = true; }
WithoutMemory::~WithoutMemory() { refuses = false; }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return refuses ? nullptr : std::malloc(size ? size : 1);
}
void* operator new(std::size_t size) {
    if (void* memory = operator new(size, std::nothrow)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return operator new(size, std::nothrow); }
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
