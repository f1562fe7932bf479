// An event between threads or processes, as an object held by shared pointer.
#pragma once

#include "platform.h"

/// An object that threads can wait for and signal. Any thread may use it.
class MEvent {
public:
    virtual ~MEvent() = default;

    /// Waits for a time in seconds, which is cut to whole milliseconds: 0.0009 polls; -0.001 waits for ever, because
    /// its milliseconds are those of an endless wait. 1 signalled, -1 timed out, 0 failed.
    virtual int Wait(double seconds) = 0;

    /// Signals: releases one wait, now or the next one. False after an entry in the error trace.
    virtual bool Notify() = 0;

    /// Signals like Notify, but leaves no entry when it fails.
    virtual bool Set() = 0;

protected:
    MEvent() = default;
    MEvent(const MEvent&) = default;
    MEvent& operator=(const MEvent&) = default;
};

/// A named event of the system, shared by all processes that use its name.
class MProcessEvent : public MEvent {
public:
    /// @param name  Name; null or "" for a private event.
    /// @throws std::runtime_error  when the event handle is the invalid one. A null handle is no failure here: Wait
    /// then returns 0, Notify and Set return false.
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

/// Converts seconds to whole milliseconds as a 32-bit timeout: cut toward zero, then the low 32 bits (-1.0 gives
/// 4294966296). Beyond 64 bits or +infinity: INFINITE; NaN and -infinity: 0.
DWORD MProcessEvent_Milliseconds(double seconds);
