// The bare limits with which a benchmark's numbers are compared.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench.h"

namespace host {

/// Lateness of the platform's sleep at each point of a grid, in microseconds.
std::vector<double> timerLateness(double framesPerSecond, double seconds);

/// Half a round trip over two events with a partner process, in microseconds.
/// @param program  This program's file, which is started as the partner.
/// @return         Empty, with the reason, when the partner cannot be started.
std::vector<double> eventOneWay(const std::string& program, double seconds, std::string& error);

/// 10^6 bytes per second of memcpy between two buffers of a ring's size, image by image.
double memcpyMbPerS(std::size_t imageBytes, double seconds);

}  // namespace host
