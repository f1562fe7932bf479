// A device: identity, properties, interface kinds, and the operations that a host calls, directly or by command id.
// Host and plugin must be built by the same compiler: the host walks this class through call() and device accessors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "HostTypes.h"
#include "PluginInterfaceParameter.h"
#include "PluginInterfaceReturn.h"
#include "platform.h"

namespace NUV {

class PluginDeviceBase;

/// Unpacks a command's parameter, calls one operation of the device and packs its result. Throws nothing: if the
/// operation throws, the result is (-4, 0) and the result object stays unchanged.
using CommandAdapter = PluginCallStatus (*)(PluginDeviceBase& device, const PluginInterfaceParameterBase* parameter,
                                            PluginInterfaceReturnBase* result);

/// Commands are called by one thread at a time. An operation returns (0, 1) when done. It returns (-4, 0), with its
/// outputs unchanged, when it is not supported or failed; in this class every operation does so unless stated
/// otherwise.
///
/// The operations stand in the order of their slots, which is a contract with hosts: none may be moved, inserted in
/// between or overloaded. The comment after each one gives its slot and its command.
class PluginDeviceBase {
public:
    /// A device of type 8, number 0, labelled "20250313".
    /// @param moduleFolder  Folder of the plugin's module.
    explicit PluginDeviceBase(const std::string& moduleFolder);

    /// @param label  At most 40 characters are kept; null: no label.
    PluginDeviceBase(const wchar_t* label, std::int32_t typeCode, std::int32_t number, const std::string& moduleFolder);

    virtual ~PluginDeviceBase();  // 0
    PluginDeviceBase(const PluginDeviceBase&) = delete;
    PluginDeviceBase& operator=(const PluginDeviceBase&) = delete;

    // ---- properties (PropertyId names those that the information document shows)

    /// The property's text, valid until it is set or cleared; null when there is none.
    virtual const char* getProperty(std::int32_t id);  // 1
    /// Stores a text without trailing blanks and bytes 0x15. A null text changes nothing.
    virtual PluginCallStatus setProperty(std::int32_t id, const char* text);  // 2
    virtual PluginCallStatus clearProperties();                               // 3

    // ---- image (kind 1)

    virtual bool imageSupported();  // 4
    /// Opens the device. @param path  Configuration file; null or a missing file: the defaults.
    /// @param bitmap  Receives the description of the images, which belongs to the device until the next successful
    ///                open; null when there is none.
    virtual PluginCallStatus openImageDevice(const char* path, const tagBITMAPINFO** bitmap);  // 5  1001
    /// Starts, or restarts, delivering images to the callback.
    virtual PluginCallStatus grab();  // 6  1002
    /// Same as freeze; the result is the device's own.
    virtual PluginCallStatus stop();  // 7  1003
    /// Stops delivering images; none is delivered after it has returned.
    virtual PluginCallStatus freeze();                                                 // 8  1004
    virtual PluginCallStatus setImageCallback(void* context, ImageCallback function);  // 9  1005
    virtual PluginCallStatus removeImageCallback();                                    // 10  1006
    virtual PluginCallStatus setClipping(std::uint64_t x, std::uint64_t y, std::uint64_t width,
                                         std::uint64_t height);  // 11  1007
    virtual PluginCallStatus clipping(std::uint64_t* x, std::uint64_t* y, std::uint64_t* width,
                                      std::uint64_t* height);  // 12  1008
    /// Pixel data of the latest image, to be read only in the callback; null before the first image.
    virtual PluginCallStatus imageBuffer(char** buffer);                     // 13  1009
    virtual PluginCallStatus imageMemory(IMAGEMEMORY** record);              // 14  1011
    virtual PluginCallStatus pixelFormat(PIXELFORMAT* format);               // 15  1010
    virtual PluginCallStatus imageDeviceInformation(const char** document);  // 16  1012
    /// Micrometres.
    virtual PluginCallStatus pixelSize(double* x, double* y);  // 17  1013
    virtual PluginCallStatus clippingCapability(eClippingParam which, std::uint64_t* minimum, std::uint64_t* maximum,
                                                std::uint64_t* step);  // 18  1014
    virtual PluginCallStatus metaDataCaps(SmartMetaDataCaps** caps);   // 19  1015

