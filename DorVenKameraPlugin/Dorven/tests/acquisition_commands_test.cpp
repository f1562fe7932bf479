// Commands that a callback sends to its own device, and what the device waits for meanwhile.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "log_recorder.h"
#include "scripted_event.h"
#include "simulator_ring.h"

namespace {

using namespace NUV;
using namespace std::chrono_literals;
using kest::dorven::TeskImages;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kNotRunning = "kest::dorven::TeskImages::stopImageThread() : thread is not running.";
const std::string kNotStopped = "Failed to stop the grabbing.";
const std::string kNotGrabbing = "kest::dorven::TeskImages::grab - failed to start the grab.";
const std::string kCannotOpen = "NUV::DorVenPlugin::openImageDevice() : the image callback cannot open the device.";

struct DeviceWithSource : DorVenPlugin {
    explicit DeviceWithSource(std::shared_ptr<TeskImages> source) : DorVenPlugin("") { useSource(std::move(source)); }
};

template <typename T>
bool isPending(const std::future<T>& future) {
    return future.wait_for(50ms) == std::future_status::timeout;
}

class CallbackCommandsTest : public testing::Test {
protected:
    /// Creates the device with a source that is created after the old one has ended: both have the same link to the
    /// simulator.
    template <typename Source, typename... Arguments>
    std::shared_ptr<Source> use(Arguments&&... arguments) {
        _device.reset();
        const auto source = std::make_shared<Source>(_event, std::forward<Arguments>(arguments)...);
        _source = source.get();
        _device = std::make_unique<DeviceWithSource>(source);
        setCallback(&CallbackCommandsTest::onImage);
        return source;
    }
    void SetUp() override { use<TeskImages>(); }

    PluginCallStatus send(std::int32_t id, PluginInterfaceReturnBase* result = nullptr) {
        return _device->call(id, nullptr, result);
    }
    PluginCallStatus setCallback(ImageCallback function) {
        PluginInterfaceParameter<PluginInterfaceCallbackData> parameter({this, function});
        return _device->call(1005, &parameter, nullptr);
    }
    /// Grabs one image for each function, and plays the script to its end.
    void grabImages(std::vector<std::function<void(IMAGEMEMORY&)>> inside) {
        beginGrab(std::move(inside));
        _event->playToEnd();
    }
    /// The same without waiting.
    void beginGrab(std::vector<std::function<void(IMAGEMEMORY&)>> inside) {
        _inside = std::move(inside);
        _event->answer(-1, 10 + static_cast<int>(_inside.size()));  // the eleventh silent wait fakes the first
        ASSERT_EQ(send(1002), kDone);
    }
    /// Grabs beside a ring in which three images wait; the callback of the first one ends its grab once the host does.
    /// Returns inside of it.
    void grabThreeWaitingImages(test::SimulatorRing& ring, std::function<void()> onceStopped) {
        _event->step([&ring] {
            for (const std::uint64_t counter : {1u, 2u, 3u}) ring.put(counter);
            return 1;
        });
        const auto inside = std::make_shared<std::promise<void>>();
        _inside = {[this, inside, onceStopped = std::move(onceStopped)](IMAGEMEMORY&) {
            inside->set_value();
            waitUntilStopped();
            onceStopped();
        }};
        ASSERT_EQ(send(1002), kDone);
        inside->get_future().wait();
    }
    /// The host's command in a thread of its own.
    std::future<PluginCallStatus> sendBeside(std::int32_t id) {
        return std::async(std::launch::async, [this, id] { return send(id); });
    }
    /// For the callback: waits until the host's thread has told it to end.
    void waitUntilStopped() {
        while (_source->isRunning()) std::this_thread::yield();
    }

    static int onImage(void* self, IMAGEMEMORY* record) {
        auto& test = *static_cast<CallbackCommandsTest*>(self);
        const std::size_t image = test._images++;
        if (image < test._inside.size()) test._inside[image](*record);
        return 0;
    }
    static int onOtherImage(void* self, IMAGEMEMORY*) {
        ++static_cast<CallbackCommandsTest*>(self)->_otherImages;
        return 0;
    }

