#include "save_options.h"

#include <algorithm>
#include <cctype>

#include <CLI/CLI.hpp>

#include "option_checks.h"
#include "stretched_png.h"
#include "tool_options.h"

namespace host {
namespace {

CLI::Validator imageFormat() {
    return CLI::Validator(
        [](const std::string& text) {
            return frames::imageFileFormatOf(text) ? std::string() : "'" + text + "' is none of png, pgm, raw";
        },
        "");
}

CLI::Validator imageFileName() {
    return CLI::Validator(
        [](const std::string& text) {
            return !formatByEnding(text).empty() ? std::string() : "'" + text + "' has to end in .png, .pgm or .raw";
        },
        "");
}

// What would give the disk less to write.
const char* smallerFiles(const SaveOptions& options) {
    if (options.format != "png") return ", --format png";
    return options.pngLevel == 0 ? ", --png-level 1" : "";
}

CLI::Option* addStretchOption(CLI::App& command, unsigned& bits) {
    return command
        .add_option("--stretch", bits,
                    "Significant bits of 2-byte pixels, 9 to 15: png files get them stretched to 16, so that viewers "
                    "show them, and say how many they were (default: pixels stay as they are)")
        ->check(options::within(std::size_t{9}, std::size_t{15}, "9 to 15, without a fraction"))
        ->type_name("BITS");
}

void refuseStretch() { throw CLI::ValidationError("--stretch", "goes with png only"); }

}  // namespace

void addSaveOptions(CLI::App& command, SaveOptions& options) {
    command.option_defaults()->group("Saving, with --output");
    CLI::Option* output =
        command.add_option("--output", options.folder,
                           "Save images in that folder, which is made when it is missing, and beside them frames.jsonl "
                           "with what is known about each");
    output->type_name("DIR");
    command.add_option("--format", options.format, "Format of the files: png, pgm or raw (default png)")
        ->check(imageFormat())
        ->needs(output)
        ->type_name("FORMAT");
    command
        .add_option("--png-level", options.pngLevel,
                    "Compression of png, 0 (none, fastest) to 9 (smallest, slowest), on as many threads as there are "
                    "processors to spare (default 1)")
        ->check(options::within(std::size_t{0}, std::size_t{frames::kMaxPngLevel}, "0 to 9, without a fraction"))
        ->needs(output)
        ->type_name("LEVEL");
    CLI::Option* every =
        command
            .add_option("--every", options.every,
                        "Save every Nth image, beginning with the first (default 1; none with --around-loss alone)")
            ->check(options::within(std::uint64_t{1}, std::uint64_t{1} << 53, "1 to 2^53, without a fraction"))
            ->needs(output)
            ->type_name("N");
    CLI::Option* around =
        command
            .add_option("--around-loss", options.aroundLoss,
                        "Save the N images before the first loss and N from it on, 1 to 10000; they are kept in memory")
            ->check(options::within(std::size_t{1}, std::size_t{10'000}, "1 to 10000, without a fraction"))
            ->needs(output)
            ->type_name("N");
    command
        .add_option("--save-memory", options.memoryMb,
                    "Memory for images that wait to be saved or are kept, and for further threads that compress, 1 to "
                    "1000000 MB (default 1000)")
        ->check(options::within(std::uint64_t{1}, std::uint64_t{1'000'000}, "1 to 1000000, without a fraction"))
        ->needs(output)
        ->type_name("MB");
    addStretchOption(command, options.stretchBits)->needs(output);
    command.add_flag("--force", options.force, "Replace files of an earlier grab in that folder")->needs(output);
    command.option_defaults()->group("Options");
    command.parse_complete_callback([&options, every, around] {
        if (around->count() > 0 && every->count() == 0) options.every = 0;
        if (options.stretchBits > 0 && options.format != "png") refuseStretch();
    });
}

void addSnapOptions(CLI::App& command, SnapOptions& options) {
    addCommonOptions(command, options);
    command.add_option("OUT", options.file, "File to make: ends in .png, .pgm or .raw")
        ->required()
        ->check(imageFileName())
        ->type_name("");
    command.add_option("--config", options.configFile, "Configuration file for the camera (default: its own defaults)")
        ->check(options::existingFile())
        ->type_name("FILE");
    command
        .add_option("--timeout", options.timeoutSeconds,
                    "End with exit code 3 when no such image came for that long, 0.01 to 86400 s (default 30)")
        ->check(options::within(0.01, 86400.0, "0.01 to 86400"))
        ->type_name("SECONDS");
    command.add_flag("--any", options.anyImage, "Take the first image of any kind");
    addShareOption(command, options);
    addStretchOption(command, options.stretchBits);
    command.add_flag("--force", options.force, "Replace the file when it exists");
    command.parse_complete_callback([&options] {
        if (options.stretchBits > 0 && formatByEnding(options.file) != "png") refuseStretch();
    });
}

bool encodeSaved(const frames::ImageView& image, frames::ImageFileFormat format, std::vector<std::uint8_t>& file,
                 std::string& error, int pngLevel, unsigned stretchBits) {
    if (stretchBits > 0) return frames::encodeStretchedPng(image, stretchBits, file, error, pngLevel);
    return frames::encodeImage(image, format, file, error, pngLevel);
}

SaveSettings saveSettingsOf(const SaveOptions& options) {
    SaveSettings settings;
    settings.folder = options.folder;
    settings.fileFormat = frames::imageFileFormatOf(options.format).value_or(frames::ImageFileFormat::png);
    settings.pngLevel = static_cast<int>(options.pngLevel);
    settings.encode = [bits = options.stretchBits](const frames::ImageView& image, frames::ImageFileFormat format,
                                                   std::vector<std::uint8_t>& file, std::string& error, int level) {
        return encodeSaved(image, format, file, error, level, bits);
    };
    settings.every = options.every;
    settings.aroundLoss = options.aroundLoss;
    settings.memoryBytes = static_cast<std::size_t>(options.memoryMb) * 1'000'000;
    settings.existing = options.force ? ExistingFile::replace : ExistingFile::refuse;
    return settings;
}

std::string formatByEnding(const std::string& fileName) {
    const std::size_t dot = fileName.find_last_of("./\\");
    if (dot == std::string::npos || fileName[dot] != '.') return "";
    std::string ending = fileName.substr(dot + 1);
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return frames::imageFileFormatOf(ending) ? ending : "";
}

void tellSaved(const SaveOptions& options, const ImageSaver::Outcome& outcome, std::ostream& people) {
    if (options.folder.empty()) return;
    people << "saved " << outcome.saved << " images in " << options.folder;
    if (outcome.lossImage) {
        people << "; the first loss showed at image " << *outcome.lossImage;
    } else if (options.aroundLoss > 0) {
        people << "; there was no loss";
    }
    if (outcome.droppedByCompressor > 0) {
        people << "; the PNG compressor could not keep up with " << outcome.droppedByCompressor << " more: try "
               << (options.pngLevel > 0 ? "--png-level 0, " : "") << "--format raw or a greater --every";
    }
    if (outcome.droppedByDisk > 0) {
        people << "; the disk could not keep up with " << outcome.droppedByDisk << " more: try a faster one"
               << smallerFiles(options) << " or a greater --every";
    }
    if (outcome.failed > 0) people << "; " << outcome.failed << " could not be written";
    people << std::endl;
}

}  // namespace host
