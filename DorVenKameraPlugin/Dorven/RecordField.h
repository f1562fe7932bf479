// Access to a field of the image record that two threads use. The record has no lock, so each thread gets the value
// before or after a change. Fields that only one thread uses are read and written directly.
#pragma once

#include <atomic>

namespace kest::dorven {

template <typename Field>
Field loadField(Field& field) {
    return std::atomic_ref(field).load(std::memory_order_relaxed);
}

template <typename Field>
void storeField(Field& field, Field value) {
    std::atomic_ref(field).store(value, std::memory_order_relaxed);
}

}  // namespace kest::dorven
