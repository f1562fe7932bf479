// Why images could not be verified, in words.
#pragma once

#include "inspection.h"

namespace host {

struct UnverifiedReason {
    const char* inShort;   // for the live line
    const char* sentence;  // with what to do
};

const UnverifiedReason& unverifiedReason(frames::Unverified reason);

}  // namespace host
