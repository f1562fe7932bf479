// One configuration, three readers: the camera, the simulator and doctor read the same files and get the same numbers.
#include <cstdint>
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImages.h"
#include "camera_config.h"
#include "doctor_checks.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct CameraImages {
    std::uint64_t width = 1280;
    std::uint64_t height = 1024;
    std::int32_t bytesPerPixel = 1;

    bool operator==(const CameraImages&) const = default;
};

void PrintTo(const CameraImages& images, std::ostream* stream) {
    *stream << images.width << "x" << images.height << "x" << images.bytesPerPixel;
}

struct ConfigRow {
    const char* name;
    std::vector<std::pair<const char*, std::string>> files;  // all three get the first one
    CameraImages camera;                                     // what the camera takes
    const char* simulator = "";  // why the simulator refuses it; empty: it takes what the camera takes
    const char* doctor = "";     // the problem that doctor reports; empty: none
    bool told = false;           // the camera's error log has an entry
};

void PrintTo(const ConfigRow& row, std::ostream* stream) { *stream << row.name; }

std::string image(const std::string& lines) { return "[image]\n" + lines; }
std::string leadsTo(const std::string& value) { return "[Dorven]\ncamera_config=" + value + "\n"; }

const std::string kOwn = "[image]\nimage_size_x=640\nimage_size_y=480\nbytes_per_pixel=2\n";
constexpr CameraImages kOwnImages{640, 480, 2};
constexpr std::uint64_t kGreatest = INT64_MAX;
const char kCircle[] = "because it leads back to itself";
const char kDoctorsCircle[] = ": the files lead in a circle: the camera takes its defaults";
const char kNoFile[] = ": there is no such file: the camera takes it for empty";

// clang-format off
const ConfigRow kRows[] = {
    // name, files, what the camera takes, the simulator's refusal, doctor's problem, whether the camera's log tells
    {"Nothing",              {{"a.ini", ""}},                                                  {}},
    {"OwnNumbers",           {{"a.ini", kOwn}},                                                kOwnImages},
    {"MarkOfUtf8",           {{"a.ini", "\xEF\xBB\xBF" + kOwn}},                               kOwnImages},
    {"OtherSection",         {{"a.ini", "[ image ]\nimage_size_x=640\n"}},                     {}},

    // ---- where camera_config leads
    {"Beside",               {{"a.ini", leadsTo("b.ini")}, {"b.ini", kOwn}},                   kOwnImages},
    {"Below",                {{"a.ini", leadsTo("sub/b.ini")}, {"sub/b.ini", kOwn}},           kOwnImages},
    {"BelowByBackslash",     {{"a.ini", leadsTo("sub\\b.ini")}, {"sub/b.ini", kOwn}},          kOwnImages},
    {"Above",                {{"sub/a.ini", leadsTo("../b.ini")}, {"b.ini", kOwn}},            kOwnImages},
    {"FromFileToFile",       {{"a.ini", leadsTo("sub/b.ini")}, {"sub/b.ini", leadsTo("../c.ini")}, {"c.ini", kOwn}},
                                                                                               kOwnImages},
    {"OnlyTheLastCounts",    {{"a.ini", leadsTo("b.ini") + image("image_size_x=9\n")}, {"b.ini", kOwn}}, kOwnImages},
    {"SameNameElsewhere",    {{"a.ini", leadsTo("sub/a.ini")}, {"sub/a.ini", kOwn}},           kOwnImages},
    {"BlankBehindTheKey",    {{"a.ini", "[Dorven]\ncamera_config =b.ini\n"}, {"b.ini", kOwn}}, kOwnImages},
    {"BlankBeforeTheValue",  {{"a.ini", leadsTo(" b.ini")}, {"b.ini", kOwn}},                  {},
        " b.ini: could not open camera config file: there is no such file", kNoFile},
    {"ZeroEndsTheValue",     {{"a.ini", leadsTo(std::string("b.ini\0:/c.ini", 13))}, {"b.ini", kOwn}}, kOwnImages},
    {"MissingTarget",        {{"a.ini", leadsTo("b.ini")}},                                    {},
        "b.ini: could not open camera config file: there is no such file", kNoFile},

    // ---- what cannot be read
    {"EmptyValue",           {{"a.ini", leadsTo("") + kOwn}},                                  {},
        "a.ini is empty", "a.ini is empty", true},
    {"FolderAsTarget",       {{"a.ini", leadsTo("sub")}, {"sub/b.ini", ""}},                   {},
        "sub: could not open camera config file: it is a folder", "sub: cannot be read: it is a folder", true},
    {"LineThatIsNone",       {{"a.ini", "[image]\nwide\n"}},                                   {},
        "a.ini: could not open camera config file: No '=' found in \"wide\"", "a.ini: cannot be read: No '=' found",
        true},
    {"EntryTwice",           {{"a.ini", kOwn + "image_size_x=641\n"}},                         {},
        "seen twice", "seen twice", true},
    {"Utf16",                {{"a.ini", std::string("\xFF\xFE[\0", 4)}},                       {},
        "UTF16/32 Unicode format not supported", "UTF16/32 Unicode format not supported", true},

    // ---- circles
    {"Itself",               {{"a.ini", leadsTo("a.ini") + kOwn}},                             {},
        kCircle, kDoctorsCircle, true},
    {"ItselfByTheFolder",    {{"cfg/a.ini", leadsTo("../cfg/a.ini")}},                         {},
        kCircle, kDoctorsCircle, true},
    {"ItselfByAnotherName",  {{"a.ini", leadsTo(".//sub\\.././a.ini")}, {"sub/b.ini", ""}},    {},
        kCircle, kDoctorsCircle, true},
    {"EachOther",            {{"cfg/a.ini", leadsTo("../b.ini")}, {"b.ini", leadsTo("cfg/a.ini")}}, {},
        kCircle, kDoctorsCircle, true},
    {"BehindTheFirst",       {{"a.ini", leadsTo("cfg/b.ini")}, {"cfg/b.ini", leadsTo("../cfg/b.ini")}}, {},
        kCircle, kDoctorsCircle, true},

    // ---- numbers
    {"SizeIsNoNumber",       {{"a.ini", image("image_size_x=abc\n")}},                         {0, 1024, 1},
        "image_size_x is 0 ('abc' is no number), but has to be from 1 to 65536", "is no number: the camera takes 0"},
    {"SizeIsEmpty",          {{"a.ini", image("image_size_y=\n")}},                            {1280, 0, 1},
        "image_size_y is 0 ('' is no number), but has to be from 1 to 65536", "is no number: the camera takes 0"},
    {"TwoSigns",             {{"a.ini", image("image_size_x=+-5\n")}},                         {0, 1024, 1},
        "image_size_x is 0 ('+-5' is no number)", "is no number: the camera takes 0"},
    {"Sign",                 {{"a.ini", image("image_size_x=+640\n")}},                        {640, 1024, 1}},
    {"TextBehind",           {{"a.ini", image("image_size_x= 640px\n")}},                      {640, 1024, 1}},
    {"Hexadecimal",          {{"a.ini", image("image_size_x=0x280\n")}},                       {0, 1024, 1},
        "image_size_x is 0, but has to be from 1 to 65536", "is out of range"},
    {"SpaceThatIsNoBlank",   {{"a.ini", image("image_size_x=\v640\n")}},                       {640, 1024, 1}},
    {"Negative",             {{"a.ini", image("image_size_y=-5\n")}},                          {1280, 0 - 5ull, 1},
        "image_size_y is -5, but has to be from 1 to 65536", "is out of range"},
    {"GreaterThanAnyNumber", {{"a.ini", image("image_size_x=99999999999999999999\n")}},        {kGreatest, 1024, 1},
        "image_size_x is 9223372036854775807, but has to be from 1 to 65536", "is out of range"},
    {"DepthIsNoNumber",      {{"a.ini", image("bytes_per_pixel=two\n")}},                      {},
        "", "is no number: the camera takes 1"},
    {"DepthOfNone",          {{"a.ini", image("bytes_per_pixel=0\n")}},                        {1280, 1024, 0},
        "bytes_per_pixel is 0, but has to be from 1 to 16", "is out of range"},
    {"DepthBeyond32Bits",    {{"a.ini", image("bytes_per_pixel=4294967298\n")}},               {1280, 1024, INT32_MAX},
        "bytes_per_pixel is 2147483647, but has to be from 1 to 16", "is out of range"},
};
// clang-format on

