#include "simulator_presence.h"

#include <cstring>

#include "mmemlinefifo.h"
#include "object_look.h"
#include "object_names.h"

namespace host {
namespace {

// Also of a simulator that is another program than ours.
bool hasWritersMark() {
    const ObjectSight sight = platform_lookAtObject(image_road::kImagesMemory, sizeof(LineFifoHeader));
    if (sight.kind != ObjectSight::Kind::memory || sight.content.size() < sizeof(LineFifoHeader)) return false;
    LineFifoHeader header{};
    std::memcpy(&header, sight.content.data(), sizeof header);
    return header.writerMark != 0;
}

}  // namespace

bool simulatorRuns() {
    return platform_lookAtObject(image_road::kImagesWriter, 0).kind == ObjectSight::Kind::event || hasWritersMark();
}

}  // namespace host
