#include "mmemlinewriter.h"

#include <atomic>

#include "platform.h"

namespace {

using Field = std::uint64_t LineFifoHeader::*;

struct OwnField {
    const char* name;
    Field field;
};
// clang-format off
constexpr OwnField kOwnFields[] = {
    { "write index", &LineFifoHeader::writeIndex },
    { "line length", &LineFifoHeader::lineLength },
    { "slot count",  &LineFifoHeader::slotCount  },
    { "writer mark", &LineFifoHeader::writerMark },
};
// clang-format on

const char kWas[] = "it was";

std::uint64_t load(LineFifoHeader& header, Field field, std::memory_order order = std::memory_order_relaxed) {
    return std::atomic_ref(header.*field).load(order);
}

void store(LineFifoHeader& header, Field field, std::uint64_t value,
           std::memory_order order = std::memory_order_release) {
    std::atomic_ref(header.*field).store(value, order);
}

std::uint8_t* slotsOf(LineFifoHeader* header) { return reinterpret_cast<std::uint8_t*>(header) + sizeof *header; }

}  // namespace

bool MMemLineWriter::lay(void* memory, std::size_t lineCount, std::size_t lineBytes) {
    _header = nullptr;
    if (MMemLineFifo_Create(memory, lineCount, lineBytes) == 0) return false;
    _header = static_cast<LineFifoHeader*>(memory);
    _own = {};
    _own.writerMark = reinterpret_cast<std::uintptr_t>(slotsOf(_header));
    _own.lineLength = lineBytes;
    _own.slotCount = static_cast<std::uint64_t>(lineCount) + 1;
    _lastReadIndex = 0;
    _given = false;
    _overwritten.reset();
    return true;
}

void MMemLineWriter::recreate() {
    if (!_header) return;
    // First, before the read index is read: without its mark a reader takes no further line and releases none. The one
    // exception is a reader that has already checked its mark and now moves the index from the slot that is there.
    store(*_header, &LineFifoHeader::readerMark, 0);
    fullBarrier();
    _given = false;
    _overwritten.reset();
    constexpr int kTries = 10;  // that reader moves the index once, and once back; more often only a stray store does
    bool laid = false;
    for (int i = 0; i < kTries && !laid; ++i) laid = layBehindReader();
    if (!laid) store(*_header, &LineFifoHeader::readIndex, _own.writeIndex);
    // Again: a host that attached in between has seen the old values.
    store(*_header, &LineFifoHeader::readerMark, 0);
}

// Empty behind the slot at which the read index stands: the writer comes round to that one last, and finds the ring
// full before it. False when the index was moved meanwhile.
bool MMemLineWriter::layBehindReader() {
    std::uint64_t found = load(*_header, &LineFifoHeader::readIndex, std::memory_order_acquire);
    const std::uint64_t begin = behind(possible(found));
    _own.writeIndex = _lastReadIndex = begin;
    for (const OwnField& own : kOwnFields) store(*_header, own.field, _own.*own.field);
    // Last: to a host that attaches in between, no line but that slot seems to wait. Were this index first, the slot at
    // it would seem to, which is the one filled next. Only from where it stood: a reader that moved it to slot 1 may
    // still take that step back, and an old line would wait in a ring that begins there.
    return std::atomic_ref(_header->readIndex).compare_exchange_strong(found, begin);
}

void MMemLineWriter::spoil(const LineFifoHeader& values) {
    if (!_header) return;
    for (const Field field : {&LineFifoHeader::writeIndex, &LineFifoHeader::readIndex, &LineFifoHeader::lineLength,
                              &LineFifoHeader::slotCount})
        store(*_header, field, values.*field, std::memory_order_relaxed);
}

void MMemLineWriter::leave() {
    MMemLineFifo_Destroy(_header);
    _header = nullptr;
}

std::optional<LineFifoDamage> MMemLineWriter::damage() const {
    if (!_header) return std::nullopt;
    if (_overwritten) return LineFifoDamage{kOwnFields[0].name, *_overwritten, kWas, _own.writeIndex};
    for (const OwnField& own : kOwnFields) {
        const std::uint64_t found = load(*_header, own.field);
        if (found != _own.*own.field) return LineFifoDamage{own.name, found, kWas, _own.*own.field};
    }
    const std::uint64_t read = load(*_header, &LineFifoHeader::readIndex);
    if (read >= _own.slotCount) return LineFifoDamage{"read index", read, "it is at most", _own.slotCount - 1};
    return std::nullopt;
}

std::uint8_t* MMemLineWriter::slot() {
    if (!_header) return nullptr;
    _given = _given || !isFull();
    return _given ? slotsOf(_header) + _own.writeIndex * _own.lineLength : nullptr;
}

bool MMemLineWriter::put() {
    _given = false;
    if (!_header || isFull()) return false;
    const std::uint64_t before = _own.writeIndex;
    _own.writeIndex = behind(before);
    // Full barrier and store in one step. The exchange also reveals an index that another process has stored since the
    // last check: a reader that saw it takes no line until the ring is recreated.
    const std::uint64_t found =
        std::atomic_ref(_header->writeIndex).exchange(_own.writeIndex, std::memory_order_seq_cst);
    if (found != before) _overwritten = found;
    return true;
}

std::uint64_t MMemLineWriter::readIndex() const {
    if (!_header) return 0;
    // Pairs with the release in ReleaseLine: once the index is seen, the reader is done with the slots before it.
    return possible(load(*_header, &LineFifoHeader::readIndex, std::memory_order_acquire));
}

std::uint64_t MMemLineWriter::possible(std::uint64_t read) const {
    if (read < _own.slotCount) _lastReadIndex = read;
    return _lastReadIndex;
}

bool MMemLineWriter::hasReader() const { return MMemLineFifo_IsReaderAttached(_header) != 0; }

std::size_t MMemLineWriter::waiting() const {
    if (!_header) return 0;
    const std::uint64_t read = readIndex();
    const std::uint64_t wrapped = _own.writeIndex < read ? _own.slotCount : 0;
    return static_cast<std::size_t>(_own.writeIndex - read + wrapped);
}
