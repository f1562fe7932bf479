#include "scenario_watch.h"

#include <atomic>
#include <chrono>

#include <gtest/gtest.h>

namespace {

using simulator::ScenarioWatch;
using namespace std::chrono_literals;

// Asks until a new text arrives.
std::optional<std::string> newsOf(ScenarioWatch& watch) {
    for (const auto end = std::chrono::steady_clock::now() + 60s; std::chrono::steady_clock::now() < end;) {
        if (auto news = watch.take()) return news;
        std::this_thread::sleep_for(1ms);
    }
    return std::nullopt;
}

TEST(ScenarioWatchTest, NewsComeOnceAndTheNewestCounts) {
    std::atomic<int> looks{0};
    ScenarioWatch watch([&]() -> std::optional<std::string> {
        const int look = ++looks;
        return look <= 2 ? std::optional(std::to_string(look)) : std::nullopt;
    });
    while (looks < 3) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(newsOf(watch), "2");
    EXPECT_EQ(watch.take(), std::nullopt);
}

TEST(ScenarioWatchTest, LookThatFindsNoMemoryIsTriedAgain) {
    std::atomic<int> looks{0};
    ScenarioWatch watch([&]() -> std::optional<std::string> {
        if (++looks == 1) throw std::bad_alloc();
        return "again";
    });
    EXPECT_EQ(newsOf(watch), "again");
}

TEST(ScenarioWatchTest, LookThatHangsHoldsUpNobody) {
    struct Disk {
        std::atomic<bool> asked{false};
        std::atomic<bool> answers{false};
        std::atomic<bool> left{false};
    };
    const auto disk = std::make_shared<Disk>();
    {
        ScenarioWatch watch(
            [disk]() -> std::optional<std::string> {
                disk->asked = true;
                while (!disk->answers) std::this_thread::sleep_for(1ms);
                disk->left = true;
                return "late";
            },
            10ms);
        while (!disk->asked) std::this_thread::sleep_for(1ms);
        EXPECT_EQ(watch.take(), std::nullopt);
    }
    EXPECT_FALSE(disk->left) << "its end did not wait";
    disk->answers = true;
    while (!disk->left) std::this_thread::sleep_for(1ms);
}

}  // namespace
