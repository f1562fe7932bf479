// Both ends of a message fifo while the system, or the fifo itself, fails.
#include <functional>
#include <stdexcept>

#include "endpoint_test.h"
#include "platform_fault.h"
#include "shared_memory_test.h"

PLATFORM_FAULT(HANDLE, CreateEventA, (SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initial, LPCSTR name),
               (attributes, manualReset, initial, name))
PLATFORM_FAULT(DWORD, WaitForMultipleObjects, (DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds),
               (count, handles, all, milliseconds))
PLATFORM_FAULT(HANDLE, CreateFileMappingA,
               (HANDLE file, SECURITY_ATTRIBUTES* attributes, DWORD protect, DWORD sizeHigh, DWORD sizeLow,
                LPCSTR name),
               (file, attributes, protect, sizeHigh, sizeLow, name))
PLATFORM_FAULT(LPVOID, MapViewOfFile, (HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes),
               (mapping, access, offsetHigh, offsetLow, bytes))
PLATFORM_FAULT(BOOL, UnmapViewOfFile, (LPCVOID address), (address))
PLATFORM_FAULT(SIZE_T, VirtualQuery, (LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T length),
               (address, information, length))

// IPMessageReceiver.cpp is compiled with these instead of the fifo's own functions (CMakeLists.txt).
#undef MMemFifo_Read
#undef MMemFifo_Unlink
std::size_t MMemFifo_Read(void* memory, void* target, std::size_t maximum, std::size_t memorySize);
void MMemFifo_Unlink(void* memory);

// A real fifo never reads more than requested.
static std::size_t bytesTooMany = 0;
std::size_t readTooMany(void* memory, void* target, std::size_t maximum, std::size_t memorySize) {
    return MMemFifo_Read(memory, target, maximum, memorySize) + bytesTooMany;
}

// Runs before a reader removes a mark, its own or not.
static std::function<void()> beforeUnlink;
void watchedUnlink(void* memory) {
    if (beforeUnlink) beforeUnlink();
    MMemFifo_Unlink(memory);
}

using test::FailedAssertion;
using test::Fault;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class MessageFaultTest : public test::EndpointTest {
protected:
    // Views that do not begin on an 8-byte boundary, where no fifo can be created.
    void shiftViews() {
        fault_MapViewOfFile = [](HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T bytes) -> LPVOID {
            return static_cast<char*>(real_MapViewOfFile(mapping, access, high, low, bytes)) + 4;
        };
        fault_UnmapViewOfFile = [](LPCVOID address) {
            return real_UnmapViewOfFile(static_cast<const char*>(address) - 4);
        };
        fault_VirtualQuery = [](LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T length) {
            return real_VirtualQuery(static_cast<const char*>(address) - 4, information, length);
        };
    }
    void unshiftViews() {
        fault_MapViewOfFile = nullptr;
        fault_UnmapViewOfFile = nullptr;
        fault_VirtualQuery = nullptr;
    }
    ~MessageFaultTest() override {
        unshiftViews();
        bytesTooMany = 0;
        beforeUnlink = nullptr;
    }
};

TEST_F(MessageFaultTest, EventThatCannotBeMadePassesOutOfCreateAndLeavesNothing) {
    const Fault fault(fault_CreateEventA,
                      [](SECURITY_ATTRIBUTES*, BOOL, BOOL, LPCSTR) -> HANDLE { return INVALID_HANDLE_VALUE; });
    EXPECT_THROW(makeSender(), std::runtime_error);
    EXPECT_THROW(makeReceiver(), std::runtime_error);
    EXPECT_EQ(errors().size(), 4u);  // the event's own reports
    EXPECT_FALSE(memoryExists());
}

TEST_F(MessageFaultTest, SenderThatCanNeitherCreateNorLinkStaysUnattachedAndCanTryAgain) {
    std::shared_ptr<test::IPMessageSender> sender;
    {
        const Fault fault(fault_CreateFileMappingA,
                          [](HANDLE, SECURITY_ATTRIBUTES*, DWORD, DWORD, DWORD, LPCSTR) -> HANDLE { return nullptr; });
        sender = makeSender();
        EXPECT_THAT(traces(), ElementsAre(Pair(4, "shared mem " + _memoryName + " already opened, linking..."),
                                          Pair(5, "could not allocate shared mem: " + _memoryName + " 105(40)")));
        EXPECT_FALSE(sender->isConnected());
    }
    sender->open();
    EXPECT_TRUE(memoryExists());
}

TEST_F(MessageFaultTest, SenderWhoseFifoCannotBeLaidGivesTheMemoryBack) {
    shiftViews();
    const auto sender = makeSender();
    EXPECT_EQ(_log.errorTraces().size(), 1u);
    EXPECT_THAT(traces(), ElementsAre(Pair(4, "could not create fifo " + _memoryName + " of size: 40")));
    unshiftViews();
    EXPECT_FALSE(memoryExists());
    sender->open();
    EXPECT_TRUE(memoryExists());
}

TEST_F(MessageFaultTest, ReceiverThatCannotAttachGivesTheMemoryBack) {
    const test::ForeignMemory foreign(_memoryName, 4096);
    shiftViews();
    const auto receiver = makeReceiver();
    EXPECT_THAT(traces(), ElementsAre(Pair(4, "could not link fifo " + _memoryName + " of size: 40")));
    unshiftViews();
    EXPECT_FALSE(receiver->isConnected());
    EXPECT_EQ(receiver->wait(0.0), 3);  // the foreign memory has no writer
}

TEST_F(MessageFaultTest, FailedWaitIsZeroWhileConnectedAndThreeOtherwise) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    const Fault fault(fault_WaitForMultipleObjects,
                      [](DWORD, const HANDLE*, BOOL, DWORD) -> DWORD { return WAIT_FAILED; });
    EXPECT_EQ(receiver->wait(5.0), 0);
    sender->close();
    EXPECT_EQ(receiver->wait(5.0), 2);
    EXPECT_EQ(receiver->wait(5.0), 3);
}

TEST_F(MessageFaultTest, ReceiverThatAttachesAnewLeavesAMarkThatAnotherOneHasTakenMeanwhile) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    sender->recreate();
    const test::LinkedMemory memory(_memoryName);
    int unlinks = 0;
    beforeUnlink = [&] {
        ++unlinks;
        MMemFifo_Link(memory.fifo());  // the other one attaches at this moment
    };
    receiver->wait(0.0);
    beforeUnlink = nullptr;
    EXPECT_EQ(unlinks, 0);
    EXPECT_EQ(MMemFifo_IsReaderAttached(memory.fifo()), 1);
}

TEST_F(MessageFaultTest, FifoThatReadsMoreThanAskedIsReported) {
    const auto sender = makeSender();
    const auto receiver = makeReceiver();
    write(*sender, "abcdef");
    bytesTooMany = 2;
    EXPECT_EQ(read(*receiver, 3), "abc");
    EXPECT_THAT(errors(), ElementsAre(FailedAssertion("s <= size", "ipc/IPMessageReceiver",
                                                      "fifo " + _memoryName + " could not read enough bytes: 5 <= 3")));
    bytesTooMany = 0;
    EXPECT_EQ(read(*receiver, 3), "def");
    EXPECT_THAT(errors(), IsEmpty());
}

}  // namespace
