// A messenger with real fifos, whose waits a test plays one by one, so that no case takes time.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "scripted_event.h"
#include "test_channel.h"

namespace test {

class SteppedMessenger : public IPMessenger {
public:
    explicit SteppedMessenger(const std::shared_ptr<Comm>& comm) : IPMessenger(comm) {
        _receiver.reset();  // frees the reader's mark for the next one
        _receiver = IPMessageReceiver::create(comm->responseId(), comm->responseSize() + sizeof(FrameHeader), event);
    }
    ~SteppedMessenger() override { close(); }

    using IPMessenger::last;
    using IPMessenger::setStep;

    /// Gives the thread one signalled wait, or one that times out, and waits until the thread has processed it.
    void signal() { play(1); }
    void timeOut() { play(-1); }

    std::shared_ptr<ScriptedEvent> event = std::make_shared<ScriptedEvent>();

private:
    void play(int status) {
        event->answer(status);
        if (!std::exchange(_started, true)) start(kest::dorven::startStandardThread);
        event->playToEnd();
    }
    bool _started = false;
};

}  // namespace test
