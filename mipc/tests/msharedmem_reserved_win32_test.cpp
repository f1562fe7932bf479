// Memory that another Windows program has reserved but not, or only partly, committed: touching the rest is a fault.
#include <gtest/gtest.h>

#include "shared_memory_test.h"

namespace {

constexpr DWORD kReservedBytes = 0x10000;
constexpr std::size_t kPage = 4096;

class ReservedMemoryTest : public test::SharedMemoryTest {
protected:
    ~ReservedMemoryTest() override {
        UnmapViewOfFile(_view);
        CloseHandle(_mapping);
    }
    void expectSize(std::size_t size) {
        void* const memory = MSharedMem_Link(_name.c_str());
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(MSharedMem_GetSize(memory), size);
        EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    }

    HANDLE _mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | SEC_RESERVE, 0, kReservedBytes,
                                         _name.c_str());
    void* _view = MapViewOfFile(_mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
};

TEST_F(ReservedMemoryTest, HasNoBytes) {
    ASSERT_NE(_view, nullptr);
    expectSize(0);
}

TEST_F(ReservedMemoryTest, HasTheBytesThatAreCommittedFromItsBegin) {
    ASSERT_NE(VirtualAlloc(_view, kPage, MEM_COMMIT, PAGE_READWRITE), nullptr);
    expectSize(kPage);
}

TEST_F(ReservedMemoryTest, IsTooSmallForWhoeverNeedsBytes) {
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 1), nullptr);
    EXPECT_EQ(_reports.errorTraces().size(), 1u);
}

}  // namespace
