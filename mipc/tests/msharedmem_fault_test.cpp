// Shared memory while the system refuses; everything taken so far must be returned.
#include <set>
#include <vector>

#include <gmock/gmock.h>

#include "msharedmem.h"
#include "msharedmem_registry.h"
#include "no_memory.h"
#include "platform_fault.h"
#include "reports.h"
#include "shared_memory_test.h"

PLATFORM_FAULT(HANDLE, CreateFileMappingA,
               (HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protect, DWORD sizeHigh, DWORD sizeLow,
                LPCSTR name),
               (file, attributes, protect, sizeHigh, sizeLow, name))
PLATFORM_FAULT(HANDLE, OpenFileMappingA, (DWORD access, BOOL inheritHandle, LPCSTR name), (access, inheritHandle, name))
PLATFORM_FAULT(LPVOID, MapViewOfFile, (HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes),
               (mapping, access, offsetHigh, offsetLow, bytes))
PLATFORM_FAULT(BOOL, UnmapViewOfFile, (LPCVOID address), (address))
PLATFORM_FAULT(BOOL, CloseHandle, (HANDLE handle), (handle))
PLATFORM_FAULT(SIZE_T, VirtualQuery, (LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T length),
               (address, information, length))

// The registry's own DeleteLinkInfo can fail only if a view's entry vanished between two steps under one lock. So
// msharedmem_win32.cpp is compiled with the name of this function instead (CMakeLists.txt).
#undef DeleteLinkInfo
bool DeleteLinkInfo(void* address);
static bool deleteFails = false;
bool refusableDeleteLinkInfo(void* address) { return DeleteLinkInfo(address) && !deleteFails; }

using test::ForeignMemory;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

HANDLE refuseCreate(HANDLE, SECURITY_ATTRIBUTES*, DWORD, DWORD, DWORD, LPCSTR) {
    SetLastError(1455);
    return nullptr;
}

LPVOID refuseMap(HANDLE, DWORD, DWORD, DWORD, SIZE_T) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

// Unmaps and closes, reports a failure, and changes the last error for callers that did not read it at once.
BOOL unmapAndFail(LPCVOID address) {
    real_UnmapViewOfFile(address);
    SetLastError(487);
    return FALSE;
}

BOOL closeAndFail(HANDLE handle) {
    real_CloseHandle(handle);
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

class MSharedMemFaultTest : public test::SharedMemoryTest {
protected:
    // Notes which mappings are open. Other handles, such as those of threads, are ignored.
    void watchHandles() {
        fault_CreateFileMappingA = [this](HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protect, DWORD high,
                                          DWORD low, LPCSTR name) {
            const HANDLE mapping = real_CreateFileMappingA(file, attributes, protect, high, low, name);
            _open.insert(mapping);
            return mapping;
        };
        fault_OpenFileMappingA = [this](DWORD access, BOOL inheritHandle, LPCSTR name) {
            const HANDLE mapping = real_OpenFileMappingA(access, inheritHandle, name);
            _open.insert(mapping);
            return mapping;
        };
        fault_CloseHandle = [this](HANDLE handle) {
            _open.erase(handle);
            const BOOL closed = real_CloseHandle(handle);
            SetLastError(ERROR_INVALID_HANDLE);  // must not reach the report
            return closed;
        };
    }
    ~MSharedMemFaultTest() override {
        fault_CreateFileMappingA = nullptr;
        fault_OpenFileMappingA = nullptr;
        fault_CloseHandle = nullptr;
        deleteFails = false;
        EXPECT_THAT(_open, IsEmpty());
    }

    bool isRegistered() const {
        const MSharedMem_RegistryLock lock;
        return SearchMemLinkInfo(_name) != MSharedMem_NoLinkInfo();
    }

    std::set<HANDLE> _open;
};

// ------------------------------------------------------------------------------------------------------ what is asked

TEST_F(MSharedMemFaultTest, CreateAndLinkOrCreateAskForTheSizeInTwoHalves) {
    std::vector<DWORD> sizes;
    const test::Fault fault(fault_CreateFileMappingA,
                            [&](HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protect, DWORD sizeHigh,
                                DWORD sizeLow, LPCSTR name) -> HANDLE {
                                EXPECT_EQ(file, INVALID_HANDLE_VALUE);
                                EXPECT_EQ(attributes, nullptr);
                                EXPECT_EQ(protect, static_cast<DWORD>(PAGE_READWRITE));
                                EXPECT_EQ(name, _name);
                                sizes.insert(sizes.end(), {sizeHigh, sizeLow});
                                return nullptr;
                            });
    EXPECT_EQ(MSharedMem_Create(_name.c_str(), 0x123456789ABCDEF0u), nullptr);
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 0xFFFFFFFFu), nullptr);
    EXPECT_THAT(sizes, ElementsAre(0x12345678u, 0x9ABCDEF0u, 0u, 0xFFFFFFFFu));
    _reports.errorTraces();
}

