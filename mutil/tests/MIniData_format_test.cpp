// What setters of ini data return when a text cannot be formatted.
#include <string>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "refusals.h"

namespace {

using testing::ElementsAre;

constexpr int kAll = 1000;

class MIniDataFormatTest : public testing::Test {
protected:
    ~MIniDataFormatTest() override { test::formatsRefused = 0; }

    void expectRefused(bool answer, const std::string& function, const std::string& entry) {
        const std::string reason = "cannot add comment as an entry: \"" + entry + "\"";
        EXPECT_FALSE(answer);
        EXPECT_EQ(_data.GetLastErrorText(), reason);
        EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniDataT<struct MIniDataCaseSensitiveCompare>::" + function +
                                                         "(): " + std::string(reason)));
        EXPECT_EQ(_data.GetContentString(), "");
        _recorder.clear();
    }

    test::LogRecorder _recorder;
    MIniData _data;
};

TEST_F(MIniDataFormatTest, ACommentAsAnEntryIsRefusedThoughItCannotBeFormatted) {
    test::formatsRefused = kAll;
    expectRefused(_data.SetStringEntry("s", "#k", "text"), "SetStringEntry", "#k=...");
    expectRefused(_data.SetLongEntry("s", ";k", -5), "SetLongEntry", ";k=...");
    expectRefused(_data.SetLongLongEntry("s", " *k", 1LL << 40), "SetLongEntry", " *k=...");
    expectRefused(_data.SetDoubleEntry("s", "/k", 0.1), "SetDoubleEntry", "/k=...");
}

TEST_F(MIniDataFormatTest, ANumberThatCannotBeFormattedIsNotSet) {
    ASSERT_TRUE(_data.SetContentString("[s]\nk=1\n"));
    test::formatsRefused = kAll;
    EXPECT_FALSE(_data.SetLongEntry("s", "k", 2));
    EXPECT_FALSE(_data.SetLongLongEntry("s", "k", 2));
    EXPECT_FALSE(_data.SetDoubleEntry("s", "k", 2));
    EXPECT_EQ(_data.GetContentString(), "[s]\nk=1\n");
    EXPECT_TRUE(_data.SetStringEntry("s", "k", "2"));  // is not formatted
}

}  // namespace
