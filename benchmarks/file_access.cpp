// Reading lines and replacing a file safely, compared with what a program would otherwise use, in turns within one run.
// The files are in the current folder's file system, so that a safe replacement is measured on a real disk.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include "bench_support.h"
#include "fastfile.h"

#ifdef BENCH_HAS_GLIB
#include <glib.h>
#endif

namespace {

constexpr std::size_t kTextBytes = 100'000'000;
constexpr std::size_t kLineBytes = 40;  // its line end included
constexpr int kReadTurns = 7;
constexpr int kReplacements = 20;
constexpr int kReplaceTurns = 21;
const char* const kTextName = "bench_lines.tmp";
const char* const kTargetName = "bench_replaced.tmp";
const char* const kBareName = "bench_bare.tmp";

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

// --------------------------------------------------------------------------------------------------------------- lines

void writeText() {
    MFastFileWriter writer(kTextName, MFastFile::kTruncate);
    const std::string line = std::string(kLineBytes - 1, 'x') + "\n";
    for (std::size_t at = 0; at < kTextBytes; at += kLineBytes) writer.WriteString(line);
    if (!writer.Close()) fail("writing the text");
}

std::size_t linesByReadLine() {
    MFastFileReader reader(kTextName);
    std::string line;
    std::size_t count = 0;
    for (; !reader.IsEOF() && reader.ReadLine(line); ++count) {
        if (line.size() != kLineBytes - 1) fail("ReadLine");
    }
    return count;
}

std::size_t linesByGetline() {
    std::ifstream file(kTextName);
    std::string line;
    std::size_t count = 0;
    for (; std::getline(file, line); ++count) {
        if (line.size() != kLineBytes - 1) fail("getline");
    }
    return count;
}

// A program that needs the length of each line must search it once more.
template <typename Check>
std::size_t linesByFgets(Check check) {
    std::FILE* const file = std::fopen(kTextName, "r");
    if (!file) fail("fopen");
    char buffer[256];
    std::size_t count = 0;
    for (; std::fgets(buffer, sizeof buffer, file); ++count) {
        if (!check(buffer)) fail("fgets");
    }
    std::fclose(file);
    return count;
}

std::size_t linesByFgetsAlone() {
    return linesByFgets([](const char* line) { return line[kLineBytes - 1] == '\n'; });
}

std::size_t linesByFgetsAndStrlen() {
    return linesByFgets([](const char* line) { return std::strlen(line) == kLineBytes; });
}

// Processor time including the system's: the file is in memory, and other load on the machine does not count.
long long processorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<long long>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

double nanosecondsPerLine(std::size_t (*read)()) {
    const long long start = processorTime();
    if (read() != kTextBytes / kLineBytes) fail("counting lines");
    return static_cast<double>(processorTime() - start) / static_cast<double>(kTextBytes / kLineBytes);
}

// ---------------------------------------------------------------------------------------------------- safe replacement

void replaceOurs(const std::string& content) {
    if (MFastFile_WriteAtOnce(kTargetName, content.data(), content.size(), MFastFile::kSafeReplace) < 0)
        fail("replacing");
}

void replaceBare(const std::string& content) {
    const int descriptor = open(kBareName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    const auto size = static_cast<ssize_t>(content.size());
    if (descriptor < 0 || write(descriptor, content.data(), content.size()) != size || fdatasync(descriptor) != 0 ||
        close(descriptor) != 0 || rename(kBareName, kTargetName) != 0)
        fail("the bare replacement");
}

#ifdef BENCH_HAS_GLIB
void replaceByGlib(const std::string& content) {
    if (!g_file_set_contents(kTargetName, content.data(), static_cast<gssize>(content.size()), nullptr))
        fail("g_file_set_contents");
}
#endif

double microsecondsPerReplacement(void (*replace)(const std::string&), const std::string& content) {
    const long long start = bench::now();
    for (int i = 0; i < kReplacements; ++i) replace(content);
    return static_cast<double>(bench::now() - start) * 1e-3 / kReplacements;
}

// Medians of several ways, measured in turns.
std::vector<double> medians(int turns, const std::vector<std::function<double()>>& ways) {
    std::vector<std::vector<double>> values(ways.size());
    for (int turn = 0; turn < turns; ++turn) {
        for (std::size_t i = 0; i < ways.size(); ++i) values[i].push_back(ways[i]());
    }
    std::vector<double> result;
    for (auto& each : values) result.push_back(bench::median(each));
    return result;
}

bool measureLines() {
    writeText();
    const auto times = medians(kReadTurns, {[] { return nanosecondsPerLine(linesByReadLine); },
                                            [] { return nanosecondsPerLine(linesByGetline); },
                                            [] { return nanosecondsPerLine(linesByFgetsAlone); },
                                            [] { return nanosecondsPerLine(linesByFgetsAndStrlen); }});
    std::filesystem::remove(kTextName);
    return bench::report("Lines of 40 bytes from a file of 100 MB, median of turns",
                         {{"ReadLine beside std::getline", "ns", times[0], times[1], 1 / 1.3},
                          {"ReadLine beside fgets", "ns", times[0], times[2], 1 / 1.8},
                          {"ReadLine beside fgets and strlen", "ns", times[0], times[3], 1 / 1.8}});
}

bool measureReplacement() {
    const std::string content(1024, 'x');
    std::vector<std::function<double()>> ways = {[&] { return microsecondsPerReplacement(replaceOurs, content); },
                                                 [&] { return microsecondsPerReplacement(replaceBare, content); }};
#ifdef BENCH_HAS_GLIB
    ways.push_back([&] { return microsecondsPerReplacement(replaceByGlib, content); });
#endif
    const auto times = medians(kReplaceTurns, ways);
    std::filesystem::remove(kTargetName);
    std::vector<bench::Result> results = {{"beside file, fdatasync, rename", "us", times[0], times[1], 1.1}};
    if (times.size() > 2) results.push_back({"beside g_file_set_contents", "us", times[0], times[2], 0.8});
    return bench::report("Safe replacement of 1 KB, flushed, median of turns", results);
}

}  // namespace

int main() {
    const bool lines = measureLines();
    const bool replacement = measureReplacement();
    return lines && replacement ? 0 : 1;
}
