// Refuses memory to everything that asks on this thread, for a scope.
#pragma once

class WithoutMemory {
public:
    WithoutMemory();
    ~WithoutMemory();
    WithoutMemory(const WithoutMemory&) = delete;
    WithoutMemory& operator=(const WithoutMemory&) = delete;
};
