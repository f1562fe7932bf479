#include <gtest/gtest.h>

#include "HostTypes.h"
#include "PluginInterfaceParameter.h"
#include "PluginInterfaceReturn.h"
#include "call_object_types.h"
#include "host_layout.h"

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

}  // namespace
