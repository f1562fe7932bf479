// Pacing and processor time of the program dorven-simulator with one reader on its ring, compared with GStreamer's live
// test source with the same size and rate and a similar pattern, in turns within one run, each in a separate process.
// Built where GStreamer is installed (Debian: libgstreamer1.0-dev gstreamer1.0-plugins-base).
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <signal.h>
#include <time.h>

#include "bench_support.h"
#include "gstreamer_pace.h"
#include "image_line.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"
#include "pace_record.h"

namespace {

using bench::Pace;

constexpr int kTurns = 5;
constexpr double kSeconds = 3.0;  // of one turn
constexpr double kPatience = 10.0;
constexpr int kRates[] = {200, 1000};

struct PatternPair {
    const char* ours;  // --pattern of the simulator
    const char* peers;
    double cpuAim;  // ratio; 0: none
};
// clang-format off
constexpr PatternPair kPatterns[] = {
    {"ramp-h-moving", "gradient", 0.0},
    {"ball",          "ball",     0.2},
    {"noise",         "snow",     0.2},
};
// clang-format on

std::filesystem::path thisProgram() { return std::filesystem::read_symlink("/proc/self/exe"); }

std::string simulatorPath() { return thisProgram().replace_filename("dorven-simulator").string(); }

std::string quoted(const std::string& path) { return std::string(1, '\'') + path + "'"; }

/// The standard output of a shell command.
std::string outputOf(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("cannot start " + command);
    std::string output;
    char piece[4096];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, pipe)) output.append(piece, count);
    if (pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
    return output;
}

// ---- ours

/// The program, until this object is destroyed. Its ring bridges moments in which a virtual machine gets no processor.
class SimulatorProcess {
public:
    SimulatorProcess(const std::string& pattern, int framesPerSecond) {
        _child = bench::startProgram(
            "/bin/sh", {"-c", "exec \"$0\" \"$@\" 2>/dev/null", simulatorPath(), "--size", "1280x1024", "--no-ask",
                        "--lines", "64", "--fps", std::to_string(framesPerSecond), "--pattern", pattern});
    }
    ~SimulatorProcess() {
        kill(_child, SIGINT);
        bench::joinChild(_child);
    }
    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    clockid_t cpuClock() const {
        clockid_t clock = 0;
        if (clock_getcpuclockid(_child, &clock) != 0) throw std::runtime_error("dorven-simulator has ended");
        return clock;
    }

private:
    int _child;
};

/// The reading end of the simulator's ring.
class RingReader {
public:
    ~RingReader() {
        if (!_memory) return;
        MMemLineFifo_Unlink(_memory);
        MSharedMem_Unlink(_memory);
    }

    /// The oldest image, in place until release; waits for it.
    const unsigned char* next() {
        if (!_memory) attach();
        for (;;) {
            if (const void* const line = MMemLineFifo_GetReadLine(_memory))
                return static_cast<const unsigned char*>(line);
            waitForSignal();
        }
    }
    void release() { MMemLineFifo_ReleaseLine(_memory); }

private:
    // The memory exists at the first signal.
    void attach() {
        waitForSignal();
        _memory = MSharedMem_Link(image_road::kImagesMemory);
        if (!_memory || MMemLineFifo_Link(_memory) == 0) throw std::runtime_error("no ring of dorven-simulator");
    }
    void waitForSignal() {
        if (_event.Wait(kPatience) != 1) throw std::runtime_error("no image from dorven-simulator");
    }

    MProcessEvent _event{image_road::kImagesEvent};
    void* _memory = nullptr;
};

struct SimulatorPace {
    Pace published;  // by the time stamps of its images, taken at their slots
    Pace arrived;    // as the reader takes them
};

SimulatorPace paceOfSimulator(const std::string& pattern, int framesPerSecond) {
    RingReader reader;
    const SimulatorProcess simulator(pattern, framesPerSecond);
    bench::PaceRecord published(framesPerSecond, kSeconds, simulator.cpuClock());
    bench::PaceRecord arrived(framesPerSecond, kSeconds, simulator.cpuClock());
    for (bool going = true; going;) {
        const unsigned char* const line = reader.next();
        const std::int64_t timeNs = bench::now();
        image_road::ImageLineHeader header;
        std::memcpy(&header, line, sizeof header);
        reader.release();
        const bool more = published.note(header.imageCounter, static_cast<std::int64_t>(header.timeStampS * 1e9));
        going = arrived.note(header.imageCounter, timeNs) || more;
    }
    return {published.pace(), arrived.pace()};
}

// ---- its peer, in this program's second role

constexpr const char* kPaceFormat = "%lf %lf %lf %lf %lf %lf\n";

int runTestSource(const char* pattern, int framesPerSecond) {
    const Pace pace = bench::paceOfTestSource(pattern, framesPerSecond, kSeconds);
    std::printf(kPaceFormat, pace.lateP50Us, pace.lateP99Us, pace.lateMaxUs, pace.framesPerSecond, pace.missing,
                pace.cpuShare);
    return 0;
}

