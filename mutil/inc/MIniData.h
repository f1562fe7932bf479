// The contents of an ini file. SAVE CAN LOSE DATA: it writes what is in memory, even if Open stopped reading at a line
// that it refused, and a replacing save replaces the file even if writing failed. Check HoldsWholeFile before Save.
//
// The class has the name that the rest of the system uses; the functions are for callers that hold it by a plain
// pointer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MIniData_template_core.h"

/// Ini data with byte-wise, case-sensitive names. Usually held by a shared pointer. See MIniDataT.
class MIniData : public MIniDataT<MIniDataCaseSensitiveCompare> {
public:
    using MIniDataT::MIniDataT;
};

// These functions throw nothing.

/// Copies an entry's value into a buffer, with a terminating zero.
///
/// @param target      Untouched when there is no such entry or the size is 0.
/// @param targetSize  Bytes at target.
/// @return            Whether the whole value fitted. If not, target contains its beginning, and the error trace has an
///                    entry. A missing entry is false without an error entry.
bool MIniData_GetStringEntry(const MIniData* handle, const char* section, const char* entry, char* target,
                             std::size_t targetSize);

/// The content string, zero-terminated, in memory that the caller must free; null when there is no memory.
char* MIniData_GetContentString(const MIniData* handle);

// The members with the same names. When there is no memory, they return false.
bool MIniData_SetContentString(MIniData* handle, const char* text);
bool MIniData_GetLongEntry(const MIniData* handle, const char* section, const char* entry, std::int32_t& value);
bool MIniData_GetLongLongEntry(const MIniData* handle, const char* section, const char* entry, std::int64_t& value);
bool MIniData_GetDoubleEntry(const MIniData* handle, const char* section, const char* entry, double& value);
bool MIniData_DeleteSection(MIniData* handle, const char* section);
bool MIniData_DeleteEntry(MIniData* handle, const char* section, const char* entry);
