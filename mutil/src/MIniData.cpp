#include "MIniData.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "errtrace.h"

namespace {

const char kFile[] = "mutil/src/MIniData";

}  // namespace

bool MIniData_GetStringEntry(const MIniData* handle, const char* section, const char* entry, char* target,
                             std::size_t targetSize) {
    std::string value;
    try {
        if (!handle->GetStringEntry(section, entry, value)) return false;
    } catch (const std::bad_alloc&) {
        M_ERRTRACE("MIniData_GetStringEntry(): no memory for the value");
        return false;
    }
    if (targetSize > 0) {
        const std::size_t length = std::min(value.size(), targetSize - 1);
        std::memcpy(target, value.data(), length);
        target[length] = '\0';
    }
    if (value.size() < targetSize) return true;
    M_ERRTRACE("MIniData_GetStringEntry(): returned string too long for target (%Iu)", targetSize);
    return false;
}

char* MIniData_GetContentString(const MIniData* handle) {
    char* block = nullptr;
    try {
        const std::string content = handle->GetContentString();
        block = static_cast<char*>(malloc(content.size() + 1));
        if (block) std::memcpy(block, content.c_str(), content.size() + 1);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    if (!block) M_ERRTRACE("MIniData_GetContentString(): malloc() failed: %.50s", std::strerror(errno));
    return block;
}

bool MIniData_SetContentString(MIniData* handle, const char* text) {
    try {
        return handle->SetContentString(text);
    } catch (const std::bad_alloc&) {
        M_ERRTRACE("MIniData_SetContentString(): no memory for the content");
        return false;
    }
}

bool MIniData_GetLongEntry(const MIniData* handle, const char* section, const char* entry, std::int32_t& value) {
    return handle->GetLongEntry(section, entry, value);
}

bool MIniData_GetLongLongEntry(const MIniData* handle, const char* section, const char* entry, std::int64_t& value) {
    return handle->GetLongLongEntry(section, entry, value);
}

bool MIniData_GetDoubleEntry(const MIniData* handle, const char* section, const char* entry, double& value) {
    return handle->GetDoubleEntry(section, entry, value);
}

bool MIniData_DeleteSection(MIniData* handle, const char* section) { return handle->DeleteSection(section); }

bool MIniData_DeleteEntry(MIniData* handle, const char* section, const char* entry) {
    try {
        return handle->DeleteEntry(section, entry);
    } catch (const std::bad_alloc&) {  // for a report
        return false;
    }
}
