#include "image_ring.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "fault_plan.h"
#include "mevent.h"
#include "mmemlinefifo.h"
#include "msharedmem.h"
#include "object_refusal.h"
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

HANDLE createMemory(std::size_t bytes) {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, static_cast<DWORD>(bytes >> 32),
                              static_cast<DWORD>(bytes & 0xFFFFFFFF), kMemoryName);
}

std::string eventText(const std::string& name) { return "no event \"" + name + '"'; }

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
    const std::size_t existing = existingMemoryBytes();
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
    // Without it no reader would ever be woken, so no MProcessEvent, which goes on without.
    const HANDLE event = MEvent_Create(kEventName);
    const DWORD error = GetLastError();
    if (event && event != INVALID_HANDLE_VALUE) _event = event;
    if (!_event) tellRefusal(eventText(kEventName), kEventName, error);
    return _event != nullptr;
}

bool ImageRing::openMemory(std::size_t bytes) {
    // The library tells the reason of a refusal to its log alone, so the system itself is asked first.
    const HANDLE made = createMemory(bytes);
    const DWORD error = made ? ERROR_NOT_ENOUGH_MEMORY : GetLastError();  // made, it can only fail to be mapped
    _memory = MSharedMem_LinkOrCreate(kMemoryName, bytes);
    if (made) CloseHandle(made);
    if (!_memory)
        tellRefusal("no shared memory of " + std::to_string(bytes) + " bytes for the images", kMemoryName, error);
    return _memory != nullptr;
}

// What it takes all in all is needed, whichever object is the first one that does not fit.
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
    _lineBytes = lineBytesOf(imageBytes);
}

void ImageRing::layAgain(std::size_t imageBytes) {
    if (!_memory) return;
    _lineBytes = lineBytesOf(imageBytes);
    _writer.lay(_memory, _lineCount, _lineBytes);
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

std::optional<std::uint64_t> ImageRing::readerIndex() const {
    if (!_writer.hasReader()) return std::nullopt;
    return _writer.readIndex();
}

std::uint8_t* ImageRing::slotPixels() {
    std::uint8_t* const line = _writer.slot();
    return line ? line + sizeof(LineHeader) : nullptr;
}

bool ImageRing::publish(const LineHeader& header) {
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

std::size_t ImageRing::memoryBytes() const { return ringBytesOf(_lineBytes, _lineCount); }

std::size_t ImageRing::memoryBytesFor(std::size_t imageBytes, std::size_t lineCount) {
    return ringBytesOf(lineBytesOf(imageBytes), lineCount);
}

}  // namespace simulator
