#include "image_saver.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "image_file.h"
#include "platform_fault.h"
#include "temporary_folder.h"

PLATFORM_FAULT(BOOL, WriteFile, (HANDLE file, LPCVOID buffer, DWORD size, DWORD* written, OVERLAPPED* overlapped),
               (file, buffer, size, written, overlapped))

namespace {

using frames::ImageFileFormat;
using host::ImageSaver;
using host::SaveSettings;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr frames::ImageFormat kFormat{4, 3, 1};

frames::ImageView view(const std::vector<std::uint8_t>& bytes, std::size_t width, std::size_t bytesPerPixel = 1) {
    return {bytes.data(), {width, bytes.size() / width / bytesPerPixel, bytesPerPixel}};
}

host::FrameNote note(std::uint64_t image) {
    host::FrameNote note;
    note.image = image;
    return note;
}

class ImageSaverTest : public testing::Test {
protected:
    ImageSaverTest() {
        _settings.folder = _folder.path();
        _settings.threads = 1;
    }

    std::unique_ptr<ImageSaver> create(const frames::ImageFormat& expected = kFormat) {
        auto saver = ImageSaver::create(_settings, _error);
        EXPECT_TRUE(saver) << _error;
        if (saver && !saver->reserve(expected, _error)) saver.reset();
        return saver;
    }
    // Offers an image whose bytes are its position.
    static void offer(ImageSaver& saver, std::uint64_t image, bool lossSeen = false) {
        saver.offer(view(std::vector<std::uint8_t>(12, static_cast<std::uint8_t>(image)), 4), note(image), lossSeen);
    }
    std::vector<std::uint8_t> saved(const std::string& name) {
        frames::GreyImage image;
        std::string error;
        EXPECT_TRUE(frames::readGreyImage(_folder.path() + "/" + name, image, error)) << error;
        return image.pixels;
    }
    // The positions that the sidecar lists, each checked to have its file.
    std::vector<int> sidecar() {
        std::vector<int> images;
        std::ifstream file(_folder.path() + "/frames.jsonl");
        for (std::string line; std::getline(file, line);) {
            const auto object = nlohmann::json::parse(line, nullptr, false);
            EXPECT_FALSE(object.is_discarded()) << line;
            EXPECT_TRUE(std::filesystem::exists(_folder.path() + "/" + object["file"].get<std::string>())) << line;
            images.push_back(object["image"]);
        }
        return images;
    }
    std::vector<std::string> files() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(_folder.path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    test::TemporaryFolder _folder;
    SaveSettings _settings;
    std::string _error;
};

TEST_F(ImageSaverTest, ImagesAndTheirLinesAreOnDiskAfterFinish) {
    const auto saver = create();
    saver->offer(view(std::vector<std::uint8_t>(12, 7), 4), note(0), false);
    saver->offer(view(std::vector<std::uint8_t>(20, 9), 5), note(1234567), false);
    saver->finish();
    EXPECT_THAT(saved("image_000000.png"), Each(7));
    EXPECT_THAT(saved("image_1234567.png"), Each(9));
    EXPECT_EQ(saver->outcome().saved, 2u);
    EXPECT_EQ(saver->outcome().dropped(), 0u);
    EXPECT_THAT(sidecar(), ElementsAre(0, 1234567));
}

TEST_F(ImageSaverTest, EveryFormatHasItsEnding) {
    for (const auto format : {ImageFileFormat::pgm, ImageFileFormat::raw}) {
        _settings.fileFormat = format;
        _settings.existing = host::ExistingFile::replace;
        const auto saver = create();
        offer(*saver, 5);
    }
    EXPECT_THAT(saved("image_000005.pgm"), Each(5));
    EXPECT_EQ(std::filesystem::file_size(_folder.path() + "/image_000005.raw"), 12u);
}

TEST_F(ImageSaverTest, ImageIsCopiedSoThatItsPixelsMayChangeAfterwards) {
    const auto saver = create();
    std::vector<std::uint8_t> bytes(12, 7);
    saver->offer(view(bytes, 4), note(0), false);
    std::fill(bytes.begin(), bytes.end(), std::uint8_t{99});
    saver->finish();
    EXPECT_THAT(saved("image_000000.png"), Each(7));
}

TEST_F(ImageSaverTest, OnlyEveryNthImageIsSaved) {
    _settings.every = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 8; ++image) offer(*saver, image);
    saver->finish();
    EXPECT_THAT(sidecar(), ElementsAre(0, 3, 6));
}

// Stops the writer at its first image until released.
class HeldDisk {
public:
    HeldDisk()
        : _fault(fault_WriteFile, [this](HANDLE file, LPCVOID buffer, DWORD size, DWORD* written, OVERLAPPED* other) {
              _entered = true;
              while (!_released) std::this_thread::yield();
              return real_WriteFile(file, buffer, size, written, other);
          }) {}
    ~HeldDisk() { release(); }
    void release() { _released = true; }
    void waitForAnImage() const {
        while (!_entered) std::this_thread::yield();
    }

private:
    std::atomic<bool> _entered{false};
    std::atomic<bool> _released{false};
    test::Fault<decltype(fault_WriteFile)> _fault;
};

TEST_F(ImageSaverTest, WhatDoesNotFitIntoTheQueueIsCountedAndTheRestIsSaved) {
    HeldDisk disk;
    const auto saver = create();
    EXPECT_EQ(saver->queueCapacity(), 16u);
    for (std::uint64_t image = 0; image < 20; ++image) offer(*saver, image);
    EXPECT_EQ(saver->outcome().dropped(), 4u);
    disk.release();
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 16u);
    EXPECT_EQ(saver->outcome().dropped(), 4u);
    EXPECT_EQ(sidecar().size(), 16u);
}

