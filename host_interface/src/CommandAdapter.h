// bind<&PluginDeviceBase::operation>() creates the adapter of a command from the operation's signature.
// Parameter and result type follow from the signature, or are named (CommandSignature.h).
#pragma once

#include <tuple>
#include <type_traits>

#include "CommandSignature.h"
#include "PluginDeviceBase.h"

namespace NUV {

// ---- from a parameter's value to arguments

inline std::tuple<> inputs(None&) { return {}; }
inline auto inputs(PluginInterfaceCallbackData& data) { return std::tuple(data.context, data.function); }
inline auto inputs(PluginInterfaceClippingData& data) { return std::tuple(data.x, data.y, data.width, data.height); }
template <typename T>
auto inputs(T& value) {
    if constexpr (std::is_class_v<T>)
        return std::tuple(static_cast<const T*>(&value));
    else
        return std::tuple(value);
}

/// The parameter's value, if the object has the right type. A command without a parameter takes any object.
template <typename T>
UnpackedParameter<T> unpack(const PluginInterfaceParameterBase* parameter) {
    UnpackedParameter<T> unpacked(parameter);
    // Texts are optional: an object of another type, or no object, is a null text.
    if constexpr (std::is_same_v<T, const char*>) unpacked.valid = true;
    return unpacked;
}
template <>
inline UnpackedParameter<None> unpack<None>(const PluginInterfaceParameterBase*) {
    UnpackedParameter<None> nothing(nullptr);
    nothing.valid = true;
    return nothing;
}

// ---- from outputs to a result's value

/// The outputs of an operation. They start with the host's own value, because an operation may return (0, 1) without
/// writing them, and the host's value must then stay.
template <typename T>
struct Outputs {
    T value{};
    auto addresses() {
        if constexpr (std::is_same_v<T, PluginInterfaceClippingData>)
            return std::tuple(&value.x, &value.y, &value.width, &value.height);
        else if constexpr (std::is_same_v<T, PluginInterfaceClippingCap>)
            return std::tuple(&value.minimum, &value.maximum, &value.step);
        else if constexpr (std::is_same_v<T, PluginInterfacePixelSizeData>)
            return std::tuple(&value.x, &value.y);
        else
            return std::tuple(&value);
    }
    void finish() {}
};

/// A bitmap description is returned by address, null when there is none, and copied for the host.
template <>
struct Outputs<tagBITMAPINFO> {
    tagBITMAPINFO value{};
    const tagBITMAPINFO* source = nullptr;
    auto addresses() { return std::tuple(&source); }
    void finish() {
        if (source) value = *source;
    }
};

// ---- the adapter

/// Status only: any result object accepts it.
inline PluginCallStatus report(PluginCallStatus status, PluginInterfaceReturnBase* result) {
    if (result) result->status = status;
    return status;
}

template <auto operation, typename Parameter, typename Result>
PluginCallStatus send(PluginDeviceBase& device, const PluginInterfaceParameterBase* parameter,
                      PluginInterfaceReturnBase* result) {
    auto unpacked = unpack<Parameter>(parameter);
    const auto run = [&](auto... outputs) {
        if (!unpacked.valid) return kWrongParameter;
        return std::apply([&](auto... arguments) { return (device.*operation)(arguments..., outputs...); },
                          inputs(unpacked.value));
    };
    if constexpr (std::is_same_v<Result, None>) {
        return report(run(), result);
    } else {
        Outputs<Result> outputs;
        if (const auto* typed = dynamic_cast<const PluginInterfaceReturn<Result>*>(result))
            outputs.value = typed->value;
        const PluginCallStatus status = std::apply(run, outputs.addresses());
        outputs.finish();
        PluginInterfaceReturn<Result>(status, outputs.value).copyTo(result);
        return status;
    }
}

/// Catches every exception, because hosts also take adapters from the command map. The result object then stays
/// unchanged.
template <auto operation, typename Parameter, typename Result>
PluginCallStatus adapter(PluginDeviceBase& device, const PluginInterfaceParameterBase* parameter,
                         PluginInterfaceReturnBase* result) {
    try {
        return send<operation, Parameter, Result>(device, parameter, result);
    } catch (...) {
        return kNotSupported;
    }
}

template <auto operation, typename Parameter = FromSignature, typename Result = FromSignature>
constexpr CommandAdapter bind() {
    using Types = CommandTypes<operation, Parameter, Result>;
    return &adapter<operation, typename Types::Parameter, typename Types::Result>;
}

}  // namespace NUV
