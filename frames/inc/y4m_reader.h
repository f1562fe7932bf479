// Reads a stream of uncompressed pictures (YUV4MPEG2), as video programs write it into a pipe: one header line, then
// for each picture the line "FRAME" and its planes. Of colours, brightness alone is kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace frames {

/// What the header says.
struct Y4mFormat {
    std::size_t width = 0;
    std::size_t height = 0;
    unsigned bits = 8;              // of a sample; more than 8: two bytes, the lower one first
    std::uint64_t rateFrames = 0;   // pictures …
    std::uint64_t rateSeconds = 0;  // … in so many seconds; both 0: not told
    std::size_t chromaBytes = 0;    // of a picture, behind its brightness

    std::size_t lumaBytes() const { return width * height * (bits > 8 ? 2 : 1); }
};

/// Reads a header line, without its end. Known are mono, 420, 422, 444, 411 and 440, of 8 to 16 bits.
/// @return  false, with the reason, for anything else; sides have at most kMaxSide pixels (image_size.h).
bool parseY4mHeader(const std::string& line, Y4mFormat& format, std::string& error);

/// Reads a stream piece by piece, as its bytes come. After ended and failed, every further call answers the same.
class Y4mReader {
public:
    enum class Result {
        ready,    // what was asked for is there
        waiting,  // the source has no more bytes now
        ended,    // in order, between two pictures
        failed,   // error() says why
    };

    /// Puts at most size bytes to a place. @return how many; 0 at the end, below 0 when there are none now.
    using Source = std::function<std::ptrdiff_t(std::uint8_t* to, std::size_t size)>;

    /// @param maxBytes        That a picture may take, told before its memory is.
    /// @param maxBytesOption  What a user can set them with, for messages.
    Y4mReader(Source source, std::size_t maxBytes, std::string maxBytesOption);

    /// Goes on with the header. Ready: format() is known.
    Result readHeader();

    /// Goes on with the next picture, once the header is known. Ready: luma() has it until the next call.
    Result readPicture();

    const Y4mFormat& format() const { return _format; }
    const std::vector<std::uint8_t>& luma() const { return _luma; }
    const std::string& error() const { return _error; }

private:
    enum class Part { header, frameLine, luma, chroma };

    Result readLine();
    Result readBytes(std::uint8_t* to, std::size_t size, std::size_t& done);
    Result skipChroma();
    Result fail(const std::string& reason);
    Result take(std::ptrdiff_t count);

    Source _source;
    std::size_t _maxBytes;
    std::string _maxBytesOption;
    Y4mFormat _format;
    Part _part = Part::header;
    std::string _line;
    std::vector<std::uint8_t> _luma;
    std::size_t _done = 0;  // bytes of the part that have come
    Result _result = Result::waiting;
    std::string _error;
};

}  // namespace frames
