#include "image_stream.h"

#include <cmath>
#include <numeric>

#include "platform.h"

namespace host {
namespace {

constexpr double kFilmFactor = 1.001;        // 30000:1001 and its kin
constexpr double kSameRate = 1e-4;           // of a rate: nearer than any clock tells them apart
constexpr double kLongestPeriod = 86'400.0;  // s; what is longer is no rate
constexpr std::uint64_t kNanoseconds = 1'000'000'000;

bool isWhole(double rate) { return std::round(rate) >= 1.0 && std::abs(rate - std::round(rate)) <= kSameRate * rate; }

std::string whole(double rate) { return std::to_string(std::llround(rate)); }

}  // namespace

std::string y4mRate(double seconds) {
    if (!(seconds > 1.0 / static_cast<double>(kNanoseconds) && seconds < kLongestPeriod)) return "0:0";  // unknown
    const double rate = 1.0 / seconds;
    if (isWhole(rate)) return whole(rate) + ":1";
    if (isWhole(rate * kFilmFactor)) return whole(rate * kFilmFactor * 1000.0) + ":1001";
    if (isWhole(rate * 1000.0)) {
        const auto thousandths = static_cast<std::uint64_t>(std::llround(rate * 1000.0));
        const std::uint64_t common = std::gcd(thousandths, std::uint64_t{1000});
        return std::to_string(thousandths / common) + ':' + std::to_string(1000 / common);
    }
    const auto periodUs = static_cast<std::uint64_t>(std::llround(seconds * 1e6));
    return "1000000:" + std::to_string(periodUs);
}

bool ImageStream::takes(const frames::ImageFormat& format, std::string& error) const {
    if (_settings.form == StreamForm::raw || format.bytesPerPixel == 1 || format.bytesPerPixel == 2) return true;
    error = std::string("standard output: ") + (_settings.form == StreamForm::y4m ? "y4m" : "PGM") +
            " has no form for images of " + std::to_string(format.bytesPerPixel) +
            " bytes per pixel here; --format raw takes them";
    return false;
}

std::string ImageStream::header(const KeptFrame& frame) const {
    const frames::ImageFormat& format = frame.format;
    const std::string depth = format.bytesPerPixel == 1 ? "" : std::to_string(_settings.bits);
    const double images = static_cast<double>(_settings.every == 0 ? 1 : _settings.every);
    return "YUV4MPEG2 W" + std::to_string(format.width) + " H" + std::to_string(format.height) + " F" +
           y4mRate(frame.note.frameTimeS * images) + " Ip A1:1 Cmono" + depth + '\n';
}

bool ImageStream::write(const KeptFrame& frame, const std::vector<std::uint8_t>& file, std::string& error) {
    error = _error;
    if (hasEnded()) return false;
    if (_begun && _settings.form != StreamForm::files && frame.format != _format) {
        error = "standard output: image " + std::to_string(frame.note.image) +
                " has another size than the first one, and the stream has one size for all";
        return false;
    }
    if (_settings.form == StreamForm::y4m) {
        const std::string lines = (_begun ? "" : header(frame)) + "FRAME\n";
        if (!put(lines.data(), lines.size(), error)) return false;
    }
    _begun = true;
    _format = frame.format;
    return put(file.data(), file.size(), error);
}

bool ImageStream::looksAbandoned() {
    auto going = StandardOutputWrite::done;
    if (!platform_standardOutputHasReader()) _end.compare_exchange_strong(going, StandardOutputWrite::readerGone);
    return hasEnded();
}

bool ImageStream::put(const void* bytes, std::size_t size, std::string& error) {
    const StandardOutputWrite end = _write(bytes, size);
    switch (end) {
        case StandardOutputWrite::done:
            return true;
        case StandardOutputWrite::readerGone:
            _error = "standard output: its reader has gone";
            break;
        case StandardOutputWrite::stopped:
            _error = "standard output: its reader takes nothing any more, and a stop was requested";
            break;
        case StandardOutputWrite::failed:
            _error = "standard output could not be written" +
                     std::string(GetLastError() == ERROR_DISK_FULL ? ": the disk is full" : "");
            break;
    }
    error = _error;
    _end = end;
    return false;
}

}  // namespace host
