// A grab on a fast clock whose simulators are other processes.
#pragma once

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImages.h"
#include "child_process.h"
#include "live_simulator.h"
#include "log_recorder.h"
#include "received_images.h"
#include "scaled_event.h"

namespace test::processes {

using namespace std::chrono_literals;

inline constexpr std::size_t kPixelBytes = 4096;

/// A source whose images have the size that a test's simulator writes.
struct SmallSource : kest::dorven::TeskImages {
    explicit SmallSource(std::shared_ptr<MEvent> event) : TeskImages(std::move(event)) {
        _imageMemory->width = kPixelBytes;
        _imageMemory->height = 1;
        setFrameRate(2.0);  // on the fast clock one faked image every 5 ms
    }
};

/// Notes the counters of real and faked images, and whether every image was whole.
class ProcessTest : public testing::Test {
protected:
    ProcessTest() {
        _received.inside = [this] { look(); };
        _source.setCallback(&_received, &test::ReceivedImages::callback);
    }
    ~ProcessTest() override {
        if (_source.isRunning()) _source.freeze();
        test::dropImagesMemory();
    }

    /// Counters of the simulator's images, in order of arrival.
    std::vector<std::uint32_t> real() const { return countersOf(false); }
    std::vector<std::uint32_t> faked() const { return countersOf(true); }

    bool waitForReal(std::size_t count) {
        return waitUntil([&] { return real().size() >= count; });
    }
    bool waitForFaked(std::size_t count) {
        return waitUntil([&] { return faked().size() >= count; });
    }
    template <typename Condition>
    static bool waitUntil(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + 60s;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }
    std::size_t traced(const std::string& text) const {
        const auto texts = _log.traces();
        return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
    }

    test::LogRecorder _log;
    test::ReceivedImages _received;
    std::shared_ptr<test::ScaledEvent> _event = std::make_shared<test::ScaledEvent>();
    SmallSource _source{_event};

private:
    static constexpr int kFakeGrey = 10;

    std::vector<std::uint32_t> countersOf(bool fakes) const {
        std::vector<std::uint32_t> found;
        for (const auto& image : _received.images()) {
            if ((image.firstPixel == kFakeGrey) == fakes) found.push_back(image.counter);
        }
        return found;
    }
    void look() {
        const auto image = _received.last();
        const auto expected =
            image.firstPixel == kFakeGrey ? static_cast<unsigned char>(kFakeGrey) : test::fillOf(image.counter);
        EXPECT_TRUE(std::all_of(image.pixels, image.pixels + kPixelBytes, [&](auto byte) { return byte == expected; }))
            << "image " << image.counter << " is torn";
    }
};

}  // namespace test::processes
