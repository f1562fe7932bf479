// The contents of an ini file under the name that the rest of the system uses.
#pragma once

#include "MIniData_template_core.h"

/// Ini data with byte-wise, case-sensitive names. Usually held by shared pointer. See MIniDataT.
class MIniData : public MIniDataT<MIniDataCaseSensitiveCompare> {
public:
    using MIniDataT::MIniDataT;
};
