// Sends images from a second process to the image source in several ways, whose system calls
// scripts/count_system_calls.sh counts: to a sleeping reader, to a waking one, to none; also a grab without a
// simulator. The calls are counted between two marks that only a tracer sees.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

#include "TeskImages.h"
#include "bare_ring.h"
#include "bench_support.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"
#include "platform.h"

namespace {

constexpr std::size_t kLineBytes = 4096;
constexpr std::size_t kLines = 8;
constexpr int kImages = 200;  // to a reader that sleeps
constexpr int kRounds = 40;   // in each a batch while the reader is inside its callback
constexpr int kBatch = 6;
constexpr std::int64_t kMillisecond = 1'000'000;
constexpr double kSilenceSeconds = 7.0;
constexpr double kSimulatorWaitSeconds = 2.0;
constexpr double kFakedRate = 50.0;
constexpr int kFakedImages = 100;

void mark(const char* what, const char* phase) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "mark %s %s", what, phase);
    [[maybe_unused]] const auto ignored = write(-1, text, static_cast<std::size_t>(length));
}

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

// What both processes see.
struct Meeting {
    explicit Meeting(bool create) : page("/bench_system_calls", create) {}
    bench::SharedPage page;
    std::atomic<std::uint32_t>& images = page.words()[0];       // taken by the callback
    std::atomic<std::uint32_t>& holdsReader = page.words()[1];  // 1: the callback does not return
};

// ---- the writing process

class Writer {
public:
    Writer()
        : _memory(MSharedMem_LinkOrCreate(image_road::kImagesMemory, MMemLineFifo_MemoryBytes(kLines, kLineBytes))) {
        if (!_memory || !MMemLineFifo_Create(_memory, kLines, kLineBytes)) fail("no ring");
    }
    ~Writer() {
        MMemLineFifo_Destroy(_memory);
        MSharedMem_Destroy(_memory);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    void send(const char* phase) {
        mark("begin", phase);
        MMemLineFifo_GetWriteLine(_memory);
        MMemLineFifo_PutLine(_memory);
        _event.Notify();
        mark("end", phase);
        ++_sent;
    }
    void awaitTaken() const {
        for (int i = 0; _meeting.images < _sent; ++i) {
            if (i == 10'000) fail("images are not taken");
            pause(1);
        }
    }
    static void pause(int milliseconds) {
        platform_sleepUntil(platform_monotonicNanoseconds() + milliseconds * kMillisecond);
    }
    Meeting& meeting() { return _meeting; }

private:
    void* _memory;
    MProcessEvent _event{image_road::kImagesEvent};
    Meeting _meeting{false};
    std::uint32_t _sent = 0;
};

int writeAll() {
    Writer writer;
    for (int i = 0; i < kImages; ++i) {
        writer.send("writer-reader-asleep");
        writer.awaitTaken();
        Writer::pause(5);  // the reader is in its wait again
    }
    for (int i = 0; i < kRounds; ++i) {
        writer.meeting().holdsReader = 1;
        writer.send("writer-first-of-batch");
        writer.awaitTaken();  // now the reader is inside its callback
        for (int k = 0; k < kBatch; ++k) writer.send("writer-reader-awake");
        writer.meeting().holdsReader = 0;
        writer.awaitTaken();
        Writer::pause(5);
    }
    return 0;
}

// ---- the reading process

struct Reader {
    Meeting meeting{true};
    bool between = false;
};

int onImage(void* context, NUV::IMAGEMEMORY*) {
    auto& reader = *static_cast<Reader*>(context);
    if (reader.between) mark("end", "reader-image");
    ++reader.meeting.images;
    while (reader.meeting.holdsReader != 0) {
    }
    reader.between = true;
    mark("begin", "reader-image");
    return 0;
}

void readAll() {
    Reader reader;
    const auto source = kest::dorven::TeskImages::create(nullptr);
    source->setCallback(&reader, onImage);
    source->grab();
    if (bench::joinChild(bench::startChild({"writer"})) != 0) fail("the writer failed");
    source->freeze();
}

// ---- a grab without a simulator

/// Marks the interval from the start of one wait to the start of the next, and counts the waits. The first one is not
/// marked: in it the process takes a seat, which costs one call once. Waits for a simulator may be answered at once.
class MarkedWaits : public MProcessEvent {
public:
    MarkedWaits(const char* phase, bool skipsSimulator)
        : MProcessEvent(nullptr), _phase(phase), _skipsSimulator(skipsSimulator) {}
    int Wait(double seconds) override {
        if (_skipsSimulator && seconds >= kSimulatorWaitSeconds) return -1;
        if (++waits > 2) mark("end", _phase);
        if (waits > 1) mark("begin", _phase);
        return MProcessEvent::Wait(seconds);
    }
    std::atomic<int> waits{0};

private:
    const char* _phase;
    bool _skipsSimulator;
};

void grabInSilence() {
    const auto waits = std::make_shared<MarkedWaits>("silent-wait", false);
    const auto source = std::make_shared<kest::dorven::TeskImages>(waits);
    source->grab();
    Writer::pause(static_cast<int>(kSilenceSeconds * 1e3));
    source->freeze();
    if (waits->waits > static_cast<int>(kSilenceSeconds / kSimulatorWaitSeconds) + 1) fail("too many waits in silence");
}

void grabFaked() {
    const auto waits = std::make_shared<MarkedWaits>("faking-wait", true);
    const auto source = std::make_shared<kest::dorven::TeskImages>(waits);
    source->setFrameRate(kFakedRate);
    source->grab();
    Writer::pause(static_cast<int>(1e3 * kFakedImages / kFakedRate));
    source->freeze();
    if (waits->waits > kFakedImages + 1) fail("too many waits while faking");
}

}  // namespace

int main(int argc, char**) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench-calls", 0);
    if (argc > 1) return writeAll();
    readAll();
    grabInSilence();
    grabFaked();
    return 0;
}
