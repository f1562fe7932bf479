#include "msharedmem_registry.h"

#include <gmock/gmock.h>

#include "msharedmem.h"
#include "reports.h"
#include "shared_memory_test.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

HANDLE handleOf(std::uintptr_t number) { return reinterpret_cast<HANDLE>(number); }

class MSharedMemRegistryTest : public test::SharedMemoryTest {
protected:
    ~MSharedMemRegistryTest() override {
        const MSharedMem_RegistryLock lock;
        DeleteLinkInfo(&_first);
        DeleteLinkInfo(&_second);
    }

    const MSharedMem_RegistryLock _lock;
    int _first = 0;  // used as views
    int _second = 0;
};

TEST_F(MSharedMemRegistryTest, NewEntryHasLinkCountZero) {
    MSharedMemLinkInfo* const info = SetNewLinkInfo("n", &_first, handleOf(5), 100);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->name, "n");
    EXPECT_EQ(info->handle, handleOf(5));
    EXPECT_EQ(info->size, 100u);
    EXPECT_EQ(info->linkCount, 0);
    EXPECT_EQ(&SearchMemLinkInfo(&_first)->second, info);
    EXPECT_EQ(&SearchMemLinkInfo(std::string("n"))->second, info);
}

TEST_F(MSharedMemRegistryTest, EmptyNameOrNullAddressGivesNoEntrySilently) {
    EXPECT_EQ(SetNewLinkInfo("", &_first, handleOf(5), 100), nullptr);
    EXPECT_EQ(SetNewLinkInfo("n", nullptr, handleOf(5), 100), nullptr);
    EXPECT_EQ(SearchMemLinkInfo(&_first), MSharedMem_NoLinkInfo());
    EXPECT_EQ(SearchMemLinkInfo(std::string("n")), MSharedMem_NoLinkInfo());
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

TEST_F(MSharedMemRegistryTest, FullMatchGivesTheEntryThatIsThere) {
    MSharedMemLinkInfo* const info = SetNewLinkInfo("n", &_first, handleOf(5), 100);
    info->linkCount = 3;
    EXPECT_EQ(SetNewLinkInfo("n", &_first, handleOf(5), 100), info);
    EXPECT_EQ(info->linkCount, 3);
}

TEST_F(MSharedMemRegistryTest, OtherSizeOrHandleIsAConflict) {
    MSharedMemLinkInfo* const info = SetNewLinkInfo("n", &_first, handleOf(0xABC), 100);
    EXPECT_EQ(SetNewLinkInfo("n", &_first, handleOf(0xABC), 200), nullptr);
    EXPECT_EQ(SetNewLinkInfo("n", &_first, handleOf(0x123456789), 100), nullptr);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("SetNewLinkInfo():'n'(200,0xabc) in conflict to 'n'(100,0xabc)",
                            "SetNewLinkInfo():'n'(100,0x23456789) in conflict to 'n'(100,0xabc)"));
    EXPECT_EQ(info->size, 100u);
    EXPECT_EQ(info->handle, handleOf(0xABC));
}

TEST_F(MSharedMemRegistryTest, KnownAddressUnderAnotherNameGivesNoEntrySilently) {
    SetNewLinkInfo("n", &_first, handleOf(5), 100);
    EXPECT_EQ(SetNewLinkInfo("other", &_first, handleOf(5), 100), nullptr);
    EXPECT_EQ(SearchMemLinkInfo(std::string("other")), MSharedMem_NoLinkInfo());
    SetNewLinkInfo("other", &_second, handleOf(6), 100);
    EXPECT_EQ(SetNewLinkInfo("other", &_first, handleOf(5), 100), nullptr);  // address of one entry, name of another
    EXPECT_EQ(SearchMemLinkInfo(&_first)->second.name, "n");
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
}

TEST_F(MSharedMemRegistryTest, KnownNameAtANewAddressGetsAnEntry) {
    SetNewLinkInfo("n", &_first, handleOf(5), 100);
    EXPECT_NE(SetNewLinkInfo("n", &_second, handleOf(6), 100), nullptr);
    EXPECT_EQ(SearchMemLinkInfo(&_second)->second.handle, handleOf(6));
    EXPECT_EQ(SearchMemLinkInfo(&_first)->second.handle, handleOf(5));
}

TEST_F(MSharedMemRegistryTest, NamesAreComparedByteForByte) {
    SetNewLinkInfo("n", &_first, handleOf(5), 100);
    for (const char* name : {"N", "n ", "", "nn"})
        EXPECT_EQ(SearchMemLinkInfo(std::string(name)), MSharedMem_NoLinkInfo()) << name;
}

TEST_F(MSharedMemRegistryTest, DeletedEntryIsGoneAndCannotBeDeletedAgain) {
    SetNewLinkInfo("n", &_first, handleOf(5), 100);
    EXPECT_TRUE(DeleteLinkInfo(&_first));
    EXPECT_FALSE(DeleteLinkInfo(&_first));
    EXPECT_EQ(SearchMemLinkInfo(&_first), MSharedMem_NoLinkInfo());
    EXPECT_EQ(SearchMemLinkInfo(std::string("n")), MSharedMem_NoLinkInfo());
}

class LinkCountTest : public test::SharedMemoryTest {};

TEST_F(LinkCountTest, UnlinkOfAnEntryWithoutLinksReportsTheNegativeCount) {
    int view = 0;
    {
        const MSharedMem_RegistryLock lock;
        ASSERT_NE(SetNewLinkInfo("n", &view, handleOf(5), 100), nullptr);
    }
    EXPECT_EQ(MSharedMem_Unlink(&view), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Unlink(): link_count < 0"));
    expectFreeRegistry();
    const MSharedMem_RegistryLock lock;
    EXPECT_TRUE(DeleteLinkInfo(&view));  // it was left alone
}

TEST_F(LinkCountTest, EveryWayInCountsOneLink) {
    const auto linkCount = [](const void* memory) {
        const MSharedMem_RegistryLock lock;
        return SearchMemLinkInfo(memory)->second.linkCount;
    };
    void* const created = MSharedMem_Create(_name.c_str(), 100);
    EXPECT_EQ(linkCount(created), 1);
    MSharedMem_Link(_name.c_str());
    EXPECT_EQ(linkCount(created), 2);
    MSharedMem_LinkOrCreate(_name.c_str(), 100);
    EXPECT_EQ(linkCount(created), 3);
    MSharedMem_Unlink(created);
    EXPECT_EQ(linkCount(created), 2);
    MSharedMem_Destroy(created);

    const test::ForeignMemory foreign(_name, 100);
    void* const linked = MSharedMem_Link(_name.c_str());
    EXPECT_EQ(linkCount(linked), 1);
    MSharedMem_Unlink(linked);
    void* const found = MSharedMem_LinkOrCreate(_name.c_str(), 100);
    EXPECT_EQ(linkCount(found), 1);
    MSharedMem_Unlink(found);
}

}  // namespace
