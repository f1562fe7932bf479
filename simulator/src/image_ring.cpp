#include "image_ring.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>

#include "fault_plan.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "platform.h"

namespace simulator {
namespace {

const char kMemoryName[] = "DorVenImages";
const char kEventName[] = "DorVenImagesEvent";

// Bytes of the memory that others hold under the name; 0 when there is none. Asks the system itself, because the
// library would report every try in the error trace.
std::size_t existingMemoryBytes() {
    const HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, kMemoryName);
    if (!mapping) return 0;
    std::size_t bytes = 0;
    if (void* view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0)) {
        MEMORY_BASIC_INFORMATION information{};
        if (VirtualQuery(view, &information, sizeof information) != 0) bytes = information.RegionSize;
        UnmapViewOfFile(view);
    }
    CloseHandle(mapping);
    return bytes;
}

/// Of every spoilt field: beyond each memory and each slot count, yet far from wrapping.
constexpr std::uint64_t kAbsurd = std::uint64_t{1} << 62;

std::size_t lineBytesOf(std::size_t imageBytes) { return (sizeof(LineHeader) + imageBytes + 7) / 8 * 8; }

std::size_t ringBytesOf(std::size_t lineBytes, std::size_t lineCount) {
    return sizeof(LineFifoHeader) + (lineCount + 1) * lineBytes;
}

}  // namespace

ImageRing::ImageRing(std::size_t imageBytes, std::size_t lineCount, std::size_t roomForBytes)
    : _lineBytes(lineBytesOf(imageBytes)),
      _lineCount(lineCount),
      _roomBytes(ringBytesOf(lineBytesOf(roomForBytes), lineCount)) {}

ImageRing::~ImageRing() { close(); }

ImageRing::OpenResult ImageRing::open() {
    close();
    if (!_writerClaim.claim()) return OpenResult::otherWriter;
    const std::size_t existing = existingMemoryBytes();
    if (existing != 0 && existing < memoryBytes()) return OpenResult::tooSmall;
    try {
        if (!_event) _event = std::make_unique<MProcessEvent>(kEventName);
    } catch (const std::runtime_error&) {
        return OpenResult::failed;
    }
    _memory = MSharedMem_LinkOrCreate(kMemoryName, existing != 0 ? memoryBytes() : std::max(memoryBytes(), _roomBytes));
    if (!_memory) return OpenResult::failed;
    if (MMemLineFifo_Create(_memory, _lineCount, _lineBytes) == 0) {
        MSharedMem_Unlink(_memory);
        _memory = nullptr;
        return OpenResult::failed;
    }
    return OpenResult::opened;
}

void ImageRing::close() {
    if (!_memory) return;
    MMemLineFifo_Destroy(_memory);
    MSharedMem_Unlink(_memory);
    _memory = nullptr;
}

void ImageRing::setImageBytes(std::size_t imageBytes) {
    close();
    _lineBytes = lineBytesOf(imageBytes);
}

void ImageRing::layAgain(std::size_t imageBytes) {
    if (!_memory) return;
    _lineBytes = lineBytesOf(imageBytes);
    MMemLineFifo_Create(_memory, _lineCount, _lineBytes);
}

void ImageRing::spoilHeader(std::uint64_t seed) {
    if (!_memory) return;
    auto& header = *static_cast<LineFifoHeader*>(_memory);
    std::uint64_t* const fields[] = {&header.writeIndex, &header.readIndex, &header.lineLength, &header.slotCount};
    for (std::uint64_t* const field : fields) {
        seed = scatter(seed, 0, 0);
        std::atomic_ref(*field).store(seed | kAbsurd, std::memory_order_relaxed);
    }
}

std::size_t ImageRing::waiting() const { return _memory ? std::min(MMemLineFifo_GetCount(_memory), _lineCount) : 0; }

std::optional<std::uint64_t> ImageRing::readerIndex() const {
    if (!_memory || MMemLineFifo_IsReaderAttached(_memory) == 0) return std::nullopt;
    return std::atomic_ref(static_cast<LineFifoHeader*>(_memory)->readIndex).load(std::memory_order_relaxed);
}

std::uint8_t* ImageRing::slotPixels() {
    if (!_memory || MMemLineFifo_GetFree(_memory) == 0) return nullptr;
    auto* line = static_cast<std::uint8_t*>(MMemLineFifo_GetWriteLine(_memory));
    return line ? line + sizeof(LineHeader) : nullptr;
}

std::size_t ImageRing::slotIndex() const {
    const auto* line = static_cast<const std::uint8_t*>(MMemLineFifo_GetWriteLine(_memory));
    const auto offset = static_cast<std::size_t>(line - static_cast<const std::uint8_t*>(_memory));
    return (offset - sizeof(LineFifoHeader)) / _lineBytes;
}

bool ImageRing::publish(const LineHeader& header) {
    if (!slotPixels()) return false;
    std::memcpy(MMemLineFifo_GetWriteLine(_memory), &header, sizeof header);
    if (MMemLineFifo_PutLine(_memory) == 0) return false;
    wakeReader();
    return true;
}

void ImageRing::wakeReader() {
    if (_event) _event->Notify();
}

std::size_t ImageRing::memoryBytes() const { return ringBytesOf(_lineBytes, _lineCount); }

std::size_t ImageRing::memoryBytesFor(std::size_t imageBytes, std::size_t lineCount) {
    return ringBytesOf(lineBytesOf(imageBytes), lineCount);
}

}  // namespace simulator
