// The image operations of the simulated camera.
#include <cstdint>
#include <exception>
#include <utility>
#include <vector>

#include "DorVenPlugin.h"
#include "RecordField.h"
#include "TeskImages.h"
#include "errtrace.h"
#include "massert.h"

namespace NUV {

using kest::dorven::loadField;
using kest::dorven::storeField;

namespace {

const char kFile[] = "DorVenPluginQImage";

std::uint32_t low32(std::uint64_t value) { return static_cast<std::uint32_t>(value & 0xFFFFFFFFu); }

/// Describes the images of a source for the host's display. Depth and palette are the same whatever the source
/// delivers; kept on purpose: docs/oddities.md, bitmap-depth
tagBITMAPINFO describe(const IMAGEMEMORY& record) {
    tagBITMAPINFO bitmap{};
    bitmap.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    bitmap.bmiHeader.biWidth = static_cast<LONG>(low32(record.width));
    const std::uint32_t height = low32(record.height);
    // A negative height says that the first line is the top line. Negated as unsigned, which is defined for every
    // value.
    bitmap.bmiHeader.biHeight = static_cast<LONG>(record.arrangeType == 0 ? 0u - height : height);
    bitmap.bmiHeader.biPlanes = 1;
    bitmap.bmiHeader.biBitCount = 8;
    return bitmap;
}

/// Catches everything thrown below: a host's command never throws.
template <typename Operation>
PluginCallStatus guarded(const char* name, Operation&& operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        M_ERRLOG("%s() : %s", name, error.what());
    } catch (...) {
        M_ERRLOG("%s() : unknown exception.", name);
    }
    return kNotSupported;
}

}  // namespace

// The line numbers in reports are fixed: hosts search their logs for them.

PluginCallStatus DorVenPlugin::openImageDevice(const char* path, const tagBITMAPINFO** bitmap) {
    if (_teskImages && _teskImages->calledByCallback()) {
        // The source would have to wait for the very callback that asks.
        M_ERRLOG("%s() : the image callback cannot open the device.", "NUV::DorVenPlugin::openImageDevice");
        return kNotSupported;
    }
    return guarded("NUV::DorVenPlugin::openImageDevice", [&] {
        useSource(_createSource(path));
        if (!_teskImages) return kNotSupported;
        *bitmap = _bitmap.get();
        return kDone;
    });
}

void DorVenPlugin::useSource(std::shared_ptr<kest::dorven::TeskImages> source) {
    const auto record = source ? source->imageMemory() : nullptr;
    auto bitmap = record ? std::make_shared<tagBITMAPINFO>(describe(*record)) : nullptr;
    // Everything that can fail without it is done. The old source must go first: both links use the same object names.
    letGoOfSource();
    if (!source) return;
    source->link();
    // Last, so that a failure leaves nothing half open.
    _bitmap = std::move(bitmap);
    _teskImages = std::move(source);
}

void DorVenPlugin::letGoOfSource() {
    if (!_teskImages) return;
    // Until this is done, callbacks may still ask for the source.
    guarded("NUV::DorVenPlugin::letGoOfSource", [&] {
        _teskImages->end();
        return kDone;
    });
    _teskImages.reset();
}

