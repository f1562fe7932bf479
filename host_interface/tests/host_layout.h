// Where hosts find the fields of the framework's structures. Headers check their own structures where they can; these
// checks need a compiler option that permits offsetof with containers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "HostTypes.h"
#include "PluginInterfaceParameter.h"
#include "PluginInterfaceReturn.h"

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif

static_assert(offsetof(NUV::IMAGEMEMORY, width) == 0);
static_assert(offsetof(NUV::IMAGEMEMORY, height) == 8);
static_assert(offsetof(NUV::IMAGEMEMORY, secondWidth) == 16);
static_assert(offsetof(NUV::IMAGEMEMORY, secondHeight) == 24);
static_assert(offsetof(NUV::IMAGEMEMORY, clipping) == 32);
static_assert(offsetof(NUV::IMAGEMEMORY, bytesPerPixel) == 64);
static_assert(offsetof(NUV::IMAGEMEMORY, imageBuffer) == 72);
static_assert(offsetof(NUV::IMAGEMEMORY, arrangeType) == 80);
static_assert(offsetof(NUV::IMAGEMEMORY, timeStampType) == 84);
static_assert(offsetof(NUV::IMAGEMEMORY, timeStamp) == 88);
static_assert(offsetof(NUV::IMAGEMEMORY, frameTime) == 96);
static_assert(offsetof(NUV::IMAGEMEMORY, imageCounter) == 104);
static_assert(offsetof(NUV::IMAGEMEMORY, pixelFormat) == 108);
static_assert(offsetof(NUV::IMAGEMEMORY, metaData) == 112);

static_assert(offsetof(PluginDeviceRecord, deviceId) == 0);
static_assert(offsetof(PluginDeviceRecord, interfaceKind) == sizeof(std::string));
static_assert(offsetof(PluginDeviceRecord, typeCode) == sizeof(std::string) + 4);
static_assert(offsetof(PluginDeviceRecord, number) == sizeof(std::string) + 8);
static_assert(offsetof(PluginDeviceRecord, label) == sizeof(std::string) + 12);

// Call objects: the address of their table, then the status, then the value.
static_assert(offsetof(NUV::PluginInterfaceReturnBase, status) == 8);
static_assert(sizeof(NUV::PluginInterfaceReturnBase) == 16);
static_assert(offsetof(NUV::PluginInterfaceReturn<double>, value) == 16);
static_assert(offsetof(NUV::PluginInterfaceReturn<tagBITMAPINFO>, value) == 16);
static_assert(sizeof(NUV::PluginInterfaceReturn<tagBITMAPINFO>) == 64);
static_assert(sizeof(NUV::PluginInterfaceParameterBase) == 8);
static_assert(offsetof(NUV::PluginInterfaceParameter<double>, value) == 8);
static_assert(offsetof(NUV::PluginInterfaceParameter<NUV::PluginInterfaceCallbackData>, value) == 8);

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

static_assert(sizeof(NUV::PluginCallStatus) == 8 && offsetof(NUV::PluginCallStatus, code) == 0);
static_assert(offsetof(NUV::PluginCallStatus, valid) == 4);
static_assert(sizeof(tagBITMAPINFO) == 44 && offsetof(tagBITMAPINFO, bmiColors) == 40);
static_assert(offsetof(BITMAPINFOHEADER, biWidth) == 4 && offsetof(BITMAPINFOHEADER, biHeight) == 8);
static_assert(offsetof(BITMAPINFOHEADER, biPlanes) == 12 && offsetof(BITMAPINFOHEADER, biBitCount) == 14);
static_assert(offsetof(BITMAPINFOHEADER, biCompression) == 16 && offsetof(BITMAPINFOHEADER, biSizeImage) == 20);
static_assert(offsetof(NUV::PluginInterfaceClippingData, x) == 0 && offsetof(NUV::PluginInterfaceClippingData, y) == 8);
static_assert(offsetof(NUV::PluginInterfaceClippingData, width) == 16);
static_assert(offsetof(NUV::PluginInterfaceClippingData, height) == 24);
static_assert(sizeof(NUV::PluginInterfaceClippingData) == 32);
static_assert(offsetof(NUV::PluginInterfaceClippingCap, minimum) == 0);
static_assert(offsetof(NUV::PluginInterfaceClippingCap, maximum) == 8);
static_assert(offsetof(NUV::PluginInterfaceClippingCap, step) == 16);
static_assert(offsetof(NUV::PluginInterfacePixelSizeData, y) == 8 && sizeof(NUV::PluginInterfacePixelSizeData) == 16);
static_assert(offsetof(NUV::PluginInterfaceCallbackData, context) == 0);
static_assert(offsetof(NUV::PluginInterfaceCallbackData, function) == 8);
static_assert(offsetof(NUV::PluginInterfaceLightTriggerData, second) == 16);
static_assert(offsetof(NUV::PluginInterfaceLightTriggerData, value) == 32);
static_assert(sizeof(NUV::PluginInterfaceLightTriggerData) == 40);
static_assert(sizeof(NUV::eClippingParam) == 4 && sizeof(NUV::PIXELFORMAT) == 4 && sizeof(NUV::TRIGGERMODE) == 4);
static_assert(sizeof(NUV::SCANNINGMODE) == 4 && sizeof(NUV::DATATRANSFERVOLUME) == 4);
static_assert(sizeof(NUV::SMARTMETADATAKEY) == 4 && sizeof(NUV::InterfaceKind) == 4);