// Encodes like the real one, when the test permits, and counts the threads inside.
class HeldEncoder {
public:
    host::ImageEncoder encoder() {
        return [this](const frames::ImageView& image, ImageFileFormat format, std::vector<std::uint8_t>& file,
                      std::string& error, int level) {
            ++_entered;
            while (!_mayEnd(image.pixels[0])) std::this_thread::yield();
            _level = level;
            const bool good = frames::encodeImage(image, format, file, error, level);
            ++_left;
            return good;
        };
    }
    /// @param mayEnd  Called again and again, with the image's position, by all threads.
    explicit HeldEncoder(std::function<bool(int image)> mayEnd) : _mayEnd(std::move(mayEnd)) {}
    HeldEncoder() : HeldEncoder([this](int) { return _released.load(); }) {}

    void release() { _released = true; }
    int entered() const { return _entered; }
    int left() const { return _left; }
    int level() const { return _level; }

private:
    std::function<bool(int image)> _mayEnd;
    std::atomic<bool> _released{false};
    std::atomic<int> _entered{0}, _left{0}, _level{-1};
};

TEST_F(ImageSaverTest, AsManyImagesAreEncodedAtOnceAsThereAreThreads) {
    HeldEncoder encoder;
    _settings.encode = encoder.encoder();
    _settings.threads = 3;
    const auto saver = create();
    EXPECT_EQ(saver->threads(), 3u);
    for (std::uint64_t image = 0; image < 8; ++image) offer(*saver, image);
    while (encoder.entered() < 3) std::this_thread::yield();
    EXPECT_EQ(encoder.left(), 0);
    encoder.release();
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 8u);
}

