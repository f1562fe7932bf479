// Stress test of named objects: six processes create, open and close a few shared names at random, and are killed at
// random, hundreds of times a second. It checks all the time that no name is lost under a living holder and that the
// content of an earlier object never appears; at the end, that one sweep removes every file that killed processes left.
//
//   object_stress [SECONDS [SEED [KILLS_PER_SECOND]]]     default 60 1 550
//
// The processes are forked from one that never touches a named object itself. They publish in anonymous memory (Board)
// what they hold. A claim counts only if it was the same before and after a call: then its owner held the name during
// the whole call.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "object_look.h"
#include "platform.h"

namespace {

using std::chrono::steady_clock;

constexpr std::size_t kWorkers = 6;
constexpr std::size_t kMappings = 4;  // the first names; those after them are events
constexpr std::size_t kNames = 6;
constexpr std::size_t kPage = 4096;
constexpr double kUsualKillsPerSecond = 550.0;

using Word = std::uint64_t;

struct Slot {
    std::atomic<Word> life;                            // 0: dead, or about to be killed; unique per process
    std::array<std::atomic<Word>, kNames> token;       // 0: not held; unique per hold
    std::array<std::atomic<Word>, kNames> generation;  // what the held object is stamped with; 0: not stamped
};

// What all processes see; anonymous shared memory, zeroed.
struct Board {
    std::array<Slot, kWorkers> slots;
    std::array<std::atomic<Word>, kNames> generations;  // objects created so far under each name
    std::atomic<Word> tokens;
    std::atomic<Word> created, attached, absent, againstHolder, clashes;
    std::atomic<bool> violating;  // one process is the first; killed there, it leaves its text in part
    std::atomic<bool> violated;
    std::array<char, 400> violation;
};

Board* board = nullptr;

std::string nameOf(std::size_t index) { return "stress_" + std::to_string(index); }
bool isMapping(std::size_t index) { return index < kMappings; }
std::size_t wordsOf(std::size_t index) { return (index % 3 + 1) * kPage / sizeof(Word); }

/// Records the first violation, and ends this process.
[[noreturn]] void violate(const char* format, ...) {
    std::array<char, std::tuple_size_v<decltype(Board::violation)>> text{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (!board->violating.exchange(true)) {
        board->violation = text;
        board->violated = true;  // after its text: who sees it may print that
    }
    std::_Exit(3);
}

// ---------------------------------------------------------------------------------------------- one random process

/// What another process says it holds.
struct Claim {
    std::size_t worker;
    Word life;
    Word token;
    Word generation;
};

class Worker {
public:
    Worker(std::size_t self, Word seed) : _self(self), _random(seed) {}

    [[noreturn]] void run() {
        for (;;) step();
    }

private:
    struct Hold {
        HANDLE handle = nullptr;
        Word* words = nullptr;  // of a mapping
        Word generation = 0;
    };

    std::size_t below(std::size_t count) { return static_cast<std::size_t>(_random() % count); }

    void step() {
        const std::size_t name = below(kNames);
        Hold& hold = _holds[name];
        if (!hold.handle && !hold.words) {
            if (below(4) != 0) return;  // few at a time, so that a name often has no holder
            acquire(name, below(3) != 0);
        } else if (below(4) == 0) {
            checkWholeStamp(name, hold.words, hold.generation);
        } else if (hold.handle && below(8) == 0) {
            checkOtherKind(name);
        } else {
            release(name);
        }
        if (below(16) == 0) std::this_thread::sleep_for(std::chrono::microseconds(below(300)));
    }

    std::vector<Claim> claimsOn(std::size_t name) const {
        std::vector<Claim> claims;
        for (std::size_t worker = 0; worker < kWorkers; ++worker) {
            const Slot& slot = board->slots[worker];
            const Word life = slot.life;
            const Word token = slot.token[name];
            if (worker != _self && life != 0 && token != 0)
                claims.push_back({worker, life, token, slot.generation[name]});
        }
        return claims;
    }

    /// One of the claims that is still valid, so its owner held the name during the whole time.
    static std::optional<Claim> standing(const std::vector<Claim>& claims, std::size_t name) {
        for (const Claim& claim : claims) {
            const Slot& slot = board->slots[claim.worker];
            if (slot.token[name] == claim.token && slot.life == claim.life) return claim;
        }
        return std::nullopt;
    }

    static HANDLE create(std::size_t name) {
        const std::string text = nameOf(name);
        if (!isMapping(name)) return CreateEventA(nullptr, FALSE, FALSE, text.c_str());
        return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                  static_cast<DWORD>(wordsOf(name) * sizeof(Word)), text.c_str());
    }

    static HANDLE open(std::size_t name, bool asMapping) {
        const std::string text = nameOf(name);
        return asMapping ? OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, text.c_str())
                         : OpenEventA(EVENT_ALL_ACCESS, FALSE, text.c_str());
    }

