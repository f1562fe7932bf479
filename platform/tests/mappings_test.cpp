#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "child_process.h"
#include "object_handles.h"
#include "platform.h"

using namespace std::chrono_literals;
using test::ObjectHandle;

namespace {

ObjectHandle createMapping(const std::string& name, DWORD size) {
    return ObjectHandle(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size,
                                           name.empty() ? nullptr : name.c_str()));
}

ObjectHandle openMapping(const std::string& name) {
    return ObjectHandle(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name.c_str()));
}

// A view that unmaps itself.
class View {
public:
    explicit View(HANDLE mapping)
        : _bytes(static_cast<unsigned char*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0))) {}
    ~View() {
        if (_bytes) UnmapViewOfFile(_bytes);
    }
    View(const View&) = delete;
    View& operator=(const View&) = delete;
    unsigned char* bytes() const { return _bytes; }

private:
    unsigned char* _bytes;
};

void signal(const std::string& name) {
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, name.c_str()));
    SetEvent(event.get());
}

bool await(const std::string& name) {
    const HANDLE event = CreateEventA(nullptr, FALSE, FALSE, name.c_str());
    const DWORD result = WaitForMultipleObjects(1, &event, FALSE, 60'000);
    CloseHandle(event);
    return result == WAIT_OBJECT_0;
}

// Two events on which a test and its child meet. The test holds both, so that neither vanishes in between.
struct Meeting {
    std::string ready = test::uniqueName("ready");
    std::string go = test::uniqueName("go");
    ObjectHandle readyEvent{CreateEventA(nullptr, FALSE, FALSE, ready.c_str())};
    ObjectHandle goEvent{CreateEventA(nullptr, FALSE, FALSE, go.c_str())};
};

}  // namespace