    test::LogRecorder _log;
    std::shared_ptr<test::ScriptedEvent> _event = std::make_shared<test::ScriptedEvent>();
    std::vector<std::function<void(IMAGEMEMORY&)>> _inside;
    std::atomic<std::size_t> _images{0};
    std::atomic<int> _otherImages{0};
    TeskImages* _source = nullptr;
    std::unique_ptr<DeviceWithSource> _device;
};

// ---- what a callback asks and sets

TEST_F(CallbackCommandsTest, BufferAndRecordAreThoseOfTheImage) {
    grabImages({[this](IMAGEMEMORY& image) {
        PluginInterfaceReturn<char*> buffer({9, 9}, nullptr);
        EXPECT_EQ(send(1009, &buffer), kDone);
        EXPECT_NE(buffer.value, nullptr);
        EXPECT_EQ(buffer.value, reinterpret_cast<char*>(image.imageBuffer));
        PluginInterfaceReturn<IMAGEMEMORY*> record({9, 9}, nullptr);
        EXPECT_EQ(send(1011, &record), kDone);
        EXPECT_EQ(record.value, &image);
    }});
    EXPECT_EQ(_images, 1u);
}

TEST_F(CallbackCommandsTest, FrameRateIsAnswered) {
    grabImages({[this](IMAGEMEMORY&) {
        PluginInterfaceReturn<double> rate({9, 9}, 0.0);
        EXPECT_EQ(send(1107, &rate), kDone);
        EXPECT_EQ(rate.value, 200.0);
    }});
    EXPECT_EQ(_images, 1u);
}

TEST_F(CallbackCommandsTest, CallbackIsRemoved) {
    grabImages({[this](IMAGEMEMORY&) { EXPECT_EQ(send(1006), kDone); }, [](IMAGEMEMORY&) {}});
    EXPECT_EQ(_images, 1u);
}

TEST_F(CallbackCommandsTest, CallbackIsReplaced) {
    grabImages({[this](IMAGEMEMORY&) { EXPECT_EQ(setCallback(&onOtherImage), kDone); }, [](IMAGEMEMORY&) {}});
    EXPECT_EQ(_images, 1u);
    EXPECT_EQ(_otherImages, 1);
}

// ---- what a callback starts and ends

TEST_F(CallbackCommandsTest, FreezeEndsTheGrab) {
    beginGrab({[this](IMAGEMEMORY&) { EXPECT_EQ(send(1004), kDone); }, [](IMAGEMEMORY&) {}});
    while (_source->isRunning()) std::this_thread::yield();
    EXPECT_EQ(send(1004), kNotSupported);
    EXPECT_EQ(_images, 1u);
    EXPECT_THAT(_log.errors(), ElementsAre(kNotRunning, kNotStopped));
}

TEST_F(CallbackCommandsTest, GrabGoesOnWithAFreshThread) {
    std::thread::id first, second;
    _event->answer(-1, 10);  // the second grab counts its silent waits from 0
    grabImages({[&](IMAGEMEMORY&) {
                    first = std::this_thread::get_id();
                    EXPECT_EQ(send(1002), kDone);
                },
                [&](IMAGEMEMORY&) { second = std::this_thread::get_id(); }});
    EXPECT_EQ(_images, 2u);
    EXPECT_NE(first, second);
    EXPECT_EQ(send(1004), kDone);
}

TEST_F(CallbackCommandsTest, GrabAfterItsOwnFreezeGoesOnWithAFreshThread) {
    _event->answer(-1, 10);  // as above
    grabImages({[this](IMAGEMEMORY&) {
                    EXPECT_EQ(send(1004), kDone);
                    EXPECT_EQ(send(1002), kDone);
                },
                [](IMAGEMEMORY&) {}});
    EXPECT_EQ(_images, 2u);
    EXPECT_EQ(send(1004), kDone);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CallbackCommandsTest, GrabIsRefusedWhileTheHostEndsTheImages) {
    for (const std::int32_t id : {1004, 1003, 1001}) {
        SCOPED_TRACE(id);
        use<TeskImages>();
        _log.clear();
        _images = 0;
        std::promise<void> inside;
        beginGrab({[&](IMAGEMEMORY&) {
                       inside.set_value();
                       waitUntilStopped();
                       PluginInterfaceReturnBase result({9, 9});
                       EXPECT_EQ(send(1002, &result), kNotSupported);
                       EXPECT_EQ(result.status, kNotSupported);
                   },
                   [](IMAGEMEMORY&) {}});
        inside.get_future().wait();
        EXPECT_EQ(send(id), id == 1003 ? kNotSupported : kDone);
        EXPECT_EQ(_images, 1u);
        EXPECT_THAT(_log.errors(), Contains(kNotGrabbing));
        EXPECT_EQ(send(1004), kNotSupported);  // nothing runs
        _event->forgetScript();
    }
}

TEST_F(CallbackCommandsTest, FreezeWhileTheHostEndsTheImagesLeavesThoseThatWait) {
    for (const std::int32_t id : {1004, 1003, 1001}) {
        SCOPED_TRACE(id);
        use<TeskImages>();
        _images = 0;
        test::SimulatorRing ring(64, 4);
        grabThreeWaitingImages(ring, [this] { EXPECT_EQ(send(1004), kDone); });
        EXPECT_EQ(send(id), id == 1003 ? kNotSupported : kDone);
        EXPECT_EQ(_images, 1u);
        EXPECT_THAT(_log.errors(), IsEmpty());
        _event->forgetScript();
    }
}

TEST_F(CallbackCommandsTest, FreezeWhileTheHostGrabsAnewLeavesTheImagesThatWait) {
    test::SimulatorRing ring(64, 4);
    grabThreeWaitingImages(ring, [this] {
        EXPECT_EQ(send(1002), kDone);
        EXPECT_EQ(send(1004), kDone);
    });
    _event->loseNotifications(1000);  // the next grab would take one that is left for the simulator's
    EXPECT_EQ(send(1002), kDone);
    _event->loseNotifications(0);
    EXPECT_EQ(send(1004), kDone);
    EXPECT_EQ(_images, 1u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CallbackCommandsTest, GrabIsNotRefusedWhileTheHostOnlyGrabsAnew) {
    std::promise<void> inside;
    beginGrab({[&](IMAGEMEMORY&) {
        inside.set_value();
        waitUntilStopped();
        EXPECT_EQ(send(1002), kDone);
    }});
    inside.get_future().wait();
    EXPECT_EQ(send(1002), kDone);
    EXPECT_EQ(send(1004), kDone);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CallbackCommandsTest, GrabOfTheHostWorksAfterARefusedOne) {
    std::promise<void> inside;
    beginGrab({[&](IMAGEMEMORY&) {
        inside.set_value();
        waitUntilStopped();
        send(1002);
    }});
    inside.get_future().wait();
    EXPECT_EQ(send(1004), kDone);
    _event->answer(-1, 11);
    EXPECT_EQ(send(1002), kDone);
    _event->playToEnd();
    EXPECT_EQ(_images, 2u);
    _inside = {{}, {}, [this](IMAGEMEMORY&) { EXPECT_EQ(send(1002), kDone); }};
    _event->answer(-1);
    _event->playToEnd();  // the callback's own, too
    EXPECT_EQ(send(1004), kDone);
}

TEST_F(CallbackCommandsTest, OpenIsRefusedAndNothingTouched) {
    tagBITMAPINFO preset{};
    preset.bmiHeader.biWidth = 77;
    PluginInterfaceReturn<tagBITMAPINFO> bitmap({9, 9}, preset);
    grabImages({[&](IMAGEMEMORY&) { EXPECT_EQ(send(1001, &bitmap), kNotSupported); }, [](IMAGEMEMORY&) {}});
    EXPECT_EQ(bitmap.value.bmiHeader.biWidth, 77);
    EXPECT_EQ(_images, 2u);  // the grab continues
    EXPECT_THAT(_log.errors(), ElementsAre(kCannotOpen));
    EXPECT_EQ(send(1004), kDone);
    EXPECT_EQ(send(1001), kDone);
}

TEST_F(CallbackCommandsTest, OpenIsRefusedAfterTheCallbackFroze) {
    beginGrab({[this](IMAGEMEMORY&) {
        EXPECT_EQ(send(1004), kDone);
        EXPECT_EQ(send(1001), kNotSupported);
    }});
    while (_source->isRunning()) std::this_thread::yield();
    EXPECT_EQ(send(1001), kDone);  // waits for the callback
    EXPECT_THAT(_log.errors(), ElementsAre(kCannotOpen));
}

TEST_F(CallbackCommandsTest, OpenIsRefusedWhileTheHostFreezes) {
    std::promise<void> inside;
    beginGrab({[&](IMAGEMEMORY&) {
        inside.set_value();
        waitUntilStopped();
        EXPECT_EQ(send(1001), kNotSupported);
    }});
    inside.get_future().wait();
    EXPECT_EQ(send(1004), kDone);
    EXPECT_THAT(_log.errors(), ElementsAre(kCannotOpen));
    EXPECT_EQ(send(1002), kDone);  // the source is still there
}

TEST_F(CallbackCommandsTest, AnotherDeviceIsOpened) {
    bool asked = false;
    DorVenPlugin other("", [&](const char*) {
        asked = true;
        return nullptr;
    });
    grabImages({[&](IMAGEMEMORY&) { other.call(1001, nullptr, nullptr); }});
    EXPECT_TRUE(asked);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CallbackCommandsTest, ReleaseOfTheDeviceIsSurvived) {
    std::promise<void> ended;
    use<TeskImages>([&](std::function<void()> function) {
        return std::make_shared<std::thread>([&ended, function = std::move(function)]() mutable {
            function();
            function = nullptr;
            ended.set_value();
        });
    });
    beginGrab({[this](IMAGEMEMORY&) { _device.reset(); }, [](IMAGEMEMORY&) {}});
    ended.get_future().wait();
    EXPECT_EQ(_images, 1u);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

// ---- what the host's commands wait for

TEST_F(CallbackCommandsTest, OpenWaitsForACallbackThatFroze) {
    std::promise<void> frozen, goOn;
    beginGrab({[&](IMAGEMEMORY&) {
        EXPECT_EQ(send(1004), kDone);
        frozen.set_value();
        goOn.get_future().wait();
        EXPECT_EQ(send(1107), kDone);
        PluginInterfaceReturn<IMAGEMEMORY*> record({9, 9}, nullptr);
        EXPECT_EQ(send(1011, &record), kDone);
    }});
    frozen.get_future().wait();
    auto opened = sendBeside(1001);
    EXPECT_TRUE(isPending(opened));
    goOn.set_value();
    EXPECT_EQ(opened.get(), kDone);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CallbackCommandsTest, ReleaseWaitsForACallbackThatFroze) {
    std::promise<void> frozen, goOn;
    beginGrab({[&](IMAGEMEMORY&) {
        DorVenPlugin& device = *_device;
        EXPECT_EQ(device.call(1004, nullptr, nullptr), kDone);
        frozen.set_value();
        goOn.get_future().wait();
        EXPECT_EQ(device.DorVenPlugin::removeImageCallback(), kDone);
    }});
    frozen.get_future().wait();
    auto released = std::async(std::launch::async, [device = std::move(_device)]() mutable { device.reset(); });
    EXPECT_TRUE(isPending(released));
    goOn.set_value();
    released.wait();
    EXPECT_THAT(_log.errors(), IsEmpty());
}

/// A source whose freeze gives the callback time to be faster.
struct SlowlyFrozenSource : TeskImages {
    using TeskImages::TeskImages;
    bool freeze() override {
        if (std::this_thread::get_id() == host) {
            hostFreezes.set_value();
            callbackFroze.get_future().wait();
        }
        return TeskImages::freeze();
    }
    const std::thread::id host = std::this_thread::get_id();
    std::promise<void> hostFreezes, callbackFroze;
};

TEST_F(CallbackCommandsTest, OpenReportsNothingWhenTheCallbackFreezesFirst) {
    SlowlyFrozenSource* const source = use<SlowlyFrozenSource>().get();
    std::promise<void> inside;
    beginGrab({[&](IMAGEMEMORY&) {
        inside.set_value();
        source->hostFreezes.get_future().wait();
        EXPECT_EQ(send(1004), kDone);
        source->callbackFroze.set_value();
    }});
    inside.get_future().wait();
    EXPECT_EQ(send(1001), kDone);
    EXPECT_THAT(_log.errors(), IsEmpty());
}

TEST_F(CallbackCommandsTest, ReleaseEndsACallbackThatAlwaysGrabs) {
    for (int round = 0; round < 20; ++round) {
        use<TeskImages>();
        const auto grabAgain = [device = _device.get()](IMAGEMEMORY&) { device->DorVenPlugin::grab(); };
        _images = 0;
        beginGrab({1000, grabAgain});
        while (_images < 3) std::this_thread::yield();
        _device.reset();
        _event->forgetScript();
    }
}

// ---- what the host gets back

TEST_F(CallbackCommandsTest, FreezeOfAStoppedDeviceIsRefusedAndReported) {
    PluginInterfaceReturnBase result({9, 9});
    EXPECT_EQ(send(1004, &result), kNotSupported);
    EXPECT_EQ(result.status, kNotSupported);
    EXPECT_THAT(_log.errors(), ElementsAre(kNotRunning, kNotStopped));
}

struct SourceThatRefusesFreeze : TeskImages {
    using TeskImages::TeskImages;
    bool freeze() override { throw std::runtime_error("stuck"); }
};

TEST_F(CallbackCommandsTest, ReleaseThrowsNothing) {
    use<SourceThatRefusesFreeze>();
    ASSERT_EQ(send(1002), kDone);
    _device.reset();
    EXPECT_THAT(_log.errors(), ElementsAre("NUV::DorVenPlugin::letGoOfSource() : stuck"));
}

}  // namespace
