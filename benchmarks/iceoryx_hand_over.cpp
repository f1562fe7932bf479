// Hand-over of images from a writing to a reading process: ours, into the host's callback, compared with iceoryx, a
// public library that passes whole messages between processes without a copy, in turns within one run. Built where
// iceoryx is installed (Debian: libiceoryx-posh-dev, and iceoryx for its daemon, which this program starts and ends).
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <signal.h>
#include <unistd.h>

#include <iceoryx_hoofs/log/logmanager.hpp>
#include <iceoryx_posh/popo/untyped_publisher.hpp>
#include <iceoryx_posh/popo/untyped_subscriber.hpp>
#include <iceoryx_posh/popo/user_trigger.hpp>
#include <iceoryx_posh/popo/wait_set.hpp>
#include <iceoryx_posh/runtime/posh_runtime.hpp>

#include "bench_support.h"
#include "image_roads.h"

namespace {

using namespace std::chrono_literals;

constexpr int kTurns = 9;
constexpr bench::Load kLoad{1'000, 1'000'000, false};

void joinRuntime() {
    iox::log::LogManager::GetLogManager().SetDefaultLogLevel(iox::log::LogLevel::kFatal,
                                                             iox::log::LogLevelOutput::kHideLogLevel);
    const std::string name = "bench-" + std::to_string(getpid());
    iox::runtime::PoshRuntime::initRuntime(iox::RuntimeName_t(iox::cxx::TruncateToCapacity, name));
}

iox::capro::ServiceDescription service(const std::string& object) {
    return {"bench", iox::capro::IdString_t(iox::cxx::TruncateToCapacity, object), "images"};
}

class IceoryxWriter : public bench::ImageWriter {
public:
    explicit IceoryxWriter(const std::string& object) : _publisher(service(object)) {
        while (!_publisher.hasSubscribers()) std::this_thread::sleep_for(1ms);
    }
    unsigned char* slot() override {
        if (!_slot) _publisher.loan(bench::kLineBytes).and_then([this](void* payload) { _slot = payload; });
        return static_cast<unsigned char*>(_slot);
    }
    void publish() override { _publisher.publish(std::exchange(_slot, nullptr)); }
    bool isDrained() override {
        std::this_thread::sleep_for(20ms);  // it gives no sign
        return true;
    }

private:
    iox::popo::UntypedPublisher _publisher;
    void* _slot = nullptr;
};

class IceoryxReader : public bench::ImageReader {
public:
    IceoryxReader(const std::string& object, bench::ImageSink sink)
        : _subscriber(service(object)), _sink(std::move(sink)) {
        auto fail = [](auto) { std::exit(1); };
        _waits.attachState(_subscriber, iox::popo::SubscriberState::HAS_DATA).or_else(fail);
        _waits.attachEvent(_stop).or_else(fail);
        _thread = std::thread([this] { read(); });
    }
    ~IceoryxReader() override {
        _stopped = true;
        _stop.trigger();
        _thread.join();
    }

private:
    void read() {
        while (!_stopped) {
            _waits.wait();
            for (bool taken = true; taken;) {
                taken = false;
                _subscriber.take().and_then([&](const void* payload) {
                    const auto* const line = static_cast<const unsigned char*>(payload);
                    std::uint64_t counter = 0;
                    std::memcpy(&counter, line, sizeof counter);
                    _sink(counter, bench::stampOf(line));
                    _subscriber.release(payload);
                    taken = true;
                });
            }
        }
    }

    iox::popo::UntypedSubscriber _subscriber;
    bench::ImageSink _sink;
    iox::popo::UserTrigger _stop;
    iox::popo::WaitSet<> _waits;
    std::atomic<bool> _stopped{false};
    std::thread _thread;
};

const bench::Road kIceoryx{"iceoryx",
                           [](const std::string& object) -> std::unique_ptr<bench::ImageWriter> {
                               joinRuntime();
                               return std::make_unique<IceoryxWriter>(object);
                           },
                           [](const std::string& object, bench::ImageSink sink) -> std::unique_ptr<bench::ImageReader> {
                               return std::make_unique<IceoryxReader>(object, std::move(sink));
                           }};

double median(const bench::Road& road) {
    auto latencies = bench::carryImages(road, kLoad).latenciesUs;
    return bench::median(latencies);
}

int measure() {
    joinRuntime();
    bench::placeOn(0);
    std::vector<double> ours;
    std::vector<double> peer;
    for (int i = 0; i < kTurns; ++i) {
        ours.push_back(median(bench::kOurs));
        peer.push_back(median(kIceoryx));
    }
    const bench::Result result{"both on one processor", "us", bench::median(ours), bench::median(peer), 0.85};
    return bench::report("Image hand-over 1280 x 1024 beside iceoryx, median of medians", {result}, "iceoryx") ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    setenv("PLATFORM_OBJECT_NAMESPACE", "bench", 0);
    if (const int exitCode = bench::writeImages({bench::kOurs, kIceoryx}, argc, argv); exitCode >= 0) return exitCode;
    if (argc > 1) return measure();
    const int daemon = bench::startProgram(
        "/bin/sh", {"-c", "exec iox-roudi --monitoring-mode off --log-level error >/dev/null 2>&1"});
    // In a separate process, which ends before the daemon: the daemon ends every process that is still registered.
    const int exitCode = bench::joinChild(bench::startChild({"measure"}));
    kill(daemon, SIGTERM);
    bench::joinChild(daemon);
    return exitCode;
}
