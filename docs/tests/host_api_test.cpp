// Compares docs/host-api.md, table by table, with the commands and operations of the framework's headers and with what
// the camera answers. The order of the slots is also read from what compilers emit (host_interface/tests/abi).
#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "DorVenPlugin.h"
#include "command_rows.h"
#include "log_recorder.h"
#include "page.h"
#include "type_names.h"

using namespace NUV;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Row = test::Page::Row;

const test::Page& page() {
    static const test::Page read(HOST_API_PAGE);
    return read;
}

/// Some columns of a table, counted from 0.
std::vector<Row> columns(const std::string& heading, std::size_t first, std::size_t count) {
    std::vector<Row> rows;
    for (const Row& row : page().tableOf(heading)) {
        Row cut;
        for (std::size_t column = first; column < first + count; ++column) cut.push_back(row.at(column));
        rows.push_back(cut);
    }
    return rows;
}

template <typename... Numbers>
std::string listed(const Numbers&... numbers) {
    std::ostringstream text;
    const char* separator = "";
    ((text << separator << numbers, separator = ", "), ...);
    return text.str();
}

std::string statusText(PluginCallStatus status) {
    std::string text = "(";
    return text.append(listed(status.code, status.valid)).append(")");
}

// ---------------------------------------------------------------------------------------------- commands and
// operations

struct Operation {
    int slot;
    std::string name;
    std::string arguments;
    std::string returns;
    std::string command;

    Row row() const { return {std::to_string(slot), name, arguments, returns, command}; }
};

/// The slot in a pointer to a virtual operation: one more than its index in the table, which begins with the two
/// destructors of this compiler.
template <typename Member>
int slotOf(Member member) {
    std::intptr_t place = 0;
    std::memcpy(&place, &member, sizeof place);
    return static_cast<int>((place - 1) / static_cast<std::intptr_t>(sizeof(void*))) - 1;
}

template <typename Returned, typename... Arguments>
Operation operation(Returned (PluginDeviceBase::*member)(Arguments...), const char* name, const char* command = "") {
    std::string arguments;
    for (const std::string& argument : std::vector<std::string>{test::TypeName<Arguments>::text()...})
        arguments += (arguments.empty() ? "" : ", ") + argument;
    return {slotOf(member), name, arguments, test::TypeName<Returned>::text(), command};
}

std::vector<Row> slotsOfTheDevice() {
    std::vector<Operation> operations{
#define OPERATION(name) operation(&PluginDeviceBase::name, #name)
        OPERATION(getProperty),       OPERATION(setProperty),     OPERATION(clearProperties),
        OPERATION(imageSupported),    OPERATION(motorSlot56),     OPERATION(cameraControlSupported),
        OPERATION(motorSupported),    OPERATION(motorSlot57),     OPERATION(ioPortSupported),
        OPERATION(deviceInformation), OPERATION(sensorSupported), OPERATION(lightSupported),
#undef OPERATION
#define COMMAND(id, name) operation(&PluginDeviceBase::name, #name, #id),
#define COMMAND_AS(id, name, parameter, result) COMMAND(id, name)
#include "CommandList.inc"
#undef COMMAND_AS
#undef COMMAND
    };
    std::ranges::sort(operations, {}, &Operation::slot);
    std::vector<Row> rows{{"0", "destructor", "", "", ""}};
    for (const Operation& found : operations) rows.push_back(found.row());
    return rows;
}

TEST(HostApiPage, SlotsAreThoseOfTheDevice) {
    const auto rows = columns("### `NUV::PluginDeviceBase`, `NUV::DorVenPlugin`", 0, 5);
    EXPECT_EQ(rows.size(), 124u);
    EXPECT_THAT(rows, ElementsAreArray(slotsOfTheDevice()));
}

template <auto member, typename P = FromSignature, typename R = FromSignature>
Row commandRow(const char* id, const char* name) {
    using Types = CommandTypes<member, P, R>;
    return {id, name, test::TypeName<typename Types::Parameter>::text(),
            test::TypeName<typename Types::Result>::text()};
}

TEST(HostApiPage, CommandsAreThoseOfTheTable) {
    const std::vector<Row> commands{
#define COMMAND(id, name) commandRow<&PluginDeviceBase::name>(#id, #name),
#define COMMAND_AS(id, name, parameter, result) commandRow<&PluginDeviceBase::name, parameter, result>(#id, #name),
#include "CommandList.inc"
#undef COMMAND_AS
#undef COMMAND
    };
    EXPECT_EQ(commands.size(), 111u);
    EXPECT_THAT(columns("## Commands", 0, 4), ElementsAreArray(commands));
}

