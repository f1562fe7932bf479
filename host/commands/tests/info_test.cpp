#include "info.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host_options.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class InfoTest : public testing::Test {
protected:
    void SetUp() override {
        std::string error;
        _library = host::PluginLibrary::load(host::defaultPluginPath(), error);
        ASSERT_TRUE(_library) << error;
    }

    std::unique_ptr<host::PluginLibrary> _library;
    std::ostringstream _data;
    std::ostringstream _people;
};

TEST_F(InfoTest, PeopleSeeModuleIdentityKindsAndProperties) {
    EXPECT_EQ(showInfo(*_library, false, _data, _people), host::kExitDone);
    EXPECT_EQ(_people.str(), "");
    EXPECT_THAT(_data.str(), AllOf(HasSubstr("module         " + _library->path()), HasSubstr("device id      8-0-"),
                                   HasSubstr("label          20250313"),
                                   HasSubstr("kinds          1 image, 2 camera control, 3 light"),
                                   HasSubstr("  0 manufacturer: DorVen\n"), HasSubstr("  1 device name: DorVenCam\n"),
                                   HasSubstr("  3 serial number: 20250313\n"), HasSubstr("information document\n")));
}

TEST_F(InfoTest, JsonIsOneObjectOnStandardOutput) {
    EXPECT_EQ(showInfo(*_library, true, _data, _people), host::kExitDone);
    EXPECT_EQ(_people.str(), "");
    EXPECT_THAT(_data.str(),
                AllOf(StartsWith("{\"schema\":\"dorven-info/1\",\"module\":\""), HasSubstr("\"device_id\":\"8-0-"),
                      HasSubstr("\"type_code\":8,\"number\":0,\"label\":\"20250313\",\"kinds\":[1,2,3],"),
                      HasSubstr("\"manufacturer\":\"DorVen\",\"device_name\":\"DorVenCam\",\"product_version\":null,"),
                      HasSubstr("\"serial_number\":\"20250313\""), HasSubstr("\"document\":")));
}

TEST_F(InfoTest, PluginThatIsEnumeratedOutOffersNoDevice) {
    _library->enumerate();
    EXPECT_EQ(showInfo(*_library, false, _data, _people), host::kExitFailed);
    EXPECT_THAT(_people.str(), HasSubstr("offers no device"));
}

}  // namespace
