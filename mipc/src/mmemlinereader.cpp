#include "mmemlinereader.h"

#include <thread>
#include <utility>

#include "fifo_header.h"

namespace {

LineFifoHeader copyOf(const void* memory) {
    const auto field = [memory](std::size_t offset) {
        return fifo_header::load(memory, offset, std::memory_order_acquire);
    };
    LineFifoHeader header{};
    header.readIndex = field(offsetof(LineFifoHeader, readIndex));
    header.writeIndex = field(offsetof(LineFifoHeader, writeIndex));
    header.lineLength = field(offsetof(LineFifoHeader, lineLength));
    header.slotCount = field(offsetof(LineFifoHeader, slotCount));
    return header;
}

}  // namespace

MMemLineReader::Link MMemLineReader::link(void* memory, std::size_t memorySize, std::size_t leastLineLength) {
    *this = MMemLineReader(_hasMark);
    if (memorySize < sizeof(LineFifoHeader)) return Link::noHeader;  // before anything of it is touched
    if (!MMemLineFifo_Link(memory)) return Link::hasReader;
    _memory = memory;
    takeGeometry(memorySize, leastLineLength);
    return Link::linked;
}

void* MMemLineReader::unlink() {
    MMemLineFifo_Unlink(_memory);
    return std::exchange(*this, MMemLineReader(_hasMark))._memory;
}

const unsigned char* MMemLineReader::peek() {
    if (!_readable || !_hasMark(_memory)) return nullptr;
    return MMemLineFifo_GetReadLine(_memory) ? takeFront() : nullptr;
}

void MMemLineReader::release() {
    const auto front = std::exchange(_front, std::nullopt);
    // If a writer recreated the fifo while the line was in use, it has removed the reader's mark: the line is gone with
    // the old ring, and the new ring's read index must stay unchanged.
    if (!front || !_hasMark(_memory)) return;
    const LineFifoSlot taken{*front, _slotCount};
    MMemLineFifo_ReleaseLine(_memory, &taken);
}

void MMemLineReader::takeGeometry(std::size_t memorySize, std::size_t leastLineLength) {
    _found = copyOf(_memory);
    _lineLength = _found.lineLength;
    _slotCount = _found.slotCount;
    if (_slotCount == 0) return;  // not created yet
    const bool fits = MMemLineFifo_Fits(_found, memorySize);
    _readable = fits && _lineLength >= leastLineLength;
    if (!_readable && !isRecreated()) _damage = fits ? Damage::shortLines : Damage::slotsDoNotFit;
}

// The header says that a line waits. Its place follows from one copy of the header and the checked geometry, so it lies
// inside the memory, whatever else is stored meanwhile. After all loads the mark is checked once more: a writer that
// recreated the fifo in between has removed it.
const unsigned char* MMemLineReader::takeFront() {
    const LineFifoHeader now = copyOf(_memory);
    const bool sameGeometry = now.lineLength == _lineLength && now.slotCount == _slotCount;
    if (sameGeometry && MMemLineFifo_HasPossibleIndices(now)) {
        if (now.writeIndex == now.readIndex || !_hasMark(_memory)) return nullptr;
        _front = now.readIndex;
        return static_cast<const unsigned char*>(_memory) + sizeof(LineFifoHeader) + now.readIndex * _lineLength;
    }
    if (isRecreated()) return nullptr;
    _readable = false;
    _damage = sameGeometry ? Damage::impossibleIndices : Damage::otherGeometry;
    _found = now;
    return nullptr;
}

// A writer that recreates the fifo first stores the new geometry and removes the reader's mark straight after. So if
// something looks wrong, this checks again and gives the writer time between both steps: without the mark, all is well.
bool MMemLineReader::isRecreated() const {
    constexpr int kLooks = 1000;  // some microseconds
    for (int look = 0; look < kLooks; ++look) {
        if (!_hasMark(_memory)) return true;
    }
    std::this_thread::yield();
    return !_hasMark(_memory);
}
