// Opening the camera: configuration files, the bitmap description, and what the host reads afterwards.
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "TeskImagesConfig.h"
#include "log_recorder.h"
#include "object_names.h"
#include "platform_fault.h"
#include "received_images.h"
#include "temporary_folder.h"

PLATFORM_FAULT(HANDLE, CreateEventA,
               (SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initialState, LPCSTR name),
               (attributes, manualReset, initialState, name))
PLATFORM_FAULT(HANDLE, CreateFileMappingA,
               (HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protection, DWORD sizeHigh, DWORD sizeLow,
                LPCSTR name),
               (file, attributes, protection, sizeHigh, sizeLow, name))

namespace {

using namespace NUV;
using kest::dorven::TeskImages;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint64_t kHuge = 18446744073709551615u;

class OpenTest : public testing::Test {
protected:
    /// Sends 1001. @return The bitmap description, which starts as all 0x5A.
    tagBITMAPINFO open(const char* path) {
        PluginInterfaceReturn<tagBITMAPINFO> result({9, 9}, {});
        std::memset(&result.value, 0x5A, sizeof result.value);
        PluginInterfaceParameter<const char*> parameter(path);
        EXPECT_EQ(_device.call(1001, &parameter, &result), kDone);
        EXPECT_EQ(result.status, kDone);
        return result.value;
    }
    tagBITMAPINFO openIni(const std::string& content) { return open(_folder.file("camera.ini", content).c_str()); }

    IMAGEMEMORY* record() {
        PluginInterfaceReturn<IMAGEMEMORY*> result({9, 9}, nullptr);
        EXPECT_EQ(_device.call(1011, nullptr, &result), kDone);
        return result.value;
    }
    PluginInterfaceClippingCap capability(int which, PluginInterfaceClippingCap preset = {}) {
        PluginInterfaceParameter<eClippingParam> parameter(static_cast<eClippingParam>(which));
        PluginInterfaceReturn<PluginInterfaceClippingCap> result({9, 9}, preset);
        EXPECT_EQ(_device.call(1014, &parameter, &result), kDone);
        return result.value;
    }
    PluginInterfaceClippingData clipping() {
        PluginInterfaceReturn<PluginInterfaceClippingData> result({9, 9}, {});
        EXPECT_EQ(_device.call(1008, nullptr, &result), kDone);
        return result.value;
    }

