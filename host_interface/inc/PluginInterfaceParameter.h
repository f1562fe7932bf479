// Parameters of commands: typed objects that a host builds on its stack.
#pragma once

namespace NUV {

/// Root of parameter objects. Never deleted through a base pointer; a virtual destructor would take the first slot.
class PluginInterfaceParameterBase {
public:
    virtual const char* typeName() const { return "PluginInterfaceParameter"; }
};

template <typename T>
class PluginInterfaceParameter : public PluginInterfaceParameterBase {
public:
    explicit PluginInterfaceParameter(T initialValue) : value(initialValue) {}

    const char* typeName() const override { return "PluginInterfaceParameter"; }

    T value;
};

/// A receiver's copy of a parameter.
template <typename T>
struct UnpackedParameter {
    T value;     // zeroed when the object was not a PluginInterfaceParameter<T>
    bool valid;  // whether it was

    explicit UnpackedParameter(const PluginInterfaceParameterBase* parameter) : value{}, valid(false) {
        if (const auto* typed = dynamic_cast<const PluginInterfaceParameter<T>*>(parameter)) {
            value = typed->value;
            valid = true;
        }
    }
};

}  // namespace NUV
