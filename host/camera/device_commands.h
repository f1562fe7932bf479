// Every command of a device in a form in which the host can send it from text, built from the framework's own list.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PluginDeviceBase.h"

namespace host {

/// One number, text or address of a result.
struct ValueField {
    enum class Kind { literal, real, text, null };  // literal: a whole number, true or false

    std::string name;  // empty for a result that is one value
    std::string text;
    Kind kind;
};

/// A device's answer to a command.
struct CommandAnswer {
    NUV::PluginCallStatus status;
    bool wroteValue = false;        // false: the device left the result unchanged
    std::vector<ValueField> value;  // what it wrote
};

/// The value of an answer in the form that a command accepts as its parameter.
std::string asParameter(const CommandAnswer& answer);

/// Text of a command's VALUE; none when the command line has none.
using ValueText = std::optional<std::string>;

struct DeviceCommand {
    std::int32_t id;
    const char* operation;      // of PluginDeviceBase
    const char* parameterType;  // "none" if it takes no parameter
    const char* resultType;     // "none" if it returns only a status

    bool takesValue() const;
    bool hasResult() const;

    /// What is wrong with a VALUE for this command; empty when it can be sent.
    std::string (*problem)(const ValueText& text);

    /// Sends it. @param text  A valid one.
    CommandAnswer (*send)(NUV::PluginDeviceBase& device, std::int32_t id, const ValueText& text);

    /// A VALUE that requests nothing: zeros, null, or none.
    ValueText (*neutral)();
};

/// In the order of their ids.
const std::vector<DeviceCommand>& deviceCommands();

/// null for an id that the framework does not have.
const DeviceCommand* findDeviceCommand(std::int32_t id);

/// A status in words: "(0, 1) done".
std::string statusText(NUV::PluginCallStatus status);

}  // namespace host
