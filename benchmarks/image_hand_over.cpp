// Hand-over of images from a writing process into the host's callback: the image source with its ring and event,
// beside a bare ring and futex word, in turns of one run. No byte of an image is copied on either road; the writer
// stamps the time just before it publishes a slot.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "TeskImages.h"
#include "bare_ring.h"
#include "bench_support.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "platform.h"

namespace {

constexpr std::size_t kImageBytes = 1280 * 1024;
constexpr std::size_t kLineHeaderBytes = 24;
constexpr std::size_t kLineBytes = kLineHeaderBytes + kImageBytes;
constexpr std::size_t kLines = 8;
constexpr int kImages = 1'000;
constexpr int kTurns = 7;
constexpr std::int64_t kGapNanoseconds = 1'000'000;

void fillHeader(void* slot, std::uint64_t counter) {
    const double seconds = static_cast<double>(bench::now()) * 1e-9;
    std::memcpy(slot, &counter, sizeof counter);
    std::memcpy(static_cast<unsigned char*>(slot) + 8, &seconds, sizeof seconds);
}

double microsecondsSince(double seconds) { return static_cast<double>(bench::now()) * 1e-3 - seconds * 1e6; }

// ---- ours

int writeOurs() {
    void* const memory = MSharedMem_LinkOrCreate("DorVenImages", 64 + (kLines + 1) * kLineBytes);
    if (!memory || !MMemLineFifo_Create(memory, kLines, kLineBytes)) return 1;
    MProcessEvent event("DorVenImagesEvent");
    std::int64_t due = platform_monotonicNanoseconds() + kGapNanoseconds;
    for (int i = 0; i < kImages; ++i, due += kGapNanoseconds) {
        platform_sleepUntil(due);
        fillHeader(MMemLineFifo_GetWriteLine(memory), static_cast<std::uint64_t>(i));
        MMemLineFifo_PutLine(memory);
        event.Notify();
    }
    platform_sleepUntil(due + 20 * kGapNanoseconds);
    MMemLineFifo_Destroy(memory);
    MSharedMem_Destroy(memory);
    return 0;
}

struct Latencies {
    std::vector<double> microseconds;
    std::atomic<int> count{0};
};

int onImage(void* context, NUV::IMAGEMEMORY* record) {
    auto& latencies = *static_cast<Latencies*>(context);
    latencies.microseconds.push_back(microsecondsSince(static_cast<double>(record->timeStamp) * 1e-6));
    ++latencies.count;
    return 0;
}

double measureOurs() {
    const auto source = kest::dorven::TeskImages::create(nullptr);
    Latencies latencies;
    latencies.microseconds.reserve(kImages);
    source->setCallback(&latencies, onImage);
    source->grab();
    const int child = bench::startChild({"ours"});
    const int exitCode = bench::joinChild(child);
    source->freeze();
    if (exitCode != 0 || latencies.count < kImages / 2) {
        std::fprintf(stderr, "bench: only %d images arrived\n", latencies.count.load());
        std::exit(1);
    }
    return bench::percentile(latencies.microseconds, 0.5);
}

// ---- the limit

int writeBare(const std::string& name) {
    bench::BareRing ring(name, kLines, kLineBytes, false);
    std::int64_t due = platform_monotonicNanoseconds() + kGapNanoseconds;
    for (int i = 0; i < kImages; ++i, due += kGapNanoseconds) {
        platform_sleepUntil(due);
        fillHeader(ring.writeSlot(), static_cast<std::uint64_t>(i));
        ring.put();
        ring.signal();
    }
    return 0;
}

double measureBare() {
    const std::string name = "/bench_ring_" + std::to_string(getpid());
    bench::BareRing ring(name, kLines, kLineBytes, true);
    std::vector<double> microseconds;
    microseconds.reserve(kImages);
    // The time stamp as whole microseconds, as the record has it, so that both roads round alike.
    const auto take = [&](const unsigned char* slot) {
        double seconds = 0.0;
        std::memcpy(&seconds, slot + 8, sizeof seconds);
        microseconds.push_back(
            microsecondsSince(static_cast<double>(static_cast<std::uint64_t>(seconds * 1e6)) * 1e-6));
    };
    std::thread reader([&] {
        while (microseconds.size() < kImages) {
            ring.wait();
            while (const unsigned char* slot = ring.readSlot()) {
                take(slot);
                ring.release();
            }
        }
    });
    const int child = bench::startChild({"bare", name});
    bench::joinChild(child);
    reader.join();
    return bench::percentile(microseconds, 0.5);
}

bench::Result compare(const std::string& name, int processor, double aim) {
    bench::placeOn(processor);
    std::vector<double> ours;
    std::vector<double> limit;
    for (int i = 0; i < kTurns; ++i) {
        ours.push_back(measureOurs());
        limit.push_back(measureBare());
    }
    return {name, "us", bench::percentile(ours, 0.5), bench::percentile(limit, 0.5), aim};
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (argc >= 2 && std::string(argv[1]) == "ours") return writeOurs();
    if (argc >= 3 && std::string(argv[1]) == "bare") return writeBare(argv[2]);
    const bool reached = bench::report("Image hand-over 1280 x 1024, writer to callback, median of medians",
                                       {compare("both on one processor", 0, 1.15), compare("placed freely", -1, 1.15)});
    return reached ? 0 : 1;
}