TEST_F(ImageSaverTest, FilesAndLinesComeInTheOrderOfTheImagesThoughTheFirstTakesLongest) {
    std::unique_ptr<HeldEncoder> encoder;
    encoder = std::make_unique<HeldEncoder>([&](int image) { return image != 0 || encoder->left() >= 2; });
    _settings.encode = encoder->encoder();
    _settings.threads = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 12; ++image) offer(*saver, image);
    saver->finish();
    EXPECT_THAT(sidecar(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
}

TEST_F(ImageSaverTest, ManyImagesOfManyThreadsAreAllThereInOrder) {
    _settings.threads = 4;
    const auto saver = create({64, 40, 1});
    for (std::uint64_t image = 0; image < 200; ++image) {
        while (image - saver->outcome().saved >= saver->queueCapacity()) std::this_thread::yield();
        // Some are flat, and take less time.
        std::vector<std::uint8_t> bytes(std::size_t{64} * 40, static_cast<std::uint8_t>(image));
        for (std::size_t byte = 0; image % 3 == 0 && byte < bytes.size(); ++byte)
            bytes[byte] = static_cast<std::uint8_t>(byte * byte / 7);
        saver->offer(view(bytes, 64), note(image), false);
    }
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 200u);
    const std::vector<int> lines = sidecar();
    EXPECT_EQ(lines.size(), 200u);
    EXPECT_TRUE(std::ranges::is_sorted(lines));
}

TEST_F(ImageSaverTest, ImageThatCannotBeEncodedHoldsUpNoOther) {
    _settings.threads = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 6; ++image) {
        const std::vector<std::uint8_t> bytes(10, 7);
        saver->offer(view(bytes, 2, image % 2 == 0 ? 5 : 1), note(image), false);
    }
    saver->finish();
    EXPECT_EQ(saver->outcome().failed, 3u);
    EXPECT_THAT(saver->outcome().firstError, HasSubstr("image_000000.png: PNG has no form"));
    EXPECT_THAT(sidecar(), ElementsAre(1, 3, 5));
}

TEST_F(ImageSaverTest, CompressorThatCannotKeepUpIsNamedAsTheReason) {
    HeldEncoder encoder;
    _settings.encode = encoder.encoder();
    const auto saver = create();
    for (std::uint64_t image = 0; image < 20; ++image) offer(*saver, image);
    EXPECT_EQ(saver->outcome().droppedByCompressor, 4u);
    EXPECT_EQ(saver->outcome().droppedByDisk, 0u);
    EXPECT_EQ(saver->outcome().notSaved(), 4u);
    EXPECT_STREQ(saver->outcome().reason(), "compressor");
    encoder.release();
}

TEST_F(ImageSaverTest, DiskThatCannotKeepUpIsNamedAsTheReason) {
    for (const auto format : {ImageFileFormat::png, ImageFileFormat::raw}) {
        _settings.fileFormat = format;
        _settings.existing = host::ExistingFile::replace;
        HeldDisk disk;
        const auto saver = create();
        offer(*saver, 0);
        disk.waitForAnImage();
        for (std::uint64_t image = 1; image < 20; ++image) offer(*saver, image);
        EXPECT_EQ(saver->outcome().droppedByDisk, 4u);
        EXPECT_EQ(saver->outcome().droppedByCompressor, 0u);
        EXPECT_STREQ(saver->outcome().reason(), "disk");
        disk.release();
        saver->finish();
    }
}

TEST(ImageSaverOutcomeTest, ReasonIsWhatCostTheMostImages) {
    ImageSaver::Outcome outcome;
    EXPECT_EQ(outcome.reason(), nullptr);
    outcome.droppedByDisk = 2;
    EXPECT_STREQ(outcome.reason(), "disk");
    outcome.droppedByCompressor = 3;
    EXPECT_STREQ(outcome.reason(), "compressor");
    outcome.failed = 3;
    EXPECT_STREQ(outcome.reason(), "error");
    EXPECT_EQ(outcome.notSaved(), 8u);
}

TEST_F(ImageSaverTest, PngLevelReachesTheEncoder) {
    HeldEncoder encoder;
    encoder.release();
    _settings.encode = encoder.encoder();
    _settings.pngLevel = 7;
    const auto saver = create();
    offer(*saver, 0);
    saver->finish();
    EXPECT_EQ(encoder.level(), 7);
}

