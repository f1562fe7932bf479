// The channel between the image source and its simulator, as the image source sees it: it answers from the source.
#pragma once

#include <memory>
#include <string>

#include "DorVenImagesComm.h"

namespace kest::dorven {

struct TeskImages;

/// The simulator's view with both directions swapped: sends on kCameraAsks and listens on kSimulatorAsks.
class TeskImagesComm : public DorVenImagesComm {
public:
    /// @param plugin  The image source that answers; outlives the messenger. Null: each request is reported and fails.
    explicit TeskImagesComm(TeskImages* plugin);

    static std::shared_ptr<TeskImagesComm> create(TeskImages* plugin);

    std::string requestId() override;
    std::string responseId() override;

    /// Each answered request also leaves the source's own lines in the trace.
    ImagesMessage handle(const ImagesMessage& request) override;

private:
    TeskImages* _plugin;
};

}  // namespace kest::dorven
