#include "bench_support.h"

#include <cstdio>
#include <cstdlib>

#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "percentile.h"

extern char** environ;

namespace bench {

int startChild(const std::vector<std::string>& arguments) { return startProgram("/proc/self/exe", arguments); }

int startProgram(const std::string& path, const std::vector<std::string>& arguments) {
    std::vector<std::string> all{path};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : all) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawn(&child, path.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
        std::perror("bench: cannot start a child");
        std::exit(1);
    }
    return child;
}

int joinChild(int child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void placeOn(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    const long count = sysconf(_SC_NPROCESSORS_ONLN);
    for (long i = 0; i < count; ++i) {
        if (processor < 0 || i == processor) CPU_SET(static_cast<std::size_t>(i), &set);
    }
    sched_setaffinity(0, sizeof set, &set);
}

namespace {

long long nanoseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<long long>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

long long now() { return nanoseconds(CLOCK_MONOTONIC); }

long long threadTime() { return nanoseconds(CLOCK_THREAD_CPUTIME_ID); }

double median(std::vector<double>& values) { return frames::percentile(values, 0.5).value_or(0.0); }

bool report(const std::string& title, const std::vector<Result>& results, const char* peer) {
    std::printf("\n%s\n%-44s %12s %12s %8s %8s\n", title.c_str(), "", "ours", peer, "ratio", "aim");
    bool reached = true;
    for (const Result& result : results) {
        const double ratio = result.limit > 0.0 ? result.ours / result.limit : 0.0;
        const bool atLeast = result.kind == Aim::atLeast;
        const bool good = atLeast ? ratio >= result.aim : ratio <= result.aim;
        reached = reached && good;
        std::printf("%-44s %9.2f %s %9.2f %s %8.3f  %s %4.2f%s\n", result.name.c_str(), result.ours,
                    result.unit.c_str(), result.limit, result.unit.c_str(), ratio, atLeast ? ">=" : "<=", result.aim,
                    good ? "" : "  missed");
    }
    return reached;
}

}  // namespace bench
