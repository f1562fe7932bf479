// How much of a pixel a shape covers: a pixel's grey is the light that falls onto its area. All results are exact:
// closed formulas of the area, in double precision (errors below 1e-9 of a pixel for places within 65536 pixels).
//
// Whole numbers are the centres of pixels: pixel (x, y) is the square from x - 1/2 to x + 1/2 and y - 1/2 to y + 1/2.
#pragma once

namespace frames {

/// Area that the disc around (0, 0) shares with the rectangle from (left, top) to (right, bottom). The disc is cut into
/// quarters; within a quarter, the area up to the upper right corner is a rectangle plus the integral of sqrt(r^2 -
/// x^2).
double discArea(double radius, double left, double top, double right, double bottom);

/// Share of pixel (x, y), 0 … 1, within the disc around (0, 0).
double discCoverage(double radius, double x, double y);

/// Share of the pixel around (0, 0), 0 … 1, on the side x * normalX + y * normalY > distance of a straight line. The
/// normal has length 1. The area is the second difference of squared distances of the pixel's corners.
double halfPlaneCoverage(double normalX, double normalY, double distance);

/// Share of pixel x, 0 … 1, that lies in odd stripes; the stripes are [0, pitch), [pitch, 2 * pitch) …, on both sides
/// of 0.
double stripeCoverage(double pitch, double x);

}  // namespace frames
