// Reading entries that replace earlier ones of their section: the cost of a line among many, compared with that among
// few.
// If each replacement searched for the earlier line, the ratio would be that of the numbers, 16. Measured in turns
// within one run.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "MIniData.h"
#include "bench_support.h"

namespace {

constexpr int kTurns = 11;
constexpr int kFew = 1'250;
constexpr int kMany = 20'000;

std::string lineOf(int number) { return "parameter_" + std::to_string(100'000 + number) + "=1\n"; }

// Each name twice: first ascending, then descending, so that both the search for a line and closing its gap would show.
std::string repeated(int entries) {
    std::string content = "[s]\n";
    for (int number = 0; number < entries; ++number) content += lineOf(number);
    for (int number = entries; number-- > 0;) content += lineOf(number);
    return content;
}

double nanosecondsPerLine(const std::string& content, int lines) {
    const long long start = bench::threadTime();
    MIniData data(MIniData::kReplaceEntries);
    if (!data.SetContentString(content)) {
        std::fprintf(stderr, "bench: SetContentString failed\n");
        std::exit(1);
    }
    return static_cast<double>(bench::threadTime() - start) / lines;
}

}  // namespace

int main() {
    const std::string few = repeated(kFew);
    const std::string many = repeated(kMany);
    std::vector<double> amongFew;
    std::vector<double> amongMany;
    for (int turn = 0; turn < kTurns; ++turn) {
        amongFew.push_back(nanosecondsPerLine(few, 2 * kFew));
        amongMany.push_back(nanosecondsPerLine(many, 2 * kMany));
    }
    const double fewTime = bench::median(amongFew);
    const double manyTime = bench::median(amongMany);
    const std::vector<bench::Result> results = {
        {"read a line of 20,000 repeated entries beside 1,250", "ns", manyTime, fewTime, 4.0}};
    return bench::report("Repeated entries, median of turns", results, "few") ? 0 : 1;
}
