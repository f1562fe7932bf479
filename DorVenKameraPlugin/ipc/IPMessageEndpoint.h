// What the two ends of a message fifo have in common: names, event, and the fifo's memory while it is attached.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "mmemfifo.h"
#include "mprocessevent.h"

namespace kest::dorven {

/// Not used by itself. The channel id names event and memory (object_names.h).
class IPMessageEndpoint {
public:
    IPMessageEndpoint(const IPMessageEndpoint&) = delete;
    IPMessageEndpoint& operator=(const IPMessageEndpoint&) = delete;

protected:
    /// @param event  May be null, which the ends report.
    IPMessageEndpoint(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event);
    ~IPMessageEndpoint() = default;

    /// Bytes that the shared memory needs.
    std::size_t memorySize() const { return _size + kMMemFifoOverhead; }

    /// Keeps linked memory; null leaves the end unattached.
    void attach(void* memory);
    /// Gives the memory back.
    void detach();
    /// Event, memory, writer and reader are all there.
    bool isComplete() const;

    std::string _id;
    std::size_t _size;  // bytes: the fifo's capacity, and the largest message
    std::shared_ptr<MEvent> _event;
    MMemFifo* _mem = nullptr;     // null: unattached
    std::size_t _mappedSize = 0;  // bytes at _mem
};

}  // namespace kest::dorven