TEST_F(ImageSaverTest, FurtherThreadsHaveToFindRoomInTheMemory) {
    const frames::ImageFormat megabyte{1000, 1000, 1};
    struct Row {
        std::size_t megabytes, threads, queue;
    };
    for (const Row& row : {Row{1, 1, 1}, Row{8, 1, 8}, Row{9, 2, 4}, Row{100, 4, 16}}) {
        _settings.threads = 4;
        _settings.memoryBytes = row.megabytes * 1'000'000;
        const auto saver = create(megabyte);
        EXPECT_EQ(saver->threads(), row.threads) << row.megabytes;
        EXPECT_EQ(saver->queueCapacity(), row.queue) << row.megabytes;
        saver->finish();
    }
    _settings.threads = 12;
    EXPECT_EQ(create()->queueCapacity(), 24u) << "each thread has one to work on and one that waits";
    _settings.threads = 0;
    EXPECT_GE(create()->threads(), 1u);
    _settings.fileFormat = ImageFileFormat::raw;
    _settings.threads = 4;
    EXPECT_EQ(create()->threads(), 1u) << "there is nothing to compress";
}

TEST_F(ImageSaverTest, ImageWithoutPixelsFailsWhereItWasToBeSaved) {
    _settings.every = 2;
    _settings.aroundLoss = 2;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 8; ++image) {
        if (image == 2 || image == 3 || image == 5) {
            saver->offer({nullptr, kFormat}, note(image), image >= 6);
        } else {
            offer(*saver, image, image >= 6);
        }
    }
    saver->finish();
    EXPECT_EQ(saver->outcome().failed, 2u) << "3 was not wanted, 2 by its number, 5 since it came before the loss";
    EXPECT_EQ(saver->outcome().firstError, "image 2 came without pixels and cannot be saved");
    EXPECT_THAT(sidecar(), ElementsAre(0, 4, 6, 7));
}

TEST_F(ImageSaverTest, PlaceInTheQueueIsFreeAgainOnceItsImageIsWritten) {
    const auto saver = create();
    for (std::uint64_t image = 0; image < 40; ++image) {
        offer(*saver, image);
        while (saver->outcome().saved <= image) std::this_thread::yield();
    }
    EXPECT_EQ(saver->outcome().dropped(), 0u);
}

TEST_F(ImageSaverTest, ImagesBeforeAndAfterTheFirstLossAreSavedAndNoOthers) {
    _settings.every = 0;
    _settings.aroundLoss = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 30; ++image) offer(*saver, image, image >= 10);
    saver->finish();
    EXPECT_THAT(sidecar(), ElementsAre(7, 8, 9, 10, 11, 12));
    EXPECT_THAT(saved("image_000007.png"), Each(7));
    EXPECT_THAT(saved("image_000012.png"), Each(12));
    EXPECT_EQ(saver->outcome().lossImage, 10u);
}

TEST_F(ImageSaverTest, LossAtTheBeginningHasNothingBeforeIt) {
    _settings.every = 0;
    _settings.aroundLoss = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 5; ++image) offer(*saver, image, image >= 1);
    saver->finish();
    EXPECT_THAT(sidecar(), ElementsAre(0, 1, 2, 3));
}

TEST_F(ImageSaverTest, WithoutALossNothingAroundOneIsSavedAndNoSidecarStays) {
    _settings.every = 0;
    _settings.aroundLoss = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 30; ++image) offer(*saver, image);
    saver->finish();
    EXPECT_EQ(saver->outcome().lossImage, std::nullopt);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(ImageSaverTest, EveryNthImageAndThoseAroundTheLossAreSavedOnceEach) {
    _settings.every = 4;
    _settings.aroundLoss = 3;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 18; ++image) {
        offer(*saver, image, image >= 10);
        std::this_thread::yield();
    }
    saver->finish();
    EXPECT_THAT(sidecar(), testing::UnorderedElementsAre(0, 4, 7, 8, 9, 10, 11, 12, 16));
}

