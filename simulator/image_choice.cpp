#include "image_choice.h"

#include "camera_config.h"
#include "piped_images.h"
#include "replayed_images.h"
#include "standard_input.h"

namespace simulator {

frames::ImageFormat formatFor(const SimulatorOptions& options, const frames::ImageFormat& told) {
    frames::ImageFormat format = options.size.value_or(told);
    format.bytesPerPixel = options.bytesPerPixel.value_or(told.bytesPerPixel);
    return format;
}

std::unique_ptr<ImageSource> makeImageSource(const SimulatorOptions& options, std::string& error,
                                             const std::optional<frames::ImageFormat>& camera, const HeldMemory& held) {
    std::optional<frames::ImageFormat> told = camera;
    if (!told && !options.configFile.empty() && !readCameraFormat(options.configFile, told.emplace(), error))
        return nullptr;
    const frames::ImageFormat format = formatFor(options, told.value_or(kDefaultFormat));
    const MemoryBudget budget(options, held);
    if (options.pictures.images.empty()) {
        error = budget.problem(format, patternBytes(*options.pattern.pattern, format));
        return error.empty() ? std::make_unique<RenderedImages>(format, options.pattern) : nullptr;
    }
    std::optional<frames::ImageFormat> size;  // none: as the pictures
    if (told || options.size) size = format;
    if (options.pictures.piped) {
        if (camera) {
            error = "the images from standard input keep their size";
            return nullptr;
        }
        if (platform_standardInputIsTerminal()) {
            error = "standard input is a terminal; pipe a Y4M stream into it";
            return nullptr;
        }
        PipedImages::Wish wish{size, options.bytesPerPixel, options.pattern.settings.bits, &budget};
        if (!wish.bytesPerPixel && told) wish.bytesPerPixel = format.bytesPerPixel;
        return PipedImages::open(&platform_readStandardInput, options.pictures, wish, error);
    }
    if (size) error = budget.problem(format, 0);
    if (!error.empty()) return nullptr;
    return ReplayedImages::load(options.pictures, size, format.bytesPerPixel, options.pattern.settings.bits, error,
                                &budget);
}

std::size_t ringRoomFor(const SimulatorOptions& options) {
    return options.ask && !options.size ? kDefaultFormat.bytes() : 0;
}

std::string formatText(const frames::ImageFormat& format) {
    return std::to_string(format.width) + " x " + std::to_string(format.height) + " pixels, " +
           std::to_string(format.bytesPerPixel) + (format.bytesPerPixel == 1 ? " byte" : " bytes") + " per pixel";
}

}  // namespace simulator
