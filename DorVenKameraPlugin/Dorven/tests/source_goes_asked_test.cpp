// A camera that is destroyed while its simulator asks. ThreadSanitizer checks what the two threads share meanwhile.
#include <atomic>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "DorVenImagesComm.h"
#include "DorVenPlugin.h"
#include "IPMessenger.h"
#include "log_recorder.h"

namespace {

using namespace NUV;
using kest::dorven::DorVenImagesComm;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessenger;

/// A simulator that asks for the image size over and over.
class AskingSimulator {
public:
    AskingSimulator() : _thread([this] { askOverAndOver(); }) {}
    ~AskingSimulator() {
        _stop = true;
        _thread.join();
    }

    /// Waits for that many answers by counting alone: nothing else orders the other threads' actions before the
    /// caller's next ones.
    void waitForAnswers(int count) const {
        while (answers() < count) std::this_thread::yield();
    }
    int answers() const { return _answers.load(std::memory_order_relaxed); }
    /// Waits until at least two questions in a row have found no answer.
    void waitForSilence() const {
        while (_silent < 2) std::this_thread::yield();
    }

private:
    void askOverAndOver() {
        const auto channel = std::make_shared<DorVenImagesComm>();
        const auto messenger = IPMessenger::create(channel);
        while (!_stop) {
            const ImagesMessage answer = channel->ask({1, 0, 0, 0});
            const bool answered = answer.command == 1 && answer.first == 1280;
            _silent = answered ? 0 : _silent + 1;
            if (answered) _answers.fetch_add(1, std::memory_order_relaxed);
        }
    }

    std::atomic<bool> _stop{false};
    std::atomic<int> _answers{0};
    std::atomic<int> _silent{0};  // questions since the last answer
    std::thread _thread;
};

TEST(CameraThatIsAsked, GoesInTheMidstOfQuestions) {
    const test::LogRecorder log(3);  // a trace of each question would order the threads
    auto device = std::make_unique<DorVenPlugin>("");
    ASSERT_EQ(device->call(1001, nullptr, nullptr), kDone);
    const AskingSimulator simulator;
    simulator.waitForAnswers(20);
    device.reset();
    simulator.waitForSilence();
    const int answers = simulator.answers();
    device = std::make_unique<DorVenPlugin>("");
    EXPECT_EQ(device->call(1001, nullptr, nullptr), kDone);
    // It is destroyed like a camera that another one may follow: the test ends only with a further answer. Entries in
    // the error log are no fault: asking while nobody is there is reported.
    simulator.waitForAnswers(answers + 1);
}

}  // namespace
