// Opening the camera (1001) with a configuration that is not a file: a pipe, a device.
#pragma once

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "log_recorder.h"
#include "platform.h"

/// The camera opens with its defaults, and the error log says why.
inline void expectDefaultsWithout(const std::string& path) {
    const test::LogRecorder log;
    NUV::DorVenPlugin device("folder");
    NUV::PluginInterfaceReturn<tagBITMAPINFO> opened({9, 9}, {});
    NUV::PluginInterfaceParameter<const char*> parameter(path.c_str());
    device.call(1001, &parameter, &opened);
    EXPECT_EQ(opened.status, (NUV::PluginCallStatus{0, 1})) << path;
    EXPECT_THAT(log.errors(),
                testing::ElementsAre("kest::dorven::openIniFile  - could not open camera config file: " + path));
    NUV::PluginInterfaceReturn<NUV::IMAGEMEMORY*> record({9, 9}, nullptr);
    device.call(1011, nullptr, &record);
    ASSERT_NE(record.value, nullptr);
    EXPECT_EQ(record.value->width, 1280u);
    EXPECT_EQ(record.value->height, 1024u);
}
