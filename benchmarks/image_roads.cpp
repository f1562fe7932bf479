#include "image_roads.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <utility>

#include <malloc.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

#include "TeskImages.h"
#include "bare_ring.h"
#include "bench_support.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"
#include "platform.h"

namespace bench {
namespace {

using namespace std::chrono_literals;

constexpr int kSettled = 1'000;  // images after which memory is expected to grow no more

// ---- ours: line fifo and event on the writer's side, the image source with its callback on the reader's

class OurWriter : public ImageWriter {
public:
    OurWriter()
        : _memory(MSharedMem_LinkOrCreate(image_road::kImagesMemory, MMemLineFifo_MemoryBytes(kLines, kLineBytes))) {
        if (!_memory || !MMemLineFifo_Create(_memory, kLines, kLineBytes)) std::exit(1);
    }
    ~OurWriter() override {
        MMemLineFifo_Destroy(_memory);
        MSharedMem_Destroy(_memory);
    }
    unsigned char* slot() override {
        return MMemLineFifo_GetFree(_memory) == 0 ? nullptr
                                                  : static_cast<unsigned char*>(MMemLineFifo_GetWriteLine(_memory));
    }
    void publish() override {
        MMemLineFifo_PutLine(_memory);
        _event.Notify();
    }
    bool isDrained() override { return MMemLineFifo_GetCount(_memory) == 0; }

private:
    void* _memory;
    MProcessEvent _event{image_road::kImagesEvent};
};

class OurReader : public ImageReader {
public:
    explicit OurReader(ImageSink sink) : _sink(std::move(sink)) {
        _source->setCallback(this, [](void* context, NUV::IMAGEMEMORY* record) {
            static_cast<OurReader*>(context)->_sink(record->imageCounter, static_cast<double>(record->timeStamp));
            return 0;
        });
        _source->grab();
    }
    ~OurReader() override { _source->freeze(); }

private:
    ImageSink _sink;
    std::shared_ptr<kest::dorven::TeskImages> _source = kest::dorven::TeskImages::create(nullptr);
};

// ---- the limit

class BareWriter : public ImageWriter {
public:
    explicit BareWriter(const std::string& object) : _ring("/" + object, kLines, kLineBytes, false) {}
    unsigned char* slot() override { return _ring.isFull() ? nullptr : _ring.writeSlot(); }
    void publish() override {
        _ring.put();
        _ring.signal();
    }
    bool isDrained() override { return _ring.readSlot() == nullptr; }

private:
    BareRing _ring;
};

class BareReader : public ImageReader {
public:
    BareReader(const std::string& object, ImageSink sink)
        : _ring("/" + object, kLines, kLineBytes, true), _sink(std::move(sink)), _thread([this] { read(); }) {}
    ~BareReader() override {
        _stopped = true;
        _ring.signal();
        _thread.join();
    }

private:
    void read() {
        while (!_stopped) {
            _ring.wait();
            while (const unsigned char* slot = _ring.readSlot()) {
                std::uint64_t counter = 0;
                std::memcpy(&counter, slot, sizeof counter);
                _sink(counter, stampOf(slot));
                _ring.release();
            }
        }
    }

    BareRing _ring;
    ImageSink _sink;
    std::atomic<bool> _stopped{false};
    std::thread _thread;
};

// ---- both processes

double cpuMicroseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) * 1e-3;
}

long residentKiB() {
    long pages = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
        std::fclose(file);
    }
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

long heapBytes() { return static_cast<long>(mallinfo2().uordblks); }

void writeOne(unsigned char* slot, std::uint64_t counter, bool everyByte) {
    if (everyByte) std::memset(slot + kLineHeaderBytes, static_cast<int>(counter & 0xFF), kImageBytes);
    const double seconds = static_cast<double>(now()) * 1e-9;  // straight before the slot is handed over
    std::memcpy(slot, &counter, sizeof counter);
    std::memcpy(slot + offsetof(image_road::ImageLineHeader, timeStampS), &seconds, sizeof seconds);
}

// What the reader records while images arrive.
struct Notes {
    int images = 0;
    long long firstAt = 0, lastAt = 0;
    double cpuAtFirst = 0.0, cpuAtLast = 0.0;
    long settledKiB = 0, settledHeap = 0;
    std::vector<double> latenciesUs;

