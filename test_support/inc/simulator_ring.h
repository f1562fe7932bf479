// A simulator's side of the ring, for tests: creates "DorVenImages", writes images, signals "DorVenImagesEvent".
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "TeskImagesFifo.h"
#include "image_line.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"

namespace test {

class SimulatorRing {
public:
    /// @param pixelBytes  Bytes of an image.   @param lines  Images that fit.
    SimulatorRing(std::size_t pixelBytes, std::size_t lines, bool attachWriter = true)
        : _event(image_road::kImagesEvent), _pixelBytes(pixelBytes) {
        const std::size_t lineBytes = sizeof(image_road::ImageLineHeader) + pixelBytes;
        _memory = MSharedMem_LinkOrCreate(image_road::kImagesMemory, MMemLineFifo_MemoryBytes(lines, lineBytes));
        if (!_memory) throw std::runtime_error("no memory for the ring");
        if (attachWriter) lay(lines);
    }
    ~SimulatorRing() {
        MMemLineFifo_Destroy(_memory);
        MSharedMem_Unlink(_memory);
    }
    SimulatorRing(const SimulatorRing&) = delete;
    SimulatorRing& operator=(const SimulatorRing&) = delete;

    /// Creates or recreates the ring.
    void lay(std::size_t lines) {
        MMemLineFifo_Create(_memory, lines, sizeof(image_road::ImageLineHeader) + _pixelBytes);
    }

    /// Writes an image whose bytes are all `fill`, without signalling. False when the ring is full.
    bool put(std::uint64_t counter, double timeStampS = 0.0, double frameTimeS = 0.0, unsigned char fill = 1) {
        auto* const line = static_cast<unsigned char*>(MMemLineFifo_GetWriteLine(_memory));
        const image_road::ImageLineHeader header{counter, timeStampS, frameTimeS};
        if (!line || MMemLineFifo_GetFree(_memory) == 0) return false;
        std::memcpy(line, &header, sizeof header);
        std::memset(line + sizeof header, fill, _pixelBytes);
        return MMemLineFifo_PutLine(_memory) != 0;
    }

    void signal() { _event.Notify(); }
    void* memory() const { return _memory; }
    LineFifoHeader& header() const { return *static_cast<LineFifoHeader*>(_memory); }
    bool hasReader() const { return MMemLineFifo_IsReaderAttached(_memory) != 0; }

private:
    MProcessEvent _event;
    std::size_t _pixelBytes;
    void* _memory = nullptr;
};

/// Returns every link to the ring's memory that this process holds: a camera keeps those of recreated rings.
inline void dropImagesMemory() {
    const void* const memory = MSharedMem_Link(image_road::kImagesMemory);
    while (MSharedMem_GetName(memory)) MSharedMem_Unlink(const_cast<void*>(memory));
}

}  // namespace test
