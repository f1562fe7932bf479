// A library of the same build that contains only the language's runtime: what it leaves behind after unloading comes
// from the runtime.
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

extern "C" {

/// Starts a thread, throws and catches, as the plugin does. @return 42.
int useRuntime() {
    std::mutex mutex;
    int answer = 0;
    std::thread([&] {
        const std::lock_guard lock(mutex);
        try {
            throw std::runtime_error("42");
        } catch (const std::exception& error) {
            answer = std::stoi(error.what());
        }
    }).join();
    return answer;
}

}  // extern "C"
