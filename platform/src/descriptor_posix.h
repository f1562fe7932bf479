#pragma once

#include <utility>

#include <unistd.h>

/// Descriptor that closes itself, and with it all its locks, unless it is released.
class Descriptor {
public:
    explicit Descriptor(int value) : _value(value) {}
    ~Descriptor() {
        if (_value >= 0) close(_value);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return _value; }
    int release() { return std::exchange(_value, -1); }

private:
    int _value;
};
