#include "msharedmem.h"

#include <algorithm>
#include <cstring>

#include <gmock/gmock.h>

#include "child_process.h"
#include "meeting.h"
#include "msharedmem_registry.h"
#include "platform.h"
#include "reports.h"
#include "shared_memory_test.h"

using namespace std::chrono_literals;
using test::ForeignMemory;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr auto kNoSize = static_cast<std::size_t>(-1);
const char kNotRegistered[] = "MSharedMem_GetName()failed: call MSharedMem_Link() or MSharedMem_LinkOrCreate() first";

bool isZero(const void* memory, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(memory);
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

std::string withPointer(const char* format, const void* pointer) {
    char text[200];
    platform_format(text, sizeof text, format, pointer);
    return text;
}

std::string ofSixtyCharacters(std::string name) {
    name.resize(60, 'x');
    return name;
}

class MSharedMemTest : public test::SharedMemoryTest {
protected:
    void* create(std::size_t size) { return MSharedMem_Create(_name.c_str(), size); }
    void* linkOrCreate(std::size_t size) { return MSharedMem_LinkOrCreate(_name.c_str(), size); }
    void* link() { return MSharedMem_Link(_name.c_str()); }
    std::string notFound() const { return "MSharedMem_Link() failed for '" + _name + "' (2)"; }
    std::string tooSmall(const std::string& sizes) const {
        return "MSharedMem_LinkOrCreate(): existing size is too small for " + _name + ": " + sizes;
    }
};

// ----------------------------------------------------------------------------------------------------------- Create

TEST_F(MSharedMemTest, CreatedMemoryIsPageAlignedZeroAndKnownByNameAndSize) {
    void* const memory = create(100);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 4096, 0u);
    EXPECT_TRUE(isZero(memory, 100));
    EXPECT_EQ(MSharedMem_GetSize(memory), 100u);
    EXPECT_STREQ(MSharedMem_GetName(memory), _name.c_str());
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
}

TEST_F(MSharedMemTest, CreateRefusesAnEmptyNameBeforeItLooksAtTheSize) {
    EXPECT_EQ(MSharedMem_Create("", 1), nullptr);
    EXPECT_EQ(MSharedMem_Create("", 0), nullptr);
    EXPECT_EQ(MSharedMem_Create(nullptr, 1), nullptr);
    const std::string text = "MSharedMem_Create(): name == \"\"";
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(text, text, text));
}

TEST_F(MSharedMemTest, CreateRefusesSizeZero) {
    EXPECT_EQ(create(0), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): size <= 0"));
}

TEST_F(MSharedMemTest, CreateRefusesANameOfThisProcess) {
    void* const memory = create(100);
    EXPECT_EQ(create(100), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): name \"" + _name + "\" already exist"));
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);  // its link count did not grow
    EXPECT_EQ(link(), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notFound()));
}

TEST_F(MSharedMemTest, CreateRefusesANameThatExistsElsewhereAndLeavesItAlone) {
    const ForeignMemory foreign(_name, 100);
    foreign.bytes()[0] = 7;
    EXPECT_EQ(create(100), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): \"" + _name + "\" ERROR_ALREADY_EXISTS"));
    EXPECT_EQ(foreign.bytes()[0], 7);
}

TEST_F(MSharedMemTest, CreateShowsTheFirstFortyCharactersOfALongName) {
    _name = ofSixtyCharacters(_name);
    const std::string shown = _name.substr(0, 40);
    {
        const ForeignMemory foreign(_name, 100);
        EXPECT_EQ(create(1), nullptr);
    }
    void* const memory = create(1);
    EXPECT_EQ(create(1), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Create(): \"" + shown + "\" ERROR_ALREADY_EXISTS",
                                                    "MSharedMem_Create(): name \"" + shown + "\" already exist"));
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
}

