// The fields of the framework's classes in the order that hosts know, as structures of the same layout, through which a
// test reads a live object.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "PluginBase.h"
#include "PluginDeviceBase.h"

namespace test {

struct PluginBaseFields {
    const void* operations;
    HMODULE module;
    char moduleFolder[MAX_PATH];
    bool devicesPending;
    std::int32_t cursor;
    std::vector<std::unique_ptr<NUV::PluginDeviceBase>> devices;
};
static_assert(sizeof(PluginBaseFields) == sizeof(NUV::PluginBase));

struct DeviceFields {
    const void* operations;
    std::string moduleFolder;
    wchar_t label[40];
    std::int32_t typeCode;
    std::int32_t number;
    std::string deviceId;
    std::vector<std::uint32_t> kinds;
    std::uint64_t kindCursor;
    std::string informationDocument;
    std::map<std::int32_t, std::string> properties;
    std::map<std::int32_t, NUV::CommandAdapter> commandMap;
};
static_assert(sizeof(DeviceFields) == sizeof(NUV::PluginDeviceBase));

/// @tparam Fields  One of the structures above, for an object of its class or one derived from it.
template <typename Fields, typename Object>
const Fields& fieldsOf(const Object& object) {
    return reinterpret_cast<const Fields&>(object);
}

}  // namespace test
