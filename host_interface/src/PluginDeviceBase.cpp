#include "PluginDeviceBase.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "CommandTable.h"
#include "NUV_Base.h"

namespace NUV {
namespace {

constexpr std::int32_t kTypeCode = 8;
constexpr std::int32_t kNumber = 0;
const char kLabel[] = "20250313";

const wchar_t kDocumentHeader[] = L"<?xml version=\"1.0\" encoding=\"unicode\" ?>";

struct PropertyKey {
    PropertyId id;
    const wchar_t* key;
};

// clang-format off
constexpr PropertyKey kPropertyKeys[] = {
    {kManufacturer,      L"manufacturer"     },
    {kDeviceName,        L"devicename"       },
    {kProductVersion,    L"productversion"   },
    {kSerialNumber,      L"serialnumber"     },
    {kDllVersion,        L"dllversion"       },
    {kDriverVersion,     L"driverversion"    },
    {kCpldVersion,       L"cpldversion"      },
    {kBootloaderVersion, L"bootloaderversion"},
    {kFpgaVersion,       L"fpgaversion"      },
};
// clang-format on

// "Local only" is unique enough: the id must differ only on this machine.
bool isUnique(RPC_STATUS status) { return status == RPC_S_OK || status == RPC_S_UUID_LOCAL_ONLY; }

/// Differs within this machine when the system creates no UUID: process, time and a count.
UUID localUuid() {
    static std::atomic<std::uint32_t> count{0};
    LARGE_INTEGER moment{};
    QueryPerformanceCounter(&moment);
    const std::uint32_t words[] = {static_cast<std::uint32_t>(GetCurrentProcessId()), ++count,
                                   static_cast<std::uint32_t>(moment.QuadPart),
                                   static_cast<std::uint32_t>(moment.QuadPart >> 32)};
    UUID uuid{};
    static_assert(sizeof words == sizeof uuid);
    std::memcpy(&uuid, words, sizeof uuid);
    return uuid;
}

/// The text of a UUID when the system gives none. The order of its bytes does not matter.
std::string ownTextOf(const UUID& uuid) {
    unsigned char bytes[sizeof uuid];
    std::memcpy(bytes, &uuid, sizeof uuid);
    std::string text;
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        constexpr char kDigits[] = "0123456789abcdef";
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
    }
    return text;
}

/// Text of a new UUID, 8-4-4-4-12 in lower case.
std::string newUuid() {
    UUID uuid{};
    if (!isUnique(UuidCreateSequential(&uuid)) && !isUnique(UuidCreate(&uuid))) uuid = localUuid();
    RPC_CSTR text = nullptr;
    if (UuidToStringA(&uuid, &text) != RPC_S_OK) return ownTextOf(uuid);
    std::string copy = reinterpret_cast<const char*>(text);
    RpcStringFreeA(&text);
    return copy;
}

/// Replaces a device's text. If the text is the same, it stays in place: whoever has its address, perhaps on another
/// thread, may still be reading it.
/// @return Its address.
const char* keptText(std::string& kept, std::string text) {
    static std::mutex mutex;  // of all devices: hosts know a device's fields, so that none can be added
    const std::lock_guard lock(mutex);
    if (kept != text) kept = std::move(text);
    return kept.c_str();
}

}  // namespace

PluginDeviceBase::PluginDeviceBase(const std::string& moduleFolder)
    : PluginDeviceBase(L"", kTypeCode, kNumber, moduleFolder) {
    // "%ls": in a wide format, a plain "%s" means different kinds of text on the two systems.
    std::swprintf(_deviceLabel, kLabelLength, L"%ls", CStringHelper::ToWString(kLabel).c_str());
}

PluginDeviceBase::PluginDeviceBase(const wchar_t* label, std::int32_t typeCode, std::int32_t number,
                                   const std::string& moduleFolder)
    : _moduleFolder(moduleFolder), _deviceLabel{}, _deviceTypeCode(typeCode), _deviceNumber(number), _kindCursor(0) {
    if (label) std::wcsncpy(_deviceLabel, label, kLabelLength);
    remakeDeviceId();
    _commandMap = makeCommandMap();
}

PluginDeviceBase::~PluginDeviceBase() = default;

// ---- properties

const char* PluginDeviceBase::getProperty(std::int32_t id) {
    const auto found = _properties.find(id);
    return found == _properties.end() ? nullptr : found->second.c_str();
}

PluginCallStatus PluginDeviceBase::setProperty(std::int32_t id, const char* text) {
    if (!text) return kDone;
    // kept on purpose: docs/oddities.md, property-trim
    const std::string_view whole = text;
    _properties[id] = whole.substr(0, whole.find_last_not_of(" \x15") + 1);
    return kDone;
}

PluginCallStatus PluginDeviceBase::clearProperties() {
    _properties.clear();
    return kDone;
}