TEST_F(MSharedMemTest, NamesThatDifferInCaseAreTwo) {
    void* const upper = MSharedMem_Create((_name + "A").c_str(), 1);
    void* const lower = MSharedMem_Create((_name + "a").c_str(), 1);
    ASSERT_NE(upper, nullptr);
    ASSERT_NE(lower, nullptr);
    EXPECT_NE(upper, lower);
    MSharedMem_Unlink(upper);
    MSharedMem_Unlink(lower);
}

TEST_F(MSharedMemTest, LocalPrefixIsAnotherNameInTheRegistryOfTheSameMemory) {
    auto* const plain = static_cast<unsigned char*>(create(1));
    auto* const local = static_cast<unsigned char*>(MSharedMem_Link(("Local\\" + _name).c_str()));
    ASSERT_NE(local, nullptr);
    EXPECT_NE(plain, local);
    plain[0] = 9;
    EXPECT_EQ(local[0], 9);
    MSharedMem_Unlink(plain);
    MSharedMem_Unlink(local);
}

// ----------------------------------------------------------------------------------------------------- LinkOrCreate

TEST_F(MSharedMemTest, LinkOrCreateRefusesAnEmptyNameBeforeItLooksAtTheSize) {
    EXPECT_EQ(MSharedMem_LinkOrCreate("", 1), nullptr);
    EXPECT_EQ(MSharedMem_LinkOrCreate("", 0), nullptr);
    EXPECT_EQ(MSharedMem_LinkOrCreate(nullptr, 1), nullptr);
    const std::string text = "MSharedMem_LinkOrCreate(): name == \"\"";
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(text, text, text));
}

TEST_F(MSharedMemTest, LinkOrCreateRefusesSizeZero) {
    EXPECT_EQ(linkOrCreate(0), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_LinkOrCreate(): size <= 0"));
}

TEST_F(MSharedMemTest, LinkOrCreateMakesNewMemoryOfTheAskedSize) {
    void* const memory = linkOrCreate(5000);
    ASSERT_NE(memory, nullptr);
    EXPECT_TRUE(isZero(memory, 5000));
    EXPECT_EQ(MSharedMem_GetSize(memory), 5000u);
    EXPECT_STREQ(MSharedMem_GetName(memory), _name.c_str());
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
}

TEST_F(MSharedMemTest, LinkOrCreateOfAnOwnNameCountsALinkAndKeepsTheRecordedSize) {
    void* const memory = create(100);
    EXPECT_EQ(linkOrCreate(100), memory);
    EXPECT_EQ(linkOrCreate(1), memory);
    EXPECT_EQ(MSharedMem_GetSize(memory), 100u);
    for (int link = 0; link < 3; ++link) EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_EQ(MSharedMem_GetName(memory), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(kNotRegistered));
}

TEST_F(MSharedMemTest, LinkOrCreateOfAnOwnNameRefusesMoreThanTheRecordedSize) {
    void* const memory = create(100);
    EXPECT_EQ(linkOrCreate(101), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(tooSmall("100 < 101")));
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);  // the refused one left no link
    EXPECT_EQ(MSharedMem_Unlink(memory), 0);
    _reports.errorTraces();
}

TEST_F(MSharedMemTest, LinkOrCreatePrintsSizesInFull) {
    void* const memory = create(100);
    EXPECT_EQ(linkOrCreate(81985529216486895u), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(tooSmall("100 < 81985529216486895")));
    MSharedMem_Unlink(memory);
}

TEST_F(MSharedMemTest, LinkOrCreateOfALinkedNameComparesWithItsWholePages) {
    const ForeignMemory foreign(_name, 100);
    void* const memory = link();
    EXPECT_EQ(linkOrCreate(4096), memory);
    EXPECT_EQ(linkOrCreate(4097), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(tooSmall("4096 < 4097")));
    MSharedMem_Destroy(memory);
}

