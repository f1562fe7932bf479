#include "device_commands.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "CommandSignature.h"
#include "command_value.h"

namespace host {

std::vector<ValueField> fieldsOf(NUV::IMAGEMEMORY* const& record) {
    if (!record) return {nullField("")};
    std::vector<ValueField> fields{
        addressField("address", record),
        field("width", record->width),
        field("height", record->height),
        field("second_width", record->secondWidth),
        field("second_height", record->secondHeight),
        field("clipping_x", record->clipping.x),
        field("clipping_y", record->clipping.y),
        field("clipping_width", record->clipping.width),
        field("clipping_height", record->clipping.height),
        field("bytes_per_pixel", record->bytesPerPixel),
        addressField("image_buffer", record->imageBuffer),
        field("arrange_type", record->arrangeType),
        field("time_stamp_type", record->timeStampType),
        field("time_stamp", record->timeStamp),
        field("frame_time", record->frameTime),
        field("image_counter", record->imageCounter),
        field("pixel_format", record->pixelFormat),
    };
    for (const auto& [key, data] : record->metaData) {
        const std::string name = "meta_data_" + std::to_string(static_cast<std::int32_t>(key));
        // Types are compared by name: type information of another module need not be the same.
        if (data && std::string_view(data->typeName()) == "Double")
            fields.push_back(field(name, static_cast<const NUV::SmartMetaDataDouble&>(*data).value));
    }
    return fields;
}

std::vector<ValueField> fieldsOf(NUV::SmartMetaDataCaps* const& caps) {
    if (!caps) return {nullField("")};
    return {addressField("address", caps), field("entries", caps->size())};
}

int ignoreImage(void*, NUV::IMAGEMEMORY*) { return 0; }

namespace {

// ---- results

/// A value's own bytes: those of a pointer, not of its target.
template <typename T>
constexpr std::size_t kValueBytes = sizeof(T);  // NOLINT(bugprone-sizeof-expression)

/// Fills a result's value before the command, so that an untouched value is recognised. All bytes count, including
/// those between fields.
template <typename T>
T untouchedValue() {
    T value{};
    if constexpr (!std::is_same_v<T, bool>) std::memset(static_cast<void*>(&value), 0x5A, kValueBytes<T>);
    return value;
}

template <typename T>
bool isUntouched(const T& value, NUV::PluginCallStatus status) {
    // So few bits can look untouched by chance, so the status decides.
    if constexpr (kValueBytes<T> < 4) return status != NUV::kDone;
    const T untouched = untouchedValue<T>();
    return std::memcmp(static_cast<const void*>(&value), static_cast<const void*>(&untouched), kValueBytes<T>) == 0;
}

template <typename R>
CommandAnswer sendFor(NUV::PluginDeviceBase& device, std::int32_t id,
                      const NUV::PluginInterfaceParameterBase* parameter) {
    if constexpr (std::is_same_v<R, NUV::None>) {
        return {device.call(id, parameter, nullptr), false, {}};
    } else {
        NUV::PluginInterfaceReturn<R> result(NUV::kNotSupported, untouchedValue<R>());
        const NUV::PluginCallStatus status = device.call(id, parameter, &result);
        if (isUntouched(result.value, status)) return {status, false, {}};
        return {status, true, fieldsOf(result.value)};
    }
}

// ---- parameters: none, a text that may be missing, or a value

template <typename P>
std::string problemOf(const ValueText& text) {
    if constexpr (std::is_same_v<P, NUV::None>) {
        return text ? "takes no value" : "";
    } else if constexpr (std::is_same_v<P, const char*>) {
        return "";
    } else {
        P value{};
        if (!text)
            return std::string("needs a value of the type ") + kTypeName<P> + ", for example " + neutralValue<P>();
        return parseValue(*text, value);
    }
}

template <typename P, typename R>
CommandAnswer send(NUV::PluginDeviceBase& device, std::int32_t id, const ValueText& text) {
    if constexpr (std::is_same_v<P, NUV::None>) {
        return sendFor<R>(device, id, nullptr);
    } else if constexpr (std::is_same_v<P, const char*>) {
        const NUV::PluginInterfaceParameter<const char*> parameter(text ? text->c_str() : nullptr);
        return sendFor<R>(device, id, &parameter);
    } else {
        NUV::PluginInterfaceParameter<P> parameter(P{});
        if (text) parseValue(*text, parameter.value);
        return sendFor<R>(device, id, &parameter);
    }
}

template <typename P>
ValueText neutralOf() {
    if constexpr (std::is_same_v<P, NUV::None> || std::is_same_v<P, const char*>) {
        return std::nullopt;
    } else {
        return neutralValue<P>();
    }
}

// ---- the list

template <typename Types>
DeviceCommand makeCommand(std::int32_t id, const char* operation) {
    using P = typename Types::Parameter;
    using R = typename Types::Result;
    static_assert(kTypeName<P> && kTypeName<R>, "every type of a command has a name");
    return {id, operation, kTypeName<P>, kTypeName<R>, &problemOf<P>, &send<P, R>, &neutralOf<P>};
}

}  // namespace

const std::vector<DeviceCommand>& deviceCommands() {
    using namespace NUV;
    using Device = PluginDeviceBase;
    static const std::vector<DeviceCommand> commands{
#define COMMAND(id, operation) makeCommand<CommandTypes<&Device::operation>>(id, #operation),
#define COMMAND_AS(id, operation, parameter, result) /* NOLINTNEXTLINE(bugprone-macro-parentheses): types */ \
    makeCommand<CommandTypes<&Device::operation, parameter, result>>(id, #operation),
#include "CommandList.inc"
#undef COMMAND
#undef COMMAND_AS
    };
    return commands;
}

const DeviceCommand* findDeviceCommand(std::int32_t id) {
    for (const DeviceCommand& command : deviceCommands()) {
        if (command.id == id) return &command;
    }
    return nullptr;
}

bool DeviceCommand::takesValue() const { return std::string_view(parameterType) != kTypeName<NUV::None>; }
bool DeviceCommand::hasResult() const { return std::string_view(resultType) != kTypeName<NUV::None>; }

std::string asParameter(const CommandAnswer& answer) {
    std::string text;
    for (const ValueField& part : answer.value) text += (text.empty() ? "" : ",") + part.text;
    return text;
}

std::string statusText(NUV::PluginCallStatus status) {
    std::string pair = "(" + std::to_string(status.code) + ", " + std::to_string(status.valid) + ")";
    if (status == NUV::kDone) return pair + " done";
    if (status == NUV::kNotSupported) return pair + " not supported or failed";
    if (status == NUV::kWrongParameter) return pair + " wrong type of parameter";
    return pair;
}

}  // namespace host
