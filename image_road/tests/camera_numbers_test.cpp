#include "camera_numbers.h"

#include <limits>

#include <gtest/gtest.h>

#include "log_recorder.h"

namespace {

using image_road::CameraNumber;

constexpr std::int64_t kBefore = 77;

struct NumberCase {
    const char* text;  // null: no entry
    std::int64_t size;
    std::int64_t other;
};

void PrintTo(const NumberCase& row, std::ostream* stream) { *stream << (row.text ? row.text : "no entry"); }

class CameraNumbersTest : public testing::TestWithParam<NumberCase> {
protected:
    // The value of a number after reading; kBefore when it stays unchanged.
    static std::int64_t read(const CameraNumber& number) {
        const test::LogRecorder quiet;
        MIniData ini;
        std::string content = "[image]\n";
        if (GetParam().text) content.append(number.key).append("=").append(GetParam().text).append("\n");
        EXPECT_TRUE(ini.SetContentString(content));
        std::int64_t value = kBefore;
        const bool taken = readCameraNumber(ini, number, value);
        EXPECT_EQ(taken, value != kBefore);
        return value;
    }
};

TEST_P(CameraNumbersTest, AreTakenAsTheCameraTakesThem) {
    for (const CameraNumber& size : {image_road::kWidth, image_road::kHeight}) EXPECT_EQ(read(size), GetParam().size);
    for (const CameraNumber& other :
         {image_road::kBytesPerPixel, image_road::kPixelFormat, image_road::kArrangeType, image_road::kTimeStampType})
        EXPECT_EQ(read(other), GetParam().other) << other.key;
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CameraNumbersTest,
    testing::Values(NumberCase{nullptr, kBefore, kBefore}, NumberCase{"5", 5, 5}, NumberCase{" -5 px", -5, -5},
                    NumberCase{"", 0, kBefore}, NumberCase{"abc", 0, kBefore}, NumberCase{"0x10", 0, 0},
                    NumberCase{"99999999999999999999", std::numeric_limits<std::int64_t>::max(),
                               std::numeric_limits<std::int32_t>::max()},
                    NumberCase{"-4294967296", -4294967296, std::numeric_limits<std::int32_t>::min()}));

}  // namespace