// --------------------------------------------------------------------------------------------------------------
// answers

/// The camera's answer to a correct parameter and result: the status, and whether the value changed.
std::string answer(const test::CommandRow& command, bool opened) {
    test::LogRecorder log;
    DorVenPlugin camera("");
    if (opened) camera.call(1001, nullptr, nullptr);
    const auto outcome = command.send(camera, command.id, test::Parameter::right, test::Result::right);
    EXPECT_EQ(outcome.inResult, outcome.returned);
    std::string text = statusText(outcome.returned);
    if (command.hasValue && outcome.returned == kDone) text += outcome.valueKept ? ", kept" : ", value";
    return text;
}

TEST(HostApiPage, AnswersAreThoseOfTheCamera) {
    std::vector<Row> answers;
    for (const test::CommandRow& command : test::commandRows())
        answers.push_back({answer(command, false), answer(command, true)});
    EXPECT_THAT(columns("## Commands", 4, 2), ElementsAreArray(answers));
}

TEST(HostApiPage, StatusesHaveTheirNames) {
    const std::vector<Row> statuses{
        {statusText(kDone), "kDone"},
        {statusText(kNotSupported), "kNotSupported"},
        {statusText(kWrongParameter), "kWrongParameter"},
        {statusText({0, 0}), ""},
    };
    EXPECT_THAT(columns("## Statuses", 0, 2), ElementsAreArray(statuses));
}

std::string describe(const tagBITMAPINFO& bitmap) {
    const BITMAPINFOHEADER& header = bitmap.bmiHeader;
    std::ostringstream text;
    text << "size " << header.biSize << ", width " << header.biWidth << ", height " << header.biHeight << ", planes "
         << header.biPlanes << ", bits " << header.biBitCount;
    return text.str();
}
std::string describe(const PluginInterfaceClippingData& data) {
    return listed(data.x, data.y, data.width, data.height);
}
std::string describe(const PluginInterfaceClippingCap& cap) { return listed(cap.minimum, cap.maximum, cap.step); }
std::string describe(const PluginInterfacePixelSizeData& size) { return listed(size.x, size.y); }
std::string describe(const char* address) { return address ? "an address" : "null"; }
std::string describe(PIXELFORMAT format) { return listed(static_cast<std::uint32_t>(format)); }
std::string describe(const SmartMetaDataCaps* caps) { return listed(caps->size()) + " entries"; }
std::string describe(double number) { return listed(number); }
std::string describe(std::uint64_t number) { return listed(number); }

class OpenedCamera : public testing::Test {
protected:
    OpenedCamera() { _camera.call(1001, nullptr, nullptr); }

    template <typename Value>
    Row valueOf(std::int32_t id, Value preset = {}) {
        return valueOf(id, "", nullptr, preset);
    }

    Row capability(std::int32_t which) {
        const PluginInterfaceParameter<eClippingParam> parameter(static_cast<eClippingParam>(which));
        return valueOf(1014, std::to_string(which), &parameter, PluginInterfaceClippingCap{});
    }

    template <typename Value>
    Row valueOf(std::int32_t id, const std::string& asked, const PluginInterfaceParameterBase* parameter,
                Value preset) {
        PluginInterfaceReturn<Value> result({9, 9}, preset);
        EXPECT_EQ(_camera.call(id, parameter, &result), kDone);
        return {std::to_string(id), asked, describe(result.value)};
    }

    test::LogRecorder _log;
    DorVenPlugin _camera{""};
};

TEST_F(OpenedCamera, AnswersWithTheValuesOfThePage) {
    char somewhere = 0;
    const std::vector<Row> values{
        valueOf<tagBITMAPINFO>(1001),
        valueOf<PluginInterfaceClippingData>(1008),
        valueOf<char*>(1009, &somewhere),
        valueOf<PIXELFORMAT>(1010),
        valueOf<PluginInterfacePixelSizeData>(1013),
        capability(0),
        capability(1),
        capability(2),
        capability(3),
        valueOf<SmartMetaDataCaps*>(1015),
        valueOf<double>(1107),
        valueOf<std::uint64_t>(1208),
    };
    EXPECT_THAT(columns("## Values", 0, 3), ElementsAreArray(values));
}

