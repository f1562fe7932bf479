// Every command with absurd values, in every state of the camera: each returns a result and throws nothing.
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommandSignature.h"
#include "DorVenPlugin.h"
#include "log_recorder.h"
#include "platform_fault.h"

PLATFORM_FAULT(HANDLE, CreateEventA,
               (SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initialState, LPCSTR name),
               (attributes, manualReset, initialState, name))

namespace {

using namespace NUV;

// ---- values

template <typename T>
std::vector<T> absurdValues() {
    if constexpr (std::is_same_v<T, double>) {
        using Limits = std::numeric_limits<double>;
        return {Limits::quiet_NaN(),
                Limits::infinity(),
                -Limits::infinity(),
                Limits::max(),
                Limits::lowest(),
                Limits::denorm_min(),
                -0.0};
    } else if constexpr (std::is_same_v<T, bool>) {
        return {false, true};
    } else if constexpr (std::is_enum_v<T>) {
        return {T(INT32_MIN), T(INT32_MAX), T(-1), T(0)};
    } else if constexpr (std::is_integral_v<T>) {
        return {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), std::numeric_limits<T>::max() / 2 + 1, 0};
    } else if constexpr (std::is_same_v<T, const char*>) {
        static const std::string endless(100000, 'x');
        return {nullptr, "", endless.c_str(), "%s%n%.40s", "\x01\xFF\x80", "\\", "//", ".", "nul", "?*<>|:"};
    } else if constexpr (std::is_same_v<T, CSmartCamParamBase*>) {
        return {nullptr, reinterpret_cast<T>(std::uintptr_t{1})};
    } else if constexpr (std::is_same_v<T, PluginInterfaceCallbackData>) {
        // An invalid function pointer cannot be recognised; a context can be anything.
        return {{nullptr, nullptr}, {reinterpret_cast<void*>(std::uintptr_t{1}), nullptr}};
    } else {
        std::vector<T> values(4);
        int filling = 0;
        for (const int byte : {0x00, 0x7F, 0x80, 0xFF}) std::memset(&values[std::size_t(filling++)], byte, sizeof(T));
        return values;
    }
}

template <>
std::vector<None> absurdValues<None>() {
    return {None{}};
}

// ---- sending

void expectKnownStatus(PluginCallStatus status) {
    EXPECT_TRUE(status == kDone || status == kNotSupported || status == kWrongParameter)
        << status.code << ", " << status.valid;
}

/// Not through call(), which would catch what is thrown.
void send(PluginDeviceBase& device, std::int32_t id, const PluginInterfaceParameterBase* parameter,
          PluginInterfaceReturnBase* result) {
    EXPECT_NO_THROW(expectKnownStatus(device.commandMap().at(id)(device, parameter, result)));
}

template <typename P, typename R>
void sendEveryValue(PluginDeviceBase& device, std::int32_t id) {
    PluginInterfaceReturnBase status(kNotSupported);
    for (const P& value : absurdValues<P>()) {
        const PluginInterfaceParameter<P> parameter(value);
        send(device, id, &parameter, nullptr);
        send(device, id, &parameter, &status);
        if constexpr (!std::is_same_v<R, None>) {
            PluginInterfaceReturn<R> result(kNotSupported, R{});
            send(device, id, &parameter, &result);
        }
    }
    send(device, id, nullptr, &status);
}

struct Command {
    std::int32_t id;
    void (*send)(PluginDeviceBase& device, std::int32_t id);
};

template <typename Types>
Command command(std::int32_t id) {
    return {id, &sendEveryValue<typename Types::Parameter, typename Types::Result>};
}

const Command kEveryCommand[] = {
#define COMMAND(id, operation) command<CommandTypes<&PluginDeviceBase::operation>>(id),
#define COMMAND_AS(id, operation, parameter, result) \
    command<CommandTypes<&PluginDeviceBase::operation, parameter, result>>(id),
#include "CommandList.inc"
#undef COMMAND
#undef COMMAND_AS
};

// ---- states

void openWithoutEvent(PluginDeviceBase& device) {
    const test::Fault fault(
        fault_CreateEventA,
        [](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL signalled, LPCSTR name) -> HANDLE {
            // On Windows, threads end with nameless events of their own.
            if (!name) return real_CreateEventA(attributes, manualReset, signalled, name);
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return INVALID_HANDLE_VALUE;
        });
    ASSERT_EQ(device.call(1001, nullptr, nullptr), kNotSupported);
}

struct State {
    const char* name;
    void (*reach)(PluginDeviceBase& device);
};

void PrintTo(const State& state, std::ostream* out) { *out << state.name; }

const State kStates[] = {
    {"Closed", [](PluginDeviceBase&) {}},
    {"FailedToOpen", &openWithoutEvent},
    {"Opened", [](PluginDeviceBase& device) { ASSERT_EQ(device.call(1001, nullptr, nullptr), kDone); }},
    {"Grabbing",
     [](PluginDeviceBase& device) {
         ASSERT_EQ(device.call(1001, nullptr, nullptr), kDone);
         ASSERT_EQ(device.call(1002, nullptr, nullptr), kDone);
     }},
    {"FailedToOpenAgain",
     [](PluginDeviceBase& device) {
         ASSERT_EQ(device.call(1001, nullptr, nullptr), kDone);
         ASSERT_EQ(device.call(1002, nullptr, nullptr), kDone);
         openWithoutEvent(device);
     }},
};

class AbsurdValuesTest : public testing::TestWithParam<State> {};

TEST_P(AbsurdValuesTest, AreAnsweredByEveryCommandOfItsOwnDevice) {
    test::LogRecorder log;
    for (const Command& each : kEveryCommand) {
        SCOPED_TRACE(each.id);
        DorVenPlugin device("");
        GetParam().reach(device);
        each.send(device, each.id);
    }
}

TEST_P(AbsurdValuesTest, LeaveADeviceThatOpensGrabsAndFreezes) {
    test::LogRecorder log;
    DorVenPlugin device("");
    GetParam().reach(device);
    for (const Command& each : kEveryCommand) {
        SCOPED_TRACE(each.id);
        each.send(device, each.id);
    }
    device.call(1004, nullptr, nullptr);
    log.clear();
    EXPECT_EQ(device.call(1001, nullptr, nullptr), kDone);
    EXPECT_EQ(device.call(1002, nullptr, nullptr), kDone);
    EXPECT_EQ(device.call(1004, nullptr, nullptr), kDone);
    EXPECT_THAT(log.errors(), testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryState, AbsurdValuesTest, testing::ValuesIn(kStates),
                         [](const auto& state) { return std::string(state.param.name); });

TEST(CommandsWithoutSource, AreRefusedAfterAFailedOpenAsBeforeTheFirst) {
    test::LogRecorder log;
    DorVenPlugin device("");
    openWithoutEvent(device);
    for (const std::int32_t id : {1002, 1003, 1004, 1006, 1008, 1009, 1010, 1011, 1013, 1015, 1107}) {
        SCOPED_TRACE(id);
        log.clear();
        EXPECT_EQ(device.call(id, nullptr, nullptr), kNotSupported);
        ASSERT_EQ(log.errors().size(), 1u);
        EXPECT_THAT(log.errors()[0], testing::EndsWith(": invalid plugin"));
    }
}

}  // namespace