    // ---- camera control (kind 2)

    virtual bool cameraControlSupported();                            // 20
    virtual PluginCallStatus setCameraControlText(const char* text);  // 21  1101
    virtual PluginCallStatus setCameraControl1102(double value);      // 22  1102
    virtual PluginCallStatus cameraControl1103(double* value);        // 23  1103
    virtual PluginCallStatus setCameraControl1104(double value);      // 24  1104
    virtual PluginCallStatus cameraControl1105(double* value);        // 25  1105
    /// Frames per second.
    virtual PluginCallStatus setFrameRate(double framesPerSecond);                    // 26  1106
    virtual PluginCallStatus frameRate(double* framesPerSecond);                      // 27  1107
    virtual PluginCallStatus setTriggerMode(TRIGGERMODE mode);                        // 28  1108
    virtual PluginCallStatus triggerMode(TRIGGERMODE* mode);                          // 29  1109
    virtual PluginCallStatus setScanningMode(SCANNINGMODE mode);                      // 30  1112
    virtual PluginCallStatus scanningMode(SCANNINGMODE* mode);                        // 31  1113
    virtual PluginCallStatus feature1110(PluginInterfaceFeatureData* feature);        // 32  1110
    virtual PluginCallStatus feature1111(PluginInterfaceFeatureData* feature);        // 33  1111
    virtual PluginCallStatus setSmartCameraParameter(CSmartCamParamBase* parameter);  // 34  1114
    virtual PluginCallStatus smartCameraParameter(CSmartCamParamBase* parameter);     // 35  1115
    virtual PluginCallStatus setDataTransferVolume(DATATRANSFERVOLUME volume);        // 36  1116
    virtual PluginCallStatus dataTransferVolume(DATATRANSFERVOLUME* volume);          // 37  1117
    virtual PluginCallStatus cameraControl1119();                                     // 38  1119
    virtual PluginCallStatus cameraControlDeviceInformation(const char** document);   // 39  1118

    // ---- motor (kind 6); two operations have no command

    virtual bool motorSupported();                                             // 40
    virtual PluginCallStatus motor1501();                                      // 41  1501
    virtual PluginCallStatus motor1504(const PluginInterfaceMotorData* data);  // 42  1504
    virtual PluginCallStatus motor1505();                                      // 43  1505
    virtual PluginCallStatus motor1507(const PluginInterfaceMotorData* data);  // 44  1507
    virtual PluginCallStatus motor1508(const PluginInterfaceMotorData* data);  // 45  1508
    virtual PluginCallStatus motor1509(const PluginInterfaceMotorData* data);  // 46  1509
    virtual PluginCallStatus motor1510(const PluginInterfaceMotorData* data);  // 47  1510
    virtual PluginCallStatus motor1512(const PluginInterfaceMotorData* data);  // 48  1512
    virtual PluginCallStatus motor1513();                                      // 49  1513
    virtual PluginCallStatus motor1514();                                      // 50  1514
    virtual PluginCallStatus motor1515();                                      // 51  1515
    virtual PluginCallStatus motor1522(const PluginInterfaceMotorData* data);  // 52  1522
    virtual PluginCallStatus motor1523(const PluginInterfaceMotorData* data);  // 53  1523
    virtual PluginCallStatus motor1532(const PluginInterfaceMotorData* data);  // 54  1532
    virtual PluginCallStatus motor1538(bool value);                            // 55  1538
    virtual PluginCallStatus motorSlot56();                                    // 56
    virtual PluginCallStatus motorSlot57();                                    // 57
    virtual PluginCallStatus motorDeviceInformation(const char** document);    // 58  1503

    // ---- I/O port (kind 5)

