// Shared memory, fifos and events while each of their allocations fails once, including those of the Linux layer and of
// the logging libraries: a failure is a result, nothing is thrown, and no name stays taken.
#include <memory>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "child_process.h"
#include "mevent.h"
#include "mmemfifo.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "no_memory.h"

namespace {

constexpr int kMostAllocations = 1'000;
bool oneHasFailed = false;  // in the last call of `failing`

/// One call whose count-th allocation fails. It must not throw: that would end the program.
template <typename Call>
auto failing(int count, Call&& call) noexcept {
    test::failAllocation(count);
    const auto result = call();
    oneHasFailed = test::allocationHasFailed();
    test::failAllocation(0);
    return result;
}

template <typename Call>
void withEachAllocationFailing(Call&& call) {
    for (int count = 1; count < kMostAllocations; ++count) {
        call(count);
        if (!oneHasFailed) return;
        ASSERT_FALSE(testing::Test::HasFailure()) << "allocation " << count;
    }
    ADD_FAILURE() << "no end of allocations";
}

class NoMemoryFor : public testing::Test {
protected:
    std::string _name = test::uniqueName("memory");
    const char* _text = _name.c_str();
};

void expectFree(const std::string& name) {
    void* const memory = MSharedMem_Create(name.c_str(), 100);
    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(MSharedMem_Destroy(memory), 1);
}

}  // namespace

TEST_F(NoMemoryFor, CreatingSharedMemoryGivesNullAndTheNameStaysFree) {
    withEachAllocationFailing([this](int count) {
        void* const memory = failing(count, [this] { return MSharedMem_Create(_text, 100); });
        if (memory) {
            EXPECT_EQ(MSharedMem_Unlink(memory), 1);
        }
        expectFree(_name);
    });
}

TEST_F(NoMemoryFor, LinkingOrCreatingSharedMemoryGivesNullAndTheNameStaysFree) {
    withEachAllocationFailing([this](int count) {
        void* const memory = failing(count, [this] { return MSharedMem_LinkOrCreate(_text, 100); });
        if (memory) {
            EXPECT_EQ(MSharedMem_Unlink(memory), 1);
        }
        expectFree(_name);
    });
}

TEST_F(NoMemoryFor, LinkingSharedMemoryGivesNull) {
    const HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, _text);
    withEachAllocationFailing([this](int count) {
        void* const memory = failing(count, [this] { return MSharedMem_Link(_text); });
        if (memory) {
            EXPECT_EQ(MSharedMem_Unlink(memory), 1);
        }
    });
    CloseHandle(mapping);
    expectFree(_name);
}

TEST_F(NoMemoryFor, UnlinkingNeedsNone) {
    for (int count = 1; count < 20; ++count) {
        void* const memory = MSharedMem_Create(_text, 100);
        EXPECT_EQ(failing(count, [=] { return MSharedMem_Unlink(memory); }), 1);
        void* const second = MSharedMem_Create(_text, 100);
        EXPECT_STREQ(failing(count, [=] { return MSharedMem_GetName(second); }), _text);
        EXPECT_EQ(failing(count, [=] { return MSharedMem_GetSize(second); }), 100u);
        EXPECT_EQ(failing(count, [=] { return MSharedMem_Destroy(second); }), 1);
    }
}

TEST_F(NoMemoryFor, RefusalsOfSharedMemoryAndFifosAreResults) {
    alignas(8) unsigned char block[200]{};
    withEachAllocationFailing([&](int count) {
        failing(count, [&] {
            return MSharedMem_Create("", 1) || MSharedMem_Link("no such memory") || MSharedMem_Unlink(block) ||
                   MSharedMem_Destroy(block) || MSharedMem_GetName(block) || MSharedMem_GetSize(block) == 1 ||
                   MMemFifo_Create(block + 1, 10) || MMemFifo_Link(block + 1) ||
                   MMemLineFifo_CreateBySize(block, 10, 10) || MMemLineFifo_Link(block + 1) || MEvent_Notify(nullptr) ||
                   MEvent_Delete(nullptr);
        });
    });
}

TEST_F(NoMemoryFor, AnEventIsMadeOrNullAndItsDestructorThrowsNothing) {
    withEachAllocationFailing([this](int count) {
        const HANDLE event = failing(count, [this] { return MEvent_Create(_text); });
        if (event) {
            EXPECT_EQ(MEvent_Delete(event), 1);
        }
    });
    for (int count = 1; count < 20; ++count) {
        auto event = std::make_unique<MProcessEvent>(_text);
        EXPECT_TRUE(event->Notify());
        EXPECT_EQ(failing(count, [&] { return event->Wait(0.0); }), 1);
        EXPECT_TRUE(failing(count, [&] {
            event.reset();
            return true;
        }));
    }
    expectFree(_name);
}

TEST_F(NoMemoryFor, AnEventThatCannotBeMadeIsOneThatCannotWait) {
    withEachAllocationFailing([this](int count) {
        EXPECT_TRUE(failing(count, [this] {
            MProcessEvent event(_text);
            event.Set();
            event.Wait(0.0);
            return true;
        }));
    });
}
