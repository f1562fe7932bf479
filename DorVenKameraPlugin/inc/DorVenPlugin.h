// The simulated camera as the host sees it: image, camera control and light commands on top of an image source.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "PluginDeviceBase.h"

namespace kest::dorven {
struct TeskImages;
}

namespace NUV {

/// Operations that need the image source report a failed assertion and return (-4, 0) until openImageDevice has
/// succeeded. Lifetime of objects whose address the host gets: the image memory and the caps belong to the source and
/// end with it; the bitmap description belongs to the device and ends with the next successful openImageDevice.
///
/// The callback may send any command to its own device except openImageDevice, and must not destroy it.
class DorVenPlugin : public PluginDeviceBase {
public:
    /// Creates the image source that openImageDevice opens, unlinked, while the previous one still works. The result
    /// may be null.
    using SourceFactory = std::function<std::shared_ptr<kest::dorven::TeskImages>(const char* path)>;

    explicit DorVenPlugin(const std::string& moduleFolder);

    /// With another source than usual, for tests.
    DorVenPlugin(const std::string& moduleFolder, SourceFactory createSource);

    /// Stops acquisition. Afterwards no callback runs, except one that destroys the device itself, which is not
    /// allowed.
    ~DorVenPlugin() override;

    // ---- image

    bool imageSupported() override { return true; }
    /// Refused inside the device's own callback, with an entry in the error log and nothing changed. If something fails
    /// before the new source is linked, the open source stays. If linking throws or the factory creates nothing, no
    /// source is open.
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

    // ---- camera control: everything except the frame rate is accepted and ignored, so that a host's dialogs work

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

    // ---- light: one light that always exists

    bool lightSupported() override { return true; }
    PluginCallStatus setLightText(const char*) override { return kDone; }
    PluginCallStatus light1203(std::uint64_t, double*) override { return kDone; }
    PluginCallStatus light1204() override { return kDone; }
    PluginCallStatus light1202() override { return kDone; }
    PluginCallStatus light1208(std::uint64_t* value) override;

protected:
    /// Releases the present image source, takes the given one, links it and describes its images. With an empty one the
    /// device has no source.
    void useSource(std::shared_ptr<kest::dorven::TeskImages> source);

private:
    /// Throws nothing.
    void letGoOfSource();

    std::shared_ptr<kest::dorven::TeskImages> _teskImages;  // empty until opened
    std::shared_ptr<tagBITMAPINFO> _bitmap;                 // empty until opened, and when the source has no record
    SourceFactory _createSource;
};

}  // namespace NUV