TEST_F(OpenedCamera, ShowsTheDocumentOfThePage) {
    PluginInterfaceReturn<const char*> result({9, 9}, nullptr);
    ASSERT_EQ(_camera.call(1012, nullptr, &result), kDone);
    const std::string document = result.value;
    EXPECT_THAT(document, StartsWith("<?xml version=\"1.0\" encoding=\"unicode\" ?>"));
    std::string whole;
    for (const std::string& line : page().lines()) whole += line;
    EXPECT_THAT(whole, HasSubstr("`<?xml version=\"1.0\" encoding=\"unicode\" ?>`"));

    std::size_t position = 0;
    for (const Row& row : columns("## The information document", 0, 2)) {
        position = document.find("<Item key=\"" + row[0] + "\" value=\"" + row[1] + "\"", position);
        EXPECT_NE(position, std::string::npos) << row[0];
    }
    EXPECT_EQ(document.find("<Item", position + 1), std::string::npos);
}

// -----------------------------------------------------------------------------------------------------------
// structures

template <typename Structure>
struct Layout {
    Structure object{};

    template <typename Field>
    std::string offset(Field Structure::*field) const {
        return std::to_string(reinterpret_cast<const char*>(&(object.*field)) - reinterpret_cast<const char*>(&object));
    }

    template <typename... Fields>
    Row row(const std::string& name, const std::vector<std::string>& names, Fields... fields) const {
        std::string text;
        const std::vector<std::string> offsets{offset(fields)...};
        for (std::size_t field = 0; field < names.size(); ++field)
            text += (field ? ", " : "") + names[field] + " " + offsets.at(field);
        return {name, std::to_string(sizeof(Structure)), text};
    }
};

TEST(HostApiPage, StructuresHaveTheirSizesAndOffsets) {
    using Clipping = PluginInterfaceClippingData;
    using Cap = PluginInterfaceClippingCap;
    using Pixel = PluginInterfacePixelSizeData;
    using Callback = PluginInterfaceCallbackData;
    using Trigger = PluginInterfaceLightTriggerData;
    const std::vector<Row> structures{
        Layout<PluginCallStatus>{}.row("PluginCallStatus", {"code", "valid"}, &PluginCallStatus::code,
                                       &PluginCallStatus::valid),
        Layout<tagBITMAPINFO>{}.row("tagBITMAPINFO", {"bmiHeader", "bmiColors"}, &tagBITMAPINFO::bmiHeader,
                                    &tagBITMAPINFO::bmiColors),
        Layout<Clipping>{}.row("PluginInterfaceClippingData", {"x", "y", "width", "height"}, &Clipping::x, &Clipping::y,
                               &Clipping::width, &Clipping::height),
        Layout<Cap>{}.row("PluginInterfaceClippingCap", {"minimum", "maximum", "step"}, &Cap::minimum, &Cap::maximum,
                          &Cap::step),
        Layout<Pixel>{}.row("PluginInterfacePixelSizeData", {"x", "y"}, &Pixel::x, &Pixel::y),
        Layout<Callback>{}.row("PluginInterfaceCallbackData", {"context", "function"}, &Callback::context,
                               &Callback::function),
        Layout<Trigger>{}.row("PluginInterfaceLightTriggerData", {"first", "second", "value"}, &Trigger::first,
                              &Trigger::second, &Trigger::value),
    };
    EXPECT_THAT(columns("## Structures", 0, 3), ElementsAreArray(structures));
}

TEST(HostApiPage, FieldsOfTheRecordHaveTheirOffsets) {
    const Layout<IMAGEMEMORY> layout;
    std::vector<Row> fields;
#define FIELD(name) fields.push_back({layout.offset(&IMAGEMEMORY::name), #name})
    FIELD(width);
    FIELD(height);
    FIELD(secondWidth);
    FIELD(secondHeight);
    FIELD(clipping);
    FIELD(bytesPerPixel);
    FIELD(imageBuffer);
    FIELD(arrangeType);
    FIELD(timeStampType);
    FIELD(timeStamp);
    FIELD(frameTime);
    FIELD(imageCounter);
    FIELD(pixelFormat);
    FIELD(metaData);
#undef FIELD
    EXPECT_THAT(columns("## The image record", 0, 2), ElementsAreArray(fields));
}

}  // namespace
