// How much memory pictures may take beside all else of a run. Who runs knows what else there is, and answers.
#pragma once

#include <cstddef>
#include <string>

#include "image_view.h"

namespace simulator {

class PictureBudget {
public:
    virtual ~PictureBudget() = default;

    /// Bytes that are left for pictures, as long as their format is not known.
    virtual std::size_t left() const = 0;

    /// Bytes that are left for them beside all else that images of a format take.
    virtual std::size_t leftBeside(const frames::ImageFormat& format) const = 0;

    /// Why images of a format cannot be made from so many bytes of pictures; empty when they can.
    virtual std::string problem(const frames::ImageFormat& format, std::size_t sourceBytes) const = 0;
};

}  // namespace simulator
