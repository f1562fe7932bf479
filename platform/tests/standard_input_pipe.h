// A pipe as this process's standard input.
#pragma once

#include <cstdint>
#include <string>

namespace test {

class StandardInputPipe {
public:
    StandardInputPipe();
    ~StandardInputPipe();
    StandardInputPipe(const StandardInputPipe&) = delete;
    StandardInputPipe& operator=(const StandardInputPipe&) = delete;

    /// Few bytes, which a pipe takes at once.
    void put(const std::string& bytes) const;
    void end();

private:
    std::intptr_t _former;  // standard input of before
    std::intptr_t _read;
    std::intptr_t _write;
};

}  // namespace test
