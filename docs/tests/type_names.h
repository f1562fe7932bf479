// The framework's types as docs/host-api.md writes them.
#pragma once

#include <cstdint>
#include <string>

#include "CommandSignature.h"
#include "PluginDeviceBase.h"

namespace test {

template <typename T>
struct TypeName;

template <typename T>
struct TypeName<T*> {
    static std::string text() { return TypeName<T>::text() + "*"; }
};
template <typename T>
struct TypeName<const T> {
    static std::string text() { return std::string("const ").append(TypeName<T>::text()); }
};

#define TYPE_NAME(type, name)                      \
    template <>                                    \
    struct TypeName<type> {                        \
        static std::string text() { return name; } \
    }
TYPE_NAME(NUV::None, "");
TYPE_NAME(void, "void");
TYPE_NAME(bool, "bool");
TYPE_NAME(char, "char");
TYPE_NAME(unsigned char, "unsigned char");
TYPE_NAME(double, "double");
TYPE_NAME(std::int32_t, "std::int32_t");
TYPE_NAME(std::uint64_t, "std::uint64_t");
TYPE_NAME(tagBITMAPINFO, "tagBITMAPINFO");
TYPE_NAME(NUV::PluginCallStatus, "status");
TYPE_NAME(NUV::ImageCallback, "ImageCallback");
TYPE_NAME(NUV::SmartMetaDataCaps, "SmartMetaDataCaps");
#undef TYPE_NAME

#define TYPE_NAME(type)                             \
    template <>                                     \
    struct TypeName<NUV::type> {                    \
        static std::string text() { return #type; } \
    }
TYPE_NAME(CSmartCamParamBase);
TYPE_NAME(DATATRANSFERVOLUME);
TYPE_NAME(eClippingParam);
TYPE_NAME(IMAGEMEMORY);
TYPE_NAME(INOUTINFO);
TYPE_NAME(LIGHTINFO);
TYPE_NAME(PIXELFORMAT);
TYPE_NAME(PluginInterfaceCallbackData);
TYPE_NAME(PluginInterfaceClippingCap);
TYPE_NAME(PluginInterfaceClippingData);
TYPE_NAME(PluginInterfaceFeatureData);
TYPE_NAME(PluginInterfaceIOPort);
TYPE_NAME(PluginInterfaceLightTriggerData);
TYPE_NAME(PluginInterfaceMotorData);
TYPE_NAME(PluginInterfacePixelSizeData);
TYPE_NAME(PluginInterfaceSensor1DInitData);
TYPE_NAME(SCANNINGMODE);
TYPE_NAME(TRIGGERMODE);
#undef TYPE_NAME

}  // namespace test
