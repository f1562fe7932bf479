// Parameter and result type of a command, derived from its operation's signature.
//
// An operation takes at most one parameter, by value, by const address or spread over several arguments, and then the
// addresses of its outputs. If one structure stands for several arguments, or if the output is returned in another
// form, CommandList.inc names the types.
#pragma once

#include <type_traits>

#include "PluginDeviceBase.h"

namespace NUV {

/// No parameter, or no value besides the status.
struct None {};

/// Parameter and result type are derived from the signature.
struct FromSignature {};

// ---- what a signature says

/// Outputs are addresses of writable objects. The only exception are smart camera parameters: opaque objects of the
/// host that are passed through.
template <typename T>
inline constexpr bool kIsOutput =
    std::is_pointer_v<T> && !std::is_const_v<std::remove_pointer_t<T>> && !std::is_same_v<T, CSmartCamParamBase*>;

/// The parameter object's type for an argument: texts and opaque objects unchanged, structures without address.
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
struct Signature<PluginCallStatus (PluginDeviceBase::*)(Input, Output)> {
    static_assert(!kIsOutput<Input> && kIsOutput<Output>);
    using Parameter = typename ParameterBehind<Input>::type;
    using Result = std::remove_pointer_t<Output>;
};

// ---- a command's types

/// @tparam P, R  Parameter and result type; if omitted, they are derived from the signature.
template <auto operation, typename P = FromSignature, typename R = FromSignature>
struct CommandTypes {
    using Parameter = P;
    using Result = R;
};
template <auto operation>
struct CommandTypes<operation, FromSignature, FromSignature> : Signature<decltype(operation)> {};

}  // namespace NUV
