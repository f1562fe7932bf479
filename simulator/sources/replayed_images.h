// Images made of pictures from files.
//
// All pictures are loaded before the first image: neither a slow disk nor a damaged file can then hold up the pacing,
// and what is wrong is told at once. A limit on their memory keeps that from taking the machine.
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

/// Where the window over a larger picture stands: its upper left corner, in whole pixels of the picture.
struct WindowPlace {
    std::size_t x = 0;
    std::size_t y = 0;

    bool operator==(const WindowPlace&) const = default;
};

/// The window's path: from the upper left corner to the far sides and back, across and down each as a cosine, at most
/// 4 pixels per frame across and 2.5 down, so that it passes other places each time. Rounded to whole pixels: the image
/// shows the picture's own ones.
///
/// @param spareX, spareY  Pixels by which the picture is larger.
WindowPlace windowAt(std::uint64_t frameNumber, std::size_t spareX, std::size_t spareY);

class ReplayedImages : public ImageSource {
public:
    /// Loads the pictures of the options; only the first ones when a stop is requested meanwhile.
    ///
    /// @param size           Width and height of the images; none: those of the first picture, which all must have.
    /// @param bytesPerPixel  Of the images: 2 keep the pictures' 16 bits, 3 and 4 their colours.
    /// @param bits           Significant bits of 2-byte pixels, of images and raw pictures alike.
    /// @param budget         Limits them beside the options; null: nothing else does.
    /// @return               null, with the reason, when there is none, one cannot be read, one does not fit, or they
    ///                       take more memory than the options allow.
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
