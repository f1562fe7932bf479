// The simulated camera as the host sees it: image, camera control and light commands in front of an image source.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "PluginDeviceBase.h"

namespace kest::dorven {
struct TeskImages;
}

namespace NUV {

/// Operations that need the image source report a failed assertion and answer (-4, 0) until openImageDevice has
/// succeeded. What the host was given by address: the image memory and the caps are the source's and go with it; the
/// bitmap description is the device's and goes with the next openImageDevice that succeeds.
///
/// The callback may send any command to its own device but openImageDevice, and must not destroy it.
class DorVenPlugin : public PluginDeviceBase {
public:
    /// Makes the image source that openImageDevice opens, unlinked, while the one before still works; what it makes may
    /// be null.
    using SourceFactory = std::function<std::shared_ptr<kest::dorven::TeskImages>(const char* path)>;

    explicit DorVenPlugin(const std::string& moduleFolder);

    /// With another source than the system's, for tests.
    DorVenPlugin(const std::string& moduleFolder, SourceFactory createSource);

    /// Stops acquisition; no callback runs any more, but one that destroys the device itself, which it must not.
    ~DorVenPlugin() override;

    // ---- image

    bool imageSupported() override { return true; }
    /// Refused, with an entry in the error log and nothing touched, inside the device's own callback. What fails before
    /// the new source is linked leaves the open one as it is; when linking throws, or the factory makes nothing, none
    /// is open.
    PluginCallStatus openImageDevice(const char* path, const tagBITMAPINFO** bitmap) override;
    PluginCallStatus grab() override;
    PluginCallStatus stop() override;
    PluginCallStatus freeze() override;
    PluginCallStatus setImageCallback(void* context, ImageCallback function) override;
    PluginCallStatus removeImageCallback() override;
    PluginCallStatus setClipping(std::uint64_t x, std::uint64_t y, std::uint64_t width, std::uint64_t height) override;
    PluginCallStatus clipping(std::uint64_t* x, std::uint64_t* y, std::uint64_t* width, std::uint64_t* height) override;
    PluginCallStatus imageBuffer(char** buffer) override;
    PluginCallStatus imageMemory(IMAGEMEMORY** record) override;
    PluginCallStatus pixelFormat(PIXELFORMAT* format) override;
    PluginCallStatus pixelSize(double* x, double* y) override;
    PluginCallStatus clippingCapability(eClippingParam which, std::uint64_t* minimum, std::uint64_t* maximum,
                                        std::uint64_t* step) override;
    PluginCallStatus metaDataCaps(SmartMetaDataCaps** caps) override;

    // ---- camera control: beside the frame rate everything is accepted and ignored, so that a host's dialogs work

    bool cameraControlSupported() override { return true; }
    PluginCallStatus setCameraControlText(const char*) override { return kDone; }
    PluginCallStatus setCameraControl1102(double) override { return kDone; }
    PluginCallStatus cameraControl1103(double*) override { return kDone; }
    PluginCallStatus setCameraControl1104(double) override { return kDone; }
    PluginCallStatus cameraControl1105(double*) override { return kDone; }
    PluginCallStatus setFrameRate(double framesPerSecond) override;
    PluginCallStatus frameRate(double* framesPerSecond) override;
    PluginCallStatus setScanningMode(SCANNINGMODE) override { return kDone; }
    PluginCallStatus scanningMode(SCANNINGMODE*) override { return kDone; }
    PluginCallStatus feature1110(PluginInterfaceFeatureData*) override { return kDone; }
    PluginCallStatus feature1111(PluginInterfaceFeatureData*) override { return kDone; }

    // ---- light: one that is always there

    bool lightSupported() override { return true; }
    PluginCallStatus setLightText(const char*) override { return kDone; }
    PluginCallStatus light1203(std::uint64_t, double*) override { return kDone; }
    PluginCallStatus light1204() override { return kDone; }
    PluginCallStatus light1202() override { return kDone; }
    PluginCallStatus light1208(std::uint64_t* value) override;

protected:
    /// Takes an image source in place of the present one, which is let go, links it and describes its images. An empty
    /// one leaves the device without.
    void useSource(std::shared_ptr<kest::dorven::TeskImages> source);

private:
    /// Throws nothing.
    void letGoOfSource();

    std::shared_ptr<kest::dorven::TeskImages> _teskImages;  // empty until opened
    std::shared_ptr<tagBITMAPINFO> _bitmap;                 // empty until opened, and when the source has no record
    SourceFactory _createSource;
};

}  // namespace NUV