    virtual bool ioPortSupported();                                                                // 59
    virtual PluginCallStatus ioPort1401();                                                         // 60  1401
    virtual PluginCallStatus ioPort1402();                                                         // 61  1402
    virtual PluginCallStatus ioPort1404();                                                         // 62  1404
    virtual PluginCallStatus ioPort1405(const PluginInterfaceIOPort* port, std::int32_t* value);   // 63  1405
    virtual PluginCallStatus ioPort1406();                                                         // 64  1406
    virtual PluginCallStatus ioPort1407(const PluginInterfaceIOPort* port, unsigned char* value);  // 65  1407
    virtual PluginCallStatus ioPort1408();                                                         // 66  1408
    virtual PluginCallStatus ioPort1409(const PluginInterfaceIOPort* port, bool* value);           // 67  1409
    virtual PluginCallStatus ioPort1410();                                                         // 68  1410
    virtual PluginCallStatus ioPort1411(INOUTINFO* information);                                   // 69  1411
    virtual PluginCallStatus ioPortDeviceInformation(const char** document);                       // 70  1403

    // ---- one-dimensional sensor (kind 4)

    virtual bool sensorSupported();                                                    // 71
    virtual PluginCallStatus sensor1301(const PluginInterfaceSensor1DInitData* data);  // 72  1301
    virtual PluginCallStatus sensor1302();                                             // 73  1302
    virtual PluginCallStatus sensor1303(const PluginInterfaceSensor1DInitData* data);  // 74  1303
    virtual PluginCallStatus sensor1304();                                             // 75  1304
    virtual PluginCallStatus sensor1305();                                             // 76  1305
    virtual PluginCallStatus sensor1306();                                             // 77  1306
    virtual PluginCallStatus sensor1307();                                             // 78  1307
    virtual PluginCallStatus sensor1308();                                             // 79  1308
    virtual PluginCallStatus sensor1309();                                             // 80  1309
    virtual PluginCallStatus sensor1310();                                             // 81  1310
    virtual PluginCallStatus sensor1311();                                             // 82  1311
    virtual PluginCallStatus sensor1312();                                             // 83  1312
    virtual PluginCallStatus sensor1313();                                             // 84  1313
    virtual PluginCallStatus sensor1314();                                             // 85  1314
    virtual PluginCallStatus sensor1315();                                             // 86  1315
    virtual PluginCallStatus sensor1316();                                             // 87  1316
    virtual PluginCallStatus sensor1317();                                             // 88  1317
    virtual PluginCallStatus sensor1318();                                             // 89  1318
    virtual PluginCallStatus sensor1319();                                             // 90  1319
    virtual PluginCallStatus sensor1320();                                             // 91  1320
    virtual PluginCallStatus sensor1321();                                             // 92  1321
    virtual PluginCallStatus sensor1322();                                             // 93  1322
    virtual PluginCallStatus sensor1323();                                             // 94  1323
    virtual PluginCallStatus sensor1324();                                             // 95  1324
    virtual PluginCallStatus sensor1325();                                             // 96  1325
    virtual PluginCallStatus sensor1326();                                             // 97  1326
    virtual PluginCallStatus sensor1327();                                             // 98  1327
    virtual PluginCallStatus sensor1328();                                             // 99  1328
    virtual PluginCallStatus sensor1329();                                             // 100  1329
    virtual PluginCallStatus sensor1330();                                             // 101  1330
    virtual PluginCallStatus sensor1331();                                             // 102  1331
    virtual PluginCallStatus sensor1332();                                             // 103  1332
    virtual PluginCallStatus sensor1333();                                             // 104  1333
    virtual PluginCallStatus sensor1334();                                             // 105  1334
    virtual PluginCallStatus sensor1335();                                             // 106  1335
    virtual PluginCallStatus sensor1336();                                             // 107  1336
    virtual PluginCallStatus sensor1337();                                             // 108  1337
    virtual PluginCallStatus sensorDeviceInformation(const char** document);           // 109  1338

    // ---- light (kind 3); the argument of 1203, 1207, 1209 and 1212 selects the light