    void acquire(std::size_t name, bool creates) {
        const Word olderThan = board->generations[name];
        const auto claims = claimsOn(name);
        const HANDLE handle = creates ? create(name) : open(name, isMapping(name));
        const DWORD error = GetLastError();
        const auto holder = standing(claims, name);
        if (holder) ++board->againstHolder;
        if (!handle) {
            if (creates || error != ERROR_FILE_NOT_FOUND)
                violate("%s: %s failed with error %u", nameOf(name).c_str(), creates ? "create" : "open", error);
            if (holder) violate("%s: lost: absent while process %zu holds it", nameOf(name).c_str(), holder->worker);
            ++board->absent;
            return;
        }
        const bool fresh = creates && error != ERROR_ALREADY_EXISTS;
        if (fresh && holder)
            violate("%s: lost: made anew while process %zu holds it", nameOf(name).c_str(), holder->worker);
        ++(fresh ? board->created : board->attached);
        Hold& hold = _holds[name];
        hold.handle = handle;
        if (isMapping(name))
            takeMapping(name, hold, fresh, olderThan, holder);
        else
            takeEvent(name, hold, fresh);
        if (hold.handle) claim(name, hold.generation);
    }

    void takeMapping(std::size_t name, Hold& hold, bool fresh, Word olderThan, const std::optional<Claim>& holder) {
        hold.words = static_cast<Word*>(MapViewOfFile(hold.handle, FILE_MAP_ALL_ACCESS, 0, 0, 0));
        if (!hold.words) violate("%s: mapping failed with error %u", nameOf(name).c_str(), GetLastError());
        MEMORY_BASIC_INFORMATION region{};
        VirtualQuery(hold.words, &region, sizeof region);
        if (region.RegionSize != wordsOf(name) * sizeof(Word)) violate("%s: wrong size", nameOf(name).c_str());
        hold.generation = fresh ? stamp(name, hold.words) : readStamp(name, hold.words);
        if (!fresh && hold.generation != 0 && hold.generation < olderThan)
            violate("%s: stale: generation %llu seen after generation %llu was made", nameOf(name).c_str(),
                    static_cast<unsigned long long>(hold.generation), static_cast<unsigned long long>(olderThan));
        if (holder && holder->generation != 0 && holder->generation != hold.generation)
            violate("%s: another object than its holder's", nameOf(name).c_str());
        if (below(2) == 0) CloseHandle(std::exchange(hold.handle, nullptr));  // a view keeps its bytes, not the name
    }

    // A process that creates an event signals it, and nobody else uses it: a new one that is signalled is an old one.
    static void takeEvent(std::size_t name, const Hold& hold, bool fresh) {
        if (!fresh) return;
        if (WaitForMultipleObjects(1, &hold.handle, FALSE, 0) != WAIT_TIMEOUT)
            violate("%s: stale: a new event is signalled", nameOf(name).c_str());
        SetEvent(hold.handle);
    }

    static Word wordAt(Word* words, std::size_t index) {
        return std::atomic_ref(words[index]).load(std::memory_order_acquire);
    }

