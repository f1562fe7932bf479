// The options that shape the ring and what is written into it.
#pragma once

#include <cstddef>

namespace simulator {

struct DeliveryOptions {
    std::size_t lineCount = 8;           // --lines
    double readerTimeoutSeconds = 10.0;  // --reader-timeout; 0: never
    bool strip = true;                   // not with --no-strip
};

}  // namespace simulator