    virtual bool lightSupported();                                                                         // 110
    virtual PluginCallStatus setLightText(const char* text);                                               // 111  1201
    virtual PluginCallStatus light1205();                                                                  // 112  1205
    virtual PluginCallStatus light1203(std::uint64_t light, double* value);                                // 113  1203
    virtual PluginCallStatus light1204();                                                                  // 114  1204
    virtual PluginCallStatus light1202();                                                                  // 115  1202
    virtual PluginCallStatus light1206();                                                                  // 116  1206
    virtual PluginCallStatus light1207(std::uint64_t light, std::uint64_t* value);                         // 117  1207
    virtual PluginCallStatus light1208(std::uint64_t* value);                                              // 118  1208
    virtual PluginCallStatus lightInformation(std::uint64_t light, LIGHTINFO* information);                // 119  1209
    virtual PluginCallStatus setLightTrigger(const PluginInterfaceLightTriggerData* trigger);              // 120  1211
    virtual PluginCallStatus lightTrigger(std::uint64_t light, PluginInterfaceLightTriggerData* trigger);  // 121  1212
    virtual PluginCallStatus lightDeviceInformation(const char** document);                                // 122  1210

    // ---- identity

    /// An XML document of the properties; all operations ...DeviceInformation above return it.
    /// Several threads may call it at once while nobody changes the properties.
    /// @param document  Receives a text that stays valid while the document is the same: until a call after a change of
    ///                  the properties, or the device's end. Unchanged, with the status (0, 0), when the document could
    ///                  not be built.
    virtual PluginCallStatus deviceInformation(const char** document);  // 123

    const std::string& deviceId() const { return _deviceId; }
    const wchar_t* deviceLabel() const { return _deviceLabel; }  // kLabelLength elements, maybe without terminator
    std::int32_t deviceTypeCode() const { return _deviceTypeCode; }
    std::int32_t deviceNumber() const { return _deviceNumber; }
    const std::string& moduleFolder() const { return _moduleFolder; }

    /// Creates a new device id from type code and number.
    void remakeDeviceId();

    /// The next of the device's interface kinds, in the order image, camera control, motor, I/O port, sensor, light.
    /// The list is built at the first request and kept.
    /// @param kind  Zero when there is none left.   @return  Whether there was one.
    bool nextInterfaceKind(std::uint32_t* kind);

    // ---- for hosts; needs only this header

    /// Sends a command.
    ///
    /// @param parameter  Object of the command's type, or null if it takes none.
    /// @param result     Receives status and value; an object of another type stays unchanged. May be null.
    /// @return           The operation's status; (-1, 0) when the parameter has the wrong type; (-4, 0), with the
    ///                   result unchanged, for an unknown id and for any exception.
    PluginCallStatus call(std::int32_t commandId, const PluginInterfaceParameterBase* parameter,
                          PluginInterfaceReturnBase* result) {
        try {
            const auto command = _commandMap.find(commandId);
            return command == _commandMap.end() ? kNotSupported : command->second(*this, parameter, result);
        } catch (...) {
            return kNotSupported;
        }
    }

    /// The ids that call() knows, with their adapters, in ascending order.
    const std::map<std::int32_t, CommandAdapter>& commandMap() const { return _commandMap; }

    static constexpr std::size_t kLabelLength = 40;

private:
    std::string _moduleFolder;
    wchar_t _deviceLabel[kLabelLength];
    std::int32_t _deviceTypeCode;
    std::int32_t _deviceNumber;
    std::string _deviceId;
    std::vector<std::uint32_t> _kinds;
    std::uint64_t _kindCursor;
    std::string _informationDocument;
    std::map<std::int32_t, std::string> _properties;
    std::map<std::int32_t, CommandAdapter> _commandMap;
};

/// Properties that the information document shows, in its order. Other ids can be stored and read, too.
enum PropertyId : std::int32_t {
    kManufacturer = 0,
    kDeviceName = 1,
    kProductVersion = 2,
    kSerialNumber = 3,
    kDllVersion = 4,
    kDriverVersion = 5,
    kCpldVersion = 6,
    kBootloaderVersion = 7,
    kFpgaVersion = 8,
};

}  // namespace NUV
