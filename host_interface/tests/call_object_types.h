// Every result and parameter type of the framework, as call objects: 21 results, 18 parameters.
#pragma once

#include "HostTypes.h"
#include "PluginInterfaceParameter.h"
#include "PluginInterfaceReturn.h"

template class NUV::PluginInterfaceReturn<bool>;
template class NUV::PluginInterfaceReturn<unsigned char>;
template class NUV::PluginInterfaceReturn<int>;
template class NUV::PluginInterfaceReturn<std::uint64_t>;
template class NUV::PluginInterfaceReturn<double>;
template class NUV::PluginInterfaceReturn<char*>;
template class NUV::PluginInterfaceReturn<const char*>;
template class NUV::PluginInterfaceReturn<NUV::IMAGEMEMORY*>;
template class NUV::PluginInterfaceReturn<NUV::SmartMetaDataCaps*>;
template class NUV::PluginInterfaceReturn<tagBITMAPINFO>;
template class NUV::PluginInterfaceReturn<NUV::PIXELFORMAT>;
template class NUV::PluginInterfaceReturn<NUV::TRIGGERMODE>;
template class NUV::PluginInterfaceReturn<NUV::SCANNINGMODE>;
template class NUV::PluginInterfaceReturn<NUV::DATATRANSFERVOLUME>;
template class NUV::PluginInterfaceReturn<NUV::INOUTINFO>;
template class NUV::PluginInterfaceReturn<NUV::LIGHTINFO>;
template class NUV::PluginInterfaceReturn<NUV::PluginInterfaceClippingCap>;
template class NUV::PluginInterfaceReturn<NUV::PluginInterfaceClippingData>;
template class NUV::PluginInterfaceReturn<NUV::PluginInterfaceFeatureData>;
template class NUV::PluginInterfaceReturn<NUV::PluginInterfaceLightTriggerData>;
template class NUV::PluginInterfaceReturn<NUV::PluginInterfacePixelSizeData>;

template class NUV::PluginInterfaceParameter<bool>;
template class NUV::PluginInterfaceParameter<int>;
template class NUV::PluginInterfaceParameter<std::uint64_t>;
template class NUV::PluginInterfaceParameter<double>;
template class NUV::PluginInterfaceParameter<const char*>;
template class NUV::PluginInterfaceParameter<NUV::CSmartCamParamBase*>;
template class NUV::PluginInterfaceParameter<NUV::TRIGGERMODE>;
template class NUV::PluginInterfaceParameter<NUV::SCANNINGMODE>;
template class NUV::PluginInterfaceParameter<NUV::DATATRANSFERVOLUME>;
template class NUV::PluginInterfaceParameter<NUV::eClippingParam>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceCallbackData>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceClippingData>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceIOPort>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceLightTriggerData>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceLightsData>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceMotorData>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceSensor1DData>;
template class NUV::PluginInterfaceParameter<NUV::PluginInterfaceSensor1DInitData>;
