// A library of the same build with nothing in it but the language's runtime: what it leaves behind when it is unloaded
// is the runtime's.
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

extern "C" {

/// Starts a thread, and throws and catches, as the plugin does. @return 42.
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
