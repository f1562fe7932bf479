// bind<&PluginDeviceBase::operation>() makes the adapter of a command from the operation's signature.
//
// An operation takes at most one parameter, by value, by const address, or spread over several arguments, and then the
// addresses of its outputs. Parameter and result type follow from the signature; where one structure stands for several
// arguments, or the output is handed out in another form, they are named: bind<&…::setClipping,
// PluginInterfaceClippingData>().
#pragma once

#include <tuple>
#include <type_traits>

#include "PluginDeviceBase.h"

namespace NUV {

/// No parameter, or no value beside the status.
struct None {};

/// Parameter and result type are found in the signature.
struct FromSignature {};

// ---- what a signature tells

/// Outputs are addresses of something that can be written. Smart camera parameters are the one exception: they are
/// opaque objects of the host, handed through.
template <typename T>
inline constexpr bool kIsOutput =
    std::is_pointer_v<T> && !std::is_const_v<std::remove_pointer_t<T>> && !std::is_same_v<T, CSmartCamParamBase*>;

/// The parameter object's type behind an argument: texts and opaque objects as they are, structures without address.
template <typename T>
struct ParameterBehind {
    using type = T;
};
template <typename T>
struct ParameterBehind<const T*> {
    using type = T;
};
template <>
struct ParameterBehind<const char*> {
    using type = const char*;
};

template <typename Operation>
struct Signature;

template <>
struct Signature<PluginCallStatus (PluginDeviceBase::*)()> {
    using Parameter = None;
    using Result = None;
};

template <typename Argument>
struct Signature<PluginCallStatus (PluginDeviceBase::*)(Argument)> {
    using Parameter = std::conditional_t<kIsOutput<Argument>, None, typename ParameterBehind<Argument>::type>;
    using Result = std::conditional_t<kIsOutput<Argument>, std::remove_pointer_t<Argument>, None>;
};

template <typename Input, typename Output>
requires(!kIsOutput<Input> &&
         kIsOutput<Output>) struct Signature<PluginCallStatus (PluginDeviceBase::*)(Input, Output)> {
    using Parameter = typename ParameterBehind<Input>::type;
    using Result = std::remove_pointer_t<Output>;
};

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
    // Texts are optional: an object of another type, or none, is a null text.
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

/// Where an operation puts its outputs: they start as the host's own value, because an operation may answer (0, 1)
/// without writing them and the host's value then has to stay.
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

/// A bitmap description is handed out by address, null when there is none, and copied for the host.
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

/// Status alone: any result object takes it.
inline PluginCallStatus report(PluginCallStatus status, PluginInterfaceReturnBase* result) {
    if (result) result->status = status;
    return status;
}

template <auto operation, typename Parameter, typename Result>
PluginCallStatus adapter(PluginDeviceBase& device, const PluginInterfaceParameterBase* parameter,
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

template <typename Named, typename Found>
using Choose = std::conditional_t<std::is_same_v<Named, FromSignature>, Found, Named>;

template <auto operation, typename Parameter = FromSignature, typename Result = FromSignature>
constexpr CommandAdapter bind() {
    if constexpr (std::is_same_v<Parameter, FromSignature>) {
        using Found = Signature<decltype(operation)>;
        return &adapter<operation, typename Found::Parameter, Choose<Result, typename Found::Result>>;
    } else {
        return &adapter<operation, Parameter, Choose<Result, None>>;
    }
}

}  // namespace NUV