TEST_F(MSharedMemFaultTest, EveryWayInMapsTheWholeMemoryReadableAndWritable) {
    int calls = 0;
    const test::Fault fault(fault_MapViewOfFile,
                            [&](HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) {
                                ++calls;
                                EXPECT_EQ(access, 0xF001Fu);
                                EXPECT_EQ(offsetHigh, 0u);
                                EXPECT_EQ(offsetLow, 0u);
                                EXPECT_EQ(bytes, 0u);
                                return real_MapViewOfFile(mapping, access, offsetHigh, offsetLow, bytes);
                            });
    MSharedMem_Unlink(MSharedMem_Create(_name.c_str(), 100));
    MSharedMem_Unlink(MSharedMem_LinkOrCreate(_name.c_str(), 100));
    const HANDLE foreign =
        real_CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, _name.c_str());
    MSharedMem_Unlink(MSharedMem_Link(_name.c_str()));
    CloseHandle(foreign);
    EXPECT_EQ(calls, 3);
}

TEST_F(MSharedMemFaultTest, LinkOpensForEverythingWithoutInheritance) {
    const test::Fault fault(fault_OpenFileMappingA, [&](DWORD access, BOOL inheritHandle, LPCSTR name) -> HANDLE {
        EXPECT_EQ(access, 0xF001Fu);
        EXPECT_EQ(inheritHandle, FALSE);
        EXPECT_EQ(name, _name);
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    });
    EXPECT_EQ(MSharedMem_Link(_name.c_str()), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Link() failed for '" + _name + "' (5)"));
}

TEST_F(MSharedMemFaultTest, NameOfThisProcessIsRefusedBeforeTheSystemIsAsked) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    const test::Fault fault(fault_CreateFileMappingA,
                            [](HANDLE, SECURITY_ATTRIBUTES*, DWORD, DWORD, DWORD, LPCSTR) -> HANDLE {
                                ADD_FAILURE() << "the registry knows already";
                                return nullptr;
                            });
    EXPECT_EQ(MSharedMem_Create(_name.c_str(), 100), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): name \"" + _name + "\" already exist"));
    MSharedMem_Unlink(memory);
}

// -------------------------------------------------------------------------------------------------- refused on the way

TEST_F(MSharedMemFaultTest, CreateReportsARefusedMappingWithoutANumber) {
    const test::Fault fault(fault_CreateFileMappingA, refuseCreate);
    EXPECT_EQ(MSharedMem_Create(_name.c_str(), 100), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): CreateFileMapping() failed"));
    expectFreeRegistry();
}

TEST_F(MSharedMemFaultTest, LinkOrCreateReportsARefusedMappingUnderTheNameOfCreateWithANumber) {
    const test::Fault fault(fault_CreateFileMappingA, refuseCreate);
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 100), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): CreateFileMapping() failed (1455)"));
    expectFreeRegistry();
}

TEST_F(MSharedMemFaultTest, CreateClosesTheMappingWhenItCannotBeMapped) {
    watchHandles();
    {
        const test::Fault fault(fault_MapViewOfFile, refuseMap);
        EXPECT_EQ(MSharedMem_Create(_name.c_str(), 100), nullptr);
    }
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): MapViewOfFile() failed (8)"));
    EXPECT_THAT(_open, IsEmpty());
    EXPECT_FALSE(isRegistered());
    expectFreeRegistry();
}

TEST_F(MSharedMemFaultTest, CreateClosesTheMappingThatExistedAlready) {
    const ForeignMemory foreign(_name, 100);
    watchHandles();
    EXPECT_EQ(MSharedMem_Create(_name.c_str(), 100), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): \"" + _name + "\" ERROR_ALREADY_EXISTS"));
    EXPECT_THAT(_open, IsEmpty());
    fault_CloseHandle = nullptr;
}

