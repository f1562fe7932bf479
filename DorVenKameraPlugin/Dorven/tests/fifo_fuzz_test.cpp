// A misbehaving simulator: it stores anything into any field of the ring's header, at any time. The numbers of each
// round come from a seed, which is printed; DORVEN_FUZZ_SEED sets it again.
#include <algorithm>
#include <iterator>

#include "acquisition_processes.h"
#include "errtrace.h"
#include "hurtful_numbers.h"
#include "image_line.h"
#include "object_names.h"

namespace {

using namespace test::processes;

const char kFile[] = "fifo_fuzz_test";

constexpr int kRounds = 10000;

/// Rounds of a test. Each look at the ring lets other threads run first, which is slow on a busy machine: then fewer
/// rounds.
class Rounds {
public:
    bool next() {
        ++_done;
        return _done <= kRounds && (_done <= kRounds / 20 || std::chrono::steady_clock::now() < _end);
    }
    bool isEachOf(int count) const { return _done % count == 0; }
    int done() const { return _done; }

private:
    int _done = 0;
    std::chrono::steady_clock::time_point _end = std::chrono::steady_clock::now() + 15s;
};
constexpr std::size_t kLines = 6;
constexpr std::size_t kLineLength = sizeof(image_road::ImageLineHeader) + kPixelBytes;
constexpr std::size_t kMemoryBytes = MMemLineFifo_MemoryBytes(kLines, kLineLength);
constexpr std::uint64_t LineFifoHeader::*kFields[] = {
    &LineFifoHeader::writerMark, &LineFifoHeader::writeIndex, &LineFifoHeader::readerMark,
    &LineFifoHeader::readIndex,  &LineFifoHeader::lineLength, &LineFifoHeader::slotCount,
};

class Misbehaviour : public test::HurtfulNumbers {
public:
    explicit Misbehaviour(unsigned seed)
        : HurtfulNumbers(seed, {kLines, kLineLength, kMemoryBytes, kMemoryBytes / 2}) {}

    void store(void* memory, std::uint64_t LineFifoHeader::*field, std::uint64_t value) {
        std::atomic_ref(static_cast<LineFifoHeader*>(memory)->*field).store(value);
    }
    void damageOne(void* memory) { store(memory, kFields[below(std::size(kFields))], value()); }
};

/// Reads the ring while it is damaged further, and reads every byte of each line.
void readAll(kest::dorven::ImageFifo& fifo, Misbehaviour& simulator, std::uint64_t damages) {
    const auto* const begin = static_cast<const unsigned char*>(fifo.ring.memory());
    std::uint64_t lines = 0;
    while (const unsigned char* line = kest::dorven::frontLine(fifo)) {
        ASSERT_GE(line, begin + sizeof(LineFifoHeader));
        ASSERT_LE(line + fifo.ring.lineLength(), begin + kMemoryBytes);
        ASSERT_GE(fifo.ring.lineLength(), sizeof(image_road::ImageLineHeader));
        ASSERT_LE(++lines, fifo.ring.slotCount() * (damages + 2)) << "a loop without end";
        if (lines <= damages) simulator.damageOne(fifo.ring.memory());
        kest::dorven::popLine(fifo);
    }
}

class MisbehavingSimulator : public testing::Test {
protected:
    ~MisbehavingSimulator() override { test::dropImagesMemory(); }
    /// Opens the ring, damages and reads it, closes it; afterwards an intact ring must work again.
    template <typename Damage>
    void runRounds(Damage damage) {
        for (Rounds rounds; rounds.next() && !HasFatalFailure();) {
            SCOPED_TRACE(rounds.done());
            MMemLineFifo_Create(_memory, kLines, kLineLength);
            for (std::uint64_t i = _simulator.below(kLines + 1); i > 0; --i) MMemLineFifo_PutLine(_memory);
            damage();
            if (rounds.isEachOf(kRounds / 20)) expectUsable();
            if (rounds.isEachOf(kRounds / 20)) _log.clear();
        }
    }
    void expectUsable() {
        MMemLineFifo_Create(_memory, kLines, kLineLength);
        MMemLineFifo_PutLine(_memory);
        auto fifo = kest::dorven::openImageFifo();
        EXPECT_NE(kest::dorven::frontLine(fifo), nullptr);
        kest::dorven::popLine(fifo);
        EXPECT_EQ(kest::dorven::frontLine(fifo), nullptr);
        EXPECT_TRUE(fifo.ring.isReadable());
        kest::dorven::closeImageFifo(fifo);
    }

    test::LogRecorder _log{3};
    void* _memory = MSharedMem_Create(image_road::kImagesMemory, kMemoryBytes);
    Misbehaviour _simulator{test::fuzzSeed()};
};

TEST_F(MisbehavingSimulator, AnyFieldsStoredWhileTheRingIsReadLeadNowhereOutOfIt) {
    runRounds([this] {
        auto fifo = kest::dorven::openImageFifo();
        ASSERT_TRUE(fifo);
        for (std::uint64_t i = _simulator.below(4); i > 0; --i) _simulator.damageOne(_memory);
        readAll(fifo, _simulator, _simulator.below(4));
        kest::dorven::closeImageFifo(fifo);
    });
}

TEST_F(MisbehavingSimulator, AnyGeometryAtTheOpeningStaysInsideTheMapping) {
    runRounds([this] {
        _simulator.store(_memory, &LineFifoHeader::lineLength, _simulator.value());
        _simulator.store(_memory, &LineFifoHeader::slotCount, _simulator.value());
        if (_simulator.below(2) == 0) _simulator.store(_memory, &LineFifoHeader::writeIndex, _simulator.value());
        auto fifo = kest::dorven::openImageFifo();
        ASSERT_TRUE(fifo);
        if (fifo.ring.isReadable() && fifo.ring.slotCount() > 0) {
            // Division, because the product of stored numbers may wrap.
            EXPECT_LE(fifo.ring.lineLength(), (kMemoryBytes - sizeof(LineFifoHeader)) / fifo.ring.slotCount());
        }
        readAll(fifo, _simulator, 0);
        kest::dorven::closeImageFifo(fifo);
    });
}

/// Waits a short time until a condition is true.
template <typename Condition>
void waitShortly(std::chrono::microseconds limit, Condition&& condition) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
}

