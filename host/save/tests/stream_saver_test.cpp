// Saving to standard output: what a slow reader costs, and what happens when it goes.
#include <condition_variable>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "image_saver.h"

namespace {

using host::ImageSaver;
using testing::ElementsAre;

constexpr frames::ImageFormat kFormat{4, 3, 1};
constexpr std::size_t kPlaces = 5;

// A reader that takes images only once it is let.
class Reader {
public:
    StandardOutputWrite take(const void* bytes, std::size_t size) {
        std::unique_lock lock(_mutex);
        _changed.wait(lock, [this] { return _reads; });
        if (_taken.size() >= _wanted) return StandardOutputWrite::readerGone;
        EXPECT_EQ(size, kFormat.bytes());
        _taken.push_back(*static_cast<const std::uint8_t*>(bytes));
        return StandardOutputWrite::done;
    }
    void read(std::size_t wanted = 1000) {
        const std::lock_guard lock(_mutex);
        _reads = true;
        _wanted = wanted;
        _changed.notify_all();
    }
    std::vector<int> taken() const {
        const std::lock_guard lock(_mutex);
        return _taken;
    }

private:
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    bool _reads = false;
    std::size_t _wanted = 0;
    std::vector<int> _taken;
};

class StreamSaverTest : public testing::Test {
protected:
    std::unique_ptr<ImageSaver> create() {
        host::SaveSettings settings;
        settings.folder = host::kStandardOutput;
        settings.fileFormat = frames::ImageFileFormat::raw;
        settings.memoryBytes = kPlaces * kFormat.bytes();
        settings.stream = host::StreamSettings{host::StreamForm::raw};
        settings.writeStream = [this](const void* bytes, std::size_t size) { return _reader.take(bytes, size); };
        std::string error;
        auto saver = ImageSaver::create(settings, error);
        EXPECT_TRUE(saver && saver->reserve(kFormat, error)) << error;
        return saver;
    }
    static void offer(ImageSaver& saver, std::uint64_t image) {
        const std::vector<std::uint8_t> bytes(kFormat.bytes(), static_cast<std::uint8_t>(image));
        host::FrameNote note;
        note.image = image;
        saver.offer({bytes.data(), kFormat}, note, false);
    }

    Reader _reader;
};

TEST_F(StreamSaverTest, SlowReaderCostsImagesThatAreCountedAndHoldsUpNobody) {
    const auto saver = create();
    EXPECT_EQ(saver->queueCapacity(), kPlaces);
    for (std::uint64_t image = 0; image < 20; ++image) offer(*saver, image);  // returns although nothing is read
    EXPECT_EQ(saver->outcome().notSaved(), 20 - kPlaces);
    EXPECT_STREQ(saver->outcome().reason(), "disk");
    EXPECT_TRUE(saver->takesImages());
    _reader.read();
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, kPlaces);
    EXPECT_THAT(_reader.taken(), ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(StreamSaverTest, WhatNobodyReadsAnyMoreIsNeitherSavedNorMissed) {
    const auto saver = create();
    for (std::uint64_t image = 0; image < kPlaces; ++image) offer(*saver, image);
    _reader.read(2);
    saver->finish();
    EXPECT_FALSE(saver->takesImages());
    const ImageSaver::Outcome outcome = saver->outcome();
    EXPECT_TRUE(outcome.readerIsGone);
    EXPECT_EQ(outcome.saved, 2u);
    EXPECT_EQ(outcome.notSaved(), 0u);
    EXPECT_THAT(_reader.taken(), ElementsAre(0, 1));
}

}  // namespace
