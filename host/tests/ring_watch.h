// Waits for tests of whole programs, observed in the ring between simulator and camera.
#pragma once

#include <atomic>
#include <cstdint>

#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "object_look.h"
#include "object_names.h"
#include "stopwatch.h"

namespace test {

/// The ring of images, seen from outside. Each wait returns false after a minute.
class RingWatch {
public:
    RingWatch() = default;
    ~RingWatch() {
        if (_memory) MSharedMem_Unlink(_memory);
    }
    RingWatch(const RingWatch&) = delete;
    RingWatch& operator=(const RingWatch&) = delete;

    /// Waits until that many images wait in it.
    bool waitForWaiting(std::size_t images) {
        return becomesTrue([&] { return exists() && MMemLineFifo_GetCount(_memory) >= images; });
    }
    /// Waits until the camera has taken at least that many from now on.
    bool waitForTaken(int images) {
        std::uint64_t last = 0;
        return becomesTrue([&] {
            if (!exists() || MMemLineFifo_IsReaderAttached(_memory) == 0) return false;
            const std::uint64_t index =
                std::atomic_ref(static_cast<LineFifoHeader*>(_memory)->readIndex).load(std::memory_order_acquire);
            if (index != last) --images;
            last = index;
            return images <= 0;
        });
    }

private:
    bool exists() {
        if (!_memory && platform_lookAtObject(image_road::kImagesMemory, 0).kind == ObjectSight::Kind::memory)
            _memory = MSharedMem_Link(image_road::kImagesMemory);
        return _memory != nullptr;
    }

    void* _memory = nullptr;
};

}  // namespace test
