#include "IPMessageSender.h"

#include <utility>

#include "errtrace.h"
#include "massert.h"
#include "msharedmem.h"
#include "object_names.h"

namespace kest::dorven {
namespace {

const char kFile[] = "ipc/IPMessageSender";

/// The memory, new or still held by another sender or a receiver; null after a trace.
void* createOrLink(const std::string& name, std::size_t size, std::size_t capacity) {
    if (void* const created = MSharedMem_Create(name.c_str(), size)) return created;
    M_TRACE(4, "shared mem %s already opened, linking...", name.c_str());
    void* const linked = MSharedMem_Link(name.c_str());
    if (!linked) M_TRACE(5, "could not allocate shared mem: %s %zu(%zu)", name.c_str(), size, capacity);
    return linked;
}

}  // namespace

IPMessageSender::IPMessageSender(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event)
    : IPMessageEndpoint(id, size, std::move(event)) {
    M_ASSERT(_event, "_event", "could not create event: %s", image_road::eventOf(_id).c_str());
}

std::shared_ptr<IPMessageSender> IPMessageSender::create(const std::string& id, std::size_t size) {
    return create(id, size, std::make_shared<MProcessEvent>(image_road::eventOf(id).c_str()));
}

std::shared_ptr<IPMessageSender> IPMessageSender::create(const std::string& id, std::size_t size,
                                                         std::shared_ptr<MEvent> event) {
    std::shared_ptr<IPMessageSender> sender(new IPMessageSender(id, size, std::move(event)));
    sender->open();
    return sender;
}

IPMessageSender::~IPMessageSender() { IPMessageSender::close(); }

void IPMessageSender::open() {
    // Another sender of this id has closed and removed the mark: without one nothing can be written any more.
    if (hasLostItsMark()) close();
    if (!isSound()) recreate();
    if (_mem) return;
    const std::string name = memoryName();
    const std::size_t size = memorySize();
    void* const mem = createOrLink(name, size, _size);
    if (!mem) return;
    attach(mem);
    if (!M_ASSERT(_mappedSize >= size, "MSharedMem_GetSize( mem ) >= size", "shared mem too small: %s %zu < %zu",
                  name.c_str(), _mappedSize, size)) {
        detach();  // a message would run over its end
        return;
    }
    // Even in memory where another sender has created a fifo: what waited there is dropped, and its reader attaches
    // again.
    if (MMemFifo_Create(_mem, _size)) return;
    M_TRACE(4, "could not create fifo %s of size: %zu", name.c_str(), _size);
    detach();
}

void IPMessageSender::close() {
    if (!_mem) return;
    MMemFifo_Destroy(_mem);
    detach();
}

bool IPMessageSender::isConnected() { return isComplete(); }

void IPMessageSender::write(const void* bytes, const std::size_t& size) {
    const std::string name = memoryName();
    M_ASSERT(_event, "_event", "event is not initialized: %s", eventName().c_str());
    M_ASSERT(_mem, "_mem", "fifo is not initialized: %s", name.c_str());
    const bool fits =
        M_ASSERT(size <= _size, "size <= _size", "fifo %s is too small: %zu > %zu", name.c_str(), size, _size);
    M_ASSERT(MMemFifo_IsWriterAttached(_mem), "MMemFifo_IsWriterAttached( _mem )", "fifo has no writer attached: %s",
             name.c_str());
    const int s = fits && !_withheld ? MMemFifo_Write(_mem, bytes, size, _mappedSize) : 0;
    if (!M_ASSERT(s == 1, "s == 1", "message fifo %s overrun", name.c_str())) _refused = true;
}

void IPMessageSender::notify() {
    _refused = false;
    if (_event) _event->Notify();
}

std::string IPMessageSender::eventName() { return image_road::eventOf(_id); }

std::string IPMessageSender::memoryName() { return image_road::memoryOf(_id); }

// A reader may be between its two reads, so that the header has room and the payload does not; a header without its
// payload would be taken for a frame.
void IPMessageSender::writeFrame(const FrameHeader& header, const void* payload, std::size_t payloadSize) {
    _withheld = !hasRoomFor(sizeof header + payloadSize);
    const Place begin = place();
    write(&header, sizeof header);
    _withheld = _withheld || !isBehind(begin, sizeof header);
    write(payload, payloadSize);
    _withheld = false;
}

void IPMessageSender::recreate() {
    if (_mem) MMemFifo_Create(_mem, _size);
}

bool IPMessageSender::isSound() const {
    // Only the writer stores the ring's size, so another size is damage, even if it would fit.
    return !_mem || (MMemFifo_IsSound(_mem, _mappedSize) && MMemFifo_GetDataSize(_mem) == _size + 1);
}

IPMessageSender::Place IPMessageSender::place() const {
    return {MMemFifo_GetWriteOffset(_mem), MMemFifo_IsReaderAttached(_mem) != 0};
}

// A second camera that opens recreates the fifo, and a payload alone in it would block all frames until the reader
// drops it. A recreated ring begins at 0 without a reader; at the end of the ring the offset alone proves nothing.
bool IPMessageSender::isBehind(const Place& begin, std::size_t size) const {
    const std::size_t ring = MMemFifo_GetDataSize(_mem);
    const Place now = place();
    if (ring == 0 || now.offset != (begin.offset + size) % ring) return false;
    return now.offset != 0 || !begin.hadReader || now.hadReader;
}

// Nobody takes this room away before the frame is written: the other side only adds room.
bool IPMessageSender::hasRoomFor(std::size_t size) const { return _mem && MMemFifo_GetFree(_mem) >= size; }

}  // namespace kest::dorven