    /// Fills a new mapping with its generation, the first word last.
    static Word stamp(std::size_t name, Word* words) {
        for (std::size_t i = 0; i < wordsOf(name); ++i)
            if (wordAt(words, i) != 0) violate("%s: stale: a new mapping is not zeroed", nameOf(name).c_str());
        const Word generation = ++board->generations[name];
        for (std::size_t i = wordsOf(name); i-- > 0;)
            std::atomic_ref(words[i]).store(generation, std::memory_order_release);
        return generation;
    }

    /// The generation of an existing mapping; 0 when its creator has not finished, or was killed before.
    static Word readStamp(std::size_t name, Word* words) {
        const Word generation = wordAt(words, 0);
        if (generation != 0) checkWholeStamp(name, words, generation);
        return generation;
    }

    static void checkWholeStamp(std::size_t name, Word* words, Word generation) {
        if (!words || generation == 0) return;
        for (std::size_t i = 0; i < wordsOf(name); ++i)
            if (wordAt(words, i) != generation) violate("%s: foreign content in a mapping", nameOf(name).c_str());
    }

    static void checkOtherKind(std::size_t name) {
        if (open(name, !isMapping(name)) || GetLastError() != ERROR_INVALID_HANDLE)
            violate("%s: a held object can be had as another kind", nameOf(name).c_str());
        ++board->clashes;
    }

    void claim(std::size_t name, Word generation) const {
        Slot& slot = board->slots[_self];
        slot.generation[name] = generation;
        slot.token[name] = ++board->tokens;
    }

    void release(std::size_t name) {
        board->slots[_self].token[name] = 0;  // before the object is let go
        Hold& hold = _holds[name];
        const bool handleFirst = below(2) == 0;
        if (handleFirst && hold.handle) CloseHandle(std::exchange(hold.handle, nullptr));
        if (hold.words && !UnmapViewOfFile(hold.words)) violate("%s: unmapping failed", nameOf(name).c_str());
        if (hold.handle && !CloseHandle(hold.handle)) violate("%s: closing failed", nameOf(name).c_str());
        hold = {};
    }

    std::size_t _self;
    std::mt19937_64 _random;
    std::array<Hold, kNames> _holds;
};

// ---------------------------------------------------------------------------------------- the process that kills

/// The six processes: killed one at a time, each replaced when it is gone. The next kill does not wait for the last
/// death.
class Workers {
public:
    explicit Workers(Word seed) : _lives(seed << 32) {
        for (std::size_t i = 0; i < kWorkers; ++i) start(i);
    }

    /// Kills that process, or the next living one; there is one after replaceTheDead.
    void kill(std::size_t index) {
        while (_killed[index]) index = (index + 1) % kWorkers;
        board->slots[index].life = 0;  // from here on its claims count no more
        ::kill(_children[index], SIGKILL);
        _killed[index] = true;
        ++_kills;
    }

    /// Replaces dead processes; waits for a death when none is left to kill.
    void replaceTheDead() {
        for (;;) {
            const bool allKilled = std::all_of(_killed.begin(), _killed.end(), [](bool killed) { return killed; });
            const std::optional<std::size_t> gone = reap(allKilled ? 0 : WNOHANG);
            if (!gone || _endedAlone) return;
            start(*gone);
        }
    }

    void end() {
        for (std::size_t i = 0; i < kWorkers; ++i) {
            board->slots[i].life = 0;
            if (!_killed[i]) ::kill(_children[i], SIGKILL);
        }
        while (reap(0)) {
        }
    }

