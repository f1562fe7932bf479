// Images made of pictures from files.
//
// All pictures are loaded before the first image. So neither a slow disk nor a damaged file can delay images, and
// faults are reported at once. A limit on their memory prevents them from using up the machine's memory.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "crc32_append.h"
#include "image_source.h"
#include "picture_options.h"
#include "stored_picture.h"

namespace simulator {

class PictureBudget;

/// Position of the window on a larger picture: its upper left corner, in whole pixels of the picture.
struct WindowPlace {
    std::size_t x = 0;
    std::size_t y = 0;

    bool operator==(const WindowPlace&) const = default;
};

/// The window's path: from the upper left corner to the far sides and back, across and down each as a cosine, at most 4
/// pixels per frame across and 2.5 down, so that it visits different places each time. Rounded to whole pixels, so that
/// the image shows unchanged pixels of the picture.
///
/// @param spareX, spareY  Pixels by which the picture is larger.
WindowPlace windowAt(std::uint64_t frameNumber, std::size_t spareX, std::size_t spareY);

class ReplayedImages : public ImageSource {
public:
    /// Loads the pictures of the options; only the first ones if a stop is requested meanwhile.
    ///
    /// @param size           Width and height of the images; none: those of the first picture, which all must have.
    /// @param bytesPerPixel  Of the images: 2 keep the pictures' 16 bits, 3 and 4 their colours.
    /// @param bits           Significant bits of 2-byte pixels, for images and raw pictures.
    /// @param budget         A further limit besides the options; may be null.
    /// @return               null, with the reason, when there is none, one cannot be read or does not fit, or they
    ///                       need more memory than the options allow.
    static std::unique_ptr<ReplayedImages> load(const PictureOptions& options,
                                                const std::optional<frames::ImageFormat>& size,
                                                std::size_t bytesPerPixel, unsigned bits, std::string& error,
                                                const PictureBudget* budget = nullptr);

    std::uint32_t draw(std::uint8_t* pixels, std::uint64_t frameNumber, std::optional<std::uint64_t> before) override;
    std::uint8_t stripFlags() const override;
    std::size_t memoryBytes() const override;
    std::size_t pictureCount() const { return _pictures.size(); }

private:
    friend class PictureLoader;

    ReplayedImages(const frames::ImageFormat& format, const PictureOptions& options,
                   std::deque<frames::StoredPicture> pictures);

    Play _play;
    frames::Crc32Append _appendLine;
    std::deque<frames::StoredPicture> _pictures;
};

}  // namespace simulator
