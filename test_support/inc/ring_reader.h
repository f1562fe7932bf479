// The reading end of the image connection as a camera plays it, for tests.
#pragma once

#include <chrono>
#include <cstring>
#include <optional>
#include <thread>

#include "image_line.h"
#include "image_ring.h"
#include "inspection.h"
#include "mmemlinereader.h"
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
        if (!_memory) return false;
        const std::size_t leastLineLength = sizeof(image_road::ImageLineHeader) + _format.bytes();
        if (_ring.link(_memory, MSharedMem_GetSize(_memory), leastLineLength) == MMemLineReader::Link::linked)
            return true;
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
        const std::uint8_t* const line = _ring.peek();
        if (!line) return std::nullopt;
        Image image{};
        std::memcpy(&image.header, line, sizeof image.header);
        image.inspection = frames::inspectImage({line + 24, _format});
        _ring.release();
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
    void detachMemory() {
        if (_memory) MSharedMem_Unlink(_memory);
        _memory = nullptr;
        _ring = {};
    }

    frames::ImageFormat _format;
    MProcessEvent _event;
    void* _memory = nullptr;
    MMemLineReader _ring;
};

}  // namespace test
