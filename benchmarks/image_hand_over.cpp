// Hand-over of images from a writing process into the host's callback: the image source with its ring and event,
// compared with a bare ring and futex word, in turns within one run. Neither copies any byte of an image; the writer
// stores the time just before it publishes a slot.
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_support.h"
#include "image_roads.h"

namespace {

constexpr int kTurns = 9;
constexpr bench::Load kLoad{1'000, 1'000'000, false};

double median(const bench::Road& road) {
    auto latencies = bench::carryImages(road, kLoad).latenciesUs;
    return bench::median(latencies);
}

bench::Result compare(const std::string& name, int processor, double aim) {
    bench::placeOn(processor);
    std::vector<double> ours;
    std::vector<double> limit;
    for (int i = 0; i < kTurns; ++i) {
        ours.push_back(median(bench::kOurs));
        limit.push_back(median(bench::kBare));
    }
    return {name, "us", bench::median(ours), bench::median(limit), aim};
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (const int exitCode = bench::writeImages({bench::kOurs, bench::kBare}, argc, argv); exitCode >= 0)
        return exitCode;
    const bool reached = bench::report("Image hand-over 1280 x 1024, writer to callback, median of medians",
                                       {compare("both on one processor", 0, 1.15), compare("placed freely", -1, 1.15)});
    return reached ? 0 : 1;
}
