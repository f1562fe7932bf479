// Event round trip between two processes: MProcessEvent compared with a bare shared futex word, in turns within one
// run.
// Waits with a limit are compared with bare waits with a limit, endless ones with endless ones, because starting the
// kernel's timer costs time on either side.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "bare_ring.h"
#include "bench_support.h"
#include "mprocessevent.h"

namespace {

constexpr int kRounds = 20'000;
constexpr int kTurns = 15;

// Both directions of a round trip, whatever carries them.
struct Link {
    virtual ~Link() = default;
    virtual void ask() = 0;
    virtual void awaitAnswer() = 0;
    virtual void awaitQuestion() = 0;
    virtual void answer() = 0;
};

struct EventLink : Link {
    EventLink(const std::string& name, double waitSeconds)
        : there((name + "_there").c_str()), back((name + "_back").c_str()), seconds(waitSeconds) {}
    void ask() override { there.Set(); }
    void awaitAnswer() override { back.Wait(seconds); }
    void awaitQuestion() override { there.Wait(seconds); }
    void answer() override { back.Set(); }
    MProcessEvent there;
    MProcessEvent back;
    double seconds;
};

struct FutexLink : Link {
    FutexLink(const std::string& name, bool create, int limitMs)
        : page("/" + name, create), words(page.words()), waitMs(limitMs) {}
    void ask() override { bench::futexSet(words[0], words[1]); }
    void awaitAnswer() override { bench::futexWait(words[16], words[17], waitMs); }
    void awaitQuestion() override { bench::futexWait(words[0], words[1], waitMs); }
    void answer() override { bench::futexSet(words[16], words[17]); }
    bench::SharedPage page;
    std::atomic<std::uint32_t>* words;
    int waitMs;
};

constexpr double kEndless = -0.001;  // its milliseconds are those of an endless wait

// Kinds: event, futex: with a limit of 10 s; event-endless, futex-endless.
std::unique_ptr<Link> makeLink(const std::string& kind, const std::string& name, bool create) {
    const bool endless = kind.find("-endless") != std::string::npos;
    if (kind.rfind("event", 0) == 0) return std::make_unique<EventLink>(name, endless ? kEndless : 10.0);
    return std::make_unique<FutexLink>(name, create, endless ? 0 : 10'000);
}

int answer(const std::string& kind, const std::string& name) {
    const auto link = makeLink(kind, name, false);
    for (int i = 0; i < kRounds; ++i) {
        link->awaitQuestion();
        link->answer();
    }
    return 0;
}

// Microseconds per round trip of one turn.
double measure(const std::string& kind) {
    const std::string name = "bench_event_" + std::to_string(getpid());
    const auto link = makeLink(kind, name, true);
    const int child = bench::startChild({kind, name});
    link->ask();  // the first trip waits for the child's start
    link->awaitAnswer();
    const long long start = bench::now();
    for (int i = 1; i < kRounds; ++i) {
        link->ask();
        link->awaitAnswer();
    }
    const double microseconds = static_cast<double>(bench::now() - start) * 1e-3 / (kRounds - 1);
    bench::joinChild(child);
    return microseconds;
}

bench::Result compare(const std::string& name, int processor, const std::string& variant) {
    bench::placeOn(processor);
    std::vector<double> ours;
    std::vector<double> limit;
    for (int i = 0; i < kTurns; ++i) {
        ours.push_back(measure("event" + variant));
        limit.push_back(measure("futex" + variant));
    }
    return {name, "us", bench::median(ours), bench::median(limit), 1.10};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3) return answer(argv[1], argv[2]);
    const bool reached = bench::report("Event round trip, two processes, median of turns",
                                       {compare("wait with a limit, both on one processor", 0, ""),
                                        compare("wait with a limit, placed freely", -1, ""),
                                        compare("endless wait, both on one processor", 0, "-endless"),
                                        compare("endless wait, placed freely", -1, "-endless")});
    return reached ? 0 : 1;
}
