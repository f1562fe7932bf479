// Options for saving images, and the settings that they result in.
#pragma once

#include <ostream>

#include "host_options.h"
#include "image_saver.h"

namespace CLI {
class App;
}

namespace host {

/// The options of "grab" for saving. They write into options while the command line is parsed.
void addSaveOptions(CLI::App& command, SaveOptions& options);

/// All options of "snap".
void addSnapOptions(CLI::App& command, SnapOptions& options);

/// What speaks against images on standard output in this combination of options; empty: nothing.
std::string problemOfStream(const SaveOptions& save, bool json, bool jsonLines);
std::string problemOfStream(const SnapOptions& snap);

/// Whether a file or folder is called "-".
bool isStandardOutput(const std::string& path);

/// How images stand on standard output in the format of --format.
StreamSettings streamSettingsOf(const std::string& format, unsigned bits, std::uint64_t every);

/// The bytes of a file as frames::encodeImage makes them; with bits to stretch a PNG (stretched_png.h).
bool encodeSaved(const frames::ImageView& image, frames::ImageFileFormat format, std::vector<std::uint8_t>& file,
                 std::string& error, int pngLevel, unsigned stretchBits);

/// Of options that were parsed.
SaveSettings saveSettingsOf(const SaveOptions& options);

/// "png", "pgm" or "raw" by a file name's ending, whatever its case; "" for another ending.
std::string formatByEnding(const std::string& fileName);

/// Format of the files, or of the parts of a stream.
frames::ImageFileFormat fileFormatOf(const std::string& format);

/// Tells people what became of the images that were to be saved; nothing when none were.
void tellSaved(const SaveOptions& options, const ImageSaver::Outcome& outcome, std::ostream& people);

}  // namespace host
