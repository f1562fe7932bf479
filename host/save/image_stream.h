// Images one behind the other on standard output, for a program that reads them as they come.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "frame_ring.h"
#include "image_view.h"
#include "standard_output.h"

namespace host {

/// What --output and OUT are called when they mean standard output.
constexpr const char* kStandardOutput = "-";

enum class StreamForm {
    files,  // each image is the bytes of a file, such as a PGM
    raw,    // pixels alone
    y4m,    // YUV4MPEG2: a line for the stream and one for each image, before its pixels; grey
};

struct StreamSettings {
    StreamForm form = StreamForm::raw;
    std::uint64_t every = 1;  // as of SaveSettings: what the rate in the header is divided by
    unsigned bits = 16;       // significant ones of 2-byte pixels; y4m tells 10, 12 and 16
};

/// One thread at a time writes; the questions are for any.
class ImageStream {
public:
    using Write = std::function<StandardOutputWrite(const void* bytes, std::size_t size)>;

    explicit ImageStream(const StreamSettings& settings, Write write = platform_writeStandardOutput)
        : _settings(settings), _write(std::move(write)) {}

    /// Whether images of a format have this form. @return false, with the reason.
    bool takes(const frames::ImageFormat& format, std::string& error) const;

    /// Writes an image; the first one of a y4m stream brings the header, with the rate of its record.
    ///
    /// @param file  Its bytes as the form wants them, but for y4m's lines.
    /// @return      false, with the reason: an image of another size than the first one where the form has one size, or
    ///              the stream has ended.
    bool write(const KeptFrame& frame, const std::vector<std::uint8_t>& file, std::string& error);

    /// Nothing can be written any more.
    bool hasEnded() const { return _end != StandardOutputWrite::done; }
    /// It ended because whoever read it has gone, which is no failure.
    bool readerIsGone() const { return _end == StandardOutputWrite::readerGone; }
    /// hasEnded, but asks the system, too: a reader may go while no image comes.
    bool looksAbandoned();

private:
    bool put(const void* bytes, std::size_t size, std::string& error);
    std::string header(const KeptFrame& frame) const;

    const StreamSettings _settings;
    const Write _write;
    frames::ImageFormat _format{};  // of the first image
    bool _begun = false;
    std::string _error;  // why the stream ended
    std::atomic<StandardOutputWrite> _end{StandardOutputWrite::done};
};

/// The rate of a y4m header, "100:1": images a second as a fraction. @param seconds  From one image to the next.
std::string y4mRate(double seconds);

}  // namespace host