TEST_F(MSharedMemTest, LinkOrCreateOfForeignMemoryTakesUpToItsWholePages) {
    const ForeignMemory foreign(_name, 100);
    foreign.bytes()[99] = 7;
    void* const memory = linkOrCreate(4096);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(memory)[99], 7);
    EXPECT_EQ(MSharedMem_GetSize(memory), 4096u);
    MSharedMem_Unlink(memory);
}

TEST_F(MSharedMemTest, LinkOrCreateOfForeignMemoryRefusesMoreThanItsWholePages) {
    const ForeignMemory foreign(_name, 100);
    EXPECT_EQ(linkOrCreate(4097), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(tooSmall("4096 < 4097")));
    void* const memory = link();  // nothing was registered
    EXPECT_EQ(MSharedMem_GetSize(memory), 4096u);
    MSharedMem_Unlink(memory);
}

TEST_F(MSharedMemTest, LinkOrCreateOfForeignMemoryRecordsTheAskedSize) {
    const ForeignMemory foreign(_name, 100);
    void* const memory = linkOrCreate(50);
    EXPECT_EQ(MSharedMem_GetSize(memory), 50u);
    MSharedMem_Unlink(memory);
}

// ------------------------------------------------------------------------------------------------------------- Link

TEST_F(MSharedMemTest, LinkRefusesAnEmptyName) {
    EXPECT_EQ(MSharedMem_Link(""), nullptr);
    EXPECT_EQ(MSharedMem_Link(nullptr), nullptr);
    const std::string text = "MSharedMem_Link(): name == \"\"";
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(text, text));
}

