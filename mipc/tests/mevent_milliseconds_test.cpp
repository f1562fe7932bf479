// Built with its own check: a cast of a value that no integer can hold ends the program. Without it, processors return
// some number, on x86 by chance the right one.
#include <cstdint>
#include <limits>
#include <ostream>

#include <gtest/gtest.h>

#include "mprocessevent.h"

namespace {

struct Timeout {
    double seconds;
    DWORD milliseconds;
};

void PrintTo(const Timeout& timeout, std::ostream* stream) { *stream << timeout.seconds; }

class MillisecondsTest : public testing::TestWithParam<Timeout> {};

TEST_P(MillisecondsTest, AreCutTowardZeroAndTheLow32BitsCount) {
    EXPECT_EQ(MProcessEvent_Milliseconds(GetParam().seconds), GetParam().milliseconds);
}

INSTANTIATE_TEST_SUITE_P(
    Timeouts, MillisecondsTest,
    testing::Values(Timeout{0.0, 0}, Timeout{0.0009, 0}, Timeout{-0.0009, 0}, Timeout{0.001, 1}, Timeout{0.5, 500},
                    Timeout{1.999, 1999}, Timeout{1.9999, 1999}, Timeout{2.0, 2000}, Timeout{-0.001, INFINITE},
                    Timeout{-1.0, 4294966296u}, Timeout{4294967.295, INFINITE}, Timeout{4294967.296, 0},
                    Timeout{4294967.297, 1}, Timeout{9.2e15, static_cast<DWORD>(std::uint64_t{9200000000000000000u})},
                    Timeout{1e16, INFINITE}, Timeout{-1e16, 0}, Timeout{std::numeric_limits<double>::max(), INFINITE},
                    Timeout{std::numeric_limits<double>::infinity(), INFINITE},
                    Timeout{-std::numeric_limits<double>::infinity(), 0},
                    Timeout{std::numeric_limits<double>::quiet_NaN(), 0}));

}  // namespace
