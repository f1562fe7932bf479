// A name that one holder at a time has, among all processes: an event of that name that exists as long as its holder
// does, however that ends. Nobody waits for it or signals it.
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

    /// @return True when the name is this object's, now or since an earlier call; false when another has it.
    bool claim() {
        if (_event) return true;
        const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, _name.c_str());
        const bool first = event && GetLastError() != ERROR_ALREADY_EXISTS;
        if (first) {
            _event = event;
        } else if (event) {
            CloseHandle(event);
        }
        return first;
    }

    void release() {
        if (_event) CloseHandle(_event);
        _event = nullptr;
    }

private:
    std::string _name;
    HANDLE _event = nullptr;
};
