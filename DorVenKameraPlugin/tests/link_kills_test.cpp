// Either side of the link, or both, killed at random moments of exchanges and started again: the link is usable again
// in time, every time. scripts/link_kills.sh runs more of it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenImagesComm.h"
#include "TeskImages.h"
#include "child_process.h"
#include "log_recorder.h"
#include "mprocessevent.h"
#include "test_channel.h"

namespace {

using namespace std::chrono_literals;
using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessenger;
using kest::dorven::TeskImages;
using test::ChildProcess;

/// The link is to be usable again within this time, whatever became of it before.
constexpr double kUsableAgainS = 12.0;

/// Without the variable: as many as fit into some twenty seconds.
constexpr int kFewKills = 6;

int numberFrom(const char* variable, int otherwise) {
    const char* const text = std::getenv(variable);
    return text && *text ? std::atoi(text) : otherwise;
}

CHILD_ROLE(answersForEver) {
    const test::LogRecorder quiet;
    const auto source = TeskImages::create(nullptr);
    for (;;) std::this_thread::sleep_for(1h);
}

/// Asks without a pause and signals each answer.
CHILD_ROLE(asksAndTells) {
    test::LogRecorder quiet;
    MProcessEvent answered(arguments.at(0).c_str());
    const auto channel = std::make_shared<DorVenImagesComm>();
    const auto messenger = IPMessenger::create(channel);
    for (;;) {
        const ImagesMessage answer = channel->ask({1, 0, 0, 0});
        quiet.clear();
        if (answer.command == 1 && answer.first == 1280 && answer.second == 1024) {
            answered.Set();
        } else if (answer.command != 0) {
            return 1;  // an answer that nobody gave
        } else {
            std::this_thread::sleep_for(20ms);
        }
    }
}

class Link {
public:
    void startCamera() { _camera.emplace("answersForEver"); }
    void startAsker() { _asker.emplace("asksAndTells", test::Arguments{_answeredName}); }
    void killCamera() { _camera->kill(); }
    void killAsker() { _asker->kill(); }

    /// Seconds until a question that was asked from now on is answered; none when that takes too long, or a side has
    /// ended by itself.
    std::optional<double> usableAfter() {
        const auto begin = std::chrono::steady_clock::now();
        // Two answers that were given before may still be told: one stands in the event, one is about to.
        for (int answer = 0; answer < 3; ++answer) {
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
            if (_answered.Wait(std::max(0.0, kUsableAgainS - passed.count())) != 1) return std::nullopt;
        }
        if (!_camera->running() || !_asker->running()) return std::nullopt;
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }

    ~Link() {
        if (_camera) _camera->kill();
        if (_asker) _asker->kill();
    }

private:
    std::string _answeredName = test::uniqueName("answered");
    MProcessEvent _answered{_answeredName.c_str()};
    std::optional<ChildProcess> _camera, _asker;
};

TEST(LinkKills, LinkIsUsableAgainInTimeAfterEachKill) {
    const int kills = numberFrom("LINK_KILLS", kFewKills);
    const int seed = numberFrom("LINK_KILLS_SEED", static_cast<int>(std::random_device()() & 0xFFFFFF));
    RecordProperty("seed", seed);
    std::printf("seed %d\n", seed);
    std::mt19937 generator(static_cast<unsigned>(seed));
    const auto below = [&](int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(generator); };
    Link link;
    if (below(2) == 0) {
        link.startCamera();
        link.startAsker();
    } else {
        link.startAsker();
        link.startCamera();
    }
    ASSERT_TRUE(link.usableAfter());
    double longest = 0.0;
    double sum = 0.0;
    for (int kill = 0; kill < kills; ++kill) {
        std::this_thread::sleep_for(std::chrono::microseconds(below(20'000)));
        const int which = below(5);  // camera, camera, asker, asker, both
        const bool camera = which < 2 || which == 4;
        const bool asker = which >= 2;
        if (camera) link.killCamera();
        if (asker) link.killAsker();
        if (below(3) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(below(1'000)));
        if (asker) link.startAsker();
        if (camera) link.startCamera();
        const auto seconds = link.usableAfter();
        ASSERT_TRUE(seconds) << "kill " << kill << ", seed " << seed << (camera ? ", camera" : "")
                             << (asker ? ", asker" : "");
        longest = std::max(longest, *seconds);
        sum += *seconds;
    }
    std::printf("%d kills, usable again after %.2f s in the mean, %.2f s at most\n", kills, sum / kills, longest);
}

}  // namespace