TEST_F(MSharedMemFaultTest, LinkOrCreateClosesTheMappingWhenItCannotBeMapped) {
    watchHandles();
    {
        const test::Fault fault(fault_MapViewOfFile, refuseMap);
        EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 100), nullptr);
    }
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): MapViewOfFile() failed (8)"));
    EXPECT_THAT(_open, IsEmpty());
    EXPECT_FALSE(isRegistered());
    expectFreeRegistry();
}

TEST_F(MSharedMemFaultTest, LinkOrCreateUnmapsAndClosesWhatIsTooSmall) {
    const ForeignMemory foreign(_name, 100);
    watchHandles();
    void* mapped = nullptr;
    std::vector<LPCVOID> unmapped;
    {
        const test::Fault map(fault_MapViewOfFile,
                              [&](HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T bytes) {
                                  return mapped = real_MapViewOfFile(mapping, access, high, low, bytes);
                              });
        const test::Fault unmap(fault_UnmapViewOfFile, [&](LPCVOID address) {
            unmapped.push_back(address);
            return real_UnmapViewOfFile(address);
        });
        EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 4097), nullptr);
    }
    EXPECT_EQ(_reports.errorTraces().size(), 1u);
    EXPECT_THAT(unmapped, ElementsAre(mapped));
    EXPECT_THAT(_open, IsEmpty());
    EXPECT_FALSE(isRegistered());
    fault_CloseHandle = nullptr;
}

TEST_F(MSharedMemFaultTest, LinkOrCreateTellsExistingMemoryByTheErrorOfCreateAlone) {
    const ForeignMemory foreign(_name, 100);
    const test::Fault fault(fault_MapViewOfFile, [](HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T bytes) {
        void* const view = real_MapViewOfFile(mapping, access, high, low, bytes);
        SetLastError(ERROR_SUCCESS);
        return view;
    });
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 4097), nullptr);
    EXPECT_EQ(_reports.errorTraces().size(), 1u);
}

TEST_F(MSharedMemFaultTest, LinkClosesTheMappingWhenItCannotBeMapped) {
    const ForeignMemory foreign(_name, 100);
    watchHandles();
    {
        const test::Fault fault(fault_MapViewOfFile, refuseMap);
        EXPECT_EQ(MSharedMem_Link(_name.c_str()), nullptr);
    }
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Link(): MapViewOfFile() failed (8)"));
    EXPECT_THAT(_open, IsEmpty());
    EXPECT_FALSE(isRegistered());
    expectFreeRegistry();
    fault_CloseHandle = nullptr;
}

// The registry already has the address under another name, which no system should do.
class RefusedByTheRegistryTest : public MSharedMemFaultTest, public testing::WithParamInterface<const char*> {
protected:
    void* enter() {
        const std::string way = GetParam();
        if (way == "Create") return MSharedMem_Create(_name.c_str(), 100);
        if (way == "LinkOrCreate") return MSharedMem_LinkOrCreate(_name.c_str(), 100);
        return MSharedMem_Link(_name.c_str());
    }
};

TEST_P(RefusedByTheRegistryTest, ViewAndMappingAreGivenBackSilently) {
    const std::string other = test::uniqueName("other");
    void* const known = MSharedMem_Create(other.c_str(), 100);
    HANDLE foreign = nullptr;
    if (std::string(GetParam()) == "Link")
        foreign = real_CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, _name.c_str());
    watchHandles();
    std::vector<LPCVOID> unmapped;
    {
        const test::Fault map(fault_MapViewOfFile, [&](HANDLE, DWORD, DWORD, DWORD, SIZE_T) { return known; });
        const test::Fault unmap(fault_UnmapViewOfFile, [&](LPCVOID address) {
            unmapped.push_back(address);
            return TRUE;
        });
        EXPECT_EQ(enter(), nullptr);
    }
    EXPECT_THAT(_reports.errorTraces(), IsEmpty());
    EXPECT_THAT(unmapped, ElementsAre(known));
    EXPECT_THAT(_open, IsEmpty());
    EXPECT_FALSE(isRegistered());
    EXPECT_STREQ(MSharedMem_GetName(known), other.c_str());
    expectFreeRegistry();
    fault_CloseHandle = nullptr;
    MSharedMem_Unlink(known);
    if (foreign) CloseHandle(foreign);
}

