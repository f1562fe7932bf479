#include <gtest/gtest.h>

#include "platform.h"
#include "standard_input_pipe.h"

namespace test {
namespace {

HANDLE handleOf(std::intptr_t number) { return reinterpret_cast<HANDLE>(number); }
std::intptr_t numberOf(HANDLE handle) { return reinterpret_cast<std::intptr_t>(handle); }

}  // namespace

StandardInputPipe::StandardInputPipe() : _former(numberOf(GetStdHandle(STD_INPUT_HANDLE))), _read(0), _write(0) {
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    EXPECT_TRUE(CreatePipe(&read, &write, nullptr, 0));
    EXPECT_TRUE(SetStdHandle(STD_INPUT_HANDLE, read));
    _read = numberOf(read);
    _write = numberOf(write);
}

StandardInputPipe::~StandardInputPipe() {
    end();
    SetStdHandle(STD_INPUT_HANDLE, handleOf(_former));
    CloseHandle(handleOf(_read));
}

void StandardInputPipe::put(const std::string& bytes) const {
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(handleOf(_write), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
    EXPECT_EQ(written, bytes.size());
}

void StandardInputPipe::end() {
    if (_write != 0) CloseHandle(handleOf(_write));
    _write = 0;
}

}  // namespace test
