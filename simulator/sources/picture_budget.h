// How much memory pictures may use besides everything else of a run. The program knows the rest and implements this.
#pragma once

#include <cstddef>
#include <string>

#include "image_view.h"

namespace simulator {

class PictureBudget {
public:
    virtual ~PictureBudget() = default;

    /// Bytes left for pictures while their format is unknown.
    virtual std::size_t left() const = 0;

    /// Bytes left for them besides everything else that images of that format need.
    virtual std::size_t leftBeside(const frames::ImageFormat& format) const = 0;

    /// Why images of a format cannot be made from that many bytes of pictures; empty when they can.
    virtual std::string problem(const frames::ImageFormat& format, std::size_t sourceBytes) const = 0;
};

}  // namespace simulator
