// An event between threads or processes, as an object held by shared pointer.
#pragma once

#include "platform.h"

/// What can be waited for and signalled. Implementations are used from any thread.
class MEvent {
public:
    virtual ~MEvent() = default;

    /// Waits, for a time in seconds that is cut to whole milliseconds (0.0009 polls; -0.001 is for ever, as its
    /// milliseconds are those of an endless wait). 1 signalled, -1 timed out, 0 failed.
    virtual int Wait(double seconds) = 0;

    /// Signals: releases one wait, now or the next one. False after an entry in the error trace.
    virtual bool Notify() = 0;

    /// Signals like Notify, but reports nothing when it fails.
    virtual bool Set() = 0;

protected:
    MEvent() = default;
    MEvent(const MEvent&) = default;
    MEvent& operator=(const MEvent&) = default;
};

/// A named event of the system, shared by all processes that name it.
class MProcessEvent : public MEvent {
public:
    /// @param name  Name; null or "" for an event of its own.
    /// @throws std::runtime_error  when the event handle is the invalid one. A null handle is no failure here: Wait
    ///                             then answers 0, Notify and Set false.
    explicit MProcessEvent(const char* name);
    ~MProcessEvent() override;
    MProcessEvent(const MProcessEvent&) = delete;
    MProcessEvent& operator=(const MProcessEvent&) = delete;

    int Wait(double seconds) override;
    bool Notify() override;
    bool Set() override;

private:
    HANDLE _event;
};

/// Whole milliseconds of a time in seconds, as a 32-bit timeout: cut toward zero, then the low 32 bits (-1.0 gives
/// 4294966296). Beyond 64 bits or +infinity: INFINITE; NaN and -infinity: 0.
DWORD MProcessEvent_Milliseconds(double seconds);
