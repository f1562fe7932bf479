#include <gtest/gtest.h>
#include <unistd.h>

#include "standard_input_pipe.h"

namespace test {

StandardInputPipe::StandardInputPipe() : _former(dup(STDIN_FILENO)), _read(STDIN_FILENO), _write(-1) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    EXPECT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    close(ends[0]);
    _write = ends[1];
}

StandardInputPipe::~StandardInputPipe() {
    end();
    dup2(static_cast<int>(_former), static_cast<int>(_read));
    close(static_cast<int>(_former));
}

void StandardInputPipe::put(const std::string& bytes) const {
    EXPECT_EQ(write(static_cast<int>(_write), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void StandardInputPipe::end() {
    if (_write >= 0) close(static_cast<int>(_write));
    _write = -1;
}

}  // namespace test
