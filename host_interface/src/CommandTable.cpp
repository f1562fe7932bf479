#include "CommandTable.h"

#include <cstddef>
#include <iterator>

#include "CommandAdapter.h"

namespace NUV {
namespace {

struct CommandRow {
    std::int32_t id;
    CommandAdapter adapter;
};

// Aligned by the tool, these rows would be scattered.
// clang-format off
constexpr CommandRow kCommands[] = {
    // id    operation
    { 1001, bind<&PluginDeviceBase::openImageDevice, const char*, tagBITMAPINFO>() },
    { 1002, bind<&PluginDeviceBase::grab>() },
    { 1003, bind<&PluginDeviceBase::stop>() },
    { 1004, bind<&PluginDeviceBase::freeze>() },
    { 1005, bind<&PluginDeviceBase::setImageCallback, PluginInterfaceCallbackData>() },
    { 1006, bind<&PluginDeviceBase::removeImageCallback>() },
    { 1007, bind<&PluginDeviceBase::setClipping, PluginInterfaceClippingData>() },
    { 1008, bind<&PluginDeviceBase::clipping, None, PluginInterfaceClippingData>() },
    { 1009, bind<&PluginDeviceBase::imageBuffer>() },
    { 1010, bind<&PluginDeviceBase::pixelFormat>() },
    { 1011, bind<&PluginDeviceBase::imageMemory>() },
    { 1012, bind<&PluginDeviceBase::imageDeviceInformation>() },
    { 1013, bind<&PluginDeviceBase::pixelSize, None, PluginInterfacePixelSizeData>() },
    { 1014, bind<&PluginDeviceBase::clippingCapability, eClippingParam, PluginInterfaceClippingCap>() },
    { 1015, bind<&PluginDeviceBase::metaDataCaps>() },
    { 1101, bind<&PluginDeviceBase::setCameraControlText>() },
    { 1102, bind<&PluginDeviceBase::setCameraControl1102>() },
    { 1103, bind<&PluginDeviceBase::cameraControl1103>() },
    { 1104, bind<&PluginDeviceBase::setCameraControl1104>() },
    { 1105, bind<&PluginDeviceBase::cameraControl1105>() },
    { 1106, bind<&PluginDeviceBase::setFrameRate>() },
    { 1107, bind<&PluginDeviceBase::frameRate>() },
    { 1108, bind<&PluginDeviceBase::setTriggerMode>() },
    { 1109, bind<&PluginDeviceBase::triggerMode>() },
    { 1110, bind<&PluginDeviceBase::feature1110>() },
    { 1111, bind<&PluginDeviceBase::feature1111>() },
    { 1112, bind<&PluginDeviceBase::setScanningMode>() },
    { 1113, bind<&PluginDeviceBase::scanningMode>() },
    { 1114, bind<&PluginDeviceBase::setSmartCameraParameter>() },
    { 1115, bind<&PluginDeviceBase::smartCameraParameter>() },
    { 1116, bind<&PluginDeviceBase::setDataTransferVolume>() },
    { 1117, bind<&PluginDeviceBase::dataTransferVolume>() },
    { 1118, bind<&PluginDeviceBase::cameraControlDeviceInformation>() },
    { 1119, bind<&PluginDeviceBase::cameraControl1119>() },
    { 1201, bind<&PluginDeviceBase::setLightText>() },
    { 1202, bind<&PluginDeviceBase::light1202>() },
    { 1203, bind<&PluginDeviceBase::light1203>() },
    { 1204, bind<&PluginDeviceBase::light1204>() },
    { 1205, bind<&PluginDeviceBase::light1205>() },
    { 1206, bind<&PluginDeviceBase::light1206>() },
    { 1207, bind<&PluginDeviceBase::light1207>() },
    { 1208, bind<&PluginDeviceBase::light1208>() },
    { 1209, bind<&PluginDeviceBase::lightInformation>() },
    { 1210, bind<&PluginDeviceBase::lightDeviceInformation>() },
    { 1211, bind<&PluginDeviceBase::setLightTrigger>() },
    { 1212, bind<&PluginDeviceBase::lightTrigger>() },
    { 1301, bind<&PluginDeviceBase::sensor1301>() },
    { 1302, bind<&PluginDeviceBase::sensor1302>() },
    { 1303, bind<&PluginDeviceBase::sensor1303>() },
    { 1304, bind<&PluginDeviceBase::sensor1304>() },
    { 1305, bind<&PluginDeviceBase::sensor1305>() },
    { 1306, bind<&PluginDeviceBase::sensor1306>() },
    { 1307, bind<&PluginDeviceBase::sensor1307>() },
    { 1308, bind<&PluginDeviceBase::sensor1308>() },
    { 1309, bind<&PluginDeviceBase::sensor1309>() },
    { 1310, bind<&PluginDeviceBase::sensor1310>() },
    { 1311, bind<&PluginDeviceBase::sensor1311>() },
    { 1312, bind<&PluginDeviceBase::sensor1312>() },
    { 1313, bind<&PluginDeviceBase::sensor1313>() },
    { 1314, bind<&PluginDeviceBase::sensor1314>() },
    { 1315, bind<&PluginDeviceBase::sensor1315>() },
    { 1316, bind<&PluginDeviceBase::sensor1316>() },
    { 1317, bind<&PluginDeviceBase::sensor1317>() },
    { 1318, bind<&PluginDeviceBase::sensor1318>() },
    { 1319, bind<&PluginDeviceBase::sensor1319>() },
    { 1320, bind<&PluginDeviceBase::sensor1320>() },
    { 1321, bind<&PluginDeviceBase::sensor1321>() },
    { 1322, bind<&PluginDeviceBase::sensor1322>() },
    { 1323, bind<&PluginDeviceBase::sensor1323>() },
    { 1324, bind<&PluginDeviceBase::sensor1324>() },
    { 1325, bind<&PluginDeviceBase::sensor1325>() },
    { 1326, bind<&PluginDeviceBase::sensor1326>() },
    { 1327, bind<&PluginDeviceBase::sensor1327>() },
    { 1328, bind<&PluginDeviceBase::sensor1328>() },
    { 1329, bind<&PluginDeviceBase::sensor1329>() },
    { 1330, bind<&PluginDeviceBase::sensor1330>() },
    { 1331, bind<&PluginDeviceBase::sensor1331>() },
    { 1332, bind<&PluginDeviceBase::sensor1332>() },
    { 1333, bind<&PluginDeviceBase::sensor1333>() },
    { 1334, bind<&PluginDeviceBase::sensor1334>() },
    { 1335, bind<&PluginDeviceBase::sensor1335>() },
    { 1336, bind<&PluginDeviceBase::sensor1336>() },
    { 1337, bind<&PluginDeviceBase::sensor1337>() },
    { 1338, bind<&PluginDeviceBase::sensorDeviceInformation>() },
    { 1401, bind<&PluginDeviceBase::ioPort1401>() },
    { 1402, bind<&PluginDeviceBase::ioPort1402>() },
    { 1403, bind<&PluginDeviceBase::ioPortDeviceInformation>() },
    { 1404, bind<&PluginDeviceBase::ioPort1404>() },
    { 1405, bind<&PluginDeviceBase::ioPort1405>() },
    { 1406, bind<&PluginDeviceBase::ioPort1406>() },
    { 1407, bind<&PluginDeviceBase::ioPort1407>() },
    { 1408, bind<&PluginDeviceBase::ioPort1408>() },
    { 1409, bind<&PluginDeviceBase::ioPort1409>() },
    { 1410, bind<&PluginDeviceBase::ioPort1410>() },
    { 1411, bind<&PluginDeviceBase::ioPort1411>() },
    { 1501, bind<&PluginDeviceBase::motor1501>() },
    { 1503, bind<&PluginDeviceBase::motorDeviceInformation>() },
    { 1504, bind<&PluginDeviceBase::motor1504>() },
    { 1505, bind<&PluginDeviceBase::motor1505>() },
    { 1507, bind<&PluginDeviceBase::motor1507>() },
    { 1508, bind<&PluginDeviceBase::motor1508>() },
    { 1509, bind<&PluginDeviceBase::motor1509>() },
    { 1510, bind<&PluginDeviceBase::motor1510>() },
    { 1512, bind<&PluginDeviceBase::motor1512>() },
    { 1513, bind<&PluginDeviceBase::motor1513>() },
    { 1514, bind<&PluginDeviceBase::motor1514>() },
    { 1515, bind<&PluginDeviceBase::motor1515>() },
    { 1522, bind<&PluginDeviceBase::motor1522>() },
    { 1523, bind<&PluginDeviceBase::motor1523>() },
    { 1532, bind<&PluginDeviceBase::motor1532>() },
    { 1538, bind<&PluginDeviceBase::motor1538>() },
};
// clang-format on

constexpr bool idsAscend(const CommandRow* rows, std::size_t count) {
    for (std::size_t i = 1; i < count; ++i) {
        if (rows[i - 1].id >= rows[i].id) return false;
    }
    return true;
}

static_assert(std::size(kCommands) == 111 && idsAscend(kCommands, std::size(kCommands)));

}  // namespace

std::map<std::int32_t, CommandAdapter> makeCommandMap() {
    std::map<std::int32_t, CommandAdapter> commands;
    for (const CommandRow& row : kCommands) commands.emplace_hint(commands.end(), row.id, row.adapter);
    return commands;
}

}  // namespace NUV
