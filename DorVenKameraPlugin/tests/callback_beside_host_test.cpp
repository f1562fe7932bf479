// The callback sends every command while the host's thread sends them all, too. ThreadSanitizer checks what the two
// share; this test checks the answers.
#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "command_rows.h"
#include "log_recorder.h"

namespace {

using namespace NUV;
using kest::dorven::TeskImages;
using test::CommandRow;
using test::commandRows;

/// No simulator, and no waiting: images are faked as fast as they are taken.
class ImpatientEvent : public MEvent {
public:
    int Wait(double) override {
        std::this_thread::yield();
        return -1;
    }
    bool Notify() override { return true; }
    bool Set() override { return true; }
};

/// A source with small images, which are made quickly.
struct SmallSource : TeskImages {
    SmallSource()
        : TeskImages(Unlinked{}, std::make_shared<ImpatientEvent>(), {}, std::make_shared<IMAGEMEMORY>(),
                     std::make_shared<SmartMetaDataDouble>(20.0)) {
        _imageMemory->width = 16;
        _imageMemory->height = 8;
    }
};

/// Values that only one of the two threads sets; the record and the rate start with none of them.
struct Marks {
    std::uint64_t clipping;
    double rate;
};
constexpr Marks kHosts{1001, 101.0};
constexpr Marks kCallbacks{2002, 202.0};

class CallbackBesideHost : public testing::Test {
protected:
    void SetUp() override {
        open();
        ASSERT_EQ(_device.imageDeviceInformation(&_document), kDone);
        _text = _document;
        setClipping(kHosts);
        setRate(kHosts);
    }
    void open() {
        _device.call(1001, nullptr, nullptr);
        setClipping(kHosts);
        setRate(kHosts);
        setCallback(&CallbackBesideHost::onImage);
    }
    PluginCallStatus setCallback(ImageCallback function) {
        PluginInterfaceParameter<PluginInterfaceCallbackData> parameter({this, function});
        return _device.call(1005, &parameter, nullptr);
    }
    PluginCallStatus setClipping(const Marks& marks) {
        const std::uint64_t value = marks.clipping;
        PluginInterfaceParameter<PluginInterfaceClippingData> parameter({value, value, value, value});
        return _device.call(1007, &parameter, nullptr);
    }
    PluginCallStatus setRate(const Marks& marks) {
        PluginInterfaceParameter<double> parameter(marks.rate);
        return _device.call(1106, &parameter, nullptr);
    }

    /// Sends one command, with the sender's value if it sets one, and checks the answer.
    void send(const CommandRow& command, const Marks& marks, ImageCallback function) {
        if (command.id == 1005) {
            EXPECT_EQ(setCallback(function), kDone);
        } else if (command.id == 1007) {
            EXPECT_EQ(setClipping(marks), kDone);
        } else if (command.id == 1106) {
            EXPECT_EQ(setRate(marks), kDone);
        } else if (command.id == 1008) {
            expectClipping();
        } else if (command.id == 1107) {
            expectRate();
        } else if (test::isDocumentCommand(command.id)) {
            expectDocument(command.id);
        } else {
            command.send(_device, command.id, test::Parameter::right, test::Result::right);
        }
    }

    static int onImage(void* self, IMAGEMEMORY*) {
        static_cast<CallbackBesideHost*>(self)->sendSome(&CallbackBesideHost::onOtherImage);
        return 0;
    }
    static int onOtherImage(void* self, IMAGEMEMORY*) {
        static_cast<CallbackBesideHost*>(self)->sendSome(&CallbackBesideHost::onImage);
        return 0;
    }

    /// Restricts the callback to these commands.
    void only(const std::vector<std::int32_t>& ids) {
        _commands.clear();
        for (const CommandRow& command : commandRows()) {
            if (std::find(ids.begin(), ids.end(), command.id) != ids.end()) _commands.push_back(command);
        }
    }
    /// For the callback: sends its next few commands.
    void sendSome(ImageCallback next) {
        for (int i = 0; i < 8; ++i) {
            const CommandRow& command = _commands[_next++ % _commands.size()];
            if (command.id != 1001) send(command, kCallbacks, next);
            // Whoever ends the images restarts them; that may be refused while the host ends them.
            if (command.id == 1006) setCallback(next);
            if (command.id == 1003 || command.id == 1004) _device.call(1002, nullptr, nullptr);
        }
    }
    std::size_t callbackRounds() const { return _next / _commands.size(); }