// ---- operations that a device does not support by default, in slot order

#define QUERY(operation) \
    bool PluginDeviceBase::operation() { return false; }
#define NOT_SUPPORTED(operation) \
    PluginCallStatus PluginDeviceBase::operation { return kNotSupported; }
#define DOCUMENT(operation) \
    PluginCallStatus PluginDeviceBase::operation(const char** document) { return deviceInformation(document); }

// clang-format off
QUERY(imageSupported)
NOT_SUPPORTED(openImageDevice(const char*, const tagBITMAPINFO**))
NOT_SUPPORTED(grab())
NOT_SUPPORTED(stop())
NOT_SUPPORTED(freeze())
NOT_SUPPORTED(setImageCallback(void*, ImageCallback))
NOT_SUPPORTED(removeImageCallback())
NOT_SUPPORTED(setClipping(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t))
NOT_SUPPORTED(clipping(std::uint64_t*, std::uint64_t*, std::uint64_t*, std::uint64_t*))
NOT_SUPPORTED(imageBuffer(char**))
NOT_SUPPORTED(imageMemory(IMAGEMEMORY**))
NOT_SUPPORTED(pixelFormat(PIXELFORMAT*))
DOCUMENT(imageDeviceInformation)
NOT_SUPPORTED(pixelSize(double*, double*))
NOT_SUPPORTED(clippingCapability(eClippingParam, std::uint64_t*, std::uint64_t*, std::uint64_t*))
NOT_SUPPORTED(metaDataCaps(SmartMetaDataCaps**))

QUERY(cameraControlSupported)
NOT_SUPPORTED(setCameraControlText(const char*))
NOT_SUPPORTED(setCameraControl1102(double))
NOT_SUPPORTED(cameraControl1103(double*))
NOT_SUPPORTED(setCameraControl1104(double))
NOT_SUPPORTED(cameraControl1105(double*))
NOT_SUPPORTED(setFrameRate(double))
NOT_SUPPORTED(frameRate(double*))
NOT_SUPPORTED(setTriggerMode(TRIGGERMODE))
NOT_SUPPORTED(triggerMode(TRIGGERMODE*))
NOT_SUPPORTED(setScanningMode(SCANNINGMODE))
NOT_SUPPORTED(scanningMode(SCANNINGMODE*))
NOT_SUPPORTED(feature1110(PluginInterfaceFeatureData*))
NOT_SUPPORTED(feature1111(PluginInterfaceFeatureData*))
NOT_SUPPORTED(setSmartCameraParameter(CSmartCamParamBase*))
NOT_SUPPORTED(smartCameraParameter(CSmartCamParamBase*))
NOT_SUPPORTED(setDataTransferVolume(DATATRANSFERVOLUME))
NOT_SUPPORTED(dataTransferVolume(DATATRANSFERVOLUME*))
NOT_SUPPORTED(cameraControl1119())
DOCUMENT(cameraControlDeviceInformation)