/// Many rounds: creates its ring, usually lets the camera attach, puts some images, signals, and stores anything while
/// the camera reads. In some rounds it waits as long as a camera on a busy machine needs.
/// argument: the seed
CHILD_ROLE(misbehaves) {
    Misbehaviour simulator(static_cast<unsigned>(std::stoul(arguments.at(0))));
    test::SimulatorRing ring(kPixelBytes, kLines);
    for (Rounds rounds; rounds.next();) {
        const bool patient = simulator.below(8) == 0;
        ring.lay(kLines);
        ring.signal();
        waitShortly(patient ? 100ms : std::chrono::microseconds(simulator.below(1000)),
                    [&] { return ring.hasReader(); });
        for (std::uint64_t i = simulator.below(4); i > 0; --i) ring.put(i, 1.0, 1.0, test::fillOf(i));
        const bool early = simulator.below(2) == 0;
        if (early) ring.signal();
        if (early && patient) waitShortly(100ms, [&] { return MMemLineFifo_GetCount(ring.memory()) == 0; });
        for (const auto field : kFields) simulator.store(ring.memory(), field, simulator.value());
        if (!early) ring.signal();
        std::this_thread::sleep_for(patient ? 1000us : 50us);  // lets the camera look at most of it
    }
    return 0;
}

CHILD_ROLE(behaves) {
    test::SimulatorRing ring(kPixelBytes, kLines);
    return test::writeImages(ring, 1, 20) ? 0 : 1;
}

/// The greatest distance from the mapping's start that a delivered line reaches, from traced line lengths at each
/// opening and from where each image began.
std::size_t farthestEnd(const std::vector<std::string>& traces) {
    const std::string opening = "kest::dorven::TeskImages::imageThread() : image fifo has lines of ",
                      image = "image at ";
    std::size_t pixelBytes = 0, farthest = 0;
    for (const std::string& text : traces) {
        if (text.starts_with(opening)) pixelBytes = std::stoull(text.substr(opening.size()));
        if (text.starts_with(image))
            farthest = std::max<std::size_t>(farthest, std::stoull(text.substr(image.size())) + pixelBytes);
    }
    return farthest;
}

TEST(MisbehavingProcess, DoesNotTakeTheCameraDownNorOutOfItsImages) {
    test::LogRecorder log;
    auto* const memory = static_cast<unsigned char*>(MSharedMem_Create(image_road::kImagesMemory, kMemoryBytes));
    SmallSource source(std::make_shared<MProcessEvent>(image_road::kImagesEvent));
    source.imageMemory()->width = kMemoryBytes;  // so that the length of lines is traced: they are always shorter
    test::ReceivedImages received;
    std::atomic<int> strays = 0;
    std::atomic<unsigned> sum = 0;
    received.inside = [&] {
        const unsigned char* const pixels = received.last().pixels;
        if (pixels < memory + 64 + 24 || pixels > memory + kMemoryBytes) {
            ++strays;
            return;
        }
        M_TRACE(4, "image at %d", static_cast<int>(pixels - memory));
        const unsigned char* const end = std::min<const unsigned char*>(pixels + kPixelBytes, memory + kMemoryBytes);
        for (const unsigned char* byte = pixels; byte < end; byte += 512) sum += *byte;
    };
    source.setCallback(&received, &test::ReceivedImages::callback);
    ASSERT_TRUE(source.grab());
    test::ChildProcess simulator("misbehaves", {std::to_string(test::fuzzSeed())});
    EXPECT_EQ(simulator.join(120s), 0);
    EXPECT_EQ(strays, 0);
    EXPECT_LE(farthestEnd(log.traces()), kMemoryBytes);
    EXPECT_GT(farthestEnd(log.traces()), sizeof(LineFifoHeader) + kLineLength) << "no line was seen";
    const auto errors = log.errors();
    const auto isReport = [](const std::string& text) {
        return text.find("() : image fifo is inconsistent: ") != std::string::npos;
    };
    EXPECT_GE(std::count_if(errors.begin(), errors.end(), isReport), 5) << "the camera hardly saw any of it";

    const std::size_t before = received.count();
    test::ChildProcess successor("behaves");
    EXPECT_EQ(successor.join(60s), 0);
    EXPECT_TRUE(received.waitFor(before + 20));
    EXPECT_TRUE(source.freeze());
    const auto counters = received.counters();
    ASSERT_GE(counters.size(), 20u);
    EXPECT_EQ(std::vector<std::uint32_t>(counters.end() - 20, counters.end()), test::consecutive(1, 20));
    test::dropImagesMemory();
}

}  // namespace
