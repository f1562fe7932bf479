// What others rely on besides the commands: the order of the camera's fields and the operations of its image source.
#include <functional>
#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include "DorVenPlugin.h"
#include "TeskImages.h"
#include "field_order.h"
#include "log_recorder.h"

namespace {

using namespace NUV;
using kest::dorven::TeskImages;

// ---- the image source's operations

template <auto operation, typename Type>
inline constexpr bool kIs = std::is_same_v<decltype(operation), Type TeskImages::*>;

static_assert(std::has_virtual_destructor_v<TeskImages>);
static_assert(kIs<&TeskImages::imageMemory, std::shared_ptr<IMAGEMEMORY>()>);
static_assert(kIs<&TeskImages::imageMemoryCaps, SmartMetaDataCaps&()>);
static_assert(kIs<&TeskImages::imageSize, std::vector<std::uint64_t>()>);
static_assert(kIs<&TeskImages::imageFormat, std::vector<std::int32_t>()>);
static_assert(kIs<&TeskImages::pixelSize, std::vector<double>()>);
static_assert(kIs<&TeskImages::frameRate, double()>);
static_assert(kIs<&TeskImages::setFrameRate, double(const double&)>);
static_assert(kIs<&TeskImages::grab, bool()>);
static_assert(kIs<&TeskImages::freeze, bool()>);
static_assert(kIs<&TeskImages::setCallback, void(void*, ImageCallback)>);
static_assert(std::is_same_v<decltype(&TeskImages::create), std::shared_ptr<TeskImages> (*)(const char*)>);

// ---- the camera's fields

struct CameraFields {
    test::DeviceFields device;
    std::shared_ptr<TeskImages> images;
    std::shared_ptr<tagBITMAPINFO> bitmap;
    std::function<std::shared_ptr<TeskImages>(const char*)> createSource;
};
static_assert(sizeof(CameraFields) == sizeof(DorVenPlugin));

TEST(FieldOrder, OfTheCamera) {
    test::LogRecorder log;
    std::shared_ptr<TeskImages> source;
    DorVenPlugin camera("folder", [&](const char* path) { return source = TeskImages::create(path); });
    const auto& fields = test::fieldsOf<CameraFields>(camera);
    EXPECT_EQ(fields.device.moduleFolder, "folder");
    EXPECT_EQ(fields.images, nullptr);
    EXPECT_EQ(fields.bitmap, nullptr);
    const tagBITMAPINFO* bitmap = nullptr;
    ASSERT_EQ(camera.openImageDevice(nullptr, &bitmap), kDone);
    EXPECT_EQ(fields.images, source);
    EXPECT_EQ(fields.bitmap.get(), bitmap);
}

}  // namespace