    /// For the host: sends all commands.
    void sendAll() {
        for (const CommandRow& command : commandRows()) {
            if (command.id == 1001)
                open();
            else
                send(command, kHosts, &CallbackBesideHost::onImage);
            if (command.id == 1006) setCallback(&CallbackBesideHost::onImage);
            if (command.id == 1001 || command.id == 1003 || command.id == 1004) _device.call(1002, nullptr, nullptr);
        }
    }

    void bothSendOverAndOver(const std::vector<std::int32_t>& ids) {
        constexpr std::size_t kRounds = 300;
        only(ids);
        ASSERT_EQ(_device.call(1002, nullptr, nullptr), kDone);
        for (std::size_t round = 0; round < kRounds || callbackRounds() < kRounds; ++round) {
            for (const CommandRow& command : _commands) send(command, kHosts, &CallbackBesideHost::onImage);
        }
    }

private:
    void expectClipping() {
        PluginInterfaceReturn<PluginInterfaceClippingData> result({9, 9}, {});
        EXPECT_EQ(_device.call(1008, nullptr, &result), kDone);
        for (const std::uint64_t value : {result.value.x, result.value.y, result.value.width, result.value.height})
            EXPECT_TRUE(value == kHosts.clipping || value == kCallbacks.clipping) << value;
    }
    void expectRate() {
        PluginInterfaceReturn<double> result({9, 9}, 0.0);
        EXPECT_EQ(_device.call(1107, nullptr, &result), kDone);
        EXPECT_TRUE(result.value == kHosts.rate || result.value == kCallbacks.rate) << result.value;
    }
    void expectDocument(std::int32_t id) {
        PluginInterfaceReturn<const char*> result({9, 9}, nullptr);
        EXPECT_EQ(_device.call(id, nullptr, &result), kDone);
        EXPECT_EQ(static_cast<const void*>(result.value), static_cast<const void*>(_document));
        EXPECT_EQ(_text, _document);
    }

protected:
    test::LogRecorder _log{3};
    const char* _document = nullptr;
    std::string _text;
    std::vector<CommandRow> _commands = commandRows();  // the callback's
    std::atomic<std::size_t> _next{0};                  // of them
    DorVenPlugin _device{"", [](const char*) { return std::make_shared<SmallSource>(); }};
};

struct CallbackThatGrabs {
    std::atomic<int> images{0};
    DorVenPlugin device{"", [](const char*) { return std::make_shared<SmallSource>(); }};
};

TEST_F(CallbackBesideHost, BothSendEveryCommand) {
    for (std::size_t round = 0; round < 10; ++round) {
        sendAll();
        while (callbackRounds() <= round) std::this_thread::yield();  // images arrive: the host started them last
    }
}

/// A callback that never leaves the images frozen: once with 1002 alone, once with 1004 before it.
int grabsAnew(void* context, IMAGEMEMORY*) {
    auto& host = *static_cast<CallbackThatGrabs*>(context);
    if (++host.images % 2 == 0) host.device.call(1004, nullptr, nullptr);
    host.device.call(1002, nullptr, nullptr);
    return 0;
}

TEST(FreezeOfTheHost, HoldsAgainstACallbackThatAlwaysGrabsAnew) {
    test::LogRecorder log(3);
    CallbackThatGrabs host;
    host.device.call(1001, nullptr, nullptr);
    PluginInterfaceParameter<PluginInterfaceCallbackData> callback({&host, &grabsAnew});
    host.device.call(1005, &callback, nullptr);
    for (int round = 0; round < 300; ++round) {
        ASSERT_EQ(host.device.call(1002, nullptr, nullptr), kDone);
        const int before = host.images;
        while (host.images < before + 2) std::this_thread::yield();
        ASSERT_EQ(host.device.call(1004, nullptr, nullptr), kDone);
        const int after = host.images;
        ASSERT_EQ(host.device.call(1004, nullptr, nullptr), kNotSupported) << "a grab began behind the freeze";
        ASSERT_EQ(host.images, after);
    }
}

TEST_F(CallbackBesideHost, BothAskForTheDocumentOverAndOver) {
    bothSendOverAndOver({1012, 1118, 1210, 1338, 1403, 1503});
}

TEST_F(CallbackBesideHost, BothSetAndReadOverAndOver) {
    bothSendOverAndOver({1005, 1007, 1008, 1009, 1010, 1011, 1013, 1014, 1015, 1106, 1107});
}

}  // namespace
