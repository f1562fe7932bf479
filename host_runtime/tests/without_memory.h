// For a scope, makes every allocation on this thread fail.
#pragma once

class WithoutMemory {
public:
    WithoutMemory();
    ~WithoutMemory();
    WithoutMemory(const WithoutMemory&) = delete;
    WithoutMemory& operator=(const WithoutMemory&) = delete;
};
