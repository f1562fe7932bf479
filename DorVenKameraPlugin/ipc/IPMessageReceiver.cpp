#include "IPMessageReceiver.h"

#include <mutex>
#include <utility>

#include "errtrace.h"
#include "massert.h"
#include "msharedmem.h"
#include "object_names.h"

namespace kest::dorven {
namespace {

const char kFile[] = "ipc/IPMessageReceiver";

/// Guards the list of those receivers of this process that have set a mark. Never destroyed: receivers may outlive it.
std::mutex& holdersMutex() {
    static auto* const only = new std::mutex;
    return *only;
}

}  // namespace

IPMessageReceiver* IPMessageReceiver::_holders = nullptr;

IPMessageReceiver::IPMessageReceiver(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event)
    : IPMessageEndpoint(id, size, std::move(event)) {
    M_ASSERT(_event, "_event", "could not create event: %s", image_road::eventOf(_id).c_str());
}

std::shared_ptr<IPMessageReceiver> IPMessageReceiver::create(const std::string& id, std::size_t size) {
    return create(id, size, std::make_shared<MProcessEvent>(image_road::eventOf(id).c_str()));
}

std::shared_ptr<IPMessageReceiver> IPMessageReceiver::create(const std::string& id, std::size_t size,
                                                             std::shared_ptr<MEvent> event) {
    std::shared_ptr<IPMessageReceiver> receiver(new IPMessageReceiver(id, size, std::move(event)));
    receiver->open();
    return receiver;
}

IPMessageReceiver::~IPMessageReceiver() { IPMessageReceiver::close(); }

void IPMessageReceiver::open() {
    if (_mem) return;
    _taken = false;
    const std::string name = memoryName();
    const std::size_t size = memorySize();
    M_ASSERT(name != "", "memoryName != \"\"", "invalid memory name");
    void* const mem = MSharedMem_Link(name.c_str());
    if (!mem) {
        M_TRACE(5, "could not allocate shared mem: %s %zu(%zu)", name.c_str(), size, _size);
        return;
    }
    attach(mem);
    if (!M_ASSERT(_mappedSize >= size, "MSharedMem_GetSize( mem ) >= size", "shared mem too small: %s %zu < %zu",
                  name.c_str(), _mappedSize, size)) {
        detach();  // a message would run over its end
        return;
    }
    if (MMemFifo_Link(_mem)) {
        holdMark();
        return;
    }
    _taken = MMemFifo_IsWriterAttached(_mem) && MMemFifo_IsReaderAttached(_mem);
    M_TRACE(4, "could not link fifo %s of size: %zu", name.c_str(), _size);
    detach();
}

void IPMessageReceiver::close() {
    if (!_mem) return;
    if (!hasLostItsMark()) MMemFifo_Unlink(_mem);  // the mark may be another reader's now
    forgetMark();
    detach();
}

bool IPMessageReceiver::isConnected() { return isComplete() && !hasLostItsMark(); }

bool IPMessageReceiver::hasData() {
    return M_ASSERT(_mem, "_mem", "invalid message fifo") && MMemFifo_GetUsed(_mem) != 0;
}

void IPMessageReceiver::read(void* buffer, const std::size_t& size) {
    const std::string name = memoryName();
    M_ASSERT(_event, "_event", "event is not initialized: %s", eventName().c_str());
    M_ASSERT(_mem, "_mem", "fifo is not initialized: %s", name.c_str());
    M_ASSERT(size <= _size, "size <= _size", "fifo %s is too small: %zu > %zu", name.c_str(), size, _size);
    M_ASSERT(MMemFifo_IsReaderAttached(_mem), "MMemFifo_IsReaderAttached( _mem )", "fifo has no reader attached: %s",
             name.c_str());
    // An empty fifo is not reported, not even one that was never created: zeroed memory.
    if (_mem && MMemFifo_GetUsed(_mem) != 0 && !MMemFifo_IsSound(_mem, _mappedSize))
        M_ERRLOG("%s() : message fifo %s is inconsistent: what waits in it is dropped",
                 "kest::dorven::IPMessageReceiver::read", name.c_str());
    const std::size_t s = _copied = MMemFifo_Read(_mem, buffer, size, _mappedSize);
    M_ASSERT(s <= size, "s <= size", "fifo %s could not read enough bytes: %zu <= %zu", name.c_str(), s, size);
}

int IPMessageReceiver::wait(const double& timeoutSeconds) {
    M_ASSERT(_event, "_event", "invalid event: %s", eventName().c_str());
    const int eventResult = _event ? _event->Wait(timeoutSeconds) : 0;
    _tookSignal = eventResult == 1;
    _waitFailed = eventResult == 0;
    // kept on purpose: docs/oddities.md, sender-gone-first
    if (_mem && !MMemFifo_IsWriterAttached(_mem)) {
        close();
        return 2;
    }
    if (!isConnected()) {
        // Trace "fifo recreated". Close does not remove a mark that now belongs to another reader.
        if (hasLostItsMark()) close();
        open();
        if (!isConnected()) return 3;
    }
    return statusOf(eventResult);
}

void IPMessageReceiver::notify() {
    if (_event) _event->Notify();
}

std::string IPMessageReceiver::eventName() { return image_road::eventOf(_id); }

std::string IPMessageReceiver::memoryName() { return image_road::memoryOf(_id); }

bool IPMessageReceiver::isOccupied() const {
    void* const memory = MSharedMem_Link(image_road::memoryOf(_id).c_str());
    if (!memory) return false;
    const bool occupied = MSharedMem_GetSize(memory) >= memorySize() && MMemFifo_IsWriterAttached(memory) &&
                          MMemFifo_IsReaderAttached(memory);
    MSharedMem_Unlink(memory);
    return occupied;
}

bool IPMessageReceiver::isShortOf(std::size_t size) const {
    return _mem && waiting() < size && MMemFifo_IsSound(_mem, _mappedSize);
}

bool IPMessageReceiver::readWhole(void* buffer, std::size_t size) {
    if (hasLostItsMark()) return false;
    read(buffer, size);
    return _copied == size && !hasLostItsMark();
}

void IPMessageReceiver::drop() { MMemFifo_Clear(_mem); }

// A writer that recreates the fifo, for example after a restart, removes the reader's mark and does not know that
// somebody still reads. Only this end can restore it.
bool IPMessageReceiver::hasLostItsMark() const {
    return _mem && !(MMemFifo_HasReaderMarkOf(_mem, _mem) && holdsMark());
}

// The mark is an address, and all links of one process to a memory have the same one. So the mark alone does not
// distinguish receivers of one process: it belongs to the last one that has set it.
void IPMessageReceiver::holdMark() {
    forgetMark();
    const std::lock_guard lock(holdersMutex());
    for (IPMessageReceiver* other = _holders; other; other = other->_nextHolder) {
        if (other->_mem == _mem) other->_holdsMark = false;
    }
    _holdsMark = true;
    _nextHolder = std::exchange(_holders, this);
}

void IPMessageReceiver::forgetMark() {
    const std::lock_guard lock(holdersMutex());
    for (IPMessageReceiver** place = &_holders; *place; place = &(*place)->_nextHolder) {
        if (*place != this) continue;
        *place = _nextHolder;
        break;
    }
    _holdsMark = false;
}

int IPMessageReceiver::statusOf(int eventResult) const {
    if (eventResult >= -1 && eventResult <= 1) return eventResult;
    M_ASSERT(false, "false", "unexpected wait result: %d", eventResult);
    return 0;
}

}  // namespace kest::dorven
