// Value types of the host framework that cross the plugin's boundary. Fields that this plugin reads or writes are
// described here; the plugin only passes on the others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <type_traits>

#include "platform.h"

/// One enumerated pair of device and interface kind. Owned by the host; written by PluginInterface::enumerate.
struct PluginDeviceRecord {
    std::string deviceId;         // "TYPE-NUMBER-UUID", unique per device object
    std::uint32_t interfaceKind;  // NUV::InterfaceKind
    std::int32_t typeCode;        // first number of the device id
    std::int32_t number;          // second number of the device id
    wchar_t label[40];            // padded with zeros; a text of 40 characters has no terminator
};
static_assert(offsetof(PluginDeviceRecord, interfaceKind) == sizeof(std::string));
static_assert(offsetof(PluginDeviceRecord, label) == sizeof(std::string) + 12);
static_assert(sizeof(PluginDeviceRecord::label) == 40 * sizeof(wchar_t));

namespace NUV {

/// The kinds of device that a device can be used as. It is enumerated once for each kind that it supports.
enum class InterfaceKind : std::uint32_t {
    none = 0,
    image = 1,          // commands 1001 to 1015
    cameraControl = 2,  // commands 1101 to 1119
    light = 3,          // commands 1201 to 1212
    sensor1D = 4,       // commands 1301 to 1338
    ioPort = 5,         // commands 1401 to 1411
    motor = 6,          // commands 1501 to 1538
};

// ---- images

/// A region of the image, in pixels and lines. No range is enforced: the plugin stores what the host sets.
struct PluginInterfaceClippingData {
    std::uint64_t x;       // first column
    std::uint64_t y;       // first line
    std::uint64_t width;   // columns
    std::uint64_t height;  // lines
};
static_assert(sizeof(PluginInterfaceClippingData) == 32 && offsetof(PluginInterfaceClippingData, height) == 24);

/// Which clipping value PluginInterfaceClippingCap describes.
enum class eClippingParam : std::int32_t { offsetX = 0, offsetY = 1, width = 2, height = 3 };

/// Range of one clipping value, in pixels or lines; step 0: the value is fixed.
struct PluginInterfaceClippingCap {
    std::uint64_t minimum;
    std::uint64_t maximum;
    std::uint64_t step;
};
static_assert(sizeof(PluginInterfaceClippingCap) == 24);

/// Size of one pixel on the sensor, in micrometres.
struct PluginInterfacePixelSizeData {
    double x;
    double y;
};
static_assert(sizeof(PluginInterfacePixelSizeData) == 16);

/// How to read a pixel's bytes. The host defines the values; the camera reports the configured one.
enum class PIXELFORMAT : std::uint32_t {};

/// The subject of a piece of meta data.
enum class SMARTMETADATAKEY : std::int32_t { temperature = 0 };

/// A piece of meta data; its type is identified by name.
class SmartMetaData {
public:
    virtual ~SmartMetaData() = default;
    virtual const char* typeName() const = 0;

protected:
    SmartMetaData() = default;
    SmartMetaData(const SmartMetaData&) = default;
    SmartMetaData& operator=(const SmartMetaData&) = default;
};

/// Meta data of one double: under the key `temperature`, degrees Celsius.
class SmartMetaDataDouble : public SmartMetaData {
public:
    explicit SmartMetaDataDouble(double initialValue) : value(initialValue) {}
    const char* typeName() const override { return "Double"; }

    double value;
};

/// Which meta data a camera can deliver, by key. Only passed on.
struct SMARTMETADATAPARAMS {
    std::uint64_t reserved[4];
};
using SmartMetaDataCaps = std::map<SMARTMETADATAKEY, SMARTMETADATAPARAMS>;

/// Further information about an image.
using SmartMetaDataMap = std::map<SMARTMETADATAKEY, std::shared_ptr<SmartMetaData>>;

/// One image and its properties. Owned by the image source, which fills it for each image and passes its address to the
/// callback. It is written without a lock: the host may read it in the callback, or while no grab runs. Its address
/// stays valid until the device is opened again.
struct IMAGEMEMORY {
    std::uint64_t width;                   // pixels in a line
    std::uint64_t height;                  // lines
    std::uint64_t secondWidth;             // pixels; does not follow the configured size
    std::uint64_t secondHeight;            // lines; does not follow the configured size
    PluginInterfaceClippingData clipping;  // as set by the host; does not change the image
    std::int32_t bytesPerPixel;            // 1 or more; as configured, not checked
    unsigned char* imageBuffer;            // first line, lines without gaps; null before the first image. Not the
                                           // host's to free or keep: a real image's bytes are valid during the callback
    std::int32_t arrangeType;              // 0: the first line in memory is the top line
    std::int32_t timeStampType;            // 1: timeStamp counts microseconds
    std::uint64_t timeStamp;               // microseconds
    double frameTime;                      // seconds from one image to the next
    std::uint32_t imageCounter;            // number of the image; a gap means lost images
    PIXELFORMAT pixelFormat;               // as configured
    SmartMetaDataMap metaData;             // shared with the image source
};
static_assert(sizeof(IMAGEMEMORY) == 112 + sizeof(SmartMetaDataMap), "no padding but after bytesPerPixel");

/// Called for every image on the acquisition thread. Its result is ignored; an exception is caught and logged. It may
/// send any command to its own device at any time, also while the host's thread does; only 1001 is refused there. It
/// must never call ReleasePlugin, because nobody could wait for the thread that it runs on.
/// @param context  As given with the function.   @param record  The source's record.
using ImageCallback = int (*)(void* context, IMAGEMEMORY* record);

/// A callback with its context. A null function: no callback.
struct PluginInterfaceCallbackData {
    void* context;
    ImageCallback function;
};
static_assert(sizeof(PluginInterfaceCallbackData) == 16 && offsetof(PluginInterfaceCallbackData, function) == 8);

// ---- camera control; the host defines the enumerations' values and the reserved words; they are only passed on

enum class TRIGGERMODE : std::int32_t {};
enum class SCANNINGMODE : std::int32_t {};
enum class DATATRANSFERVOLUME : std::int32_t {};

struct PluginInterfaceFeatureData {
    std::uint64_t reserved[4];
};

class CSmartCamParamBase;  // only pointers to it cross the boundary

// ---- light

struct LIGHTINFO {
    std::uint64_t reserved[4];
};

struct PluginInterfaceLightsData {
    std::uint64_t reserved[4];
};

/// Two groups of 16 bytes and a double.
struct PluginInterfaceLightTriggerData {
    struct Group {
        std::uint64_t reserved[2];
    };
    Group first;
    Group second;
    double value;
};
static_assert(sizeof(PluginInterfaceLightTriggerData) == 40 && offsetof(PluginInterfaceLightTriggerData, value) == 32);

// ---- sensor, I/O port, motor

struct PluginInterfaceSensor1DInitData {
    std::uint64_t reserved[4];
};

struct PluginInterfaceSensor1DData {
    std::uint64_t reserved[4];
};

struct INOUTINFO {
    std::uint64_t reserved[4];
};

struct PluginInterfaceIOPort {
    std::uint64_t reserved[2];
};

struct PluginInterfaceMotorData {
    std::uint64_t reserved[4];
};

}  // namespace NUV

static_assert(sizeof(tagBITMAPINFO) == 44 && std::is_trivially_copyable_v<tagBITMAPINFO>);