INSTANTIATE_TEST_SUITE_P(Ways, RefusedByTheRegistryTest, testing::Values("Create", "LinkOrCreate", "Link"),
                         [](const auto& way) { return std::string(way.param); });

// ------------------------------------------------------------------------------------------------ refused at the end

TEST_F(MSharedMemFaultTest, UnlinkReportsARefusedUnmapAndCountsAsDone) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    {
        const test::Fault fault(fault_UnmapViewOfFile, unmapAndFail);
        EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    }
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Unlink(): UnmapViewOfFile() failed (487)"));
    EXPECT_FALSE(isRegistered());
}

TEST_F(MSharedMemFaultTest, UnlinkReportsARefusedCloseUnderTheNameOfDestroyAndCountsAsDone) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    {
        const test::Fault fault(fault_CloseHandle, closeAndFail);
        EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    }
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Destroy(): CloseHandle() failed (6)"));
    EXPECT_FALSE(isRegistered());
}

TEST_F(MSharedMemFaultTest, UnlinkTriesAllThreeStepsWhateverFails) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    {
        deleteFails = true;
        const test::Fault unmap(fault_UnmapViewOfFile, unmapAndFail);
        const test::Fault close(fault_CloseHandle, closeAndFail);
        EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    }
    deleteFails = false;
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Destroy(): DeleteLinkInfo() failed",
                                                    "MSharedMem_Unlink(): UnmapViewOfFile() failed (487)",
                                                    "MSharedMem_Destroy(): CloseHandle() failed (6)"));
    expectFreeRegistry();
}

TEST_F(MSharedMemFaultTest, UnlinkThatIsNotTheLastTouchesNothing) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    MSharedMem_Link(_name.c_str());
    {
        const test::Fault unmap(fault_UnmapViewOfFile, unmapAndFail);
        const test::Fault close(fault_CloseHandle, closeAndFail);
        EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    }
    EXPECT_TRUE(isRegistered());
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
}

TEST_F(MSharedMemFaultTest, DestroyFailsWithARefusedUnmap) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    {
        const test::Fault fault(fault_UnmapViewOfFile, unmapAndFail);
        EXPECT_EQ(MSharedMem_Destroy(memory), 0);
    }
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Destroy(): UnmapViewOfFile() failed (487)"));
    EXPECT_FALSE(isRegistered());
}

TEST_F(MSharedMemFaultTest, DestroyFailsWithARefusedCloseThatGoesToTheErrorLog) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    {
        const test::Fault fault(fault_CloseHandle, closeAndFail);
        EXPECT_EQ(MSharedMem_Destroy(memory), 0);
    }
    EXPECT_THAT(_reports.errors(), ElementsAre("MSharedMem_Destroy(): CloseHandle() failed (6)"));
    EXPECT_FALSE(isRegistered());
}

TEST_F(MSharedMemFaultTest, DestroyFailsWhenTheEntryIsNotDeleted) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    deleteFails = true;
    EXPECT_EQ(MSharedMem_Destroy(memory), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Destroy(): DeleteLinkInfo() failed"));
}

TEST_F(MSharedMemFaultTest, DestroyTriesAllThreeStepsWhateverFails) {
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    {
        deleteFails = true;
        const test::Fault unmap(fault_UnmapViewOfFile, unmapAndFail);
        const test::Fault close(fault_CloseHandle, closeAndFail);
        EXPECT_EQ(MSharedMem_Destroy(memory), 0);
    }
    deleteFails = false;
    const auto entries = _reports.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].text, "MSharedMem_Destroy(): DeleteLinkInfo() failed");
    EXPECT_EQ(entries[0].sink, LogSink::errorTrace);
    EXPECT_EQ(entries[1].text, "MSharedMem_Destroy(): UnmapViewOfFile() failed (487)");
    EXPECT_EQ(entries[1].sink, LogSink::errorTrace);
    EXPECT_EQ(entries[2].text, "MSharedMem_Destroy(): CloseHandle() failed (6)");
    EXPECT_EQ(entries[2].sink, LogSink::errorLog);
    EXPECT_EQ(entries[2].file, "mipc/src/msharedmem_win32");
    expectFreeRegistry();
}

