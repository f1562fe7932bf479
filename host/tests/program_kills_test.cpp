// Host and simulator as processes, killed and restarted in any order: whole images in ascending time come again, every
// time. scripts/kills.sh runs more rounds.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "PluginDeviceBase.h"
#include "child_process.h"
#include "inspection.h"
#include "kill_plan.h"
#include "mprocessevent.h"
#include "plugin_library.h"
#include "temporary_folder.h"

namespace {

using namespace std::chrono_literals;
using test::ChildProcess;

/// Images must come again within this time. A killed host keeps the ring until the simulator gives the host up, here a
/// second later; the rest is for a busy machine.
constexpr double kAgainS = 15.0;
/// As many as fit into about twenty seconds.
constexpr int kFewKills = 10;

constexpr frames::ImageFormat kFormat{900, 40, 1};

// Faults found by the host's callback, as its exit code.
constexpr int kTorn = 3;
constexpr int kNotLater = 4;
constexpr int kNoStrip = 5;

struct Watch {
    MProcessEvent arrived;
    std::uint64_t latestNs = 0;
    std::atomic<int> wrong{0};
};

int watchImage(void* self, NUV::IMAGEMEMORY* record) {
    auto& watch = *static_cast<Watch*>(self);
    const frames::Inspection seen = frames::inspectImage({record->imageBuffer, kFormat});
    if (seen.kind == frames::ImageKind::faked) return 0;  // between two lives of the simulator
    if (seen.kind == frames::ImageKind::torn) watch.wrong = kTorn;
    if (!seen.strip) {
        watch.wrong = kNoStrip;
        return 0;
    }
    if (seen.strip->timeStampNs <= watch.latestNs) watch.wrong = kNotLater;
    watch.latestNs = seen.strip->timeStampNs;
    watch.arrived.Set();
    return 0;
}

/// Grabs until it is killed; ends by itself only when an image is wrong. Arguments: event, configuration file.
CHILD_ROLE(grabsAndTells) {
    std::string error;
    const auto library = host::PluginLibrary::load(host::defaultPluginPath(), error);
    if (!library) return 10;
    library->enumerate();
    NUV::PluginDeviceBase* const device = library->device(0);
    if (!device) return 11;
    Watch watch{MProcessEvent(arguments.at(0).c_str())};
    const NUV::PluginInterfaceParameter<const char*> file(arguments.at(1).c_str());
    NUV::PluginInterfaceReturn<tagBITMAPINFO> opened(NUV::kNotSupported, {});
    if (device->call(1001, &file, &opened) != NUV::kDone) return 12;
    NUV::PluginInterfaceReturnBase status(NUV::kNotSupported);
    const NUV::PluginInterfaceParameter<NUV::PluginInterfaceCallbackData> callback({&watch, &watchImage});
    if (device->call(1005, &callback, &status) != NUV::kDone) return 13;
    if (device->call(1002, nullptr, &status) != NUV::kDone) return 14;
    while (watch.wrong == 0) std::this_thread::sleep_for(10ms);
    device->call(1004, nullptr, &status);
    return watch.wrong;
}

/// Both programs; each may be running or not.
class Pair {
public:
    Pair() {
        _folder.file("camera.ini", "[image]\nimage_size_x=900\nimage_size_y=40\n");
        _config = _folder.file("plugin.ini", "[Dorven]\ncamera_config=camera.ini\n");
    }
    ~Pair() {
        if (_host) _host->kill();
        if (_simulator) _simulator->kill();
    }

    void startHost() { _host.emplace("grabsAndTells", test::Arguments{_arrivedName, _config}); }
    void startSimulator() {
        _simulator.emplace(
            ChildProcess::program("dorven-simulator", {"--size", "900x40", "--fps", "200", "--reader-timeout", "1"}));
    }
    void killHost() { _host->kill(); }
    void killSimulator() { _simulator->kill(); }

    /// Whether neither has ended by itself.
    bool bothRun() { return _host->running() && _simulator->running(); }

    /// Seconds until a new image came; none when that took too long, or a program has ended by itself.
    std::optional<double> imagesAfter() {
        const auto begin = std::chrono::steady_clock::now();
        // An earlier image may still be reported.
        for (int image = 0; image < 2; ++image) {
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
            if (_arrived.Wait(std::max(0.0, test::KillPlan::limit(kAgainS) - passed.count())) != 1) return std::nullopt;
        }
        if (!bothRun()) return std::nullopt;
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }

    /// Why there were none: the host's exit code, or that it still runs.
    std::string state() {
        std::string text = _simulator->running() ? "the simulator runs" : "the simulator has ended";
        if (_host->running()) return text + ", the host runs";
        return text + ", the host has ended with " + std::to_string(_host->join(60s));
    }

private:
    test::TemporaryFolder _folder;
    std::string _config;
    std::string _arrivedName = test::uniqueName("arrived");
    MProcessEvent _arrived{_arrivedName.c_str()};
    std::optional<ChildProcess> _host, _simulator;
};

CHILD_ROLE(endsWithSeven) { return 7; }

// The message of a failure depends on it.
TEST(ProgramKills, ExitCodeIsKnownAfterTheEndWasSeen) {
    ChildProcess process("endsWithSeven");
    while (process.running()) std::this_thread::sleep_for(1ms);
    EXPECT_FALSE(process.running());
    EXPECT_EQ(process.join(60s), 7);
}

TEST(ProgramKills, ImagesComeAgainInTimeAfterEachKill) {
    test::KillPlan plan(kFewKills);
    Pair pair;
    if (plan.secondStartsFirst()) {
        pair.startSimulator();
        pair.startHost();
    } else {
        pair.startHost();
        pair.startSimulator();
    }
    ASSERT_TRUE(pair.imagesAfter()) << pair.state();
    while (const auto kill = plan.next()) {
        std::this_thread::sleep_for(kill->before);
        ASSERT_TRUE(pair.bothRun()) << plan.where() << pair.state();
        if (kill->first) pair.killHost();
        if (kill->second) pair.killSimulator();
        std::this_thread::sleep_for(kill->after);
        if (kill->second && kill->secondStartsFirst) pair.startSimulator();
        if (kill->first) pair.startHost();
        if (kill->second && !kill->secondStartsFirst) pair.startSimulator();
        const auto seconds = pair.imagesAfter();
        ASSERT_TRUE(seconds) << plan.where() << "host first, simulator second; " << pair.state();
        plan.took(*seconds);
    }
    plan.report();
}

}  // namespace
