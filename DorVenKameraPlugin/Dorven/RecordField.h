// A field of the image record where two threads meet in it: the record has no lock, so each gets the value before or
// after. Fields that meet nobody are read and written as they are.
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