TEST_F(MSharedMemFaultTest, LastUnlinkClosesTheHandleOfTheMapping) {
    watchHandles();
    void* const memory = MSharedMem_Create(_name.c_str(), 100);
    EXPECT_EQ(_open.size(), 1u);
    MSharedMem_Link(_name.c_str());
    MSharedMem_Unlink(memory);
    EXPECT_EQ(_open.size(), 1u);
    MSharedMem_Unlink(memory);
    EXPECT_THAT(_open, IsEmpty());
}

TEST_F(MSharedMemFaultTest, ViewIsGivenBackWhenThereIsNoMemoryForItsEntry) {
    watchHandles();
    const test::Fault fault(fault_MapViewOfFile,
                            [](HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes) {
                                void* const view = real_MapViewOfFile(mapping, access, offsetHigh, offsetLow, bytes);
                                test::failAllocation(1);
                                return view;
                            });
    EXPECT_EQ(MSharedMem_Create(_name.c_str(), 100), nullptr);
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 100), nullptr);
    EXPECT_TRUE(test::allocationHasFailed());
    EXPECT_THAT(_open, IsEmpty());
    EXPECT_FALSE(isRegistered());
}

TEST_F(MSharedMemFaultTest, RegionThatIsReservedAloneHasNoBytes) {
    const ForeignMemory foreign(_name, 100);
    const test::Fault fault(fault_VirtualQuery,
                            [](LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T length) {
                                constexpr DWORD kReserved = 0x2000;
                                const SIZE_T answered = real_VirtualQuery(address, information, length);
                                information->State = kReserved;
                                return answered;
                            });
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 50), nullptr);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MSharedMem_LinkOrCreate(): existing size is too small for " + _name + ": 0 < 50"));
    void* const memory = MSharedMem_Link(_name.c_str());
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(MSharedMem_GetSize(memory), 0u);
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
}

TEST_F(MSharedMemFaultTest, RegionThatCannotBeAskedForIsTooSmallForLinkOrCreateAndHasNoBytesForLink) {
    const ForeignMemory foreign(_name, 100);
    watchHandles();
    const test::Fault fault(fault_VirtualQuery, [](LPCVOID, MEMORY_BASIC_INFORMATION*, SIZE_T) { return SIZE_T{0}; });
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 50), nullptr);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MSharedMem_LinkOrCreate(): existing size is too small for " + _name + ": 0 < 50"));
    EXPECT_THAT(_open, IsEmpty());
    void* const memory = MSharedMem_Link(_name.c_str());
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(MSharedMem_GetSize(memory), 0u);
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_THAT(_open, IsEmpty());
}

// --------------------------------------------------------------------------------------- looks, and why one is refused

TEST_F(MSharedMemFaultTest, SizeOfAnotherProcessesMemoryIsZeroWhereTheSystemRefusesTheLook) {
    const ForeignMemory foreign(_name, 4096);
    watchHandles();
    EXPECT_EQ(MSharedMem_GetExistingSize(_name.c_str()), 4096u);
    {
        const test::Fault fault(fault_MapViewOfFile, refuseMap);
        EXPECT_EQ(MSharedMem_GetExistingSize(_name.c_str()), 0u);
    }
    const test::Fault fault(fault_VirtualQuery, [](LPCVOID, MEMORY_BASIC_INFORMATION*, SIZE_T) -> SIZE_T { return 0; });
    EXPECT_EQ(MSharedMem_GetExistingSize(_name.c_str()), 0u);
    EXPECT_FALSE(isRegistered());
    _reports.errorTraces();
}

TEST_F(MSharedMemFaultTest, SizeOfMemoryThatDoesNotExistIsZero) {
    EXPECT_EQ(MSharedMem_GetExistingSize(_name.c_str()), 0u);
    _reports.errorTraces();
}

TEST_F(MSharedMemFaultTest, RefusalIsTheSystemsNumberAndUntouchedForMemoryThatExists) {
    DWORD refusal = 7;
    {
        const test::Fault fault(fault_CreateFileMappingA, refuseCreate);
        EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 4096, &refusal), nullptr);
    }
    EXPECT_EQ(refusal, 1455u);
    refusal = 7;
    const ForeignMemory foreign(_name, 4096);
    EXPECT_EQ(MSharedMem_LinkOrCreate(_name.c_str(), 100'000, &refusal), nullptr);
    EXPECT_EQ(refusal, 7u);
    _reports.errorTraces();
}

}  // namespace
