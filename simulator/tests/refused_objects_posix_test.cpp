// The simulator when something else has the place of one of its objects, which are files on Linux.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "camera_link.h"
#include "log_recorder.h"
#include "named_claim.h"
#include "object_look.h"
#include "object_names.h"
#include "simulator.h"

namespace {

namespace fs = std::filesystem;
using simulator::RenderedImages;
using simulator::Simulator;
using testing::HasSubstr;
using testing::Not;

class RefusedObjectsTest : public testing::TestWithParam<std::string> {
protected:
    RefusedObjectsTest() {
        NamedClaim("first").claim();  // makes the folder
        _options.pacing.frameCount = 20;
        _options.pacing.framesPerSecond = 500;
    }
    ~RefusedObjectsTest() override { fs::remove(path()); }
    std::string path() const { return platform_lookAtObjectFolder().path + "/" + GetParam(); }
    static bool isOfTheLink() { return !GetParam().starts_with(image_road::kImagesMemory); }
    std::string people() {
        std::optional<simulator::CameraLink> camera;
        if (isOfTheLink()) camera.emplace();
        EXPECT_EQ(Simulator(_options, _source, _people, camera ? &*camera : nullptr).run(), 1);
        EXPECT_THAT(_people.str(), Not(HasSubstr("another simulator")));
        return _people.str();
    }

    test::LogRecorder _log;
    simulator::SimulatorOptions _options;
    RenderedImages _source{{900, 20, 1}};
    std::ostringstream _people;
};

INSTANTIATE_TEST_SUITE_P(Objects, RefusedObjectsTest,
                         testing::Values(image_road::kImagesWriter, image_road::kImagesEvent, image_road::kImagesMemory,
                                         image_road::finishedOf(image_road::kSimulatorAsks),
                                         image_road::eventOf(image_road::kSimulatorAsks),
                                         image_road::eventOf(image_road::kCameraAsks)));

TEST_P(RefusedObjectsTest, LinkInItsPlaceIsToldAndNotFollowed) {
    const std::string target = path() + "-target";
    std::ofstream(target) << "kept";
    fs::create_symlink(target, path());
    EXPECT_THAT(people(), HasSubstr(path() + " is a link; remove it"));
    EXPECT_EQ(fs::file_size(target), 4u);
    fs::remove(target);
}

TEST_P(RefusedObjectsTest, FolderInItsPlaceIsTold) {
    fs::create_directory(path());
    EXPECT_THAT(people(), HasSubstr(path() + " is a folder; remove it"));
}

TEST_P(RefusedObjectsTest, PipeInItsPlaceIsTold) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_THAT(people(), HasSubstr(path() + " is no plain file; remove it"));
}

TEST_P(RefusedObjectsTest, SimulatorThatDoesNotAskNeedsNoObjectOfTheLink) {
    if (!isOfTheLink()) return;
    fs::create_directory(path());
    EXPECT_EQ(Simulator(_options, _source, _people).run(), 0) << _people.str();
}

}  // namespace
