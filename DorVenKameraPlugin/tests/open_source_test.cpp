// Opening with unusual image sources.
#include <cstring>
#include <memory>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "log_recorder.h"

namespace {

using namespace NUV;
using kest::dorven::TeskImages;
using testing::ElementsAre;
using testing::IsEmpty;

struct SourceWithoutRecord : TeskImages {
    SourceWithoutRecord() : TeskImages(Unlinked{}) { _imageMemory = nullptr; }
};

struct SourceWithOnePixelSize : TeskImages {
    SourceWithOnePixelSize() : TeskImages(Unlinked{}) {}
    std::vector<double> pixelSize() override { return {1.0}; }
};

struct SourceThatThrows : TeskImages {
    SourceThatThrows() : TeskImages(Unlinked{}) {}
    std::shared_ptr<IMAGEMEMORY> imageMemory() override {
        if (recordThrows) throw std::runtime_error("no record");
        return TeskImages::imageMemory();
    }
    std::vector<double> pixelSize() override { throw 7; }
    bool recordThrows = false;
};

class SourceFactoryTest : public testing::Test {
protected:
    const tagBITMAPINFO* open(PluginCallStatus expected, const tagBITMAPINFO* preset) {
        const tagBITMAPINFO* bitmap = preset;
        EXPECT_EQ(_device.openImageDevice("a.ini", &bitmap), expected);
        return bitmap;
    }

    test::LogRecorder _log;
    std::function<std::shared_ptr<TeskImages>()> _make = [] { return TeskImages::createUnlinked(nullptr); };
    std::string _path;
    DorVenPlugin _device{"", [this](const char* path) {
                             _path = path ? path : "(null)";
                             return _make();
                         }};
    const tagBITMAPINFO _elsewhere{};
};

TEST_F(SourceFactoryTest, IsGivenThePath) {
    open(kDone, nullptr);
    EXPECT_EQ(_path, "a.ini");
    _device.call(1001, nullptr, nullptr);
    EXPECT_EQ(_path, "(null)");
}

TEST_F(SourceFactoryTest, SourceWithoutRecordOpensWithoutBitmapDescription) {
    _make = [] { return std::make_shared<SourceWithoutRecord>(); };
    EXPECT_EQ(open(kDone, &_elsewhere), nullptr);
    PluginInterfaceReturn<tagBITMAPINFO> result({9, 9}, {});
    std::memset(&result.value, 0x5A, sizeof result.value);
    const tagBITMAPINFO before = result.value;
    EXPECT_EQ(_device.call(1001, nullptr, &result), kDone);
    EXPECT_EQ(result.status, kDone);
    EXPECT_EQ(std::memcmp(&result.value, &before, sizeof before), 0);
}

TEST_F(SourceFactoryTest, FactoryThatMakesNothingIsRefusedAndTheOldDescriptionKept) {
    const tagBITMAPINFO* const old = open(kDone, nullptr);
    _make = [] { return nullptr; };
    EXPECT_EQ(open(kNotSupported, &_elsewhere), &_elsewhere);
    EXPECT_EQ(old->bmiHeader.biWidth, 1280);  // not freed
    EXPECT_THAT(_log.errors(), IsEmpty());
    EXPECT_EQ(_device.grab(), kNotSupported);
    EXPECT_THAT(_log.errors(), ElementsAre(testing::EndsWith("line 57: invalid plugin")));
}

TEST_F(SourceFactoryTest, FactoryThatThrowsIsRefusedAndReported) {
    const tagBITMAPINFO* const old = open(kDone, nullptr);
    _make = []() -> std::shared_ptr<TeskImages> { throw std::runtime_error("no event"); };
    EXPECT_EQ(open(kNotSupported, &_elsewhere), &_elsewhere);
    _make = []() -> std::shared_ptr<TeskImages> { throw 7; };
    EXPECT_EQ(open(kNotSupported, &_elsewhere), &_elsewhere);
    EXPECT_EQ(old->bmiHeader.biWidth, 1280);
    EXPECT_EQ(_device.grab(), kDone);  // the camera that was open still is
    EXPECT_THAT(_log.errors(), ElementsAre("NUV::DorVenPlugin::openImageDevice() : no event",
                                           "NUV::DorVenPlugin::openImageDevice() : unknown exception."));
}

TEST_F(SourceFactoryTest, SourceThatThrowsIsNotHalfOpenAndLeavesTheCameraGrabbing) {
    const tagBITMAPINFO* const old = open(kDone, nullptr);
    EXPECT_EQ(_device.grab(), kDone);
    std::weak_ptr<TeskImages> made;
    _make = [&] {
        const auto source = std::make_shared<SourceThatThrows>();
        source->recordThrows = true;
        made = source;
        return source;
    };
    PluginInterfaceReturn<tagBITMAPINFO> result({9, 9}, {});
    EXPECT_EQ(_device.commandMap().at(1001)(_device, nullptr, &result), kNotSupported);
    EXPECT_TRUE(made.expired());
    EXPECT_EQ(old->bmiHeader.biWidth, 1280);
    EXPECT_EQ(_device.freeze(), kDone);
    EXPECT_THAT(_log.errors(), ElementsAre("NUV::DorVenPlugin::openImageDevice() : no record"));
}

TEST_F(SourceFactoryTest, AdapterOfTheCommandMapThrowsNothing) {
    std::shared_ptr<SourceThatThrows> source;
    _make = [&] { return source = std::make_shared<SourceThatThrows>(); };
    open(kDone, nullptr);
    source->recordThrows = true;
    PluginInterfaceReturn<PluginInterfacePixelSizeData> size({9, 9}, {1.0, 2.0});
    EXPECT_NO_THROW(EXPECT_EQ(_device.commandMap().at(1013)(_device, nullptr, &size), kNotSupported));
    EXPECT_EQ(size.status, (PluginCallStatus{9, 9}));
    EXPECT_EQ(size.value.x, 1.0);
    PluginInterfaceParameter<PluginInterfaceClippingData> region({1, 2, 3, 4});
    EXPECT_NO_THROW(EXPECT_EQ(_device.commandMap().at(1007)(_device, &region, nullptr), kNotSupported));
}

TEST_F(SourceFactoryTest, OldSourceGrabsWhileTheNewOneIsMadeAndIsGoneAfterwards) {
    std::weak_ptr<TeskImages> first;
    _make = [&] {
        auto source = TeskImages::createUnlinked(nullptr);
        first = source;
        return source;
    };
    open(kDone, nullptr);
    EXPECT_EQ(_device.grab(), kDone);
    bool ranMeanwhile = false;
    _make = [&] {
        const auto old = first.lock();
        ranMeanwhile = old && old->isRunning();
        return TeskImages::createUnlinked(nullptr);
    };
    open(kDone, nullptr);
    EXPECT_TRUE(ranMeanwhile);
    EXPECT_TRUE(first.expired());
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(SourceFactoryTest, PixelSizesThatAreNotThereAreNotRead) {
    _make = [] { return std::make_shared<SourceWithOnePixelSize>(); };
    open(kDone, nullptr);
    double x = 7.0, y = 8.0;
    EXPECT_NO_THROW(EXPECT_EQ(_device.pixelSize(&x, &y), kDone));
    EXPECT_EQ(x, 7.0);
    EXPECT_EQ(y, 8.0);
}

}  // namespace
