#include "coverage.h"

#include <algorithm>
#include <cmath>

namespace frames {
namespace {

// Antiderivative of sqrt(r^2 - x^2), for 0 <= x <= r.
double underArc(double radius, double x) {
    const double height = std::sqrt(std::max(radius * radius - x * x, 0.0));
    return (x * height + radius * radius * std::asin(std::min(x / radius, 1.0))) / 2;
}

// Area that the disc shares with the rectangle from its centre to (x, y); negative if exactly one of x and y is
// negative.
double quarterArea(double radius, double x, double y) {
    const double sign = (x < 0) == (y < 0) ? 1.0 : -1.0;
    x = std::min(std::abs(x), radius);
    y = std::min(std::abs(y), radius);
    if (x * x + y * y <= radius * radius) return sign * x * y;
    const double flatEnd = std::sqrt(std::max(radius * radius - y * y, 0.0));
    return sign * (flatEnd * y + underArc(radius, x) - underArc(radius, flatEnd));
}

double squaredAbove(double value) { return value > 0 ? value * value : 0.0; }

// Part of 0 … x that lies in odd stripes.
double oddUpTo(double pitch, double x) {
    const double pairs = std::floor(x / (2 * pitch));
    return pairs * pitch + std::max(x - pairs * 2 * pitch - pitch, 0.0);
}

}  // namespace

double discArea(double radius, double left, double top, double right, double bottom) {
    return quarterArea(radius, right, bottom) - quarterArea(radius, left, bottom) - quarterArea(radius, right, top) +
           quarterArea(radius, left, top);
}

double discCoverage(double radius, double x, double y) {
    // Pixels far inside or far outside need no computation.
    const double distance = std::hypot(x, y);
    if (distance >= radius + 0.71) return 0.0;
    if (distance <= radius - 0.71) return 1.0;
    return std::clamp(discArea(radius, x - 0.5, y - 0.5, x + 0.5, y + 0.5), 0.0, 1.0);
}

double halfPlaneCoverage(double normalX, double normalY, double distance) {
    const double wide = std::max(std::abs(normalX), std::abs(normalY)) / 2;
    const double narrow = std::min(std::abs(normalX), std::abs(normalY)) / 2;
    if (distance >= wide + narrow) return 0.0;
    if (distance <= -wide - narrow) return 1.0;
    // Below that, the formula divides a difference of nearly equal squares; the line is then straight to 1e-6 pixel.
    if (narrow < 1e-6) return std::clamp(0.5 - distance / (2 * wide), 0.0, 1.0);
    const double area = squaredAbove(wide + narrow - distance) - squaredAbove(wide - narrow - distance) -
                        squaredAbove(narrow - wide - distance);
    return std::clamp(area / (8 * wide * narrow), 0.0, 1.0);
}

double stripeCoverage(double pitch, double x) { return oddUpTo(pitch, x + 0.5) - oddUpTo(pitch, x - 0.5); }

}  // namespace frames
