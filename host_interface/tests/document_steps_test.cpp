// How the device builds its information document, seen from the library that it uses (recording/NUV_Base.h).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NUV_Base.h"
#include "PluginDeviceBase.h"

namespace {

using namespace NUV;
using testing::ElementsAre;

class DocumentSteps : public testing::Test {
protected:
    void SetUp() override {
        test::xml = {};
        _device.setProperty(kDeviceName, "name");
        _device.setProperty(kManufacturer, "maker");
    }

    PluginDeviceBase _device{""};
    const char* const _before = "before";
    const char* _document = _before;
};

TEST_F(DocumentSteps, KeyComesBeforeValueAndTheTextIsSavedTwice) {
    EXPECT_EQ(_device.deviceInformation(&_document), kDone);
    EXPECT_THAT(
        test::xml.calls,
        ElementsAre(L"root", L"add Info", L"add Item", L"@key=manufacturer", L"@value=maker", L"add Item",
                    L"@key=devicename", L"@value=name", L"save nowhere 0 <?xml version=\"1.0\" encoding=\"unicode\" ?>",
                    L"save into 6 <?xml version=\"1.0\" encoding=\"unicode\" ?>", L"destroy root"));
    EXPECT_STREQ(_document, "saved");
    EXPECT_EQ(test::xml.living, 0);
}

TEST_F(DocumentSteps, AFailedInfoEndsThemAndLeavesTheOutput) {
    test::xml.refused = {L"Info"};
    EXPECT_EQ(_device.deviceInformation(&_document), (PluginCallStatus{0, 0}));
    EXPECT_THAT(test::xml.calls, ElementsAre(L"root", L"add Info", L"destroy root"));
    EXPECT_EQ(_document, _before);
    EXPECT_EQ(test::xml.living, 0);
}

TEST_F(DocumentSteps, CommandOfADocumentThatCannotBeginAnswersNeitherDoneNorRefused) {
    test::xml.refused = {L"Info"};
    PluginInterfaceReturn<const char*> result({9, 9}, _before);
    EXPECT_EQ(_device.call(1012, nullptr, &result), (PluginCallStatus{0, 0}));
    EXPECT_EQ(result.status, (PluginCallStatus{0, 0}));
    EXPECT_EQ(result.value, _before);
}

TEST_F(DocumentSteps, AFailedItemLeavesOutItsPropertyAlone) {
    test::xml.refused = {L"Item"};
    EXPECT_EQ(_device.deviceInformation(&_document), kDone);
    EXPECT_THAT(test::xml.calls, testing::Contains(L"@key=devicename"));
    EXPECT_THAT(test::xml.calls, testing::Not(testing::Contains(L"@key=manufacturer")));
}

TEST_F(DocumentSteps, AnEarlierDocumentStaysUntilOneIsBuilt) {
    _device.deviceInformation(&_document);
    const char* const earlier = _document;
    test::xml.refused = {L"Info"};
    const char* failed = nullptr;
    _device.deviceInformation(&failed);
    EXPECT_EQ(failed, nullptr);
    EXPECT_STREQ(earlier, "saved");
}

}  // namespace
