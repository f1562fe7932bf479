#include "IPMessageEndpoint.h"

#include <utility>

#include "msharedmem.h"

namespace kest::dorven {

IPMessageEndpoint::IPMessageEndpoint(const std::string& id, std::size_t size, std::shared_ptr<MEvent> event)
    : _id(id), _size(size), _event(std::move(event)) {}

void IPMessageEndpoint::attach(void* memory) {
    _mem = static_cast<MMemFifo*>(memory);
    _mappedSize = memory ? MSharedMem_GetSize(memory) : 0;
}

void IPMessageEndpoint::detach() {
    if (_mem) MSharedMem_Unlink(_mem);
    attach(nullptr);
}

bool IPMessageEndpoint::isComplete() const {
    return _event && _mem && MMemFifo_IsWriterAttached(_mem) && MMemFifo_IsReaderAttached(_mem);
}

}  // namespace kest::dorven