PluginCallStatus DorVenPlugin::grab() {
    if (!M_ASSERT_AT(57, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    return guarded("NUV::DorVenPlugin::grab", [&] { return _teskImages->grab() ? kDone : kNotSupported; });
}

PluginCallStatus DorVenPlugin::stop() {
    freeze();
    return kNotSupported;  // kept on purpose: docs/oddities.md, stop-refused
}

PluginCallStatus DorVenPlugin::freeze() {
    if (!M_ASSERT_AT(66, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    return _teskImages->freeze() ? kDone : kNotSupported;
}

PluginCallStatus DorVenPlugin::setImageCallback(void* context, ImageCallback function) {
    if (!M_ASSERT_AT(75, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    _teskImages->setCallback(context, function);
    return kDone;
}

PluginCallStatus DorVenPlugin::removeImageCallback() {
    if (!M_ASSERT_AT(89, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    _teskImages->setCallback(nullptr, nullptr);
    return kDone;
}

PluginCallStatus DorVenPlugin::metaDataCaps(SmartMetaDataCaps** caps) {
    if (!M_ASSERT_AT(97, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    *caps = &_teskImages->imageMemoryCaps();
    return kDone;
}

PluginCallStatus DorVenPlugin::imageBuffer(char** buffer) {
    if (!M_ASSERT_AT(105, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    if (const auto record = _teskImages->imageMemory())
        *buffer = reinterpret_cast<char*>(loadField(record->imageBuffer));
    return kDone;
}

PluginCallStatus DorVenPlugin::imageMemory(IMAGEMEMORY** record) {
    if (!M_ASSERT_AT(113, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    *record = _teskImages->imageMemory().get();  // stays valid: the source owns it; null if it has none
    return kDone;
}

PluginCallStatus DorVenPlugin::pixelFormat(PIXELFORMAT* format) {
    if (!M_ASSERT_AT(121, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    if (const auto record = _teskImages->imageMemory()) *format = record->pixelFormat;
    return kDone;
}

PluginCallStatus DorVenPlugin::pixelSize(double* x, double* y) {
    if (!M_ASSERT_AT(129, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    const std::vector<double> size = _teskImages->pixelSize();
    if (size.size() < 2) return kDone;
    *x = size[0];
    *y = size[1];
    return kDone;
}

PluginCallStatus DorVenPlugin::clippingCapability(eClippingParam which, std::uint64_t* minimum, std::uint64_t* maximum,
                                                  std::uint64_t* step) {
    if (!M_ASSERT_AT(139, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    const auto record = _teskImages->imageMemory();
    if (!record) return kDone;
    const auto answer = [&](std::uint64_t lowest, std::uint64_t highest, std::uint64_t grid) {
        *minimum = lowest;
        *maximum = highest;
        *step = grid;
    };
    // kept on purpose: docs/oddities.md, clipping-ranges
    switch (which) {
        case eClippingParam::offsetX:
            answer(0, record->width - 2, 2);
            break;
        case eClippingParam::offsetY:
            answer(0, record->height - 2, 2);
            break;
        case eClippingParam::width:
            answer(record->width, record->width, 0);
            break;
        case eClippingParam::height:
            answer(2, record->height, 2);
            break;
    }
    return kDone;
}

PluginCallStatus DorVenPlugin::setClipping(std::uint64_t x, std::uint64_t y, std::uint64_t width,
                                           std::uint64_t height) {
    if (!M_ASSERT_AT(170, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    const auto store = [&](std::uint64_t PluginInterfaceClippingData::*field, std::uint64_t value) {
        if (const auto record = _teskImages->imageMemory()) storeField(record->clipping.*field, value);
    };
    // Each value gets the record again, because each request leaves its line in the trace.
    store(&PluginInterfaceClippingData::x, x);
    store(&PluginInterfaceClippingData::y, y);
    store(&PluginInterfaceClippingData::width, width);
    store(&PluginInterfaceClippingData::height, height);
    return kDone;
}

PluginCallStatus DorVenPlugin::clipping(std::uint64_t* x, std::uint64_t* y, std::uint64_t* width,
                                        std::uint64_t* height) {
    if (!M_ASSERT_AT(182, _teskImages, "_teskImages", "invalid plugin")) return kNotSupported;
    const auto load = [&](std::uint64_t PluginInterfaceClippingData::*field, std::uint64_t* value) {
        if (const auto record = _teskImages->imageMemory()) *value = loadField(record->clipping.*field);
    };
    load(&PluginInterfaceClippingData::x, x);
    load(&PluginInterfaceClippingData::y, y);
    load(&PluginInterfaceClippingData::width, width);
    load(&PluginInterfaceClippingData::height, height);
    return kDone;
}

}  // namespace NUV
