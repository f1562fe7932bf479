// The situations in which every command of a device is tried. A device's test includes this, defines a factory and the
// expected answers, and instantiates the suite: INSTANTIATE_TEST_SUITE_P(Name, CommandSuite, testing::Values(…)).
#pragma once

#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "command_rows.h"

namespace test {

struct SuiteDevice {
    const char* name;
    std::function<std::shared_ptr<NUV::PluginDeviceBase>()> make;  // ready for any command
    std::function<Expected(std::int32_t id)> expected;
};

inline void PrintTo(const SuiteDevice& device, std::ostream* out) { *out << device.name; }

class CommandSuite : public testing::TestWithParam<SuiteDevice> {
protected:
    /// Runs a check for each command, each with a new device.
    template <typename Check>
    void forEachCommand(Check check) {
        ASSERT_EQ(commandRows().size(), 111u);
        for (const CommandRow& command : commandRows()) {
            SCOPED_TRACE(command.id);
            check(command, *GetParam().make(), GetParam().expected(command.id));
        }
    }

    static Outcome send(const CommandRow& command, NUV::PluginDeviceBase& device, Parameter parameter, Result result) {
        return command.send(device, command.id, parameter, result);
    }
};

TEST_P(CommandSuite, RightParameterAndResultGetStatusAndValue) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        const Outcome outcome = send(command, device, Parameter::right, Result::right);
        EXPECT_EQ(outcome.returned, expected.status);
        EXPECT_EQ(outcome.inResult, expected.status);
        EXPECT_EQ(outcome.valueKept, !expected.writesValue);
    });
}

TEST_P(CommandSuite, WrongParameterSkipsTypedOperationsAndIsIgnoredByOthers) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        const Outcome outcome = send(command, device, Parameter::wrong, Result::right);
        EXPECT_EQ(outcome.returned, command.typed ? NUV::kWrongParameter : expected.status);
        EXPECT_EQ(outcome.inResult, outcome.returned);
        EXPECT_EQ(outcome.valueKept, command.typed || !expected.writesValue);
    });
}

TEST_P(CommandSuite, NullParameterIsAWrongOne) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        const Outcome outcome = send(command, device, Parameter::null, Result::right);
        EXPECT_EQ(outcome.returned, command.typed ? NUV::kWrongParameter : expected.status);
        EXPECT_EQ(outcome.inResult, outcome.returned);
        EXPECT_EQ(outcome.valueKept, command.typed || !expected.writesValue);
    });
}

TEST_P(CommandSuite, NullResultStillRunsTheOperation) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        EXPECT_EQ(send(command, device, Parameter::right, Result::null).returned, expected.status);
    });
}

TEST_P(CommandSuite, ResultOfAnotherTypeTakesOnlyTheStatusOfCommandsWithoutValue) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        const Outcome outcome = send(command, device, Parameter::right, Result::strange);
        EXPECT_EQ(outcome.returned, expected.status);
        EXPECT_EQ(outcome.inResult, command.hasValue ? kPreset : expected.status);
        EXPECT_TRUE(outcome.valueKept);
    });
}

TEST_P(CommandSuite, StatusResultStaysUntouchedByCommandsWithAValue) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        const Outcome outcome = send(command, device, Parameter::right, Result::statusOnly);
        EXPECT_EQ(outcome.returned, expected.status);
        EXPECT_EQ(outcome.inResult, command.hasValue ? kPreset : expected.status);
    });
}

TEST_P(CommandSuite, NothingGivenAtAllIsSurvived) {
    forEachCommand([](const CommandRow& command, NUV::PluginDeviceBase& device, Expected expected) {
        const auto returned = send(command, device, Parameter::null, Result::null).returned;
        EXPECT_EQ(returned, command.typed ? NUV::kWrongParameter : expected.status);
    });
}

TEST_P(CommandSuite, UnknownIdsAreNotSupportedAndTouchNothing) {
    const auto device = GetParam().make();
    for (const std::int32_t id :
         {-1, 0, 1000, 1016, 1120, 1213, 1339, 1412, 1502, 1506, 1511, 1516, 1521, 1539, 2000}) {
        SCOPED_TRACE(id);
        NUV::PluginInterfaceReturnBase result(kPreset);
        EXPECT_EQ(device->call(id, nullptr, &result), NUV::kNotSupported);
        EXPECT_EQ(result.status, kPreset);
    }
}

TEST_P(CommandSuite, MapHoldsTheIdsInAscendingOrder) {
    const auto device = GetParam().make();
    std::vector<std::int32_t> found, listed;
    for (const auto& entry : device->commandMap()) found.push_back(entry.first);
    for (const CommandRow& command : commandRows()) listed.push_back(command.id);
    EXPECT_EQ(found, listed);
}

}  // namespace test
