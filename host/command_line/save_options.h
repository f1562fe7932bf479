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

/// The settings for parsed options.
SaveSettings saveSettingsOf(const SaveOptions& options);

/// "png", "pgm" or "raw" by a file name's ending, in upper or lower case; "" for another ending.
std::string formatByEnding(const std::string& fileName);

/// Tells people what happened to the images that were to be saved; nothing when there were none.
void tellSaved(const SaveOptions& options, const ImageSaver::Outcome& outcome, std::ostream& people);

}  // namespace host
