// The reading end of the image connection as a camera plays it, for tests.
#pragma once

#include <atomic>
#include <chrono>
#include <cstring>
#include <optional>
#include <thread>

#include "image_line.h"
#include "image_ring.h"
#include "inspection.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"
#include "platform.h"

namespace test {

class RingReader {
public:
    explicit RingReader(const frames::ImageFormat& format) : _format(format), _event(image_road::kImagesEvent) {}
    ~RingReader() { detach(); }
    RingReader(const RingReader&) = delete;
    RingReader& operator=(const RingReader&) = delete;

    /// Links memory and fifo again, if they exist.
    bool attach() {
        detachMemory();
        if (!memoryExists()) return false;
        _memory = MSharedMem_Link(image_road::kImagesMemory);
        if (_memory && MMemLineFifo_Link(_memory) != 0) {
            _lineLength = field(&LineFifoHeader::lineLength);
            _slotCount = field(&LineFifoHeader::slotCount);
            return true;
        }
        detachMemory();
        return false;
    }

    /// Same as attach, tried again at every signal for some seconds.
    bool attachAtSignal(double seconds = 60.0) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!attach()) {
            if (std::chrono::steady_clock::now() > end) return false;
            _event.Wait(0.1);
        }
        return true;
    }

    void detach() {
        if (_memory) MMemLineFifo_Unlink(_memory);
        detachMemory();
    }

    bool attached() const { return _memory && MMemLineFifo_IsReaderAttached(_memory) != 0; }
    bool writerAttached() const { return _memory && MMemLineFifo_IsWriterAttached(_memory) != 0; }
    void* memory() const { return _memory; }
    MProcessEvent& event() { return _event; }

    /// Header and inspection of the oldest waiting image, which is released; none when no image waits.
    struct Image {
        image_road::ImageLineHeader header;
        frames::Inspection inspection;
    };
    std::optional<Image> take() {
        const std::uint8_t* line = frontLine();
        if (!line) return std::nullopt;
        Image image{};
        std::memcpy(&image.header, line, sizeof image.header);
        image.inspection = frames::inspectImage({line + 24, _format});
        MMemLineFifo_ReleaseLine(_memory);
        return image;
    }

    /// Same as take, but waits up to some seconds for a signal. A reader that the writer has detached attaches again.
    std::optional<Image> waitAndTake(double seconds = 60.0) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        for (;;) {
            if (!attached()) attach();
            if (auto image = take()) return image;
            if (std::chrono::steady_clock::now() > end) return std::nullopt;
            _event.Wait(0.1);
        }
    }

    static bool memoryExists() {
        const HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::kImagesMemory);
        if (mapping) CloseHandle(mapping);
        return mapping != nullptr;
    }

private:
    std::uint64_t field(std::uint64_t LineFifoHeader::*which) const {
        return std::atomic_ref(static_cast<LineFifoHeader*>(_memory)->*which).load(std::memory_order_acquire);
    }
    /// As a camera looks: nothing of a header that is not what it was at the attaching.
    const std::uint8_t* frontLine() const {
        if (!attached()) return nullptr;
        const std::uint64_t read = field(&LineFifoHeader::readIndex);
        const std::uint64_t write = field(&LineFifoHeader::writeIndex);
        const bool same = field(&LineFifoHeader::lineLength) == _lineLength &&
                          field(&LineFifoHeader::slotCount) == _slotCount && attached();
        if (!same || read == write || read >= _slotCount || write >= _slotCount) return nullptr;
        if (_lineLength < sizeof(image_road::ImageLineHeader) + _format.bytes()) return nullptr;
        if (_slotCount > (MSharedMem_GetSize(_memory) - sizeof(LineFifoHeader)) / _lineLength) return nullptr;
        return static_cast<const std::uint8_t*>(_memory) + sizeof(LineFifoHeader) + read * _lineLength;
    }
    void detachMemory() {
        if (_memory) MSharedMem_Unlink(_memory);
        _memory = nullptr;
    }

    frames::ImageFormat _format;
    MProcessEvent _event;
    void* _memory = nullptr;
    std::uint64_t _lineLength = 0;  // at the attaching
    std::uint64_t _slotCount = 0;
};

}  // namespace test
