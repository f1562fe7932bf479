#include <cstddef>

#include <gtest/gtest.h>

#include "HostTypes.h"
#include "PluginInterfaceParameter.h"
#include "PluginInterfaceReturn.h"

// Every type that a command hands out or takes.
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

namespace {

using namespace NUV;

TEST(PluginInterfaceReturn, NamesItsTypeTheSameForEveryValue) {
    EXPECT_STREQ(PluginInterfaceReturnBase(kDone).typeName(), "PluginInterfaceReturnBase");
    EXPECT_STREQ(PluginInterfaceReturn<int>(kDone, 1).typeName(), "PluginInterfaceReturn");
    EXPECT_STREQ(PluginInterfaceReturn<double>(kDone, 1).typeName(), "PluginInterfaceReturn");
}

TEST(PluginInterfaceReturn, CopiesStatusAndValueIntoTheSameType) {
    PluginInterfaceReturn<int> target({9, 9}, 7);
    EXPECT_EQ(PluginInterfaceReturn<int>(kDone, 5).copyTo(&target), &target);
    EXPECT_EQ(target.status, kDone);
    EXPECT_EQ(target.value, 5);
}

TEST(PluginInterfaceReturn, LeavesATargetOfAnotherTypeAlone) {
    PluginInterfaceReturn<double> other({9, 9}, 7.0);
    PluginInterfaceReturnBase base({9, 9});
    const PluginInterfaceReturn<int> source(kDone, 5);
    EXPECT_EQ(source.copyTo(&other), nullptr);
    EXPECT_EQ(source.copyTo(&base), nullptr);
    EXPECT_EQ(source.copyTo(nullptr), nullptr);
    EXPECT_EQ(other.status, (PluginCallStatus{9, 9}));
    EXPECT_EQ(other.value, 7.0);
    EXPECT_EQ(base.status, (PluginCallStatus{9, 9}));
}

TEST(PluginInterfaceReturn, StatusAloneFitsAnyTarget) {
    PluginInterfaceReturn<int> target({9, 9}, 7);
    const PluginInterfaceReturnBase source(kNotSupported);
    EXPECT_EQ(source.copyTo(&target), &target);
    EXPECT_EQ(target.status, kNotSupported);
    EXPECT_EQ(target.value, 7);
    EXPECT_EQ(source.copyTo(nullptr), nullptr);
}

TEST(PluginInterfaceParameter, NamesItsType) {
    EXPECT_STREQ(PluginInterfaceParameterBase().typeName(), "PluginInterfaceParameter");
    EXPECT_STREQ(PluginInterfaceParameter<double>(1.0).typeName(), "PluginInterfaceParameter");
}

TEST(PluginInterfaceParameter, IsUnpackedOnlyAsItsOwnType) {
    const PluginInterfaceParameter<int> parameter(5);
    const UnpackedParameter<int> right(&parameter);
    EXPECT_TRUE(right.valid);
    EXPECT_EQ(right.value, 5);
    const UnpackedParameter<double> wrong(&parameter);
    EXPECT_FALSE(wrong.valid);
    EXPECT_EQ(wrong.value, 0.0);
    const UnpackedParameter<int> none(nullptr);
    EXPECT_FALSE(none.valid);
    EXPECT_EQ(none.value, 0);
}

TEST(SmartMetaData, TellsItsTypeByName) {
    const SmartMetaDataDouble temperature(23.5);
    const SmartMetaData& data = temperature;
    EXPECT_STREQ(data.typeName(), "Double");
    EXPECT_EQ(temperature.value, 23.5);
}

template <typename Field>
std::size_t offsetIn(const IMAGEMEMORY& record, const Field& field) {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&record));
}

TEST(ImageMemory, FieldsStandWhereHostsReadThem) {
    const IMAGEMEMORY record{};
    EXPECT_EQ(offsetIn(record, record.width), 0u);
    EXPECT_EQ(offsetIn(record, record.height), 8u);
    EXPECT_EQ(offsetIn(record, record.secondWidth), 16u);
    EXPECT_EQ(offsetIn(record, record.secondHeight), 24u);
    EXPECT_EQ(offsetIn(record, record.clipping), 32u);
    EXPECT_EQ(offsetIn(record, record.bytesPerPixel), 64u);
    EXPECT_EQ(offsetIn(record, record.imageBuffer), 72u);
    EXPECT_EQ(offsetIn(record, record.arrangeType), 80u);
    EXPECT_EQ(offsetIn(record, record.timeStampType), 84u);
    EXPECT_EQ(offsetIn(record, record.timeStamp), 88u);
    EXPECT_EQ(offsetIn(record, record.frameTime), 96u);
    EXPECT_EQ(offsetIn(record, record.imageCounter), 104u);
    EXPECT_EQ(offsetIn(record, record.pixelFormat), 108u);
    EXPECT_EQ(offsetIn(record, record.metaData), 112u);
}

}  // namespace
