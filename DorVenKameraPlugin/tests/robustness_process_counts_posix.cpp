#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>

#include "robustness_process_counts.h"

namespace test {
namespace {

long entriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<long>(std::distance(begin(entries), end(entries)));
}

/// Mappings of files and shared memory. The heap and the stacks of ended threads are reused.
long namedMappings() {
    std::ifstream maps("/proc/self/maps");
    long count = 0;
    for (std::string line; std::getline(maps, line);) count += line.find('/') != line.npos ? 1 : 0;
    return count;
}

}  // namespace

ProcessCounts ProcessCounts::now() {
    return {entriesOf("/proc/self/fd"), 0, entriesOf("/proc/self/task"), namedMappings()};
}

ProcessCounts keepAHandle() {
    [[maybe_unused]] const int kept = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return {1, 0, 0, 0};
}

ProcessCounts keepAMapping() {
    [[maybe_unused]] const void* const kept = mmap(nullptr, 4096, PROT_READ, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return {0, 0, 0, 1};  // is listed as a deleted file
}

ProcessCounts keepATlsIndex() { return {}; }

ProcessCounts keepAThread() {
    std::thread([] { std::this_thread::sleep_for(std::chrono::minutes(1)); }).detach();
    return {0, 0, 1, 0};
}

}  // namespace test
