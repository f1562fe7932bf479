// The messenger while the system refuses, the times that reach the system, and the clock behind its numbers.
#include <mutex>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_recorder.h"
#include "object_names.h"
#include "platform_fault.h"
#include "test_channel.h"

PLATFORM_FAULT(HANDLE, CreateEventA,
               (SECURITY_ATTRIBUTES * attributes, BOOL manualReset, BOOL initialState, LPCSTR name),
               (attributes, manualReset, initialState, name))
PLATFORM_FAULT(DWORD, WaitForMultipleObjects, (DWORD count, const HANDLE* handles, BOOL waitForAll, DWORD milliseconds),
               (count, handles, waitForAll, milliseconds))
PLATFORM_FAULT(BOOL, QueryPerformanceCounter, (LARGE_INTEGER * count), (count))
PLATFORM_FAULT(BOOL, QueryPerformanceFrequency, (LARGE_INTEGER * countsPerSecond), (countsPerSecond))

namespace {

using namespace std::chrono_literals;
using kest::dorven::calcSeed;
using test::IPMessenger;
using test::TestChannel;
using testing::Contains;
using testing::ElementsAre;
using testing::Lt;
using testing::SizeIs;

class MessengerFaults : public testing::Test {
protected:
    test::LogRecorder _log{5};
    test::Ids _ids;
    std::shared_ptr<TestChannel> _channel = std::make_shared<TestChannel>(_ids);
};

TEST_F(MessengerFaults, EventThatCannotBeMadeIsThrown) {
    for (const std::string& name :
         {image_road::eventOf(_ids.asking), image_road::eventOf(_ids.answering), image_road::finishedOf(_ids.asking)}) {
        const test::Fault fault(
            fault_CreateEventA,
            [&](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR asked) -> HANDLE {
                if (asked && name == asked) return INVALID_HANDLE_VALUE;
                return real_CreateEventA(attributes, manualReset, initialState, asked);
            });
        try {
            IPMessenger::create(_channel);
            ADD_FAILURE() << name;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), "Failed to create process event \"" + name + "\"");
        }
    }
}

TEST_F(MessengerFaults, WaitsReachTheSystemAsTheyAlwaysDid) {
    std::mutex mutex;
    std::vector<DWORD> waits;
    const test::Fault fault(fault_WaitForMultipleObjects,
                            [&](DWORD count, const HANDLE* handles, BOOL waitForAll, DWORD milliseconds) {
                                {
                                    const std::lock_guard lock(mutex);
                                    waits.push_back(milliseconds);
                                }
                                return real_WaitForMultipleObjects(count, handles, waitForAll, milliseconds);
                            });
    const auto messenger = IPMessenger::create(_channel);
    messenger->send();
    messenger->close();
    EXPECT_THAT(waits, Contains(5000u));
    EXPECT_THAT(waits, Contains(2000u));
    EXPECT_THAT(waits, Contains(4294966296u));
}

// Events that could not be created: every wait fails at once.
TEST_F(MessengerFaults, WaitsThatFailAtOnceDoNotKeepTheThreadBusy) {
    const test::Fault fault(
        fault_CreateEventA,
        [&](SECURITY_ATTRIBUTES* attributes, BOOL manualReset, BOOL initialState, LPCSTR name) -> HANDLE {
            // Only named events: threads may need nameless ones.
            if (!name) return real_CreateEventA(attributes, manualReset, initialState, name);
            SetLastError(ERROR_INVALID_HANDLE);
            return nullptr;
        });
    const auto messenger = IPMessenger::create(_channel);
    const auto passes = [this] {
        int count = 0;
        for (const std::string& text : _log.traces())
            count += text.find("::establishedConnection - ") != std::string::npos;
        return count;
    };
    EXPECT_TRUE(test::becomesTrue([&] { return passes() > 2; }));
    std::this_thread::sleep_for(300ms);  // without a pause there would be thousands
    EXPECT_FALSE(messenger->send());
    EXPECT_LT(passes(), 60);
    messenger->close();
}

TEST(Seed, IsTheClockInNanosecondsLow32Bits) {
    test::LogRecorder log;
    const test::Fault counter(fault_QueryPerformanceCounter, [](LARGE_INTEGER* count) {
        count->QuadPart = 7'000'000'000'003;  // 700 000 s and 0.3 us of a clock with 100 ns
        return TRUE;
    });
    const test::Fault frequency(fault_QueryPerformanceFrequency, [](LARGE_INTEGER* countsPerSecond) {
        countsPerSecond->QuadPart = 10'000'000;
        return TRUE;
    });
    constexpr std::uint64_t kNanoseconds = 700'000ull * 1'000'000'000 + 300;
    EXPECT_EQ(calcSeed(), static_cast<std::uint32_t>(kNanoseconds));
    EXPECT_THAT(log.traces(),
                ElementsAre("kest::dorven::calcSeed: seed: " + std::to_string(kNanoseconds & 0xFFFFFFFFu)));
}

}  // namespace