TEST_F(MSharedMemTest, LinkReportsMemoryThatDoesNotExist) {
    EXPECT_EQ(MSharedMem_Link("none"), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Link() failed for 'none' (2)"));
}

TEST_F(MSharedMemTest, LinkReportsTheNameOfAnEvent) {
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, _name.c_str());
    EXPECT_EQ(link(), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Link() failed for '" + _name + "' (6)"));
    CloseHandle(event);
}

TEST_F(MSharedMemTest, LinkOfForeignMemoryRecordsWholePages) {
    const ForeignMemory foreign(_name, 100);
    void* const memory = link();
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(MSharedMem_GetSize(memory), 4096u);
    EXPECT_STREQ(MSharedMem_GetName(memory), _name.c_str());
    MSharedMem_Unlink(memory);
}

TEST_F(MSharedMemTest, LinkOfLargerForeignMemoryRoundsUpToPages) {
    const ForeignMemory foreign(_name, 10'000);
    void* const memory = link();
    EXPECT_EQ(MSharedMem_GetSize(memory), 12'288u);
    MSharedMem_Unlink(memory);
}

TEST_F(MSharedMemTest, LinkOfOwnMemoryGivesTheSameAddressAndTheCreatedSize) {
    void* const memory = create(100);
    EXPECT_EQ(link(), memory);
    EXPECT_EQ(MSharedMem_GetSize(memory), 100u);
    MSharedMem_Destroy(memory);
}

TEST_F(MSharedMemTest, TwoLinksShareOneViewThatTheSecondUnlinkUnmaps) {
    const ForeignMemory foreign(_name, 100);
    auto* const memory = static_cast<unsigned char*>(link());
    EXPECT_EQ(link(), memory);
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    foreign.bytes()[5] = 55;
    EXPECT_EQ(memory[5], 55);  // still mapped
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_EQ(MSharedMem_Unlink(memory), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre(withPointer("MSharedMem_Unlink(): no shared memory registered at %p", memory)));
    MEMORY_BASIC_INFORMATION information{};
    const bool stillThere = VirtualQuery(memory, &information, sizeof information) != 0 &&
                            information.State == MEM_COMMIT && information.AllocationBase == memory;
    EXPECT_FALSE(stillThere);
}

// --------------------------------------------------------------------------------------------------- Unlink, Destroy

TEST_F(MSharedMemTest, UnlinkReportsNull) {
    EXPECT_EQ(MSharedMem_Unlink(nullptr), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Unlink(): NULL pointer for memory"));
}

TEST_F(MSharedMemTest, UnlinkReportsAnAddressInsideAView) {
    auto* const memory = static_cast<char*>(create(100));
    EXPECT_EQ(MSharedMem_Unlink(memory + 1), 0);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre(withPointer("MSharedMem_Unlink(): no shared memory registered at %p", memory + 1)));
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
}

TEST_F(MSharedMemTest, LastUnlinkFreesTheName) {
    void* memory = create(100);
    static_cast<unsigned char*>(memory)[0] = 1;
    MSharedMem_Unlink(memory);
    EXPECT_EQ(link(), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notFound()));
    memory = create(200);
    ASSERT_NE(memory, nullptr);
    EXPECT_TRUE(isZero(memory, 200));
    MSharedMem_Unlink(memory);
}

TEST_F(MSharedMemTest, DestroyUnmapsWhateverTheLinkCount) {
    void* const memory = create(100);
    link();
    link();
    EXPECT_EQ(MSharedMem_Destroy(memory), 1);
    EXPECT_EQ(MSharedMem_Destroy(memory), 0);
    EXPECT_EQ(link(), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Destroy(): SearchMemLinkInfo() failed", notFound()));
}

TEST_F(MSharedMemTest, DestroyReportsNullAndUnknownAddresses) {
    int unknown = 0;
    EXPECT_EQ(MSharedMem_Destroy(nullptr), 0);
    EXPECT_EQ(MSharedMem_Destroy(&unknown), 0);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_Destroy(): NULL pointer for memory",
                                                    "MSharedMem_Destroy(): SearchMemLinkInfo() failed"));
}

// ------------------------------------------------------------------------------------------------- GetName, GetSize

TEST_F(MSharedMemTest, GetNameReportsNullAndUnknownAddresses) {
    int unknown = 0;
    EXPECT_EQ(MSharedMem_GetName(nullptr), nullptr);
    EXPECT_EQ(MSharedMem_GetName(&unknown), nullptr);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_GetName(): NULL pointer for memory", kNotRegistered));
}

TEST_F(MSharedMemTest, GetSizeReportsNullAndUnknownAddressesWithTheTextOfGetName) {
    int unknown = 0;
    EXPECT_EQ(MSharedMem_GetSize(nullptr), kNoSize);
    EXPECT_EQ(MSharedMem_GetSize(&unknown), kNoSize);
    EXPECT_THAT(_reports.errorTraces(), ElementsAre("MSharedMem_GetSize(): NULL pointer for memory", kNotRegistered));
}

TEST_F(MSharedMemTest, NullIsOneEntryInTheErrorTraceAndInNoOtherLog) {
    MSharedMem_Unlink(nullptr);
    const auto entries = _reports.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].sink, LogSink::errorTrace);
    EXPECT_EQ(entries[0].file, "mipc/src/msharedmem_win32");
}

TEST_F(MSharedMemTest, EveryFailureLeavesTheRegistryToOtherThreads) {
    const ForeignMemory foreign(_name + "f", 100);
    void* const memory = create(100);
    int unknown = 0;
    const auto fails = [this](bool failed) {
        EXPECT_TRUE(failed);
        expectFreeRegistry();
    };
    fails(create(100) == nullptr);
    fails(MSharedMem_Create((_name + "f").c_str(), 1) == nullptr);
    fails(linkOrCreate(101) == nullptr);
    fails(MSharedMem_LinkOrCreate((_name + "f").c_str(), 4097) == nullptr);
    fails(MSharedMem_Link("none") == nullptr);
    fails(MSharedMem_Unlink(&unknown) == 0);
    fails(MSharedMem_Destroy(&unknown) == 0);
    fails(MSharedMem_GetName(&unknown) == nullptr);
    fails(MSharedMem_GetSize(&unknown) == kNoSize);
    EXPECT_EQ(_reports.errorTraces().size(), 9u);
    MSharedMem_Unlink(memory);
}

