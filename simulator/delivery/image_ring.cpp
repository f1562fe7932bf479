#include "image_ring.h"

#include <algorithm>
#include <cstring>

#include "fault_plan.h"
#include "mevent.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "object_names.h"
#include "object_refusal.h"
#include "platform.h"

namespace simulator {

using image_road::imageLineBytes;
using image_road::ImageLineHeader;
using image_road::kImagesEvent;
using image_road::kImagesMemory;

namespace {

std::string eventText(const std::string& name) { return "no event \"" + name + '"'; }

/// Value of every spoilt field: beyond each memory and each slot count, yet far from wrapping.
constexpr std::uint64_t kAbsurd = std::uint64_t{1} << 62;

}  // namespace

ImageRing::ImageRing(std::size_t imageBytes, std::size_t lineCount, std::size_t roomForBytes)
    : _lineBytes(imageLineBytes(imageBytes)),
      _lineCount(lineCount),
      _roomBytes(memoryBytesFor(roomForBytes, lineCount)) {}

ImageRing::~ImageRing() {
    close();
    if (_event) MEvent_Delete(_event);
}

ImageRing::OpenResult ImageRing::open() {
    close();
    if (!_writerClaim.claim()) {
        if (_writerClaim.isTakenByAnother()) return OpenResult::otherWriter;
        tellRefusal(eventText(_writerClaim.name()), _writerClaim.name().c_str(), _writerClaim.error());
        return OpenResult::failed;
    }
    const std::size_t existing = MSharedMem_GetExistingSize(kImagesMemory);
    if (existing != 0 && existing < memoryBytes()) return OpenResult::tooSmall;
    if (!openEvent()) return OpenResult::failed;
    if (!openMemory(existing != 0 ? memoryBytes() : std::max(memoryBytes(), _roomBytes))) return OpenResult::failed;
    if (!_writer.lay(_memory, _lineCount, _lineBytes)) {
        MSharedMem_Unlink(_memory);
        _memory = nullptr;
        _problem = "no ring can be laid in " + std::to_string(memoryBytes()) + " bytes of shared memory";
        return OpenResult::failed;
    }
    return OpenResult::opened;
}

bool ImageRing::openEvent() {
    if (_event) return true;
    // Without it no reader would ever be woken. Not an MProcessEvent, which would continue without it.
    const HANDLE event = MEvent_Create(kImagesEvent);
    const DWORD error = GetLastError();
    if (event && event != INVALID_HANDLE_VALUE) _event = event;
    if (!_event) tellRefusal(eventText(kImagesEvent), kImagesEvent, error);
    return _event != nullptr;
}

bool ImageRing::openMemory(std::size_t bytes) {
    DWORD error = ERROR_NOT_ENOUGH_MEMORY;  // an existing mapping can only fail to be mapped
    _memory = MSharedMem_LinkOrCreate(kImagesMemory, bytes, &error);
    if (!_memory)
        tellRefusal("no shared memory of " + std::to_string(bytes) + " bytes for the images", kImagesMemory, error);
    return _memory != nullptr;
}

// Reports the total need, whichever object is the first that does not fit.
void ImageRing::tellRefusal(const std::string& what, const char* name, DWORD error) {
    const ObjectRefusal refusal = platform_explainRefusal(name, error, std::max(memoryBytes(), _roomBytes));
    _problem = what + ": " + refusal.text();
    if (refusal.isAboutRoom) _problem += "; a ring of fewer --lines needs less";
}

void ImageRing::close() {
    if (!_memory) return;
    _writer.leave();
    MSharedMem_Unlink(_memory);
    _memory = nullptr;
}

void ImageRing::setImageBytes(std::size_t imageBytes) {
    close();
    _lineBytes = imageLineBytes(imageBytes);
}

void ImageRing::recreateFor(std::size_t imageBytes) {
    if (!_memory) return;
    _lineBytes = imageLineBytes(imageBytes);
    _writer.lay(_memory, _lineCount, _lineBytes);
}

void ImageRing::spoilHeader(std::uint64_t seed) {
    if (!_memory) return;
    LineFifoHeader values{};
    for (std::uint64_t* const value : {&values.writeIndex, &values.readIndex, &values.lineLength, &values.slotCount}) {
        seed = scatter(seed, 0, 0);
        *value = seed | kAbsurd;
    }
    _writer.spoil(values);
}

std::optional<std::uint64_t> ImageRing::readerIndex() const {
    if (!_writer.hasReader()) return std::nullopt;
    return _writer.readIndex();
}

std::uint8_t* ImageRing::slotPixels() {
    std::uint8_t* const line = _writer.slot();
    return line ? line + sizeof(ImageLineHeader) : nullptr;
}

bool ImageRing::publish(const ImageLineHeader& header) {
    std::uint8_t* const line = _writer.slot();
    if (!line) return false;
    std::memcpy(line, &header, sizeof header);
    if (!_writer.put()) return false;
    wakeReader();
    return true;
}

void ImageRing::wakeReader() {
    if (_event) MEvent_Notify(_event);
}

std::size_t ImageRing::memoryBytes() const { return MMemLineFifo_MemoryBytes(_lineCount, _lineBytes); }

std::size_t ImageRing::memoryBytesFor(std::size_t imageBytes, std::size_t lineCount) {
    return MMemLineFifo_MemoryBytes(lineCount, imageLineBytes(imageBytes));
}

}  // namespace simulator
