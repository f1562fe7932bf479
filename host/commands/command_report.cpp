#include "command_report.h"

#include <algorithm>
#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include "camera_commands.h"
#include "host_options.h"
#include "platform.h"

namespace host {
namespace {

constexpr const char* kSchema = "dorven-commands/1";

using Status = std::optional<NUV::PluginCallStatus>;
using Column = std::function<Status&(CommandReportRow&)>;

/// Each kind has its own hundred of command ids; motor and I/O port commands affect the real world.
bool movesSomething(std::int32_t id, const std::vector<std::uint32_t>& kinds) {
    const auto offers = [&](NUV::InterfaceKind kind) {
        return std::find(kinds.begin(), kinds.end(), static_cast<std::uint32_t>(kind)) != kinds.end();
    };
    return (id / 100 == 14 && offers(NUV::InterfaceKind::ioPort)) ||
           (id / 100 == 15 && offers(NUV::InterfaceKind::motor));
}

/// Stores the answers in one state of the device in one column of the table.
class Asking {
public:
    Asking(NUV::PluginDeviceBase& device, std::vector<CommandReportRow>& rows, const std::vector<std::uint32_t>& kinds,
           Column column)
        : _device(device), _rows(rows), _kinds(kinds), _column(std::move(column)) {}

    /// All commands except those that open the device, or start or stop its images.
    void askAllButAcquisition() {
        for (CommandReportRow& row : _rows) {
            if (row.id < command_id::openImageDevice || row.id > command_id::freeze) ask(row);
        }
    }
    void ask(std::int32_t id) {
        for (CommandReportRow& row : _rows) {
            if (row.id == id) ask(row);
        }
    }

private:
    void ask(CommandReportRow& row) {
        if (!row.command || movesSomething(row.id, _kinds)) return;
        _column(row) = row.command->send(_device, row.id, harmlessValue(*row.command)).status;
    }

    /// A setting gets the value that the device reports, if the next command reads it.
    ValueText harmlessValue(const DeviceCommand& command) const {
        const DeviceCommand* const next = findDeviceCommand(command.id + 1);
        if (!command.takesValue() || !next || next->takesValue() ||
            std::string(next->resultType) != command.parameterType)
            return command.neutral();
        const CommandAnswer present = next->send(_device, next->id, std::nullopt);
        return present.wroteValue ? ValueText(asParameter(present)) : command.neutral();
    }

    NUV::PluginDeviceBase& _device;
    std::vector<CommandReportRow>& _rows;
    const std::vector<std::uint32_t>& _kinds;
    Column _column;
};

std::string cell(const Status& status) {
    if (!status) return "not sent";
    char text[40];
    platform_format(text, sizeof text, "(%d, %d)", static_cast<int>(status->code), static_cast<int>(status->valid));
    return text;
}

void printPeople(const std::vector<CommandReportRow>& rows, std::ostream& stream) {
    const char* const format = "%-5s %-31s %-31s %-31s %-9s %s\n";
    char line[200];
    platform_format(line, sizeof line, format, "id", "operation", "parameter", "result", "closed", "opened");
    stream << line;
    for (const CommandReportRow& row : rows) {
        platform_format(line, sizeof line, format, std::to_string(row.id).c_str(),
                        row.command ? row.command->operation : "unknown",
                        row.command ? row.command->parameterType : "-", row.command ? row.command->resultType : "-",
                        cell(row.closed).c_str(), cell(row.opened).c_str());
        stream << line;
    }
    stream << rows.size() << " commands" << std::endl;
}

void printJson(const std::string& module, const std::vector<CommandReportRow>& rows, std::ostream& stream) {
    using Json = nlohmann::ordered_json;
    Json object;
    object["schema"] = kSchema;
    object["module"] = module;
    Json& list = object["commands"] = Json::array();
    for (const CommandReportRow& row : rows) {
        Json& entry = list.emplace_back();
        entry["id"] = row.id;
        entry["operation"] = row.command ? Json(row.command->operation) : nullptr;
        entry["parameter"] = row.command ? Json(row.command->parameterType) : nullptr;
        entry["result"] = row.command ? Json(row.command->resultType) : nullptr;
        entry["closed_code"] = row.closed ? Json(row.closed->code) : nullptr;
        entry["closed_valid"] = row.closed ? Json(row.closed->valid) : nullptr;
        entry["opened_code"] = row.opened ? Json(row.opened->code) : nullptr;
        entry["opened_valid"] = row.opened ? Json(row.opened->valid) : nullptr;
    }
    stream << object.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

}  // namespace

std::vector<CommandReportRow> askEveryCommand(NUV::PluginDeviceBase& device, const std::vector<std::uint32_t>& kinds) {
    std::vector<CommandReportRow> rows;
    for (const auto& entry : device.commandMap())
        rows.push_back({entry.first, findDeviceCommand(entry.first), std::nullopt, std::nullopt});

    Asking closed(device, rows, kinds, [](CommandReportRow& row) -> Status& { return row.closed; });
    closed.askAllButAcquisition();
    for (const std::int32_t id : {command_id::grab, command_id::stop, command_id::freeze, command_id::openImageDevice})
        closed.ask(id);
    const bool open = std::any_of(rows.begin(), rows.end(), [](const CommandReportRow& row) {
        return row.id == command_id::openImageDevice && row.closed == NUV::kDone;
    });
    if (!open) return rows;

    Asking opened(device, rows, kinds, [](CommandReportRow& row) -> Status& { return row.opened; });
    opened.askAllButAcquisition();
    // Stop and freeze are each sent during a grab; opening again then restores the defaults.
    for (const std::int32_t id :
         {command_id::grab, command_id::stop, command_id::grab, command_id::freeze, command_id::openImageDevice})
        opened.ask(id);
    return rows;
}

int showCommands(PluginLibrary& library, bool json, std::ostream& data, std::ostream& people) {
    std::string error;
    NUV::PluginDeviceBase* const device = library.firstDevice(error);
    if (!device) {
        people << "dorven-host: " << error << std::endl;
        return kExitFailed;
    }
    const auto rows = askEveryCommand(*device, library.kindsOfFirstDevice());
    if (json) {
        printJson(library.path(), rows, data);
    } else {
        printPeople(rows, data);
    }
    const bool opened =
        std::any_of(rows.begin(), rows.end(), [](const CommandReportRow& row) { return row.opened.has_value(); });
    if (!opened) people << "dorven-host: the device could not be opened with its defaults" << std::endl;
    return opened ? kExitDone : kExitFailed;
}

}  // namespace host
