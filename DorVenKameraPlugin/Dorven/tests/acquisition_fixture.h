// A grab whose waits are answered by a scripted event, so that every case runs at once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TeskImages.h"
#include "log_recorder.h"
#include "received_images.h"
#include "scripted_event.h"
#include "simulator_ring.h"

namespace test::acquisition {

inline constexpr int kSignal = 1;
inline constexpr int kTimeout = -1;
inline constexpr std::size_t kPixelBytes = 64;

inline const std::string kClosed = "closed connection to image fifo -  DorVenImages";
inline const std::string kEstablished = "established connection to image fifo -  DorVenImages  writer: 1  reader: 1";
inline const std::string kFakingText = "no dorven connected, faking images";

inline std::string noAnswer(int misses) { return "dorven is not responding: " + std::to_string(misses); }

inline std::string assertion(const std::string& condition, const std::string& message) {
    return "Assertion failed: '" + condition + "', file Dorven/TeskImages, line .*: " + message;
}

/// A source whose record a test may remove, and whose fake image it may inspect when no thread runs.
struct OpenSource : kest::dorven::TeskImages {
    using TeskImages::_fakeImageMem;
    using TeskImages::_imageMemory;
    using TeskImages::_rest;
    using TeskImages::TeskImages;
};

class AcquisitionTest : public testing::Test {
protected:
    AcquisitionTest() { _source->setCallback(&_received, &test::ReceivedImages::callback); }
    ~AcquisitionTest() override {
        if (_source && _source->isRunning()) _source->freeze();
    }

    /// Grabs, plays the whole script, and leaves the source grabbing.
    void grabAndPlay() {
        ASSERT_TRUE(_source->grab());
        _event->playToEnd();
    }
    /// Passes the eleven silent waits after which images are faked: one image.
    void startFaking() { _event->answer(kTimeout, 11); }

    /// A signal with that many waiting images.
    void signalWith(test::SimulatorRing& ring, std::vector<std::uint64_t> counters) {
        _event->step([&ring, counters] {
            for (const std::uint64_t counter : counters) ring.put(counter);
            return kSignal;
        });
    }
    /// What the grab traced, without names of operations and without the remark that its images fill no whole record.
    std::vector<std::string> progress() const {
        std::vector<std::string> found;
        for (const std::string& text : _log.traces()) {
            // The seed is traced once per process, with its first messenger.
            const bool other = text.starts_with("kest::dorven::TeskImages") ||
                               text.starts_with("kest::dorven::calcSeed") ||
                               text.starts_with("image fifo has lines of");
            if (!other) found.push_back(text);
        }
        return found;
    }

    test::LogRecorder _log;
    test::ReceivedImages _received;
    std::shared_ptr<test::ScriptedEvent> _event = std::make_shared<test::ScriptedEvent>();
    std::shared_ptr<OpenSource> _source = std::make_shared<OpenSource>(_event);
};

}  // namespace test::acquisition