    unsigned long kills() const { return _kills; }
    /// Whether a process ended without being killed.
    bool endedAlone() const { return _endedAlone; }

private:
    void start(std::size_t index) {
        Slot& slot = board->slots[index];
        for (auto& token : slot.token) token = 0;
        slot.life = ++_lives;
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            Worker(index, _lives * 0x9E3779B97F4A7C15u + index).run();
        }
        if (child < 0) {
            std::perror("object_stress: fork");
            std::exit(1);
        }
        _children[index] = child;
        _killed[index] = false;
    }

    std::optional<std::size_t> reap(int flags) {
        int status = 0;
        const pid_t child = waitpid(-1, &status, flags);
        const auto found = std::find(_children.begin(), _children.end(), child);
        if (child <= 0 || found == _children.end()) return std::nullopt;
        if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) _endedAlone = true;
        const auto index = static_cast<std::size_t>(found - _children.begin());
        _killed[index] = true;  // never signal a process id that is another's by now
        return index;
    }

    std::array<pid_t, kWorkers> _children{};
    std::array<bool, kWorkers> _killed{};
    Word _lives;
    unsigned long _kills = 0;
    bool _endedAlone = false;
};

void killAtRandom(Workers& workers, double seconds, Word seed, double killsPerSecond) {
    std::mt19937_64 random(seed);
    const std::chrono::duration<double> mean(1.0 / killsPerSecond);
    const auto end = steady_clock::now() + std::chrono::duration<double>(seconds);
    auto due = steady_clock::now() + mean;
    while (!board->violated && !workers.endedAlone() && steady_clock::now() < end) {
        std::this_thread::sleep_until(due);
        // Gaps of zero to twice the mean, so that kills hit every moment of a call equally.
        due += mean * (static_cast<double>(random() % 2001) / 1000.0);
        workers.kill(random() % kWorkers);
        workers.replaceTheDead();
    }
    workers.end();
}

// ------------------------------------------------------------------------------------------------------ the end of it

std::size_t filesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

/// The first use of named objects in a process sweeps what nobody holds.
bool sweep() {
    const pid_t child = fork();
    if (child == 0) {
        const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, "sweeper");
        std::_Exit(event && CloseHandle(event) ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

unsigned long long shown(const std::atomic<Word>& count) { return count.load(); }

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 60.0;
    const Word seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    const double killsPerSecond = argc > 3 ? std::atof(argv[3]) : kUsualKillsPerSecond;
    if (!(seconds > 0.0) || !(killsPerSecond > 0.0)) {
        std::fprintf(stderr, "usage: object_stress [SECONDS [SEED [KILLS_PER_SECOND]]]\n");
        return 2;
    }
    const std::string space = "stress-" + std::to_string(getpid());
    setenv("PLATFORM_OBJECT_NAMESPACE", space.c_str(), 1);
    const auto folder = [] { return std::filesystem::path(platform_lookAtObjectFolder().path); };
    void* const memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return 1;
    board = new (memory) Board;

    Workers workers(seed);
    killAtRandom(workers, seconds, seed, killsPerSecond);
    const std::size_t before = filesIn(folder());
    const bool swept = sweep();
    const std::size_t after = filesIn(folder());
    std::filesystem::remove_all(folder());

    std::printf("seed %llu: %lu kills in %.0f s; %llu objects made, %llu attached to, %llu found absent;\n",
                static_cast<unsigned long long>(seed), workers.kills(), seconds, shown(board->created),
                shown(board->attached), shown(board->absent));
    std::printf("%llu calls while another process held the name, %llu refused as another kind;\n",
                shown(board->againstHolder), shown(board->clashes));
    std::printf("%zu files left by the killed, %zu after one sweep\n", before, after);
    bool good = true;
    const auto complain = [&](bool wrong, const char* text) {
        if (wrong) std::printf("FAILED: %s\n", text);
        good = good && !wrong;
    };
    complain(board->violating, board->violation.data());
    complain(workers.endedAlone() && !board->violating, "a process ended before it was killed");
    complain(!swept || after != 0, "files are left after the sweep");
    complain(board->againstHolder == 0 || board->created == 0, "nothing was put to the test");
    // Low, because a busy machine kills as fast as it can, whatever was requested.
    const double leastKills = seconds * std::min(killsPerSecond, kUsualKillsPerSecond) / 10.0;
    complain(static_cast<double>(workers.kills()) < leastKills, "too few were killed");
    return good ? 0 : 1;
}
