// Attaching to a named block of memory that another process holds, mapping it and releasing both. Compares the cost of
// the platform layer's promise (a name exists exactly as long as its holders) with the plain calls, which promise
// nothing, in turns within one run.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bare_ring.h"
#include "bench_support.h"
#include "platform.h"

namespace {

constexpr int kRounds = 5'000;
constexpr int kTurns = 41;
constexpr DWORD kBytes = 4096;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

// The second process: holds the object until told to end.
int hold(const std::string& name) {
    if (!CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBytes, name.c_str())) return 1;
    const HANDLE ready = OpenEventA(EVENT_ALL_ACCESS, FALSE, (name + "_ready").c_str());
    const HANDLE end = OpenEventA(EVENT_ALL_ACCESS, FALSE, (name + "_end").c_str());
    SetEvent(ready);
    return WaitForMultipleObjects(1, &end, FALSE, INFINITE) == WAIT_OBJECT_0 ? 0 : 1;
}

void attachOurs(const std::string& name) {
    const HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
    void* const view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
    if (!view || !UnmapViewOfFile(view) || !CloseHandle(mapping)) fail("attaching");
}

void attachPlain(const std::string& name) {
    const int descriptor = shm_open(name.c_str(), O_RDWR, 0600);
    struct stat status {};
    if (descriptor < 0 || fstat(descriptor, &status) != 0) fail("shm_open");
    const auto bytes = static_cast<std::size_t>(status.st_size);
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED || munmap(memory, bytes) != 0 || close(descriptor) != 0) fail("mmap");
}

// Microseconds in one turn to attach, map and detach.
template <typename Attach>
double measure(Attach attach, const std::string& name) {
    const long long start = bench::now();
    for (int i = 0; i < kRounds; ++i) attach(name);
    return static_cast<double>(bench::now() - start) * 1e-3 / kRounds;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (argc == 2) return hold(argv[1]);
    const std::string name = "bench_attach_" + std::to_string(getpid());
    const HANDLE ready = CreateEventA(nullptr, FALSE, FALSE, (name + "_ready").c_str());
    const HANDLE end = CreateEventA(nullptr, FALSE, FALSE, (name + "_end").c_str());
    const int holder = bench::startChild({name});
    if (WaitForMultipleObjects(1, &ready, FALSE, 20'000) != WAIT_OBJECT_0) fail("the holder");
    const bench::SharedPage plainObject("/" + name, true);

    std::vector<double> ours;
    std::vector<double> limit;
    for (int i = 0; i < kTurns; ++i) {
        ours.push_back(measure(attachOurs, name));
        limit.push_back(measure(attachPlain, "/" + name));
    }
    SetEvent(end);
    if (bench::joinChild(holder) != 0) fail("the holder");
    return bench::report(
               "Attach, map and detach of an existing named object, median of turns",
               {{"beside shm_open, fstat, mmap, munmap, close", "us", bench::median(ours), bench::median(limit), 2.3}})
               ? 0
               : 1;
}