TEST_F(ImageSaverTest, ImagesAroundTheLossAreKeptHoweverFarTheDiskIsBehind) {
    _settings.aroundLoss = 20;
    HeldDisk disk;
    const auto saver = create();
    for (std::uint64_t image = 0; image < 100; ++image) offer(*saver, image, image >= 50);
    disk.release();
    saver->finish();
    // The queue held 0 to 15, the ring 30 to 49; 70 to 99 came while the queue was full.
    std::vector<int> expected;
    for (int image = 0; image < 16; ++image) expected.push_back(image);
    for (int image = 30; image < 70; ++image) expected.push_back(image);
    EXPECT_THAT(sidecar(), testing::ElementsAreArray(expected));
    EXPECT_EQ(saver->outcome().dropped(), 44u);
}

TEST_F(ImageSaverTest, MemoryIsSetAsideAtOnceAndTheLimitNamed) {
    _settings.aroundLoss = 5;
    _settings.memoryBytes = 12'000'000;
    const frames::ImageFormat megabyte{1000, 1000, 1};
    auto saver = create(megabyte);
    EXPECT_EQ(saver->queueCapacity(), 2u);
    EXPECT_EQ(saver->reservedBytes(), 12'000'000u);
    saver.reset();
    _settings.memoryBytes = 10'999'999;
    EXPECT_FALSE(create(megabyte));
    EXPECT_EQ(
        _error,
        "11 images of 1 MB have to be kept in memory, and --save-memory allows 11 MB: allow more, or fewer images "
        "around a loss");
    EXPECT_THAT(files(), IsEmpty()) << "nothing stands in the way of the next try";
}

TEST_F(ImageSaverTest, FolderThatIsAFileIsRefused) {
    _settings.folder = _folder.file("taken", "");
    EXPECT_FALSE(ImageSaver::create(_settings, _error));
    EXPECT_THAT(_error, HasSubstr("taken: cannot be made a folder for images"));
}

TEST_F(ImageSaverTest, FolderOfAnEarlierGrabIsRefusedUnlessItMayBeReplaced) {
    offer(*create(), 0);
    EXPECT_FALSE(ImageSaver::create(_settings, _error));
    EXPECT_THAT(_error, EndsWith("frames.jsonl: cannot be written: it exists already; --force replaces it"));
    EXPECT_THAT(sidecar(), ElementsAre(0));
    _settings.existing = host::ExistingFile::replace;
    const auto saver = create();
    saver->offer(view(std::vector<std::uint8_t>(12, 77), 4), note(0), false);
    saver->finish();
    EXPECT_THAT(sidecar(), ElementsAre(0));
    EXPECT_THAT(saved("image_000000.png"), Each(77));
}

TEST_F(ImageSaverTest, NameThatIsTakenFailsThatImageAlone) {
    _folder.file("image_000000.png", "somebody's");
    const auto saver = create();
    offer(*saver, 0);
    offer(*saver, 1);
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 1u);
    EXPECT_EQ(saver->outcome().failed, 1u);
    EXPECT_THAT(saver->outcome().firstError,
                EndsWith("image_000000.png: cannot be written: it exists already; --force replaces it"));
    EXPECT_THAT(sidecar(), ElementsAre(1));
    EXPECT_EQ(std::filesystem::file_size(_folder.path() + "/image_000000.png"), 10u);
}

TEST_F(ImageSaverTest, FullDiskKeepsWhatWasSavedAndLeavesNoPartOfAnImage) {
    int calls = 0;
    const test::Fault<decltype(fault_WriteFile)> full(
        fault_WriteFile, [&](HANDLE file, LPCVOID buffer, DWORD size, DWORD* written, OVERLAPPED* other) {
            if (++calls <= 4) return real_WriteFile(file, buffer, size, written, other);  // two images, two lines
            SetLastError(ERROR_DISK_FULL);
            return FALSE;
        });
    const auto saver = create();
    for (std::uint64_t image = 0; image < 5; ++image) offer(*saver, image);
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 2u);
    EXPECT_EQ(saver->outcome().failed, 3u);
    EXPECT_THAT(saver->outcome().firstError, EndsWith("image_000002.png: cannot be written: the disk is full"));
    EXPECT_THAT(sidecar(), ElementsAre(0, 1));
    EXPECT_EQ(files().size(), 3u);
}

