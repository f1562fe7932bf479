#include "unverified_reason.h"

#include <iterator>

namespace host {
namespace {

// clang-format off
constexpr UnverifiedReason kReasons[] = {
    {"no pixels",     "they came without pixels"                                                                },
    {"too small",     "they are too small for a strip, which takes lines of 128 bytes or more"                  },
    {"other lines",   "the simulator's lines have another length than the camera's; give both the same --config"},
    {"damaged strip", "their strip is damaged"                                                                  },
    {"no strip",      "they have no strip; a simulator makes such images with --no-strip"                       },
};
// clang-format on
static_assert(std::size(kReasons) == frames::kUnverifiedReasons);

}  // namespace

const UnverifiedReason& unverifiedReason(frames::Unverified reason) {
    return kReasons[static_cast<std::size_t>(reason)];
}

}  // namespace host
