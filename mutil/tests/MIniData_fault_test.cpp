// Calls of the file writer, and ini data without memory. The sources of ini data are compiled into this program and
// call recordedWrite under the writer's name.
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "refused_malloc.h"

std::ptrdiff_t recordedWrite(const char* fileName, const char* text, std::size_t size, int mode);

namespace {

using testing::ElementsAre;

struct Write {
    std::string name;
    std::string text;
    int mode;
    bool operator==(const Write&) const = default;
};

std::vector<Write> writes;
std::ptrdiff_t writeResult = 0;

class MIniDataFaultTest : public testing::Test {
protected:
    MIniDataFaultTest() {
        writes.clear();
        writeResult = 0;
    }

    test::LogRecorder _recorder;
};

TEST_F(MIniDataFaultTest, SaveHandsNameContentAndModeToTheWriter) {
    MIniData data;
    EXPECT_TRUE(data.Open("no folder/none.ini"));
    EXPECT_TRUE(data.SetLongEntry("s", "k", 1));
    EXPECT_TRUE(data.Save());
    EXPECT_THAT(writes, ElementsAre(Write{"no folder/none.ini", "[s]\nk=1\n", 2}));
}

TEST_F(MIniDataFaultTest, TheOptionsDecideTheMode) {
    for (const std::uint32_t options : {0x00U, 0x08U, 0x10U, 0x18U, 0x23U, 0x3BU})
        EXPECT_TRUE(MIniData(options).Save());
    std::vector<int> modes;
    for (const Write& write : writes) modes.push_back(write.mode);
    EXPECT_THAT(modes, ElementsAre(2, 6, 10, 14, 2, 14));
}

TEST_F(MIniDataFaultTest, OnlyMinusOneOfTheWriterFailsTheSave) {
    MIniData data;
    EXPECT_TRUE(data.Save());  // 0 bytes
    EXPECT_TRUE(data.Unchanged());
    EXPECT_FALSE(data.FileAbsent());
    EXPECT_TRUE(data.AddSection("s"));
    writeResult = -1;
    EXPECT_FALSE(data.Save());
    EXPECT_FALSE(data.Unchanged());
    EXPECT_THAT(_recorder.errorTraces(), ElementsAre("MIniData::Save(): MFastFile_WriteLinesAtOnce(\"\") failed"));
}

TEST_F(MIniDataFaultTest, WithoutMemoryThereIsNoContentString) {
    MIniData data;
    EXPECT_TRUE(data.SetContentString("[s]\nsome key=and a value\n"));
    test::mallocFails = true;
    const char* const block = MIniData_GetContentString(&data);
    test::mallocFails = false;
    EXPECT_EQ(block, nullptr);
    EXPECT_THAT(_recorder.errorTraces(),
                ElementsAre(std::string("MIniData_GetContentString(): malloc() failed: ") + std::strerror(ENOMEM)));
    EXPECT_EQ(_recorder.entries()[0].file, "mutil/src/MIniData");
}

}  // namespace

std::ptrdiff_t recordedWrite(const char* fileName, const char* text, std::size_t size, int mode) {
    writes.push_back({fileName, std::string(text, size), mode});
    return writeResult;
}
