// How a class starts its thread; tests can let the start fail.
#pragma once

#include <functional>
#include <memory>
#include <thread>
#include <utility>

namespace kest::dorven {

/// Starts a thread that runs the function. A failure to start throws std::system_error.
using ThreadStarter = std::function<std::shared_ptr<std::thread>(std::function<void()>)>;

inline std::shared_ptr<std::thread> startStandardThread(std::function<void()> function) {
    return std::make_shared<std::thread>(std::move(function));
}

}  // namespace kest::dorven
