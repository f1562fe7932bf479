// Sets a platform call's hook for a scope; see platform_fault.h.
#pragma once

#include <utility>

namespace test {

template <typename Hook>
class Fault {
public:
    template <typename Function>
    Fault(Hook& hook, Function&& function) : _hook(hook) {
        _hook = std::forward<Function>(function);
    }
    ~Fault() { _hook = nullptr; }
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;

private:
    Hook& _hook;
};

template <typename Hook, typename Function>
Fault(Hook&, Function&&) -> Fault<Hook>;

}  // namespace test