TEST(Mappings, NewMemoryIsZeroAndPageAligned) {
    const auto mapping = createMapping(test::uniqueName("zero"), 10'000);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const View view(mapping.get());
    ASSERT_NE(view.bytes(), nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.bytes()) % 4096, 0u);
    EXPECT_TRUE(std::all_of(view.bytes(), view.bytes() + 10'000, [](unsigned char byte) { return byte == 0; }));
}

TEST(Mappings, CreatingTwiceTellsThatItExistedAndSharesTheBytes) {
    const std::string name = test::uniqueName("twice");
    const auto first = createMapping(name, 100);
    const auto second = createMapping(name, 50'000);  // the size of an existing one stays
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    const View a(first.get());
    const View b(second.get());
    ASSERT_NE(a.bytes(), b.bytes());
    a.bytes()[99] = 7;
    EXPECT_EQ(b.bytes()[99], 7);
}

TEST(Mappings, TheLastErrorOfCreateSurvivesMapping) {
    const std::string name = test::uniqueName("kept");
    const auto first = createMapping(name, 100);
    const auto second = createMapping(name, 100);
    const View view(second.get());
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
}

TEST(Mappings, UnnamedMemoryIsItsOwn) {
    const auto first = createMapping("", 100);
    const auto second = createMapping("", 100);
    const View a(first.get());
    const View b(second.get());
    a.bytes()[0] = 1;
    EXPECT_EQ(b.bytes()[0], 0);
}

TEST(Mappings, NamesAreCaseSensitive) {
    const std::string name = test::uniqueName("case");
    const auto lower = createMapping(name + "a", 100);
    const auto upper = createMapping(name + "A", 100);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

TEST(Mappings, LocalNamesArePlainNamesAndGlobalOnesAreOthers) {
    const std::string name = test::uniqueName("prefix");
    const auto plain = createMapping(name, 100);
    const auto local = createMapping("Local\\" + name, 100);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    const auto global = createMapping("Global\\" + name, 100);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

TEST(Mappings, ABackslashElsewhereIsAPathThatDoesNotExist) {
    EXPECT_EQ(createMapping("no\\such", 100).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
}

TEST(Mappings, AnyOtherCharacterIsPartOfAName) {
    const std::string name = test::uniqueName("odd /%.:*?\" \xC3\xA4");
    const auto first = createMapping(name, 100);
    ASSERT_NE(first.get(), nullptr);
    EXPECT_NE(openMapping(name).get(), nullptr);
}

TEST(Mappings, OpeningAnAbsentOneReportsNotFound) {
    EXPECT_EQ(openMapping(test::uniqueName("absent")).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
}

TEST(Mappings, NoSizeIsRefused) {
    EXPECT_EQ(createMapping(test::uniqueName("empty"), 0).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST(Mappings, AnAbsurdSizeIsAnErrorAndLeavesNoName) {
    const std::string name = test::uniqueName("absurd");
    EXPECT_EQ(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0x7FFFFFFF, 0xFFFFFFFF, name.c_str()),
              nullptr);
    EXPECT_NE(GetLastError(), ERROR_SUCCESS);
    EXPECT_EQ(openMapping(name).get(), nullptr);
}

TEST(Mappings, EventsAndMappingsShareOneNameSpace) {
    const std::string name = test::uniqueName("clash");
    const auto mapping = createMapping(name, 100);
    EXPECT_EQ(CreateEventA(nullptr, FALSE, FALSE, name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    const std::string eventName = test::uniqueName("clash");
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, eventName.c_str()));
    EXPECT_EQ(createMapping(eventName, 100).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Mappings, AHandleOfAnotherKindIsRefused) {
    const auto mapping = createMapping("", 100);
    const ObjectHandle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
    EXPECT_FALSE(SetEvent(mapping.get()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(MapViewOfFile(event.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(Mappings, TheRegionIsWholePages) {
    const auto mapping = createMapping("", 5'000);
    const View view(mapping.get());
    MEMORY_BASIC_INFORMATION information{};
    ASSERT_EQ(VirtualQuery(view.bytes(), &information, sizeof information), sizeof information);
    EXPECT_EQ(information.RegionSize, 8'192u);
    EXPECT_EQ(information.BaseAddress, view.bytes());
    ASSERT_EQ(VirtualQuery(view.bytes() + 5'000, &information, sizeof information), sizeof information);
    EXPECT_EQ(information.RegionSize, 4'096u);
}

TEST(Mappings, MoreThanTheMemoryCannotBeMapped) {
    const auto mapping = createMapping("", 100);
    EXPECT_EQ(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 100'000), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(Mappings, UnmappingAnUnknownAddressIsRefused) {
    int local = 0;
    EXPECT_FALSE(UnmapViewOfFile(&local));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_ADDRESS));
}

TEST(Mappings, TheBytesOutliveTheHandleInAView) {
    auto mapping = createMapping("", 100);
    const View view(mapping.get());
    mapping.close();
    view.bytes()[0] = 1;
    EXPECT_EQ(view.bytes()[0], 1);
}

TEST(Mappings, TheNameGoesWithTheLastHandleAlsoUnderAView) {
    const std::string name = test::uniqueName("under_view");
    auto mapping = createMapping(name, 100);
    const View old(mapping.get());
    old.bytes()[0] = 5;
    mapping.close();
    EXPECT_EQ(openMapping(name).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    const auto again = createMapping(name, 100);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const View fresh(again.get());
    EXPECT_EQ(fresh.bytes()[0], 0);
    fresh.bytes()[0] = 6;
    EXPECT_EQ(old.bytes()[0], 5);
}

// Holds an object until told to stop.
CHILD_ROLE(holdsMappingUntilTold) {
    const auto mapping = createMapping(arguments.at(0), 100);
    signal(arguments.at(1));
    return mapping.get() && await(arguments.at(2)) ? 0 : 1;
}

TEST(Mappings, ANameThatAnotherProcessHoldsIsOpenedAgainUnderAView) {
    const std::string name = test::uniqueName("held_under_view");
    const Meeting meeting;
    test::ChildProcess holder("holdsMappingUntilTold", {name, meeting.ready, meeting.go});
    ASSERT_TRUE(await(meeting.ready));
    auto mapping = createMapping(name, 100);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
    const View view(mapping.get());
    view.bytes()[0] = 5;
    mapping.close();
    const auto again = openMapping(name);
    ASSERT_NE(again.get(), nullptr) << GetLastError();
    EXPECT_EQ(View(again.get()).bytes()[0], 5) << "it is the same object";
    signal(meeting.go);
    EXPECT_EQ(holder.join(60s), 0);
}

TEST(Mappings, ANameUnderAViewIsFreeForAnotherKind) {
    const std::string name = test::uniqueName("free");
    auto mapping = createMapping(name, 100);
    const View view(mapping.get());
    mapping.close();
    EXPECT_NE(ObjectHandle(CreateEventA(nullptr, FALSE, FALSE, name.c_str())).get(), nullptr);
}

namespace {

// The rights of a view, and the rights it needs; 0: refused (5).
struct MappingRights {
    const char* name;
    DWORD opened;       // rights of the handle
    DWORD readable;     // protection of the view with FILE_MAP_READ
    DWORD writable;     // FILE_MAP_WRITE
    DWORD untouchable;  // 0
};

class MappingRightsTest : public testing::TestWithParam<MappingRights> {
protected:
    static void expectView(HANDLE mapping, DWORD access, DWORD protection) {
        SetLastError(0);
        void* const view = MapViewOfFile(mapping, access, 0, 0, 0);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(protection == 0 ? ERROR_ACCESS_DENIED : ERROR_SUCCESS)) << access;
        EXPECT_EQ(view != nullptr, protection != 0) << access;
        if (!view) return;
        MEMORY_BASIC_INFORMATION information{};
        EXPECT_EQ(VirtualQuery(view, &information, sizeof information), sizeof information);
        EXPECT_EQ(information.Protect, protection) << access;
        EXPECT_EQ(information.AllocationProtect, protection) << access;
        EXPECT_EQ(information.State, static_cast<DWORD>(MEM_COMMIT));
        UnmapViewOfFile(view);
    }
};

}  // namespace

TEST_P(MappingRightsTest, AreThoseOfTheOpening) {
    const std::string name = test::uniqueName("rights");
    const auto mapping = createMapping(name, 100);
    const ObjectHandle opened(OpenFileMappingA(GetParam().opened, FALSE, name.c_str()));
    ASSERT_NE(opened.get(), nullptr);
    expectView(opened.get(), FILE_MAP_READ, GetParam().readable);
    expectView(opened.get(), FILE_MAP_WRITE, GetParam().writable);
    expectView(opened.get(), FILE_MAP_READ | FILE_MAP_WRITE, GetParam().writable);
    expectView(opened.get(), FILE_MAP_ALL_ACCESS, GetParam().writable);
    expectView(opened.get(), 0, GetParam().untouchable);
}

// clang-format off
constexpr MappingRights kMappingRights[] = {
    {"Everything",   FILE_MAP_ALL_ACCESS,            PAGE_READONLY, PAGE_READWRITE, PAGE_NOACCESS},
    {"Both",         FILE_MAP_READ | FILE_MAP_WRITE, PAGE_READONLY, PAGE_READWRITE, PAGE_NOACCESS},
    {"Reading",      FILE_MAP_READ,                  PAGE_READONLY, 0,              PAGE_NOACCESS},
    {"ReadingOfAll", GENERIC_READ,                   PAGE_READONLY, 0,              PAGE_NOACCESS},
    {"Writing",      FILE_MAP_WRITE,                 0,             PAGE_READWRITE, 0            },
    {"Nothing",      0,                              0,             0,              0            }
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Opened, MappingRightsTest, testing::ValuesIn(kMappingRights),
                         [](const auto& information) { return std::string(information.param.name); });

TEST(Mappings, AReaderSeesWhatAWriterWrites) {
    const std::string name = test::uniqueName("reader");
    const auto mapping = createMapping(name, 100);
    const View written(mapping.get());
    const ObjectHandle opened(OpenFileMappingA(FILE_MAP_READ, FALSE, name.c_str()));
    const auto* const read = static_cast<unsigned char*>(MapViewOfFile(opened.get(), FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(read, nullptr);
    written.bytes()[7] = 9;
    EXPECT_EQ(read[7], 9);
    EXPECT_TRUE(UnmapViewOfFile(read));
}

TEST(Mappings, AnObjectIsGoneAfterItsLastClose) {
    const std::string name = test::uniqueName("gone");
    {
        const auto mapping = createMapping(name, 100);
        const View view(mapping.get());
        view.bytes()[0] = 1;
    }
    EXPECT_EQ(openMapping(name).get(), nullptr);
    const auto again = createMapping(name, 100);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const View view(again.get());
    EXPECT_EQ(view.bytes()[0], 0);
}

CHILD_ROLE(holdsMemory) {
    const auto mapping = createMapping(arguments.at(0), 100);
    const View view(mapping.get());
    view.bytes()[0] = 42;
    signal(arguments.at(1));
    return await(arguments.at(2)) ? 0 : 1;
}

TEST(Mappings, BytesOfAnotherProcessAreSeen) {
    const std::string name = test::uniqueName("bytes");
    const Meeting meeting;
    test::ChildProcess child("holdsMemory", {name, meeting.ready, meeting.go});
    ASSERT_TRUE(await(meeting.ready));
    {
        const auto mapping = openMapping(name);
        const View view(mapping.get());
        ASSERT_NE(view.bytes(), nullptr);
        EXPECT_EQ(view.bytes()[0], 42);
    }
    signal(meeting.go);
    EXPECT_EQ(child.join(60s), 0);
    EXPECT_EQ(openMapping(name).get(), nullptr);
}

TEST(Mappings, AnObjectIsGoneWhenItsOnlyHolderIsKilled) {
    const std::string name = test::uniqueName("killed");
    const Meeting meeting;
    test::ChildProcess child("holdsMemory", {name, meeting.ready, meeting.go});
    ASSERT_TRUE(await(meeting.ready));
    child.kill();
    EXPECT_EQ(openMapping(name).get(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    const auto again = createMapping(name, 100);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const View view(again.get());
    EXPECT_EQ(view.bytes()[0], 0);
}

TEST(Mappings, CreatingOverWhatAKilledHolderLeftIsNew) {
    const std::string name = test::uniqueName("leftover");
    const Meeting meeting;
    test::ChildProcess child("holdsMemory", {name, meeting.ready, meeting.go});
    ASSERT_TRUE(await(meeting.ready));
    child.kill();
    const auto again = createMapping(name, 20'000);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    const View view(again.get());
    EXPECT_EQ(view.bytes()[0], 0);
    EXPECT_EQ(view.bytes()[19'999], 0);
}

TEST(Mappings, AnObjectLivesWhileOneOfTwoHoldersLives) {
    const std::string name = test::uniqueName("one_of_two");
    const Meeting first;
    const Meeting second;
    test::ChildProcess dying("holdsMemory", {name, first.ready, first.go});
    ASSERT_TRUE(await(first.ready));
    test::ChildProcess living("holdsMemory", {name, second.ready, second.go});
    ASSERT_TRUE(await(second.ready));
    dying.kill();
    {
        const auto mapping = openMapping(name);
        const View view(mapping.get());
        ASSERT_NE(view.bytes(), nullptr);
        EXPECT_EQ(view.bytes()[0], 42);
    }
    signal(second.go);
    EXPECT_EQ(living.join(60s), 0);
    EXPECT_EQ(openMapping(name).get(), nullptr);
}

CHILD_ROLE(racesToCreate) {
    if (!await(arguments.at(1))) return 9;
    const auto mapping = createMapping(arguments.at(0), 4'000);
    const DWORD error = GetLastError();
    if (!mapping.get()) return 8;
    signal(arguments.at(2));
    if (!await(arguments.at(3))) return 7;  // holds the object until all have tried
    return error == ERROR_ALREADY_EXISTS ? 1 : 0;
}

TEST(Mappings, OfEightProcessesThatCreateAtOnceExactlyOneIsFirst) {
    constexpr int kRacers = 8;
    const std::string name = test::uniqueName("race");
    std::vector<std::unique_ptr<Meeting>> starts;
    std::vector<std::unique_ptr<Meeting>> ends;
    std::vector<std::unique_ptr<test::ChildProcess>> racers;
    for (int i = 0; i < kRacers; ++i) {
        starts.push_back(std::make_unique<Meeting>());
        ends.push_back(std::make_unique<Meeting>());
        racers.push_back(std::make_unique<test::ChildProcess>(
            "racesToCreate", test::Arguments{name, starts.back()->go, ends.back()->ready, ends.back()->go}));
    }
    for (const auto& start : starts) signal(start->go);
    for (const auto& end : ends) EXPECT_TRUE(await(end->ready));
    for (const auto& end : ends) signal(end->go);
    std::vector<int> results;
    for (const auto& racer : racers) results.push_back(racer->join(60s));
    EXPECT_EQ(std::count(results.begin(), results.end(), 0), 1);
    EXPECT_EQ(std::count(results.begin(), results.end(), 1), kRacers - 1);
}

TEST(Mappings, ThreadsThatOpenAndCloseOneNameNeverLoseIt) {
    const std::string name = test::uniqueName("threads");
    const auto kept = createMapping(name, 100);
    std::vector<std::thread> threads;
    std::atomic<int> lost{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                const auto mapping = createMapping(name, 100);
                if (!mapping.get() || GetLastError() != ERROR_ALREADY_EXISTS) ++lost;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(lost, 0);
}

TEST(Mappings, ANameThatComesAndGoesOnManyThreadsAlwaysOpens) {
    const std::string name = test::uniqueName("churn");
    std::vector<std::thread> threads;
    std::atomic<int> failed{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                if (!createMapping(name, 100).get()) ++failed;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(openMapping(name).get(), nullptr);
}
