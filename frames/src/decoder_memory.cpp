#include "decoder_memory.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

namespace frames {
namespace {

constinit thread_local DecoderMemory* watching = nullptr;

}  // namespace

/// Header of each block.
struct alignas(std::max_align_t) DecoderMemory::Head {
    std::size_t bytes;
    Kind kind;
};

DecoderMemory::DecoderMemory(std::size_t limit, std::size_t inflatedBytes)
    : _limit(limit), _inflatedBytes(inflatedBytes) {
    watching = this;
}

DecoderMemory::~DecoderMemory() { watching = nullptr; }

bool DecoderMemory::allows(std::size_t bytes) {
    if (bytes <= _limit && _taken <= _limit - bytes) return true;
    _refusal = Refusal::limit;
    return false;
}

void* DecoderMemory::make(std::size_t bytes, Kind kind) {
    if (watching && !watching->allows(bytes)) return nullptr;
    void* const memory = bytes <= std::numeric_limits<std::size_t>::max() - sizeof(Head)
                             ? ::operator new(sizeof(Head) + bytes, std::nothrow)
                             : nullptr;
    if (!memory) {
        if (watching) watching->_refusal = Refusal::system;
        return nullptr;
    }
    if (watching) watching->_taken += bytes;
    return new (memory) Head{bytes, kind} + 1;
}

void* DecoderMemory::take(std::size_t bytes) {
    void* const block = make(bytes, Kind::plain);
    if (block) std::memset(block, 0, bytes);
    return block;
}

void* DecoderMemory::grow(void* block, std::size_t bytes) {
    if (!block) return make(bytes, Kind::packed);
    const Head& head = static_cast<Head*>(block)[-1];
    if (watching && head.kind == Kind::plain && bytes > watching->_inflatedBytes) {
        watching->_refusal = Refusal::inflated;
        return nullptr;
    }
    void* const larger = make(bytes, head.kind);
    if (!larger) return nullptr;
    std::memcpy(larger, block, std::min(head.bytes, bytes));
    giveBack(block);
    return larger;
}

void DecoderMemory::giveBack(void* block) {
    if (!block) return;
    Head* const head = static_cast<Head*>(block) - 1;
    if (watching) watching->_taken -= std::min(watching->_taken, head->bytes);
    ::operator delete(head);
}

}  // namespace frames