Pace paceOfPeer(const char* pattern, int framesPerSecond) {
    const std::string command =
        quoted(thisProgram().string()) + " " + pattern + " " + std::to_string(framesPerSecond) + " </dev/null";
    Pace pace;
    const std::string figures = outputOf(command);
    if (std::sscanf(figures.c_str(), kPaceFormat, &pace.lateP50Us, &pace.lateP99Us, &pace.lateMaxUs,
                    &pace.framesPerSecond, &pace.missing, &pace.cpuShare) != 6)
        throw std::runtime_error("no figures from " + command);
    return pace;
}

// ---- both

double median(const std::vector<Pace>& turns, double Pace::*figure) {
    std::vector<double> values;
    values.reserve(turns.size());
    for (const Pace& turn : turns) values.push_back(turn.*figure);
    return bench::median(values);
}

/// The medians, but the greatest of all maxima and the sum of missing images.
Pace summary(const std::vector<Pace>& turns) {
    Pace pace;
    for (double Pace::*const figure : {&Pace::lateP50Us, &Pace::lateP99Us, &Pace::framesPerSecond, &Pace::cpuShare})
        pace.*figure = median(turns, figure);
    for (const Pace& turn : turns) {
        pace.lateMaxUs = std::max(pace.lateMaxUs, turn.lateMaxUs);
        pace.missing += turn.missing;
    }
    return pace;
}

struct Compared {
    Pace published;
    Pace arrived;
    Pace peer;
};

Compared compare(const std::string& ours, const char* peers, int framesPerSecond) {
    std::vector<Pace> published;
    std::vector<Pace> arrived;
    std::vector<Pace> peer;
    for (int turn = 0; turn < kTurns; ++turn) {
        const SimulatorPace pace = paceOfSimulator(ours, framesPerSecond);
        published.push_back(pace.published);
        arrived.push_back(pace.arrived);
        peer.push_back(paceOfPeer(peers, framesPerSecond));
    }
    return {summary(published), summary(arrived), summary(peer)};
}

/// Per image, because a source that falls behind its rate makes fewer of them.
double cpuPerImageUs(const Pace& pace) {
    return pace.framesPerSecond > 0.0 ? pace.cpuShare * 1e4 / pace.framesPerSecond : 0.0;
}

void printRow(const std::string& name, const Pace& pace) {
    std::printf("%-44s %9.1f %9.1f %9.0f %9.1f %8.0f %8.2f\n", name.c_str(), pace.lateP50Us, pace.lateP99Us,
                pace.lateMaxUs, pace.framesPerSecond, pace.missing, pace.cpuShare);
}

void printTable(int framesPerSecond, const std::string& ours, const char* peers, const Compared& compared) {
    printRow(std::to_string(framesPerSecond) + " fps, ours, " + ours + ", published", compared.published);
    printRow("    as it arrives at the reader", compared.arrived);
    printRow("    videotestsrc, " + std::string(peers), compared.peer);
    std::fflush(stdout);
}

/// All patterns at one rate.
/// @return False when images of ours are missing.
bool compareAt(int framesPerSecond, std::vector<bench::Result>& results) {
    std::vector<Compared> all;
    bool whole = true;
    for (const PatternPair& pair : kPatterns) {
        all.push_back(compare(pair.ours, pair.peers, framesPerSecond));
        printTable(framesPerSecond, pair.ours, pair.peers, all.back());
        whole = whole && all.back().arrived.missing == 0.0;
    }
    const double best = std::min_element(all.begin(), all.end(), [](const Compared& one, const Compared& other) {
                            return one.peer.lateP99Us < other.peer.lateP99Us;
                        })->peer.lateP99Us;
    const std::string rate = std::to_string(framesPerSecond) + " fps, ";
    for (std::size_t i = 0; i < std::size(kPatterns); ++i) {
        const std::string name = rate + kPatterns[i].ours;
        results.push_back({name + ", p99 beside its best", "us", all[i].published.lateP99Us, best, 1.0});
        if (kPatterns[i].cpuAim > 0.0)
            results.push_back({name + ", per image, " + kPatterns[i].peers, "us", cpuPerImageUs(all[i].published),
                               cpuPerImageUs(all[i].peer), kPatterns[i].cpuAim});
    }
    return whole;
}

bool measure() {
    std::printf("\nPacing 1280 x 1024, %d turns of %.0f s\n%-44s %9s %9s %9s %9s %8s %8s\n", kTurns, kSeconds, "",
                "late p50", "p99 us", "max us", "fps", "missing", "cpu %");
    std::vector<bench::Result> results;
    bool reached = true;
    for (const int rate : kRates) reached = compareAt(rate, results) && reached;
    if (!reached) std::puts("images of ours are missing  missed");
    return bench::report("Pacing and processor time, medians of turns", results, "videotestsrc") && reached;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (argc == 3) return runTestSource(argv[1], std::atoi(argv[2]));
    try {
        return measure() ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench: %s\n", problem.what());
        return 1;
    }
}
