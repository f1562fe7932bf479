// Every command with its parameter and result type, written down independently, so that a suite can send each of them
// in every situation.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "PluginDeviceBase.h"

namespace test {

struct Nothing {};  // no parameter, or no value besides the status
struct Stranger {   // a type that no command uses
    std::int64_t value = 77;
};

enum class Parameter { right, wrong, null };
enum class Result { right, strange, statusOnly, null };

/// The effect of a command.
struct Outcome {
    NUV::PluginCallStatus returned;
    NUV::PluginCallStatus inResult;  // in the result object, which started as (9, 9)
    bool valueKept;                  // whether its value has the bytes that it started with
};

inline constexpr NUV::PluginCallStatus kPreset{9, 9};

template <typename P>
NUV::PluginCallStatus callWith(NUV::PluginDeviceBase& device, std::int32_t id, Parameter parameter,
                               NUV::PluginInterfaceReturnBase* result) {
    NUV::PluginInterfaceParameter<Stranger> wrong{Stranger{}};
    if (parameter == Parameter::wrong) return device.call(id, &wrong, result);
    if constexpr (!std::is_same_v<P, Nothing>) {
        NUV::PluginInterfaceParameter<P> right{P{}};
        if (parameter == Parameter::right) return device.call(id, &right, result);
    }
    return device.call(id, nullptr, result);
}

template <typename R>
R presetValue() {
    R value{};
    if constexpr (std::is_same_v<R, bool>)
        value = true;
    else
        std::memset(static_cast<void*>(&value), 0x5A, sizeof value);
    return value;
}

template <typename P, typename R>
Outcome send(NUV::PluginDeviceBase& device, std::int32_t id, Parameter parameter, Result kind) {
    if (kind == Result::null) return {callWith<P>(device, id, parameter, nullptr), kPreset, true};
    if (kind == Result::statusOnly) {
        NUV::PluginInterfaceReturnBase result(kPreset);
        const auto returned = callWith<P>(device, id, parameter, &result);
        return {returned, result.status, true};
    }
    if (kind == Result::strange) {
        NUV::PluginInterfaceReturn<Stranger> result(kPreset, Stranger{});
        const auto returned = callWith<P>(device, id, parameter, &result);
        return {returned, result.status, result.value.value == Stranger{}.value};
    }
    if constexpr (std::is_same_v<R, Nothing>) {
        return send<P, R>(device, id, parameter, Result::statusOnly);
    } else {
        const R preset = presetValue<R>();
        NUV::PluginInterfaceReturn<R> result(kPreset, preset);
        const auto returned = callWith<P>(device, id, parameter, &result);
        return {returned, result.status, std::memcmp(&result.value, &preset, sizeof preset) == 0};
    }
}

struct CommandRow {
    std::int32_t id;
    bool typed;     // needs a parameter of its type
    bool hasValue;  // returns a value besides the status
    Outcome (*send)(NUV::PluginDeviceBase&, std::int32_t, Parameter, Result);
};

template <typename P = Nothing, typename R = Nothing>
CommandRow row(std::int32_t id) {
    return {id, !std::is_same_v<P, Nothing> && !std::is_same_v<P, const char*>, !std::is_same_v<R, Nothing>,
            &send<P, R>};
}

inline const std::vector<CommandRow>& commandRows() {
    using namespace NUV;
    static const std::vector<CommandRow> rows = [] {
        std::vector<CommandRow> all{
            row<const char*, tagBITMAPINFO>(1001),
            row<>(1002),
            row<>(1003),
            row<>(1004),
            row<PluginInterfaceCallbackData>(1005),
            row<>(1006),
            row<PluginInterfaceClippingData>(1007),
            row<Nothing, PluginInterfaceClippingData>(1008),
            row<Nothing, char*>(1009),
            row<Nothing, PIXELFORMAT>(1010),
            row<Nothing, IMAGEMEMORY*>(1011),
            row<Nothing, const char*>(1012),
            row<Nothing, PluginInterfacePixelSizeData>(1013),
            row<eClippingParam, PluginInterfaceClippingCap>(1014),
            row<Nothing, std::map<SMARTMETADATAKEY, SMARTMETADATAPARAMS>*>(1015),
            row<const char*>(1101),
            row<double>(1102),
            row<Nothing, double>(1103),
            row<double>(1104),
            row<Nothing, double>(1105),
            row<double>(1106),
            row<Nothing, double>(1107),
            row<TRIGGERMODE>(1108),
            row<Nothing, TRIGGERMODE>(1109),
            row<Nothing, PluginInterfaceFeatureData>(1110),
            row<Nothing, PluginInterfaceFeatureData>(1111),
            row<SCANNINGMODE>(1112),
            row<Nothing, SCANNINGMODE>(1113),
            row<CSmartCamParamBase*>(1114),
            row<CSmartCamParamBase*>(1115),
            row<DATATRANSFERVOLUME>(1116),
            row<Nothing, DATATRANSFERVOLUME>(1117),
            row<Nothing, const char*>(1118),
            row<>(1119),
            row<const char*>(1201),
            row<>(1202),
            row<std::uint64_t, double>(1203),
            row<>(1204),
            row<>(1205),
            row<>(1206),
            row<std::uint64_t, std::uint64_t>(1207),
            row<Nothing, std::uint64_t>(1208),
            row<std::uint64_t, LIGHTINFO>(1209),
            row<Nothing, const char*>(1210),
            row<PluginInterfaceLightTriggerData>(1211),
            row<std::uint64_t, PluginInterfaceLightTriggerData>(1212),
        };
        for (std::int32_t id = 1301; id <= 1337; ++id)
            all.push_back(id == 1301 || id == 1303 ? row<PluginInterfaceSensor1DInitData>(id) : row<>(id));
        const std::vector<CommandRow> others{
            row<Nothing, const char*>(1338),
            row<>(1401),
            row<>(1402),
            row<Nothing, const char*>(1403),
            row<>(1404),
            row<PluginInterfaceIOPort, int>(1405),
            row<>(1406),
            row<PluginInterfaceIOPort, unsigned char>(1407),
            row<>(1408),
            row<PluginInterfaceIOPort, bool>(1409),
            row<>(1410),
            row<Nothing, INOUTINFO>(1411),
            row<>(1501),
            row<Nothing, const char*>(1503),
            row<PluginInterfaceMotorData>(1504),
            row<>(1505),
            row<PluginInterfaceMotorData>(1507),
            row<PluginInterfaceMotorData>(1508),
            row<PluginInterfaceMotorData>(1509),
            row<PluginInterfaceMotorData>(1510),
            row<PluginInterfaceMotorData>(1512),
            row<>(1513),
            row<>(1514),
            row<>(1515),
            row<PluginInterfaceMotorData>(1522),
            row<PluginInterfaceMotorData>(1523),
            row<PluginInterfaceMotorData>(1532),
            row<bool>(1538),
        };
        all.insert(all.end(), others.begin(), others.end());
        return all;
    }();
    return rows;
}

inline bool isDocumentCommand(std::int32_t id) {
    for (const std::int32_t document : {1012, 1118, 1210, 1338, 1403, 1503}) {
        if (id == document) return true;
    }
    return false;
}

/// A device's answer to a command with a correct parameter, and whether it then writes the result's value.
struct Expected {
    NUV::PluginCallStatus status;
    bool writesValue;
};

}  // namespace test