    test::LogRecorder _log;
    test::TemporaryFolder _folder;
    DorVenPlugin _device{"folder"};
};

void expectCapability(const PluginInterfaceClippingCap& found, std::uint64_t minimum, std::uint64_t maximum,
                      std::uint64_t step) {
    EXPECT_EQ(found.minimum, minimum);
    EXPECT_EQ(found.maximum, maximum);
    EXPECT_EQ(found.step, step);
}

// ---- the bitmap description

TEST_F(OpenTest, DescribesTheDefaultImage) {
    tagBITMAPINFO expected{};
    expected.bmiHeader.biSize = 40;
    expected.bmiHeader.biWidth = 1280;
    expected.bmiHeader.biHeight = -1024;
    expected.bmiHeader.biPlanes = 1;
    expected.bmiHeader.biBitCount = 8;
    const tagBITMAPINFO found = open(nullptr);
    EXPECT_EQ(std::memcmp(&found, &expected, sizeof expected), 0);
}

TEST_F(OpenTest, HeightIsNegativeForTopDownImagesOnly) {
    EXPECT_EQ(openIni("[image]\narrange_type=0\n").bmiHeader.biHeight, -1024);
    EXPECT_EQ(openIni("[image]\narrange_type=1\n").bmiHeader.biHeight, 1024);
    EXPECT_EQ(openIni("[image]\narrange_type=-1\n").bmiHeader.biHeight, 1024);
}

TEST_F(OpenTest, BitmapTakesTheLow32BitsOfTheSize) {
    EXPECT_EQ(openIni("[image]\nimage_size_x=4294967297\n").bmiHeader.biWidth, 1);
    EXPECT_EQ(openIni("[image]\nimage_size_y=2147483648\n").bmiHeader.biHeight, INT32_MIN);
}

TEST_F(OpenTest, BitmapHasEightBitsWhateverAPixelHas) {
    EXPECT_EQ(openIni("[image]\nbytes_per_pixel=2\n").bmiHeader.biBitCount, 8);
}

// ---- the configuration file

TEST_F(OpenTest, WithoutAFileHasTheDefaults) {
    open(nullptr);
    const IMAGEMEMORY& image = *record();
    EXPECT_EQ(image.width, 1280u);
    EXPECT_EQ(image.height, 1024u);
    EXPECT_EQ(image.secondWidth, 1280u);
    EXPECT_EQ(image.secondHeight, 1024u);
    EXPECT_EQ(image.clipping.x, 0u);
    EXPECT_EQ(image.clipping.y, 0u);
    EXPECT_EQ(image.clipping.width, 1280u);
    EXPECT_EQ(image.clipping.height, 1024u);
    EXPECT_EQ(image.bytesPerPixel, 1);
    EXPECT_EQ(image.imageBuffer, nullptr);
    EXPECT_EQ(image.arrangeType, 0);
    EXPECT_EQ(image.timeStampType, 1);
    EXPECT_EQ(image.timeStamp, 0u);
    EXPECT_EQ(image.frameTime, 0.0);
    EXPECT_EQ(image.imageCounter, 0u);
    EXPECT_EQ(image.pixelFormat, PIXELFORMAT(2));
    ASSERT_EQ(image.metaData.size(), 1u);
    const auto& temperature = *image.metaData.at(SMARTMETADATAKEY(0));
    EXPECT_STREQ(temperature.typeName(), "Double");
    EXPECT_EQ(dynamic_cast<const SmartMetaDataDouble&>(temperature).value, 23.5);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(OpenTest, TracesThePathAtBothSteps) {
    open(nullptr);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::create  - (nullptr)"));
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - (nullptr)"));
    _log.clear();
    const std::string path = _folder.file("p.ini", "");
    open(path.c_str());
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::TeskImages::create  - " + path));
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - " + path));
}

TEST_F(OpenTest, SizeFollowsTheFileButSecondSizeAndClippingDoNot) {
    openIni("[image]\nimage_size_x=640\nimage_size_y=480\n");
    const IMAGEMEMORY& image = *record();
    EXPECT_EQ(image.width, 640u);
    EXPECT_EQ(image.height, 480u);
    EXPECT_EQ(image.secondWidth, 1280u);
    EXPECT_EQ(image.secondHeight, 1024u);
    EXPECT_EQ(clipping().width, 1280u);
    EXPECT_EQ(clipping().height, 1024u);
}

TEST_F(OpenTest, TakesTheOtherKeysToo) {
    openIni("[image]\nbytes_per_pixel=3\npixel_format=7\narrange_type=1\ntime_stamp_type=0\n");
    const IMAGEMEMORY& image = *record();
    EXPECT_EQ(image.bytesPerPixel, 3);
    EXPECT_EQ(image.pixelFormat, PIXELFORMAT(7));
    EXPECT_EQ(image.arrangeType, 1);
    EXPECT_EQ(image.timeStampType, 0);
}

TEST_F(OpenTest, KeysThatAreNoNumberKeepTheirDefaultButSizesBecomeZero) {
    openIni("[image]\nimage_size_x=abc\nbytes_per_pixel=abc\npixel_format=\n");
    const IMAGEMEMORY& image = *record();
    EXPECT_EQ(image.width, 0u);
    EXPECT_EQ(image.height, 1024u);
    EXPECT_EQ(image.bytesPerPixel, 1);
    EXPECT_EQ(image.pixelFormat, PIXELFORMAT(2));
}

TEST_F(OpenTest, NumbersAreReadAsDecimalWithLeadingBlanks) {
    openIni("[image]\nimage_size_x= 800\nimage_size_y=0x10\n");
    EXPECT_EQ(record()->width, 800u);
    EXPECT_EQ(record()->height, 0u);
    openIni("[image]\nimage_size_x=-1\n");
    EXPECT_EQ(record()->width, kHuge);
}

TEST_F(OpenTest, NamesAreCaseSensitive) {
    openIni("[Image]\nimage_size_x=1\n[image]\nImage_size_y=1\n");
    EXPECT_EQ(record()->width, 1280u);
    EXPECT_EQ(record()->height, 1024u);
}

TEST_F(OpenTest, MissingFileIsAnEmptyOne) {
    open(_folder.path("missing.ini").c_str());
    EXPECT_EQ(record()->width, 1280u);
    open("");
    EXPECT_EQ(record()->width, 1280u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(OpenTest, UnreadableFileIsReportedAndLeavesTheDefaults) {
    const std::string path = _folder.file("bad.ini", "x=1\n[image]\nimage_size_x=640\n");
    open(path.c_str());
    EXPECT_THAT(_log.errors(), ElementsAre("kest::dorven::openIniFile  - could not open camera config file: " + path));
    EXPECT_EQ(record()->width, 1280u);
    _log.clear();
    open(_folder.path().c_str());  // a folder
    EXPECT_THAT(_log.errors(),
                ElementsAre("kest::dorven::openIniFile  - could not open camera config file: " + _folder.path()));
}

// ---- redirection

TEST_F(OpenTest, RedirectionCountsFromTheFolderOfTheFile) {
    _folder.file("cfg/cam.ini", "[image]\nimage_size_x=320\n");
    open(_folder.file("cfg/plugin.ini", "[Dorven]\ncamera_config=cam.ini\n[image]\nimage_size_x=640\n").c_str());
    EXPECT_EQ(record()->width, 320u);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - " + _folder.path("cfg") + "/cam.ini"));
}

TEST_F(OpenTest, RedirectionGoesOnFromFileToFile) {
    _folder.file("sub/two.ini", "[Dorven]\ncamera_config=three.ini\n");
    _folder.file("sub/three.ini", "[image]\nimage_size_x=3\n");
    _folder.file("three.ini", "[image]\nimage_size_x=4\n");
    openIni("[Dorven]\ncamera_config=sub/two.ini\n");
    EXPECT_EQ(record()->width, 3u);
}

TEST_F(OpenTest, RedirectionToAnAbsoluteName) {
    const std::string target = _folder.file("elsewhere/cam.ini", "[image]\nimage_size_x=5\n");
    openIni("[Dorven]\ncamera_config=" + target + "\n");
    EXPECT_EQ(record()->width, 5u);
    openIni("[Dorven]\ncamera_config=a:b\n");  // a colon anywhere makes a name absolute
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - a:b"));
    openIni("[Dorven]\ncamera_config=\\x\n");
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - \\x"));
}

TEST_F(OpenTest, RedirectionFromANameWithoutFolder) {
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(_folder.path());
    _folder.file("cam.ini", "[image]\nimage_size_x=6\n");
    _folder.file("plugin.ini", "[Dorven]\ncamera_config=cam.ini\n");
    open("plugin.ini");
    std::filesystem::current_path(former);
    EXPECT_EQ(record()->width, 6u);
    EXPECT_THAT(_log.traces(), Contains("kest::dorven::openIniFile  - ./cam.ini"));
}

TEST_F(OpenTest, FolderEndsAtTheLastSeparatorOfEitherKind) {
    _folder.file("a/b/cam.ini", "[image]\nimage_size_x=7\n");
    _folder.file("a/b/plugin.ini", "[Dorven]\ncamera_config=cam.ini\n");
    open((_folder.path() + "\\a\\b/plugin.ini").c_str());
    EXPECT_EQ(record()->width, 7u);
    EXPECT_THAT(_log.traces(), Contains(EndsWith("\\a\\b/cam.ini")));
    open((_folder.path() + "/a\\b\\plugin.ini").c_str());
    EXPECT_EQ(record()->width, 7u);
    EXPECT_THAT(_log.traces(), Contains(EndsWith("/a\\b\\cam.ini")));
}

TEST_F(OpenTest, SectionAndKeyOfARedirectionAreCaseSensitive) {
    openIni("[dorven]\ncamera_config=x.ini\n[Dorven]\nCamera_config=x.ini\n[image]\nimage_size_x=8\n");
    EXPECT_EQ(record()->width, 8u);
}

TEST_F(OpenTest, RedirectionTakesItsValueVerbatim) {
    _folder.file(" cam.ini", "[image]\nimage_size_x=9\n");
    openIni("[Dorven]\ncamera_config = cam.ini\n");
    EXPECT_EQ(record()->width, 9u);
    EXPECT_THAT(_log.traces(), Contains(EndsWith(" cam.ini")));
}

TEST_F(OpenTest, EmptyRedirectionNamesTheFolderWhichCannotBeRead) {
    openIni("[Dorven]\ncamera_config=\n[image]\nimage_size_x=9\n");
    ASSERT_EQ(_log.errors().size(), 1u);
    EXPECT_THAT(_log.errors()[0], HasSubstr("could not open camera config file: " + _folder.path()));
    EXPECT_EQ(record()->width, 1280u);
}

TEST_F(OpenTest, RedirectionToAnUnreadableFileLeavesTheDefaults) {
    const std::string target = _folder.file("bad.ini", "x=1\n");
    openIni("[Dorven]\ncamera_config=bad.ini\n[image]\nimage_size_x=9\n");
    EXPECT_THAT(_log.errors(),
                ElementsAre("kest::dorven::openIniFile  - could not open camera config file: " + target));
    EXPECT_EQ(record()->width, 1280u);
}

TEST_F(OpenTest, RedirectionToAMissingFileIsAnEmptyFile) {
    openIni("[Dorven]\ncamera_config=missing.ini\n[image]\nimage_size_x=9\n");
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_EQ(record()->width, 1280u);
}

TEST_F(OpenTest, RedirectionInACircleEnds) {
    _folder.file("two.ini", "[Dorven]\ncamera_config=camera.ini\n");
    openIni("[Dorven]\ncamera_config=two.ini\n[image]\nimage_size_x=9\n");
    ASSERT_EQ(_log.errors().size(), 1u);
    EXPECT_THAT(_log.errors()[0], EndsWith("could not open camera config file: " + _folder.path("camera.ini")));
    EXPECT_EQ(record()->width, 1280u);
}

TEST_F(OpenTest, RedirectionToItselfByAnotherSpellingEnds) {
    _folder.path("sub/x");
    openIni("[Dorven]\ncamera_config=sub/../camera.ini\n");
    EXPECT_EQ(_log.errors().size(), 1u);
    openIni("[Dorven]\ncamera_config=sub\\..\\camera.ini\n");
    EXPECT_EQ(_log.errors().size(), 2u);
}

TEST_F(OpenTest, LongChainsAreFollowedWithOneTraceForEachFile) {
    for (int i = 1; i < 2000; ++i)
        _folder.file(std::to_string(i) + ".ini", "[Dorven]\ncamera_config=" + std::to_string(i + 1) + ".ini\n");
    _folder.file("2000.ini", "[image]\nimage_size_x=11\n");
    open(_folder.path("1.ini").c_str());
    EXPECT_EQ(record()->width, 11u);
    std::size_t hops = 0;
    for (const std::string& text : _log.traces()) hops += text.find("kest::dorven::openIniFile  - ") == 0;
    EXPECT_EQ(hops, 2000u);
}

// ---- what the host reads and sets

TEST_F(OpenTest, ClippingIsKeptAndChangesNothingElse) {
    const tagBITMAPINFO* bitmap = nullptr;
    ASSERT_EQ(_device.openImageDevice(nullptr, &bitmap), kDone);
    const tagBITMAPINFO before = *bitmap;
    PluginInterfaceParameter<PluginInterfaceClippingData> parameter({1, 2, 3, 4});
    _log.clear();
    EXPECT_EQ(_device.call(1007, &parameter, nullptr), kDone);
    const std::vector<std::string> fourQueries(4, "kest::dorven::TeskImages::imageMemory");
    EXPECT_EQ(_log.traces(), fourQueries);
    _log.clear();
    const PluginInterfaceClippingData found = clipping();
    EXPECT_EQ(_log.traces(), fourQueries);
    EXPECT_EQ(found.x, 1u);
    EXPECT_EQ(found.y, 2u);
    EXPECT_EQ(found.width, 3u);
    EXPECT_EQ(found.height, 4u);
    EXPECT_EQ(record()->width, 1280u);
    EXPECT_EQ(record()->height, 1024u);
    EXPECT_EQ(record()->clipping.height, 4u);
    EXPECT_EQ(std::memcmp(bitmap, &before, sizeof before), 0);
}

TEST_F(OpenTest, ClippingCapabilityHasARowForEachValue) {
    open(nullptr);
    expectCapability(capability(0), 0, 1278, 2);
    expectCapability(capability(1), 0, 1022, 2);
    expectCapability(capability(2), 1280, 1280, 0);
    expectCapability(capability(3), 2, 1024, 2);
    expectCapability(capability(4, {1, 2, 3}), 1, 2, 3);
    expectCapability(capability(-1, {1, 2, 3}), 1, 2, 3);
    openIni("[image]\nimage_size_x=640\n");
    expectCapability(capability(0), 0, 638, 2);
    expectCapability(capability(2), 640, 640, 0);
    openIni("[image]\nimage_size_x=1\n");
    expectCapability(capability(0), 0, kHuge, 2);
}

TEST_F(OpenTest, PixelsAre5Point2MicrometresWide) {
    open(nullptr);
    PluginInterfaceReturn<PluginInterfacePixelSizeData> result({9, 9}, {});
    EXPECT_EQ(_device.call(1013, nullptr, &result), kDone);
    EXPECT_EQ(result.value.x, 5.2);
    EXPECT_EQ(result.value.y, 5.2);
}

TEST_F(OpenTest, BufferIsNullBeforeTheFirstImage) {
    open(nullptr);
    char something = 0;
    PluginInterfaceReturn<char*> result({9, 9}, &something);
    EXPECT_EQ(_device.call(1009, nullptr, &result), kDone);
    EXPECT_EQ(result.value, nullptr);
}

TEST_F(OpenTest, PixelFormatIsTheConfiguredOne) {
    openIni("[image]\npixel_format=9\n");
    PluginInterfaceReturn<PIXELFORMAT> result({9, 9}, PIXELFORMAT(0));
    EXPECT_EQ(_device.call(1010, nullptr, &result), kDone);
    EXPECT_EQ(result.value, PIXELFORMAT(9));
}

TEST_F(OpenTest, MetaDataCapsAreAnEmptyMap) {
    open(nullptr);
    PluginInterfaceReturn<SmartMetaDataCaps*> result({9, 9}, nullptr);
    EXPECT_EQ(_device.call(1015, nullptr, &result), kDone);
    ASSERT_NE(result.value, nullptr);
    EXPECT_THAT(*result.value, IsEmpty());
}

TEST_F(OpenTest, RecordStaysAtItsAddress) {
    open(nullptr);
    EXPECT_EQ(record(), record());
}

TEST_F(OpenTest, FrameRateIsStoredEvenWhenItIsRefused) {
    open(nullptr);
    const auto set = [&](double rate) {
        PluginInterfaceParameter<double> parameter(rate);
        EXPECT_EQ(_device.call(1106, &parameter, nullptr), kDone);
    };
    const auto get = [&] {
        PluginInterfaceReturn<double> result({9, 9}, -7.0);
        EXPECT_EQ(_device.call(1107, nullptr, &result), kDone);
        return result.value;
    };
    EXPECT_EQ(get(), 200.0);
    set(50.0);
    EXPECT_EQ(get(), 50.0);
    EXPECT_THAT(_log.errors(), IsEmpty());
    set(0.0);
    EXPECT_EQ(get(), 0.0);
    set(-3.5);
    EXPECT_EQ(get(), -3.5);
    ASSERT_EQ(_log.errors().size(), 2u);
    EXPECT_THAT(_log.errors()[0],
                testing::MatchesRegex("Assertion failed: 'f > 0.0', file Dorven/TeskImages, line .*: invalid frame "
                                      "rate: 0.000000"));
    EXPECT_THAT(_log.errors()[1], EndsWith("invalid frame rate: -3.500000"));
    PluginInterfaceParameter<int> wrong(1);
    EXPECT_EQ(_device.call(1106, &wrong, nullptr), kWrongParameter);
    EXPECT_EQ(get(), -3.5);
}

// ---- opening again, failing, letting go

TEST_F(OpenTest, SecondOpenReplacesTheSource) {
    open(nullptr);
    record()->imageCounter = 5;
    _log.clear();
    openIni("[image]\nimage_size_x=640\n");
    EXPECT_EQ(record()->imageCounter, 0u);
    EXPECT_EQ(record()->width, 640u);
    const auto traces = _log.traces();
    EXPECT_EQ(std::count(traces.begin(), traces.end(), "kest::dorven::TeskImages::~TeskImages"), 1);
    EXPECT_THAT(traces, Not(Contains("kest::dorven::TeskImages::freeze")));
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(OpenTest, SecondOpenStopsTheOldSourceAndTheNewOneWaitsForGrab) {
    open(nullptr);
    EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
    open(nullptr);
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_EQ(_device.call(1004, nullptr, nullptr), kNotSupported);  // nothing runs
    EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(_device.call(1004, nullptr, nullptr), kDone);
}

/// While it exists, creating an event whose name begins with the prefix returns this handle.
class EventsAnswer {
public:
    EventsAnswer(HANDLE answer, std::string prefix)
        : _fault(fault_CreateEventA,
                 [answer, prefix = std::move(prefix)](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL signalled,
                                                      LPCSTR name) -> HANDLE {
                     // Threads end with nameless events of their own on Windows.
                     if (!name || !std::string_view(name).starts_with(prefix))
                         return real_CreateEventA(attributes, manualReset, signalled, name);
                     SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                     return answer;
                 }) {}

private:
    test::Fault<decltype(fault_CreateEventA)> _fault;
};

/// Makes the event object throw. No system does that; it stands for other causes, such as no memory or no free thread.
struct EventsThrow : EventsAnswer {
    explicit EventsThrow(std::string prefix) : EventsAnswer(INVALID_HANDLE_VALUE, std::move(prefix)) {}
};

/// The system refuses an event.
struct EventsAreRefused : EventsAnswer {
    explicit EventsAreRefused(std::string prefix) : EventsAnswer(nullptr, std::move(prefix)) {}
};

TEST_F(OpenTest, FirstOpenInsideWhichSomethingThrowsIsRefused) {
    const tagBITMAPINFO before{};
    {
        const EventsThrow fault(image_road::kImagesEvent);
        PluginInterfaceReturn<tagBITMAPINFO> result({9, 9}, before);
        EXPECT_EQ(_device.call(1001, nullptr, &result), kNotSupported);
        EXPECT_EQ(result.status, kNotSupported);
        EXPECT_EQ(std::memcmp(&result.value, &before, sizeof before), 0);
        EXPECT_THAT(_log.errors(), Contains("NUV::DorVenPlugin::openImageDevice() : Failed to create process event "
                                            "\"DorVenImagesEvent\""));
    }
    EXPECT_EQ(_device.call(1011, nullptr, nullptr), kNotSupported);  // no source
    open(nullptr);
    EXPECT_NE(record(), nullptr);
}

TEST_F(OpenTest, SecondOpenThatThrowsBeforeItsLinkLeavesTheCameraOpen) {
    openIni("[image]\nimage_size_x=640\n");
    IMAGEMEMORY* const opened = record();
    {
        const EventsThrow fault(image_road::kImagesEvent);
        EXPECT_EQ(_device.call(1001, nullptr, nullptr), kNotSupported);
        EXPECT_THAT(_log.errors(), Contains("NUV::DorVenPlugin::openImageDevice() : Failed to create process event "
                                            "\"DorVenImagesEvent\""));
    }
    EXPECT_EQ(record(), opened);
    EXPECT_EQ(opened->width, 640u);
    EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
}

TEST_F(OpenTest, SecondOpenMakesItsLinkBehindTheEndOfTheFirst) {
    open(nullptr);
    const auto linkIsThere = [] {
        const HANDLE memory =
            OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::memoryOf(image_road::kCameraAsks).c_str());
        if (memory) CloseHandle(memory);
        return memory != nullptr;
    };
    ASSERT_TRUE(linkIsThere());
    std::vector<bool> atEachEvent;
    const test::Fault fault(
        fault_CreateEventA,
        [&](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL signalled, LPCSTR name) -> HANDLE {
            if (name && std::string_view(name).starts_with("DorVenCameraPlugin_")) atEachEvent.push_back(linkIsThere());
            return real_CreateEventA(attributes, manualReset, signalled, name);
        });
    open(nullptr);
    ASSERT_THAT(atEachEvent, Not(IsEmpty()));
    EXPECT_FALSE(atEachEvent.front());
}

TEST_F(OpenTest, SecondOpenWhoseLinkThrowsLeavesNoCameraOpen) {
    open(nullptr);
    {
        const EventsThrow fault("DorVenCameraPlugin_");
        EXPECT_EQ(_device.call(1001, nullptr, nullptr), kNotSupported);
        EXPECT_THAT(_log.errors(), Contains(HasSubstr("NUV::DorVenPlugin::openImageDevice() : Failed to create process "
                                                      "event \"DorVenCameraPlugin_")));
    }
    EXPECT_EQ(_device.call(1011, nullptr, nullptr), kNotSupported);
    open(nullptr);
    EXPECT_NE(record(), nullptr);
}

TEST_F(OpenTest, SecondOpenWhoseLinkIsRefusedItsEventsOpensACameraWithoutLink) {
    open(nullptr);
    {
        const EventsAreRefused fault("DorVenCameraPlugin_");
        openIni("[image]\nimage_size_x=640\n");
    }
    EXPECT_EQ(OpenEventA(EVENT_MODIFY_STATE, FALSE, image_road::eventOf(image_road::kSimulatorAsks).c_str()), nullptr);
    ASSERT_NE(record(), nullptr);
    EXPECT_EQ(record()->width, 640u);
    EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(_device.call(1004, nullptr, nullptr), kDone);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(OpenTest, SecondOpenWhoseLinkIsRefusedItsMemoryOpensACameraWithoutLink) {
    open(nullptr);
    {
        const test::Fault fault(fault_CreateFileMappingA,
                                [](HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protection, DWORD sizeHigh,
                                   DWORD sizeLow, LPCSTR name) -> HANDLE {
                                    if (!name || !std::string_view(name).starts_with("DorVenCameraPlugin_"))
                                        return real_CreateFileMappingA(file, attributes, protection, sizeHigh, sizeLow,
                                                                       name);
                                    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                                    return nullptr;
                                });
        openIni("[image]\nimage_size_x=640\n");
    }
    EXPECT_THAT(_log.errorTraces(), Contains("MSharedMem_Create(): CreateFileMapping() failed"));
    EXPECT_EQ(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::memoryOf(image_road::kCameraAsks).c_str()),
              nullptr);
    ASSERT_NE(record(), nullptr);
    EXPECT_EQ(record()->width, 640u);
    EXPECT_EQ(_device.call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(_device.call(1004, nullptr, nullptr), kDone);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(OpenTest, EventIsThereForTheSimulator) {
    EXPECT_EQ(OpenEventA(EVENT_MODIFY_STATE, FALSE, image_road::kImagesEvent), nullptr);
    open(nullptr);
    const HANDLE event = OpenEventA(EVENT_MODIFY_STATE, FALSE, image_road::kImagesEvent);
    EXPECT_NE(event, nullptr);
    CloseHandle(event);
}

TEST(ImageSource, LinkIsThereUntilTheLastHolderLetsGo) {
    const auto linkIsThere = [] {
        const HANDLE memory =
            OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, image_road::memoryOf(image_road::kCameraAsks).c_str());
        if (memory) CloseHandle(memory);
        return memory != nullptr;
    };
    auto first = TeskImages::create(nullptr);
    auto second = first;
    first.reset();
    EXPECT_TRUE(linkIsThere());
    second.reset();
    EXPECT_FALSE(linkIsThere());
}

TEST(DestroyedCamera, LetsGoOfItsSource) {
    test::LogRecorder log;
    {
        DorVenPlugin device("");
        device.call(1001, nullptr, nullptr);
        device.call(1002, nullptr, nullptr);
        log.clear();
    }
    const auto traces = log.traces();
    const auto device = std::find(traces.begin(), traces.end(), "NUV::DorVenPlugin::~DorVenPlugin");
    const auto freeze = std::find(traces.begin(), traces.end(), "kest::dorven::TeskImages::freeze");
    const auto source = std::find(traces.begin(), traces.end(), "kest::dorven::TeskImages::~TeskImages");
    ASSERT_NE(source, traces.end());
    EXPECT_LT(device, freeze);
    EXPECT_LT(freeze, source);
    EXPECT_THAT(log.errors(), IsEmpty());
}

// ---- sources and devices that are not the usual ones

struct SourceWithoutRecord : TeskImages {
    SourceWithoutRecord() { _imageMemory = nullptr; }
};

struct DeviceWithSource : DorVenPlugin {
    explicit DeviceWithSource(std::shared_ptr<TeskImages> source) : DorVenPlugin("") { useSource(std::move(source)); }
    using DorVenPlugin::useSource;
};

TEST(SourceWithoutRecord, IsReportedAndLeavesOutputsAloneButTheRecordItself) {
    test::LogRecorder log;
    DeviceWithSource device(std::make_shared<SourceWithoutRecord>());
    for (const std::int32_t id : {1007, 1008, 1009, 1010, 1011, 1014}) {
        SCOPED_TRACE(id);
        log.clear();
        PluginInterfaceParameter<PluginInterfaceClippingData> clipping({1, 2, 3, 4});
        PluginInterfaceParameter<eClippingParam> which(eClippingParam::width);
        PluginInterfaceReturn<IMAGEMEMORY*> pointer({9, 9}, reinterpret_cast<IMAGEMEMORY*>(16));
        const PluginInterfaceParameterBase* parameter =
            id == 1014 ? static_cast<PluginInterfaceParameterBase*>(&which) : &clipping;
        EXPECT_EQ(device.call(id, parameter, &pointer), kDone);
        EXPECT_EQ(pointer.value, id == 1011 ? nullptr : reinterpret_cast<IMAGEMEMORY*>(16));
        ASSERT_FALSE(log.errors().empty());
        EXPECT_THAT(log.errors()[0],
                    testing::MatchesRegex(
                        "Assertion failed: '_imageMemory', file Dorven/TeskImages, line .*: invalid image memory"));
    }
}

/// A source that consists of the test's parts.
struct BuiltSource : TeskImages {
    BuiltSource(std::shared_ptr<IMAGEMEMORY> record, std::shared_ptr<SmartMetaDataDouble> temperature)
        : TeskImages(std::make_shared<MProcessEvent>(image_road::kImagesEvent), {}, record, temperature) {}
    using TeskImages::_imageMemory;
};

TEST(BuiltSource, WithoutATemperatureIsReportedAndHasNoMetaData) {
    test::LogRecorder log;
    const BuiltSource source(std::make_shared<IMAGEMEMORY>(), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(testing::MatchesRegex("Assertion failed: '_smartTemperature', file "
                                                                "Dorven/TeskImages, line .*: invalid temperature")));
    EXPECT_EQ(source._imageMemory->width, 1280u);
    EXPECT_THAT(source._imageMemory->metaData, IsEmpty());
}

TEST(BuiltSource, WithoutARecordIsReported) {
    test::LogRecorder log;
    const BuiltSource source(nullptr, std::make_shared<SmartMetaDataDouble>(20.0));
    EXPECT_THAT(log.errors(), ElementsAre(testing::MatchesRegex("Assertion failed: '_imageMemory', file "
                                                                "Dorven/TeskImages, line .*: invalid image memory")));
}

TEST(SourceWithoutRecord, HasNoSizeAndNoFormat) {
    test::LogRecorder log;
    SourceWithoutRecord source;
    EXPECT_THAT(source.imageSize(), IsEmpty());
    EXPECT_THAT(source.imageFormat(), IsEmpty());
    EXPECT_EQ(log.errors().size(), 2u);
}

TEST(ImageSource, AnswersEachOperationAndTracesIt) {
    test::LogRecorder log;
    const auto source = TeskImages::create(nullptr);
    log.clear();
    EXPECT_THAT(source->imageSize(), ElementsAre(1280u, 1024u));
    EXPECT_THAT(source->imageFormat(), ElementsAre(1));
    EXPECT_THAT(source->pixelSize(), ElementsAre(5.2, 5.2));
    EXPECT_THAT(source->imageMemoryCaps(), IsEmpty());
    EXPECT_EQ(source->frameRate(), 200.0);
    EXPECT_EQ(source->setFrameRate(30.0), 30.0);
    EXPECT_NE(source->imageMemory(), nullptr);
    source->setCallback(nullptr, nullptr);
    const std::string prefix = "kest::dorven::TeskImages::";
    EXPECT_THAT(log.traces(), ElementsAre(prefix + "imageSize", prefix + "imageFormat", prefix + "pixelSize",
                                          prefix + "imageMemoryCaps", prefix + "frameRate", prefix + "setFrameRate",
                                          prefix + "imageMemory"));
}

TEST(ImageSource, FormatIsBytesPerPixelAndSizeIsTheFirstPair) {
    test::TemporaryFolder folder;
    const auto source = TeskImages::create(
        folder.file("x.ini", "[image]\nbytes_per_pixel=3\npixel_format=7\nimage_size_x=64\n").c_str());
    EXPECT_THAT(source->imageFormat(), ElementsAre(3));
    EXPECT_THAT(source->imageSize(), ElementsAre(64u, 1024u));
}

TEST(StopCommand, GoesThroughTheDevicesOwnFreeze) {
    struct Device : DorVenPlugin {
        Device() : DorVenPlugin("") {}
        PluginCallStatus freeze() override {
            ++frozen;
            return kDone;
        }
        int frozen = 0;
    } device;
    EXPECT_EQ(device.call(1003, nullptr, nullptr), kNotSupported);
    EXPECT_EQ(device.frozen, 1);
}

}  // namespace
