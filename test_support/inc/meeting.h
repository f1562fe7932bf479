// Two events on which a test and its child process meet, instead of sleeping.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "child_process.h"
#include "mevent.h"

namespace test {

/// Waits for an event by name; false when nobody signals it in time.
inline bool await(const std::string& name) {
    const HANDLE event = MEvent_Create(name.c_str());
    const int result = MEvent_Wait(&event, 1, 60'000);
    MEvent_Delete(event);
    return result == 0;
}

/// Signals an event by name. Somebody else must hold it: an event that only the signaller holds vanishes with its
/// signal.
inline void signal(const std::string& name) {
    const HANDLE event = MEvent_Create(name.c_str());
    MEvent_Notify(event);
    MEvent_Delete(event);
}

/// Held by the test, so that no signal is lost between the two processes.
class Meeting {
public:
    ~Meeting() {
        MEvent_Delete(_ready);
        MEvent_Delete(_go);
    }
    Meeting() = default;
    Meeting(const Meeting&) = delete;
    Meeting& operator=(const Meeting&) = delete;

    /// Arguments for a child that reports when it is ready and then waits until told to go.
    Arguments arguments(Arguments first) const {
        first.insert(first.end(), {_readyName, _goName});
        return first;
    }
    void awaitReady() const { EXPECT_EQ(MEvent_Wait(&_ready, 1, 60'000), 0) << "the child did not get ready"; }
    void go() const { MEvent_Notify(_go); }

private:
    std::string _readyName = uniqueName("ready");
    std::string _goName = uniqueName("go");
    HANDLE _ready = MEvent_Create(_readyName.c_str());
    HANDLE _go = MEvent_Create(_goName.c_str());
};

/// The child's side of a Meeting: its last two arguments are the names.
inline bool readyAndAwaitGo(const Arguments& arguments) {
    const HANDLE go = MEvent_Create(arguments.at(arguments.size() - 1).c_str());
    signal(arguments.at(arguments.size() - 2));
    const int result = MEvent_Wait(&go, 1, 60'000);
    MEvent_Delete(go);
    return result == 0;
}

}  // namespace test
