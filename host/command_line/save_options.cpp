#include "save_options.h"

#include <algorithm>
#include <cctype>

#include <CLI/CLI.hpp>

#include "option_checks.h"
#include "readable_number.h"
#include "shared_options.h"
#include "stretched_png.h"
#include "tool_options.h"

namespace host {
namespace {

constexpr const char* kY4m = "y4m";
constexpr const char* kBitsHelp = "Significant bits of 2-byte pixels, for y4m (default: 16)";

CLI::Validator imageFileName() {
    return CLI::Validator(
        [](const std::string& text) {
            return isStandardOutput(text) || !formatByEnding(text).empty()
                       ? std::string()
                       : "'" + text + "' has to end in .png, .pgm or .raw, or be - for standard output";
        },
        "");
}

// How to reduce what must be written to the disk.
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
        command.add_option("-o,--output", options.folder,
                           "Save images in that folder, and beside them frames.jsonl with what is known about each; a "
                           "folder that is missing is made; - writes the images alone to standard output");
    output->type_name("DIR");
    CLI::Option* format = command.add_option("--format", options.format,
                                             "Format of the files: png, pgm or raw (default: png); on standard output "
                                             "y4m, raw or pgm (default: y4m)");
    format->check(options::oneOf({"png", "pgm", "raw", kY4m}))->needs(output)->type_name("png|pgm|raw|y4m");
    command.add_option("--bits", options.bits, kBitsHelp)
        ->check(options::oneOf({"10", "12", "16"}))
        ->needs(output)
        ->type_name("10|12|16");
    command
        .add_option("--png-level", options.pngLevel,
                    "Compression of png, 0 (none, fastest) to 9 (smallest, slowest), by one thread for each processor "
                    "to spare (default: 1)")
        ->check(options::within(std::size_t{0}, std::size_t{frames::kMaxPngLevel}, "0 to 9, without a fraction"))
        ->needs(output)
        ->type_name("LEVEL");
    CLI::Option* every =
        command
            .add_option("--every", options.every,
                        "Save every Nth image, beginning with the first (default: 1; none with --around-loss alone)")
            ->check(options::within(std::uint64_t{1}, std::uint64_t{1} << 53, "1 to 2^53, without a fraction"))
            ->needs(output)
            ->type_name("N");
    CLI::Option* around =
        command
            .add_option("--around-loss", options.aroundLoss,
                        "Save N images before the first loss and N after it, 1 to 10000; they are kept in memory")
            ->check(options::within(std::size_t{1}, std::size_t{10'000}, "1 to 10000, without a fraction"))
            ->needs(output)
            ->type_name("N");
    command
        .add_option("--save-memory", options.memoryMb,
                    "Memory for images that wait or are kept, and for further threads, 1 to 1000000 MB (default: "
                    "1000)")
        ->check(options::within(std::uint64_t{1}, std::uint64_t{1'000'000}, "1 to 1000000, without a fraction"))
        ->needs(output)
        ->type_name("MB");
    addStretchOption(command, options.stretchBits)->needs(output);
    command.add_flag("--force", options.force, "Replace the files of an earlier grab in that folder")->needs(output);
    command.option_defaults()->group("Options");
    command.parse_complete_callback([&options, every, around, format] {
        if (isStandardOutput(options.folder) && format->count() == 0) options.format = kY4m;
        if (around->count() > 0 && every->count() == 0) options.every = 0;
        if (options.stretchBits > 0 && options.format != "png") refuseStretch();
    });
}

void addSnapOptions(CLI::App& command, SnapOptions& options) {
    command.add_option("OUT", options.file, "File to make: ends in .png, .pgm or .raw; - writes to standard output")
        ->required()
        ->check(imageFileName())
        ->option_text("FILE.png")
        ->type_name("");
    addConfigFile(command, options);
    options::addTimeout(command, options.timeoutSeconds,
                        "End with exit code 3 when no such image came for that long, 0.01 to 86400 s (default: 30)");
    command.add_flag("--any", options.anyImage, "Take the first image of any kind");
    command.add_flag("--force", options.force, "Replace the file if it exists");
    command
        .add_option("--format", options.format,
                    "Format on standard output (default: png); a file's ending sets its own")
        ->check(options::oneOf({"png", "pgm", "raw", kY4m}))
        ->type_name("png|pgm|raw|y4m");
    command.add_option("--bits", options.bits, kBitsHelp)
        ->check(options::oneOf({"10", "12", "16"}))
        ->type_name("10|12|16");
    addShareOption(command, options);
    addStretchOption(command, options.stretchBits);
    command.parse_complete_callback([&options] {
        const std::string format = isStandardOutput(options.file) ? options.format : formatByEnding(options.file);
        if (options.stretchBits > 0 && format != "png") refuseStretch();
    });
    addCommonOptions(command, options);
}

bool isStandardOutput(const std::string& path) { return path == kStandardOutput; }

std::string problemOfStream(const SaveOptions& save, bool json, bool jsonLines) {
    if (!isStandardOutput(save.folder))
        return save.format == kY4m ? "--format: y4m goes with --output - only; a folder takes png, pgm or raw" : "";
    if (json || jsonLines) {
        const std::string option = json ? "--json" : "--json-lines";
        return option + " does not go with --output -: standard output has the images alone";
    }
    return save.format == "png" ? "--format: --output - takes y4m, raw or pgm, not png" : "";
}

std::string problemOfStream(const SnapOptions& snap) {
    return isStandardOutput(snap.file) && snap.json
               ? "--json does not go with snap -: standard output has the image alone"
               : "";
}

StreamSettings streamSettingsOf(const std::string& format, unsigned bits, std::uint64_t every) {
    if (format == kY4m) return {StreamForm::y4m, every, bits};
    return {format == "raw" ? StreamForm::raw : StreamForm::files, every, bits};
}

// The pixels of y4m are those of raw.
frames::ImageFileFormat fileFormatOf(const std::string& format) {
    if (format == kY4m) return frames::ImageFileFormat::raw;
    return frames::imageFileFormatOf(format).value_or(frames::ImageFileFormat::png);
}

bool encodeSaved(const frames::ImageView& image, frames::ImageFileFormat format, std::vector<std::uint8_t>& file,
                 std::string& error, int pngLevel, unsigned stretchBits) {
    if (stretchBits > 0) return frames::encodeStretchedPng(image, stretchBits, file, error, pngLevel);
    return frames::encodeImage(image, format, file, error, pngLevel);
}

SaveSettings saveSettingsOf(const SaveOptions& options) {
    SaveSettings settings;
    settings.folder = options.folder;
    settings.fileFormat = fileFormatOf(options.format);
    if (isStandardOutput(options.folder))
        settings.stream = streamSettingsOf(options.format, options.bits, options.every);
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
    const bool stream = isStandardOutput(options.folder);
    people << (stream ? "wrote " : "saved ") << counted(outcome.saved, "image")
           << (stream ? " to standard output" : " in " + options.folder)
           << (outcome.readerIsGone ? ", until its reader ended" : "");
    if (outcome.lossImage) {
        people << "; the first loss showed at image " << *outcome.lossImage;
    } else if (options.aroundLoss > 0) {
        people << "; there was no loss";
    }
    if (outcome.droppedByCompressor > 0) {
        people << "; the PNG compressor could not keep up with " << outcome.droppedByCompressor << " more: try "
               << (options.pngLevel > 0 ? "--png-level 0, " : "") << "--format raw or a greater --every";
    }
    if (outcome.droppedByDisk > 0 && stream) {
        people << "; its reader could not keep up with " << outcome.droppedByDisk << " more: try a greater --every";
    } else if (outcome.droppedByDisk > 0) {
        people << "; the disk could not keep up with " << outcome.droppedByDisk << " more: try a faster one"
               << smallerFiles(options) << " or a greater --every";
    }
    if (outcome.failed > 0) people << "; " << outcome.failed << " could not be written";
    people << std::endl;
}

}  // namespace host
