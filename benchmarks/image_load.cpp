// Throughput and cost of the path of the images: images per second as fast as the writer can, processor time per image,
// memory over a long run. The image source with its ring and event, compared with a bare ring that signals as often, in
// turns within one run.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench_support.h"
#include "image_roads.h"

namespace {

constexpr int kTurns = 9;
constexpr bench::Load kEveryByte{2'000, 0, true};
constexpr bench::Load kHeaderOnly{100'000, 0, false};
constexpr bench::Load kWithGaps{500, 2'000'000, false};

double rate(const bench::Carried& carried) { return carried.imagesPerSecond; }
double cpu(const bench::Carried& carried) { return carried.cpuUsPerImage; }

bench::Result compare(const std::string& name, const std::string& unit, const bench::Load& load,
                      double (*figure)(const bench::Carried&), double aim, bench::Aim kind) {
    std::vector<double> ours;
    std::vector<double> limit;
    for (int i = 0; i < kTurns; ++i) {
        ours.push_back(figure(bench::carryImages(bench::kOurs, load)));
        limit.push_back(figure(bench::carryImages(bench::kBare, load)));
    }
    return {name, unit, bench::median(ours), bench::median(limit), aim, kind};
}

bool memoryStays() {
    const bench::Carried carried = bench::carryImages(bench::kOurs, kHeaderOnly);
    const bool stays = carried.growthKiB <= 0 && carried.heapGrowthBytes <= 0;
    std::printf(
        "\nMemory of the reading process, from image 1,000 to image %d\n  resident %+ld KiB, heap %+ld bytes%s\n",
        kHeaderOnly.images, carried.growthKiB, carried.heapGrowthBytes, stays ? "" : "  missed");
    return stays;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (const int exitCode = bench::writeImages({bench::kOurs, bench::kBare}, argc, argv); exitCode >= 0)
        return exitCode;
    const bool reached = bench::report(
        "Sustained load 1280 x 1024, writer to callback, median of turns",
        {compare("every byte written", "1/s", kEveryByte, rate, 0.7, bench::Aim::atLeast),
         compare("header only", "1/s", kHeaderOnly, rate, 0.7, bench::Aim::atLeast),
         compare("processor time per image, gaps of 2 ms", "us", kWithGaps, cpu, 1.25, bench::Aim::atMost)});
    return memoryStays() && reached ? 0 : 1;
}
