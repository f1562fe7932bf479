// The common part of both ends of a message fifo: names, event, and the fifo's memory while it is attached.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "mmemfifo.h"
#include "mprocessevent.h"

namespace kest::dorven {

/// A base class only. The channel id names event and memory (object_names.h).
class IPMessageEndpoint {
public:
    IPMessageEndpoint(const IPMessageEndpoint&) = delete;
    IPMessageEndpoint& operator=(const IPMessageEndpoint&) = delete;

protected:
    /// @param event  May be null; the ends report that.
    IPMessageEndpoint(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event);
    ~IPMessageEndpoint() = default;

    /// Bytes of shared memory that the fifo needs.
    std::size_t memorySize() const { return _size + kMMemFifoOverhead; }

    /// Takes over linked memory; null leaves the end unattached.
    void attach(void* memory);
    /// Unlinks the memory.
    void detach();
    /// Whether event, memory, writer and reader all exist.
    bool isComplete() const;

    std::string _id;
    std::size_t _size;  // bytes: the fifo's capacity, and the largest message
    std::shared_ptr<MEvent> _event;
    MMemFifo* _mem = nullptr;     // null: unattached
    std::size_t _mappedSize = 0;  // bytes at _mem
};

}  // namespace kest::dorven