TEST_F(ImageSaverTest, DiskThatTakesAPartOfAnImageOnlyLeavesNothingOfIt) {
    int calls = 0;
    const test::Fault<decltype(fault_WriteFile)> full(
        fault_WriteFile, [&](HANDLE file, LPCVOID buffer, DWORD, DWORD* written, OVERLAPPED* other) {
            if (++calls == 1) return real_WriteFile(file, buffer, 5, written, other);
            *written = 0;
            return TRUE;
        });
    const auto saver = create();
    offer(*saver, 0);
    saver->finish();
    EXPECT_THAT(saver->outcome().firstError, EndsWith("the disk is full"));
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(ImageSaverTest, LineThatFitsInPartOnlyIsTakenBack) {
    int calls = 0;
    const test::Fault<decltype(fault_WriteFile)> full(
        fault_WriteFile, [&](HANDLE file, LPCVOID buffer, DWORD size, DWORD* written, OVERLAPPED* other) {
            if (++calls != 4) return real_WriteFile(file, buffer, size, written, other);  // the second line
            real_WriteFile(file, buffer, 20, written, other);
            SetLastError(ERROR_DISK_FULL);
            return FALSE;
        });
    const auto saver = create();
    for (std::uint64_t image = 0; image < 2; ++image) offer(*saver, image);
    saver->finish();
    EXPECT_THAT(saver->outcome().firstError, EndsWith("frames.jsonl: cannot be written: the disk is full"));
    EXPECT_THAT(sidecar(), ElementsAre(0));
}

TEST_F(ImageSaverTest, ImageWhoseLineCannotBeWrittenIsRemovedAndSavingEnds) {
    int calls = 0;
    const test::Fault<decltype(fault_WriteFile)> full(
        fault_WriteFile, [&](HANDLE file, LPCVOID buffer, DWORD size, DWORD* written, OVERLAPPED* other) {
            if (++calls != 4) return real_WriteFile(file, buffer, size, written, other);  // the second line
            SetLastError(ERROR_DISK_FULL);
            return FALSE;
        });
    const auto saver = create();
    for (std::uint64_t image = 0; image < 5; ++image) offer(*saver, image);
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 1u);
    EXPECT_EQ(saver->outcome().failed, 4u);
    EXPECT_THAT(saver->outcome().firstError, EndsWith("frames.jsonl: cannot be written: the disk is full"));
    EXPECT_THAT(sidecar(), ElementsAre(0));
    EXPECT_EQ(files().size(), 2u);
}

TEST_F(ImageSaverTest, DepthWithoutAFormFails) {
    const auto saver = create();
    saver->offer(view(std::vector<std::uint8_t>(10, 7), 2, 5), note(0), false);
    saver->finish();
    EXPECT_THAT(saver->outcome().firstError, EndsWith("image_000000.png: PNG has no form for 5 bytes per pixel"));
}

TEST_F(ImageSaverTest, ImageThatCannotBeCopiedThrowsAndLeavesThePlaceInTheQueue) {
    _settings.memoryBytes = 12;
    const auto saver = create();
    ASSERT_EQ(saver->queueCapacity(), 1u);
    const std::vector<std::uint8_t> bytes(12, 7);
    EXPECT_THROW(saver->offer({bytes.data(), {std::numeric_limits<std::size_t>::max(), 1, 1}}, note(0), false),
                 std::length_error);
    saver->offer(view(bytes, 4), note(1), false);
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 1u);
    EXPECT_EQ(saver->outcome().notSaved(), 1u);
}

TEST_F(ImageSaverTest, FinishesWithoutImagesAndTwice) {
    const auto saver = create();
    saver->finish();
    saver->finish();
    EXPECT_EQ(saver->outcome().saved, 0u);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(ImageSaverTest, SidecarOfASaverThatWasNeverUsedIsRemoved) {
    ASSERT_TRUE(ImageSaver::create(_settings, _error));
    EXPECT_THAT(files(), IsEmpty());
}

}  // namespace
