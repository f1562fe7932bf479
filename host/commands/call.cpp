#include "call.h"

#include <cstdlib>

#include <nlohmann/json.hpp>

#include "camera_commands.h"
#include "program_log.h"

namespace host {
namespace {

constexpr const char* kSchema = "dorven-call/1";

bool open(NUV::PluginDeviceBase& device, const CallOptions& options, std::ostream& people) {
    const ValueText path = options.configFile.empty() ? ValueText() : options.configFile;
    constexpr std::int32_t kOpen = command_id::openImageDevice;
    const CommandAnswer answer = findDeviceCommand(kOpen)->send(device, kOpen, path);
    if (answer.status == NUV::kDone) return true;
    options::tellLogBefore("dorven-host", people);
    people << "dorven-host: the device could not be opened: command " << kOpen << " answered "
           << statusText(answer.status) << std::endl;
    return false;
}

/// A command whose types the host does not know is sent without parameter and result.
CommandAnswer send(NUV::PluginDeviceBase& device, const CallOptions& options, const DeviceCommand* command) {
    if (command) return command->send(device, command->id, options.value);
    return {device.call(options.id, nullptr, nullptr), false, {}};
}

void printPeople(const CallOptions& options, const DeviceCommand* command, bool known, const CommandAnswer& answer,
                 std::ostream& stream) {
    stream << "command  " << options.id;
    if (command) stream << ' ' << command->operation;
    stream << (known ? "\n" : " (unknown to the device)\n") << "status   " << statusText(answer.status) << '\n';
    if (!command || !command->hasResult()) {
        stream << std::flush;
        return;
    }
    stream << "result   " << command->resultType;
    if (!answer.wroteValue) stream << ", left as it was";
    for (const ValueField& part : answer.value)
        stream << (part.name.empty() ? " " : "\n  " + part.name + ' ') << part.text;
    stream << std::endl;
}

nlohmann::ordered_json jsonOf(const ValueField& part) {
    switch (part.kind) {
        case ValueField::Kind::null:
            return nullptr;
        case ValueField::Kind::literal:
            return nlohmann::ordered_json::parse(part.text);
        case ValueField::Kind::real:
            if (const double number = std::strtod(part.text.c_str(), nullptr); number - number == 0.0) return number;
            break;  // nan and inf are no JSON numbers
        case ValueField::Kind::text:
            break;
    }
    return part.text;
}

void printJson(const CallOptions& options, const DeviceCommand* command, bool known, const CommandAnswer& answer,
               std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kSchema;
    object["id"] = options.id;
    object["operation"] = command ? nlohmann::ordered_json(command->operation) : nullptr;
    object["known"] = known;
    object["parameter"] = command ? nlohmann::ordered_json(command->parameterType) : nullptr;
    object["result"] = command ? nlohmann::ordered_json(command->resultType) : nullptr;
    object["code"] = answer.status.code;
    object["valid"] = answer.status.valid;
    object["wrote_value"] = answer.wroteValue;
    for (const ValueField& part : answer.value)
        object[part.name.empty() ? "value" : "value_" + part.name] = jsonOf(part);
    // Texts of the plugin may have any encoding.
    stream << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

}  // namespace

int callCommand(NUV::PluginDeviceBase& device, const CallOptions& options, std::ostream& data, std::ostream& people) {
    if (options.open && !open(device, options, people)) return kExitFailed;
    const DeviceCommand* const command = findDeviceCommand(options.id);
    const bool known = device.commandMap().count(options.id) != 0;
    const CommandAnswer answer = send(device, options, command);
    if (answer.status != NUV::kDone) options::tellLogBefore("dorven-host", people);
    if (options.json) {
        printJson(options, command, known, answer, data);
    } else {
        printPeople(options, command, known, answer, data);
    }
    return answer.status == NUV::kDone ? kExitDone : kExitFailed;
}

}  // namespace host
