// An ini file of 1 MB with comments: reading, querying and writing it, compared with GLib's key files and SimpleIni.
// Measured in turns within one run.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "MIniData.h"
#include "bench_support.h"

// After our headers, which define TRUE and FALSE themselves.
#undef TRUE
#undef FALSE
#define SI_NO_CONVERSION  // bytes as they are
#include <SimpleIni.h>
#include <glib.h>

namespace {

constexpr int kTurns = 21;
constexpr int kSections = 1562;
constexpr int kKeys = 20;

void check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

std::string sectionName(int number) { return "section_" + std::to_string(number); }
std::string keyName(int number) { return "parameter_" + std::to_string(number); }

std::string largeContent() {
    std::string content = "# All settings of one machine\n";
    for (int section = 0; section < kSections; ++section) {
        content += "# What belongs to part " + std::to_string(section) + "\n[" + sectionName(section) + "]\n";
        for (int key = 0; key < kKeys; ++key) {
            if (key % 5 == 0) content += "# The next five belong together\n";
            content += keyName(key) + "=" + std::to_string(section * 7919 + key) + " units\n";
        }
    }
    return content;
}

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_free)>;

KeyFile readByGLib(const std::string& content) {
    KeyFile file(g_key_file_new(), &g_key_file_free);
    check(g_key_file_load_from_data(file.get(), content.data(), content.size(), G_KEY_FILE_KEEP_COMMENTS, nullptr),
          "GLib");
    return file;
}

double microseconds(const std::function<void()>& call, double count = 1) {
    const long long start = bench::threadTime();
    call();
    return static_cast<double>(bench::threadTime() - start) * 1e-3 / count;
}

struct Contender {
    std::function<void()> call;
    std::vector<double> times;
};

double median(Contender& contender) { return bench::median(contender.times); }

void takeTurns(std::vector<Contender*> contenders, double count = 1) {
    for (int turn = 0; turn < kTurns; ++turn) {
        for (Contender* const contender : contenders) {
            contender->times.push_back(microseconds(contender->call, count));
        }
    }
}

void compareReading(const std::string& content, std::vector<bench::Result>& results) {
    Contender ours{[&] {
                       MIniData data;
                       check(data.SetContentString(content), "SetContentString");
                   },
                   {}};
    Contender gLib{[&] { readByGLib(content); }, {}};
    Contender simpleIni{[&] {
                            CSimpleIniCaseA ini;
                            check(ini.LoadData(content) == SI_OK, "SimpleIni");
                        },
                        {}};
    takeTurns({&ours, &gLib, &simpleIni});
    results.push_back({"read 1 MB beside g_key_file_load_from_data", "us", median(ours), median(gLib), 1 / 2.0});
    results.push_back({"read 1 MB beside CSimpleIni::LoadData", "us", median(ours), median(simpleIni), 1 / 3.0});
}

void compareGetters(const MIniData& data, GKeyFile* file, std::vector<bench::Result>& results) {
    std::vector<std::pair<std::string, std::string>> asked;
    for (int i = 0; i < 20'000; ++i) asked.emplace_back(sectionName(i * 7 % kSections), keyName(i * 3 % kKeys));
    const auto count = static_cast<double>(asked.size());
    Contender ourString{[&] {
                            std::string value;
                            for (const auto& [section, key] : asked) {
                                check(data.GetStringEntry(section.c_str(), key.c_str(), value), "GetStringEntry");
                            }
                        },
                        {}};
    Contender theirString{[&] {
                              for (const auto& [section, key] : asked) {
                                  gchar* const value =
                                      g_key_file_get_value(file, section.c_str(), key.c_str(), nullptr);
                                  check(value, "g_key_file_get_value");
                                  g_free(value);
                              }
                          },
                          {}};
    Contender ourNumber{[&] {
                            std::int64_t value = 0;
                            for (const auto& [section, key] : asked) {
                                check(data.GetLongLongEntry(section.c_str(), key.c_str(), value), "GetLongLongEntry");
                            }
                        },
                        {}};
    Contender theirNumber{[&] {
                              // The unit after the number is refused, but the number is read.
                              for (const auto& [section, key] : asked) {
                                  g_key_file_get_int64(file, section.c_str(), key.c_str(), nullptr);
                              }
                          },
                          {}};
    takeTurns({&ourString, &theirString, &ourNumber, &theirNumber}, count);
    results.push_back({"get a string beside g_key_file_get_value", "us", median(ourString), median(theirString), 1.5});
    results.push_back({"get a number beside g_key_file_get_int64", "us", median(ourNumber), median(theirNumber), 1.5});
}

void compareWriting(const MIniData& data, GKeyFile* file, std::vector<bench::Result>& results) {
    Contender ours{[&] { check(!data.GetContentString().empty(), "GetContentString"); }, {}};
    Contender gLib{[&] {
                       gchar* const content = g_key_file_to_data(file, nullptr, nullptr);
                       check(content, "g_key_file_to_data");
                       g_free(content);
                   },
                   {}};
    takeTurns({&ours, &gLib});
    results.push_back({"write back 1 MB beside g_key_file_to_data", "us", median(ours), median(gLib), 1.0});
}

}  // namespace

int main() {
    const std::string content = largeContent();
    MIniData data;
    check(data.SetContentString(content), "SetContentString");
    const KeyFile file = readByGLib(content);
    std::vector<bench::Result> results;
    compareReading(content, results);
    compareGetters(data, file.get(), results);
    compareWriting(data, file.get(), results);
    std::printf("\nIni data of %zu bytes, %d sections, %d entries", content.size(), kSections, kSections * kKeys);
    return bench::report("Ini data, median of turns", results, "peer") ? 0 : 1;
}
