// Access to the header that both fifos begin with: fields of 64 bits that two processes share. Not for use outside
// mipc.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fifo_header {

constexpr std::size_t kAlignment = 8;
constexpr std::size_t kHeaderSize = 64;

inline bool isAligned(const void* memory) { return reinterpret_cast<std::uintptr_t>(memory) % kAlignment == 0; }

/// Same for a field, although its header's alignment already decides this. The address is read through memory so that
/// the compiler cannot conclude that and remove the texts of the impossible case.
inline bool isFieldAligned(const void* memory, std::size_t field) {
    const volatile std::uintptr_t address = reinterpret_cast<std::uintptr_t>(memory) + field;
    return address % kAlignment == 0;
}

/// A field by its offset; all fields are accessed this way, because a header may be where no structure can be. Only for
/// an aligned header.
inline std::atomic_ref<std::uint64_t> fieldAt(const void* memory, std::size_t field) {
    auto* const bytes = static_cast<unsigned char*>(const_cast<void*>(memory)) + field;
    return std::atomic_ref(*reinterpret_cast<std::uint64_t*>(bytes));
}

// The other process stores into the same bytes, so every access is atomic. A misaligned header is copied byte by byte
// instead; it cannot be attached to, so nobody shares it.
inline std::uint64_t load(const void* memory, std::size_t field, std::memory_order order) {
    if (isAligned(memory)) return fieldAt(memory, field).load(order);
    std::uint64_t value = 0;
    std::memcpy(&value, static_cast<const unsigned char*>(memory) + field, sizeof value);
    return value;
}

inline void store(void* memory, std::size_t field, std::uint64_t value, std::memory_order order) {
    if (isAligned(memory)) return fieldAt(memory, field).store(value, order);
    std::memcpy(static_cast<unsigned char*>(memory) + field, &value, sizeof value);
}

/// Stores a mark if there is none, in one step, so that of two attempts at once one fails. False: there is a mark. On a
/// misaligned header it only says whether there is none.
inline bool takeMark(void* memory, std::size_t field, std::uint64_t mark) {
    std::uint64_t none = 0;
    return isAligned(memory) ? fieldAt(memory, field).compare_exchange_strong(none, mark, std::memory_order_acq_rel)
                             : load(memory, field, std::memory_order_relaxed) == 0;
}

/// The value of a mark: the address after the header, in this process.
inline std::uint64_t dataAreaOf(const void* memory) {
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(memory) + kHeaderSize);
}

/// Such a value as a pointer, for %p.
inline const void* shown(std::uint64_t address) {
    return reinterpret_cast<const void*>(static_cast<std::uintptr_t>(address));
}

}  // namespace fifo_header