class ConfigChainTest : public testing::TestWithParam<ConfigRow> {
protected:
    ConfigChainTest() {
        for (const auto& [name, content] : GetParam().files) _folder.file(name, content);
        _given = _folder.path(GetParam().files.front().first);
    }

    // One-line texts, not a screenful.
    static void expectReadable(const std::string& text) {
        EXPECT_LT(text.size(), 400u);
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
    static void expectSame(const frames::ImageFormat& format, const CameraImages& camera) {
        EXPECT_EQ(format.width, camera.width);
        EXPECT_EQ(format.height, camera.height);
        EXPECT_EQ(format.bytesPerPixel, static_cast<std::size_t>(camera.bytesPerPixel));
    }

    test::TemporaryFolder _folder;
    test::LogRecorder _log;
    std::string _given;
};

TEST_P(ConfigChainTest, CameraTakes) {
    const auto memory = kest::dorven::TeskImages::create(_given.c_str())->imageMemory();
    EXPECT_EQ((CameraImages{memory->width, memory->height, memory->bytesPerPixel}), GetParam().camera);
    EXPECT_THAT(_log.errors(), SizeIs(GetParam().told ? 1 : 0));
    for (const std::string& error : _log.errors()) expectReadable(error);
}

TEST_P(ConfigChainTest, SimulatorTakesTheSameOrRefusesIt) {
    frames::ImageFormat format{1, 2, 3};
    std::string refusal;
    const bool taken = simulator::readCameraFormat(_given, format, refusal);
    EXPECT_EQ(taken, std::string(GetParam().simulator).empty()) << refusal;
    EXPECT_THAT(refusal, HasSubstr(GetParam().simulator));
    expectReadable(refusal);
    if (taken) expectSame(format, GetParam().camera);
}

TEST_P(ConfigChainTest, DoctorFindsTheSameOrAProblem) {
    host::Findings findings;
    const auto format = host::examineConfiguration(_given, findings);
    const std::string problem = host::problemOfConfiguration(_given);
    EXPECT_THAT(problem, HasSubstr(GetParam().doctor));
    EXPECT_EQ(problem.empty(), std::string(GetParam().doctor).empty()) << problem;
    expectReadable(problem);
    if (format) expectSame(*format, GetParam().camera);
    EXPECT_TRUE(format || !problem.empty());
}

INSTANTIATE_TEST_SUITE_P(Configurations, ConfigChainTest, testing::ValuesIn(kRows),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