QUERY(motorSupported)
NOT_SUPPORTED(motor1501())
NOT_SUPPORTED(motor1504(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1505())
NOT_SUPPORTED(motor1507(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1508(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1509(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1510(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1512(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1513())
NOT_SUPPORTED(motor1514())
NOT_SUPPORTED(motor1515())
NOT_SUPPORTED(motor1522(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1523(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1532(const PluginInterfaceMotorData*))
NOT_SUPPORTED(motor1538(bool))
NOT_SUPPORTED(motorSlot56())
NOT_SUPPORTED(motorSlot57())
DOCUMENT(motorDeviceInformation)

QUERY(ioPortSupported)
NOT_SUPPORTED(ioPort1401())
NOT_SUPPORTED(ioPort1402())
NOT_SUPPORTED(ioPort1404())
NOT_SUPPORTED(ioPort1405(const PluginInterfaceIOPort*, std::int32_t*))
NOT_SUPPORTED(ioPort1406())
NOT_SUPPORTED(ioPort1407(const PluginInterfaceIOPort*, unsigned char*))
NOT_SUPPORTED(ioPort1408())
NOT_SUPPORTED(ioPort1409(const PluginInterfaceIOPort*, bool*))
NOT_SUPPORTED(ioPort1410())
NOT_SUPPORTED(ioPort1411(INOUTINFO*))
DOCUMENT(ioPortDeviceInformation)

QUERY(sensorSupported)
NOT_SUPPORTED(sensor1301(const PluginInterfaceSensor1DInitData*))
NOT_SUPPORTED(sensor1302())
NOT_SUPPORTED(sensor1303(const PluginInterfaceSensor1DInitData*))
NOT_SUPPORTED(sensor1304())
NOT_SUPPORTED(sensor1305())
NOT_SUPPORTED(sensor1306())
NOT_SUPPORTED(sensor1307())
NOT_SUPPORTED(sensor1308())
NOT_SUPPORTED(sensor1309())
NOT_SUPPORTED(sensor1310())
NOT_SUPPORTED(sensor1311())
NOT_SUPPORTED(sensor1312())
NOT_SUPPORTED(sensor1313())
NOT_SUPPORTED(sensor1314())
NOT_SUPPORTED(sensor1315())
NOT_SUPPORTED(sensor1316())
NOT_SUPPORTED(sensor1317())
NOT_SUPPORTED(sensor1318())
NOT_SUPPORTED(sensor1319())
NOT_SUPPORTED(sensor1320())
NOT_SUPPORTED(sensor1321())
NOT_SUPPORTED(sensor1322())
NOT_SUPPORTED(sensor1323())
NOT_SUPPORTED(sensor1324())
NOT_SUPPORTED(sensor1325())
NOT_SUPPORTED(sensor1326())
NOT_SUPPORTED(sensor1327())
NOT_SUPPORTED(sensor1328())
NOT_SUPPORTED(sensor1329())
NOT_SUPPORTED(sensor1330())
NOT_SUPPORTED(sensor1331())
NOT_SUPPORTED(sensor1332())
NOT_SUPPORTED(sensor1333())
NOT_SUPPORTED(sensor1334())
NOT_SUPPORTED(sensor1335())
NOT_SUPPORTED(sensor1336())
NOT_SUPPORTED(sensor1337())
DOCUMENT(sensorDeviceInformation)

QUERY(lightSupported)
NOT_SUPPORTED(setLightText(const char*))
NOT_SUPPORTED(light1205())
NOT_SUPPORTED(light1203(std::uint64_t, double*))
NOT_SUPPORTED(light1204())
NOT_SUPPORTED(light1202())
NOT_SUPPORTED(light1206())
NOT_SUPPORTED(light1207(std::uint64_t, std::uint64_t*))
NOT_SUPPORTED(light1208(std::uint64_t*))
NOT_SUPPORTED(lightInformation(std::uint64_t, LIGHTINFO*))
NOT_SUPPORTED(setLightTrigger(const PluginInterfaceLightTriggerData*))
NOT_SUPPORTED(lightTrigger(std::uint64_t, PluginInterfaceLightTriggerData*))
DOCUMENT(lightDeviceInformation)
// clang-format on

#undef QUERY
#undef NOT_SUPPORTED
#undef DOCUMENT

// ---- identity

PluginCallStatus PluginDeviceBase::deviceInformation(const char** document) {
    // The root has neither name nor value; the header replaces them.
    CXmlNode tree(nullptr, nullptr, nullptr);
    CXmlNode* info = tree.AddNode(L"Info");
    if (!info) return {0, 0};  // kept on purpose: docs/oddities.md, no-document-yet
    for (const PropertyKey& row : kPropertyKeys) {
        const char* text = getProperty(row.id);
        if (!text) continue;
        CXmlNode* item = info->AddNode(L"Item");
        if (!item) continue;
        item->SetValue(L"@key", row.key);
        item->SetValue(L"@value", CStringHelper::ToWString(text).c_str());
    }
    // kept on purpose: docs/oddities.md, unicode-header
    const std::size_t length = tree.SaveToString(nullptr, 0, kDocumentHeader);
    std::wstring text(length + 1, L'\0');
    tree.SaveToString(text.data(), text.size(), kDocumentHeader);
    text.resize(length);
    *document = keptText(_informationDocument, CStringHelper::ToString(text));
    return kDone;
}

void PluginDeviceBase::remakeDeviceId() {
    char text[512] = {};
    std::snprintf(text, sizeof text, "%d-%d-%s", static_cast<int>(_deviceTypeCode), static_cast<int>(_deviceNumber),
                  newUuid().c_str());
    _deviceId = text;
}

bool PluginDeviceBase::nextInterfaceKind(std::uint32_t* kind) {
    if (_kindCursor == 0 && _kinds.empty()) {
        const auto append = [this](bool supported, InterfaceKind supportedKind) {
            if (supported) _kinds.push_back(static_cast<std::uint32_t>(supportedKind));
        };
        // kept on purpose: docs/oddities.md, kinds-order
        append(imageSupported(), InterfaceKind::image);
        append(cameraControlSupported(), InterfaceKind::cameraControl);
        append(motorSupported(), InterfaceKind::motor);
        append(ioPortSupported(), InterfaceKind::ioPort);
        append(sensorSupported(), InterfaceKind::sensor1D);
        append(lightSupported(), InterfaceKind::light);
    }
    if (_kindCursor >= _kinds.size()) {
        if (_kindCursor == 0) _kindCursor = 1;  // passed the end of no kinds: the list is built only once
        *kind = 0;
        return false;
    }
    *kind = _kinds[_kindCursor++];
    return true;
}

}  // namespace NUV
