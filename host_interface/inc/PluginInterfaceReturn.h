// Results of device operations: the status that each returns, and the objects in which commands return values.
#pragma once

#include <cstddef>
#include <cstdint>

namespace NUV {

/// The result of every device operation.
struct PluginCallStatus {
    std::int32_t code;   // 0 done, -4 not supported or failed, -1 the command's parameter object has the wrong type
    std::int32_t valid;  // 1 when the operation was done and its outputs are set, otherwise 0

    friend constexpr bool operator==(const PluginCallStatus& one, const PluginCallStatus& other) {
        return one.code == other.code && one.valid == other.valid;
    }
    friend constexpr bool operator!=(const PluginCallStatus& one, const PluginCallStatus& other) {
        return !(one == other);
    }
};
static_assert(sizeof(PluginCallStatus) == 8 && offsetof(PluginCallStatus, valid) == 4);

inline constexpr PluginCallStatus kDone{0, 1};
inline constexpr PluginCallStatus kNotSupported{-4, 0};
inline constexpr PluginCallStatus kWrongParameter{-1, 0};

/// Result object of a command that returns only a status. Lives on the caller's stack: it is never deleted through a
/// base pointer, and a virtual destructor would take the first slot.
class PluginInterfaceReturnBase {
public:
    explicit PluginInterfaceReturnBase(PluginCallStatus initialStatus) : status(initialStatus) {}

    /// Copies the status into the target. @return The target; null when there is none.
    virtual PluginInterfaceReturnBase* copyTo(PluginInterfaceReturnBase* target) const {
        if (target) target->status = status;
        return target;
    }

    virtual const char* typeName() const { return "PluginInterfaceReturnBase"; }

    PluginCallStatus status;
};

/// Result object of a command that also returns a value.
template <typename T>
class PluginInterfaceReturn : public PluginInterfaceReturnBase {
public:
    PluginInterfaceReturn(PluginCallStatus initialStatus, T initialValue)
        : PluginInterfaceReturnBase(initialStatus), value(initialValue) {}

    /// Copies status and value into a target of exactly the same type; any other stays unchanged, including its status.
    /// @return The target; null when nothing was copied.
    PluginInterfaceReturn* copyTo(PluginInterfaceReturnBase* target) const override {
        auto* same = dynamic_cast<PluginInterfaceReturn*>(target);
        if (!same) return nullptr;
        same->status = status;
        same->value = value;
        return same;
    }

    /// The same text for every T: hosts know the type from the command.
    const char* typeName() const override { return "PluginInterfaceReturn"; }

    T value;
};

}  // namespace NUV
