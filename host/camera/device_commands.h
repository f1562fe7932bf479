// Every command of a device as the host can send it from text, made from the framework's own list of commands.
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

/// What a device answered to a command.
struct CommandAnswer {
    NUV::PluginCallStatus status;
    bool wroteValue = false;        // false: the device left the result as it was
    std::vector<ValueField> value;  // of what it wrote
};

/// The value of an answer in the form in which a command takes it as its parameter.
std::string asParameter(const CommandAnswer& answer);

/// Text of a command's VALUE; none when the command line gives none.
using ValueText = std::optional<std::string>;

struct DeviceCommand {
    std::int32_t id;
    const char* operation;      // of PluginDeviceBase
    const char* parameterType;  // "none" for a command without one
    const char* resultType;     // "none" for a command that answers with a status alone

    bool takesValue() const;
    bool hasResult() const;

    /// What is wrong with a VALUE for this command; empty when it can be sent.
    std::string (*problem)(const ValueText& text);

    /// Sends it. @param text  One without a problem.
    CommandAnswer (*send)(NUV::PluginDeviceBase& device, std::int32_t id, const ValueText& text);

    /// A VALUE that asks for nothing: zeros, null, or none.
    ValueText (*neutral)();
};

/// In the order of their ids.
const std::vector<DeviceCommand>& deviceCommands();

/// null for an id that the framework does not have.
const DeviceCommand* findDeviceCommand(std::int32_t id);

/// A status in words: "(0, 1) done".
std::string statusText(NUV::PluginCallStatus status);

}  // namespace host
