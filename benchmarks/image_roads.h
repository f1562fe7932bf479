// Paths that carry whole images from a writing process to a reading one: ours, from the simulator's calls to the host's
// callback; a bare ring with a futex word, as the limit; and others for comparison. A benchmark sends the same load
// over two of them in turns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "image_line.h"

namespace bench {

constexpr std::size_t kImageBytes = 1280 * 1024;
constexpr std::size_t kLineHeaderBytes = sizeof(image_road::ImageLineHeader);
constexpr std::size_t kLineBytes = kLineHeaderBytes + kImageBytes;
constexpr std::size_t kLines = 8;  // images that may wait

class ImageWriter {
public:
    virtual ~ImageWriter() = default;
    /// kLineBytes for the next image; null while the path is full.
    virtual unsigned char* slot() = 0;
    /// Publishes the slot's image and wakes the reader.
    virtual void publish() = 0;
    /// Whether the reader has taken all images.
    virtual bool isDrained() = 0;
};

/// Reads on a separate thread as long as it exists.
class ImageReader {
public:
    virtual ~ImageReader() = default;
};

/// The reader's thread calls it for each image, with the time stamp in microseconds.
using ImageSink = std::function<void(std::uint64_t counter, double stampUs)>;

struct Road {
    const char* name;
    std::unique_ptr<ImageWriter> (*makeWriter)(const std::string& object);
    std::unique_ptr<ImageReader> (*makeReader)(const std::string& object, ImageSink sink);
};
extern const Road kOurs;
extern const Road kBare;

struct Load {
    int images = 1'000;
    std::int64_t gapNanoseconds = 0;  // 0: as fast as possible
    bool everyByte = false;           // whether the writer writes all bytes; otherwise only the line's header
};

struct Carried {
    std::vector<double> latenciesUs;  // for loads with a gap: from the writer's stamp to the sink
    double imagesPerSecond;           // from the first to the last image, as the reader sees them
    double cpuUsPerImage;             // of both processes, from the first to the last image
    long growthKiB;                   // resident memory of the reading process, from image 1,000 to the last
    long heapGrowthBytes;             // the same for its heap
};

/// Sends a load over a path, from a second process into this one. Ends the program when images are missing.
Carried carryImages(const Road& road, const Load& load);

/// The time stamp of a line as in the record: whole microseconds, so that all paths round in the same way.
double stampOf(const unsigned char* line);

/// For main: runs the second process's part if the command line requests it. @return Its exit code; -1: not requested.
int writeImages(const std::vector<Road>& roads, int argc, char** argv);

}  // namespace bench
