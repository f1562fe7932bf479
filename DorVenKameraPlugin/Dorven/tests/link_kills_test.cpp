// Either side of the link, or both, killed at random moments of exchanges and restarted: the link is usable again in
// time, every time. scripts/kills.sh runs more rounds.
#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DorVenImagesComm.h"
#include "TeskImages.h"
#include "child_process.h"
#include "kill_plan.h"
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

/// The link must be usable again within this time, whatever happened before.
constexpr double kUsableAgainS = 12.0;

/// As many as fit into about twenty seconds.
constexpr int kFewKills = 6;

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

    /// Seconds until a question asked from now on is answered; none when that takes too long, or a side has ended by
    /// itself.
    std::optional<double> usableAfter() {
        const auto begin = std::chrono::steady_clock::now();
        // Two earlier answers may still be signalled: one signal is kept in the event, one is about to be set.
        for (int answer = 0; answer < 3; ++answer) {
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
            if (_answered.Wait(std::max(0.0, test::KillPlan::limit(kUsableAgainS) - passed.count())) != 1)
                return std::nullopt;
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
    test::KillPlan plan(kFewKills);
    Link link;
    if (plan.secondStartsFirst()) {
        link.startAsker();
        link.startCamera();
    } else {
        link.startCamera();
        link.startAsker();
    }
    ASSERT_TRUE(link.usableAfter());
    while (const auto kill = plan.next()) {
        std::this_thread::sleep_for(kill->before);
        if (kill->first) link.killCamera();
        if (kill->second) link.killAsker();
        std::this_thread::sleep_for(kill->after);
        if (kill->second && kill->secondStartsFirst) link.startAsker();
        if (kill->first) link.startCamera();
        if (kill->second && !kill->secondStartsFirst) link.startAsker();
        const auto seconds = link.usableAfter();
        ASSERT_TRUE(seconds) << plan.where() << "camera first, asker second";
        plan.took(*seconds);
    }
    plan.report();
}

}  // namespace
