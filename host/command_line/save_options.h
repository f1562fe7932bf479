// Options for saving images, and what they come to.
#pragma once

#include <ostream>

#include "host_options.h"
#include "image_saver.h"

namespace CLI {
class App;
}

namespace host {

/// The options of "grab" that save. They write into options while the command line is parsed.
void addSaveOptions(CLI::App& command, SaveOptions& options);

/// All options of "snap".
void addSnapOptions(CLI::App& command, SnapOptions& options);

/// The bytes of a file as frames::encodeImage makes them; with bits to stretch a PNG (stretched_png.h).
bool encodeSaved(const frames::ImageView& image, frames::ImageFileFormat format, std::vector<std::uint8_t>& file,
                 std::string& error, int pngLevel, unsigned stretchBits);

/// Of options that were parsed.
SaveSettings saveSettingsOf(const SaveOptions& options);

/// "png", "pgm" or "raw" by a file name's ending, whatever its case; "" for another ending.
std::string formatByEnding(const std::string& fileName);

/// Tells people what became of the images that were to be saved; nothing when none were.
void tellSaved(const SaveOptions& options, const ImageSaver::Outcome& outcome, std::ostream& people);

}  // namespace host