    void note(const Load& load, double stampUs) {
        const long long time = now();
        if (load.gapNanoseconds > 0) latenciesUs.push_back(static_cast<double>(time) * 1e-3 - stampUs);
        ++images;
        if (images == 1) {
            firstAt = time;
            cpuAtFirst = cpuMicroseconds();
        }
        if (images == kSettled) {
            settledKiB = residentKiB();
            settledHeap = heapBytes();
        }
        if (images == load.images) {
            lastAt = time;
            cpuAtLast = cpuMicroseconds();
        }
    }
};

}  // namespace

const Road kOurs{"ours",
                 [](const std::string&) -> std::unique_ptr<ImageWriter> { return std::make_unique<OurWriter>(); },
                 [](const std::string&, ImageSink sink) -> std::unique_ptr<ImageReader> {
                     return std::make_unique<OurReader>(std::move(sink));
                 }};

const Road kBare{
    "bare",
    [](const std::string& object) -> std::unique_ptr<ImageWriter> { return std::make_unique<BareWriter>(object); },
    [](const std::string& object, ImageSink sink) -> std::unique_ptr<ImageReader> {
        return std::make_unique<BareReader>(object, std::move(sink));
    }};

double stampOf(const unsigned char* line) {
    double seconds = 0.0;
    std::memcpy(&seconds, line + 8, sizeof seconds);
    return static_cast<double>(static_cast<std::uint64_t>(seconds * 1e6));
}

int writeImages(const std::vector<Road>& roads, int argc, char** argv) {
    if (argc != 6) return -1;
    const Load load{std::atoi(argv[3]), std::atoll(argv[4]), argv[5][0] == '1'};
    for (const Road& road : roads) {
        if (road.name != std::string(argv[1])) continue;
        SharedPage page(std::string("/") + argv[2] + "_cpu", false);
        const auto writer = road.makeWriter(argv[2]);
        double started = 0.0;
        std::int64_t due = platform_monotonicNanoseconds() + load.gapNanoseconds;
        for (int i = 0; i < load.images; ++i, due += load.gapNanoseconds) {
            if (load.gapNanoseconds > 0) platform_sleepUntil(due);
            unsigned char* slot = writer->slot();
            for (; !slot; slot = writer->slot()) sched_yield();
            writeOne(slot, static_cast<std::uint64_t>(i), load.everyByte);
            writer->publish();
            if (i == 0) started = cpuMicroseconds();
        }
        page.words()[0] = static_cast<std::uint32_t>(cpuMicroseconds() - started);
        for (int i = 0; i < 5'000 && !writer->isDrained(); ++i) std::this_thread::sleep_for(1ms);
        return writer->isDrained() ? 0 : 1;
    }
    return -1;
}

Carried carryImages(const Road& road, const Load& load) {
    const std::string object = "bench_" + std::to_string(getpid());
    SharedPage page("/" + object + "_cpu", true);
    Notes notes;
    notes.latenciesUs.reserve(static_cast<std::size_t>(load.gapNanoseconds > 0 ? load.images : 0));
    long heap = 0;
    long resident = 0;
    int exitCode = 0;
    {
        const auto reader = road.makeReader(object, [&](std::uint64_t, double stampUs) { notes.note(load, stampUs); });
        exitCode = joinChild(startChild({road.name, object, std::to_string(load.images),
                                         std::to_string(load.gapNanoseconds), load.everyByte ? "1" : "0"}));
        heap = heapBytes();
        resident = residentKiB();
    }
    if (exitCode != 0 || notes.images != load.images) {
        std::fprintf(stderr, "bench: %d of %d images arrived over %s\n", notes.images, load.images, road.name);
        std::exit(1);
    }
    const double images = std::max(1, load.images - 1);
    return {std::move(notes.latenciesUs), images * 1e9 / static_cast<double>(notes.lastAt - notes.firstAt),
            (notes.cpuAtLast - notes.cpuAtFirst + static_cast<double>(page.words()[0].load())) / images,
            resident - notes.settledKiB, heap - notes.settledHeap};
}

}  // namespace bench
