#include "info.h"

#include <map>

#include <nlohmann/json.hpp>

#include "camera_commands.h"
#include "host_options.h"

namespace host {
namespace {

constexpr const char* kSchema = "dorven-info/1";

struct PropertyRow {
    std::int32_t id;
    const char* key;
    const char* label;
};

// clang-format off
constexpr PropertyRow kProperties[] = {
    {NUV::kManufacturer,      "manufacturer",       "manufacturer"      },
    {NUV::kDeviceName,        "device_name",        "device name"       },
    {NUV::kProductVersion,    "product_version",    "product version"   },
    {NUV::kSerialNumber,      "serial_number",      "serial number"     },
    {NUV::kDllVersion,        "dll_version",        "dll version"       },
    {NUV::kDriverVersion,     "driver_version",     "driver version"    },
    {NUV::kCpldVersion,       "cpld_version",       "cpld version"      },
    {NUV::kBootloaderVersion, "bootloader_version", "bootloader version"},
    {NUV::kFpgaVersion,       "fpga_version",       "fpga version"      },
};
// clang-format on

const char* kindName(std::uint32_t kind) {
    constexpr const char* kNames[] = {"none",     "image", "camera control", "light", "one-dimensional sensor",
                                      "I/O port", "motor"};
    return kind < std::size(kNames) ? kNames[kind] : "unknown";
}

// The label is plain ASCII in practice; other characters become '?'.
std::string narrow(const wchar_t (&label)[40]) {
    std::string text;
    for (const wchar_t character : label) {
        if (character == 0) break;
        text += character >= L' ' && character <= L'~' ? static_cast<char>(character) : '?';
    }
    return text;
}

struct Info {
    std::string module;
    PluginDeviceRecord device{};
    std::vector<std::uint32_t> kinds;
    std::map<std::int32_t, std::string> properties;  // those that are set
    std::string document;                            // empty: the device has none
};

Info gather(const PluginLibrary& library, NUV::PluginDeviceBase& device) {
    Info info{library.path(), library.records().front(), library.kindsOfFirstDevice(), {}, {}};
    for (const PropertyRow& row : kProperties) {
        if (const char* text = device.getProperty(row.id)) info.properties.emplace(row.id, text);
    }
    NUV::PluginInterfaceReturn<const char*> document(NUV::kNotSupported, nullptr);
    if (device.call(command_id::imageDeviceInformation, nullptr, &document) == NUV::kDone && document.value)
        info.document = document.value;
    return info;
}

void printPeople(const Info& info, std::ostream& stream) {
    stream << "module         " << info.module << "\ndevice id      " << info.device.deviceId << "\nlabel          "
           << narrow(info.device.label) << "\nkinds          ";
    const char* separator = "";
    for (const std::uint32_t kind : info.kinds) {
        stream << separator << kind << ' ' << kindName(kind);
        separator = ", ";
    }
    stream << "\nproperties\n";
    for (const PropertyRow& row : kProperties) {
        if (const auto property = info.properties.find(row.id); property != info.properties.end())
            stream << "  " << row.id << ' ' << row.label << ": " << property->second << '\n';
    }
    stream << "information document\n" << (info.document.empty() ? "  none" : info.document) << std::endl;
}

void printJson(const Info& info, std::ostream& stream) {
    nlohmann::ordered_json object;
    object["schema"] = kSchema;
    object["module"] = info.module;
    object["device_id"] = info.device.deviceId;
    object["type_code"] = info.device.typeCode;
    object["number"] = info.device.number;
    object["label"] = narrow(info.device.label);
    object["kinds"] = info.kinds;
    for (const PropertyRow& row : kProperties) {
        const auto property = info.properties.find(row.id);
        object[row.key] = property != info.properties.end() ? nlohmann::ordered_json(property->second) : nullptr;
    }
    object["document"] =
        info.document.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(info.document);
    // Texts of the plugin may have any encoding.
    stream << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

}  // namespace

int showInfo(PluginLibrary& library, bool json, std::ostream& data, std::ostream& people) {
    std::string error;
    NUV::PluginDeviceBase* const device = library.firstDevice(error);
    if (!device) {
        people << "dorven-host: " << error << std::endl;
        return kExitFailed;
    }
    const Info info = gather(library, *device);
    if (json) {
        printJson(info, data);
    } else {
        printPeople(info, data);
    }
    return kExitDone;
}

}  // namespace host
