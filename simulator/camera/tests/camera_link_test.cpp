// What the simulator learns about a camera: over the real link, with a camera that answers what the test sets.
#include "camera_link.h"

#include <chrono>
#include <optional>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "camera_asker.h"
#include "fake_camera.h"
#include "log_recorder.h"
#include "msharedmem.h"
#include "object_names.h"
#include "stopwatch.h"

namespace {

using frames::ImageFormat;
using simulator::AskingPace;
using simulator::CameraAsker;
using simulator::CameraLink;
using simulator::CameraNews;
using test::FakeCamera;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr AskingPace kQuick{20ms, 20ms, 60s};  // a busy camera is not taken for one that has gone
constexpr AskingPace kQuickToTellOfSilence{20ms, 20ms, 400ms};

class CameraLinkTest : public testing::Test {
protected:
    static std::optional<CameraNews> newsWithin(CameraLink& link, std::chrono::milliseconds limit = 60s) {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (;;) {
            if (auto news = link.takeNews()) return news;
            if (std::chrono::steady_clock::now() > end) return std::nullopt;
            std::this_thread::sleep_for(1ms);
        }
    }
    static CameraNews told(const ImageFormat& format) { return {CameraNews::Kind::format, format, ""}; }
    /// Whether these news come, even after others: a busy camera may be taken for silent, and return.
    static bool hears(CameraLink& link, const CameraNews& wanted) {
        while (const auto news = newsWithin(link)) {
            if (*news == wanted) return true;
        }
        return false;
    }

    test::LogRecorder _log;
};

TEST_F(CameraLinkTest, FormatOfACameraThatIsThereIsKnownAtOnceAndToldOnce) {
    FakeCamera camera({320, 240, 2});
    CameraLink link(kQuick);
    EXPECT_TRUE(link.waitForNews(60s));
    EXPECT_EQ(link.takeNews(), told({320, 240, 2}));
    EXPECT_EQ(newsWithin(link, 300ms), std::nullopt);
}

TEST_F(CameraLinkTest, CameraThatComesLaterIsFound) {
    CameraLink link(kQuick);
    EXPECT_FALSE(link.waitForNews(200ms));
    EXPECT_EQ(link.takeNews(), std::nullopt);
    FakeCamera camera({640, 480, 1});
    EXPECT_EQ(newsWithin(link), told({640, 480, 1}));
}

TEST_F(CameraLinkTest, EachChangeOfSizeOrDepthIsNews) {
    FakeCamera camera({320, 240, 1});
    CameraLink link(kQuick);
    EXPECT_EQ(newsWithin(link), told({320, 240, 1}));
    camera.setFormat({320, 241, 1});
    EXPECT_EQ(newsWithin(link), told({320, 241, 1}));
    camera.setFormat({320, 241, 2});
    EXPECT_EQ(newsWithin(link), told({320, 241, 2}));
}

TEST_F(CameraLinkTest, CameraThatIsAwayForAMomentIsNoNews) {
    std::optional<FakeCamera> camera(ImageFormat{320, 240, 1});
    CameraLink link(kQuick);
    EXPECT_EQ(newsWithin(link), told({320, 240, 1}));
    camera.reset();
    std::this_thread::sleep_for(200ms);
    camera.emplace(ImageFormat{640, 240, 1});
    EXPECT_EQ(newsWithin(link), told({640, 240, 1}));
}

TEST_F(CameraLinkTest, CameraThatStaysAwayIsSilentAndComesBack) {
    std::optional<FakeCamera> camera(ImageFormat{320, 240, 1});
    CameraLink link(kQuickToTellOfSilence);
    EXPECT_TRUE(hears(link, told({320, 240, 1})));
    camera.reset();
    EXPECT_TRUE(hears(link, CameraNews()));
    camera.emplace(ImageFormat{320, 240, 1});
    EXPECT_TRUE(hears(link, told({320, 240, 1})));
}

TEST_F(CameraLinkTest, CameraThatRefusesTheFormatCountsAsSilent) {
    FakeCamera camera({320, 240, 1});
    camera.refuseFormat();
    CameraLink link(kQuick);
    EXPECT_FALSE(link.waitForNews(500ms));
}

TEST_F(CameraLinkTest, FormatsThatCannotBeMadeAreAbsurd) {
    FakeCamera camera({65536, 65536, 16});
    CameraLink link(kQuick);
    EXPECT_EQ(newsWithin(link), told({65536, 65536, 16}));
    for (const ImageFormat format :
         {ImageFormat{0, 1, 1}, ImageFormat{1, 0, 1}, ImageFormat{1, 1, 0}, ImageFormat{65537, 1, 1},
          ImageFormat{1, 65537, 1}, ImageFormat{1, 1, 17}, ImageFormat{1, 1, 0xFFFFFFFF}}) {
        camera.setFormat(format);
        EXPECT_EQ(newsWithin(link), (CameraNews{CameraNews::Kind::absurd, format, ""}));
    }
}

TEST_F(CameraLinkTest, SecondAskerWaitsUntilTheFirstHasLeft) {
    FakeCamera camera({320, 240, 1});
    std::string problem;
    auto first = CameraAsker::open(nullptr, problem);
    ASSERT_TRUE(first);
    EXPECT_FALSE(CameraAsker::open(nullptr, problem));
    EXPECT_EQ(problem, simulator::kLinkTaken);
    CameraLink link(kQuick);
    EXPECT_EQ(newsWithin(link),
              (CameraNews{CameraNews::Kind::unavailable, {}, "another simulator has the link to the camera"}));
    EXPECT_TRUE(first->askFormat());  // undisturbed
    first.reset();
    // The camera may take up to one wait of its own to notice the new asker.
    EXPECT_TRUE(hears(link, told({320, 240, 1})));
}

TEST_F(CameraLinkTest, LinkWhoseNameAnObjectOfAnotherKindHasIsNoOtherSimulators) {
    void* const taken = MSharedMem_Create(image_road::finishedOf(image_road::kSimulatorAsks).c_str(), 100);
    ASSERT_TRUE(taken);
    CameraLink link(kQuick);
    const auto news = newsWithin(link);
    MSharedMem_Destroy(taken);
    ASSERT_TRUE(news);
    EXPECT_EQ(news->kind, CameraNews::Kind::unavailable);
    EXPECT_EQ(news->problem,
              "no link to the camera: \"DorVenCameraPlugin_dorven_asks_finished\" is the name of an object of another "
              "kind already; end the program that made it");
}

TEST_F(CameraLinkTest, WaitingForACameraLeavesNothingInTheLogs) {
    CameraLink link(kQuick);
    EXPECT_FALSE(link.waitForNews(500ms));
    EXPECT_THAT(_log.entries(), IsEmpty());
}

TEST_F(CameraLinkTest, EndsPromptlyWithAndWithoutACamera) {
    const auto ending = [](const AskingPace& pace, bool answered) {
        std::optional<CameraLink> link(std::in_place, pace);
        EXPECT_EQ(link->waitForNews(answered ? 60s : 50ms), answered);
        return test::secondsOf([&] { link.reset(); });
    };
    EXPECT_LT(test::quickestOf(8, 1.0, [&] { return ending({60s, 60s, 60s}, false); }), 1.0);
    FakeCamera camera({320, 240, 1});
    EXPECT_LT(test::quickestOf(8, 1.0, [&] { return ending({60s, 20ms, 60s}, true); }), 1.0);
}

}  // namespace
