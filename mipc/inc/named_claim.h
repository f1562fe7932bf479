// A name that only one holder among all processes can have at a time: an event of that name, which exists exactly as
// long as its holder, even if the holder is killed. Nobody waits for it or signals it.
#pragma once

#include <string>
#include <utility>

#include "platform.h"

class NamedClaim {
public:
    explicit NamedClaim(std::string name) : _name(std::move(name)) {}
    ~NamedClaim() { release(); }
    NamedClaim(const NamedClaim&) = delete;
    NamedClaim& operator=(const NamedClaim&) = delete;

    /// Whether somebody has the name, in this process or another.
    static bool isTaken(const std::string& name) {
        const HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, name.c_str());
        if (event) CloseHandle(event);
        return event != nullptr;
    }

    /// @return True when this object has the name, now or since an earlier call; false when another holder has it, or
    ///         when the system refuses (isTakenByAnother).
    bool claim() {
        if (_event) return true;
        const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, _name.c_str());
        _error = GetLastError();
        _isTakenByAnother = event && _error == ERROR_ALREADY_EXISTS;
        if (_isTakenByAnother) {
            CloseHandle(event);
        } else {
            _event = event;
        }
        return _event != nullptr;
    }

    bool isHeld() const { return _event != nullptr; }

    /// After a failed claim: whether another holder has the name.
    bool isTakenByAnother() const { return _isTakenByAnother; }

    /// After a failed claim without another holder: the error, for platform_explainRefusal.
    DWORD error() const { return _error; }
    const std::string& name() const { return _name; }

    void release() {
        if (_event) CloseHandle(_event);
        _event = nullptr;
    }

private:
    std::string _name;
    HANDLE _event = nullptr;
    DWORD _error = ERROR_SUCCESS;
    bool _isTakenByAnother = false;
};
