// Shared by the tests of shared memory: recorded reports, a unique name, and a check at the end that the registry's
// lock is free.
#pragma once

#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "child_process.h"
#include "msharedmem.h"
#include "platform.h"
#include "reports.h"

namespace test {

class SharedMemoryTest : public testing::Test {
protected:
    SharedMemoryTest() : _kept(MSharedMem_Create(uniqueName("kept").c_str(), 1)) {}
    ~SharedMemoryTest() override {
        expectFreeRegistry();
        EXPECT_EQ(MSharedMem_Unlink(_kept), 1);
    }

    /// Another thread can use the registry: earlier calls have released the lock.
    void expectFreeRegistry() {
        std::promise<std::size_t> size;
        std::thread other([&] { size.set_value(MSharedMem_GetSize(_kept)); });
        auto answer = size.get_future();
        if (answer.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
            ADD_FAILURE() << "the registry's lock was not left";
            std::abort();  // the thread would never end
        }
        other.join();  // waits for its end, which closes handles, before the next test watches those
        EXPECT_EQ(answer.get(), 1u);
    }

    Reports _reports{"mipc/src/msharedmem_win32"};
    std::string _name = uniqueName("memory");
    void* _kept;
};

/// Memory that this process's registry does not know, as if another process had created it.
class ForeignMemory {
public:
    ForeignMemory(const std::string& name, DWORD size)
        : _mapping(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name.c_str())),
          _view(MapViewOfFile(_mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0)) {}
    ~ForeignMemory() {
        UnmapViewOfFile(_view);
        CloseHandle(_mapping);
    }
    ForeignMemory(const ForeignMemory&) = delete;
    ForeignMemory& operator=(const ForeignMemory&) = delete;

    unsigned char* bytes() const { return static_cast<unsigned char*>(_view); }

private:
    HANDLE _mapping;
    void* _view;
};

}  // namespace test