// ---------------------------------------------------------------------------------------------------- two processes

// Creates memory, says so, and unlinks it when told.
CHILD_ROLE(createsMemory) {
    auto* const memory = static_cast<unsigned char*>(
        MSharedMem_Create(arguments.at(0).c_str(), static_cast<std::size_t>(std::stoul(arguments.at(1)))));
    if (!memory) return 1;
    std::memcpy(memory, "from the child", 15);
    if (!test::readyAndAwaitGo(arguments)) return 2;
    const bool answered = std::memcmp(memory + 50, "from the parent", 16) == 0;
    if (!MSharedMem_Unlink(memory)) return 3;
    return answered ? 0 : 4;
}

class SharedBetweenProcessesTest : public MSharedMemTest {
protected:
    void startChild(std::size_t size) {
        _child =
            std::make_unique<test::ChildProcess>("createsMemory", _meeting.arguments({_name, std::to_string(size)}));
        _meeting.awaitReady();
    }
    int endChild() {
        _meeting.go();
        return _child->join(60s);
    }

    test::Meeting _meeting;
    std::unique_ptr<test::ChildProcess> _child;
};

TEST_F(SharedBetweenProcessesTest, BytesAreSeenByBothAndTheMemoryOutlivesItsCreator) {
    startChild(100);
    auto* const memory = static_cast<char*>(link());
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(MSharedMem_GetSize(memory), 4096u);
    EXPECT_STREQ(memory, "from the child");
    std::memcpy(memory + 50, "from the parent", 16);
    EXPECT_EQ(endChild(), 0);
    EXPECT_STREQ(memory, "from the child");
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_EQ(link(), nullptr);  // that was the last one
    EXPECT_THAT(_reports.errorTraces(), ElementsAre(notFound()));
}

TEST_F(SharedBetweenProcessesTest, CreateFailsAndLinkOrCreateFitsWhileAnotherProcessHasTheName) {
    startChild(100);
    EXPECT_EQ(create(100), nullptr);
    EXPECT_EQ(linkOrCreate(4097), nullptr);
    EXPECT_THAT(_reports.errorTraces(),
                ElementsAre("MSharedMem_Create(): \"" + _name + "\" ERROR_ALREADY_EXISTS", tooSmall("4096 < 4097")));
    void* const memory = linkOrCreate(4096);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(MSharedMem_GetSize(memory), 4096u);
    EXPECT_EQ(MSharedMem_Unlink(memory), 1);
    EXPECT_EQ(endChild(), 4);  // nobody answered it
}

TEST_F(SharedBetweenProcessesTest, KilledHoldersNameIsFreeAgain) {
    startChild(100);
    _child->kill();
    void* const memory = create(200);
    ASSERT_NE(memory, nullptr);
    EXPECT_TRUE(isZero(memory, 200));
    MSharedMem_Unlink(memory);
}

TEST_F(SharedBetweenProcessesTest, MemoryOfAKilledProcessStaysWithWhoHasLinkedIt) {
    startChild(100);
    void* const memory = link();
    _child->kill();
    EXPECT_STREQ(static_cast<char*>(memory), "from the child");
    MSharedMem_Unlink(memory);
}

CHILD_ROLE(linksLate) {
    void* const memory = MSharedMem_Link(arguments.at(0).c_str());
    const bool found = memory && std::strcmp(static_cast<char*>(memory), "early") == 0;
    return found && MSharedMem_Unlink(memory) ? 0 : 1;
}

TEST_F(MSharedMemTest, ProcessThatComesLateFindsTheBytes) {
    void* const memory = create(100);
    std::memcpy(memory, "early", 6);
    test::ChildProcess child("linksLate", {_name});
    EXPECT_EQ(child.join(60s), 0);
    MSharedMem_Unlink(memory);
}

}  // namespace
