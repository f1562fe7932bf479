#include "bare_ring.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::size_t kHeaderBytes = 4096;

void* mapShared(const std::string& name, std::size_t bytes, bool create) {
    const int descriptor = shm_open(name.c_str(), O_RDWR | (create ? O_CREAT | O_TRUNC : 0), 0600);
    if (descriptor < 0 || (create && ftruncate(descriptor, static_cast<off_t>(bytes)) != 0)) {
        std::perror("bench: shared memory");
        std::exit(1);
    }
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED) {
        std::perror("bench: mapping");
        std::exit(1);
    }
    return memory;
}

}  // namespace

void futexSet(std::atomic<std::uint32_t>& word, std::atomic<std::uint32_t>& waiters) {
    if (word.exchange(1) == 0 && waiters.load() > 0) syscall(SYS_futex, &word, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

bool futexWait(std::atomic<std::uint32_t>& word, std::atomic<std::uint32_t>& waiters, int limitMs) {
    constexpr long kNanosecondsPerSecond = 1'000'000'000;
    std::uint32_t one = 1;
    if (word.compare_exchange_strong(one, 0)) return true;
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += limitMs / 1000;
    deadline.tv_nsec += limitMs % 1000 * 1'000'000L;
    if (deadline.tv_nsec >= kNanosecondsPerSecond) {
        deadline.tv_nsec -= kNanosecondsPerSecond;
        ++deadline.tv_sec;
    }
    ++waiters;
    bool taken = false;
    for (bool late = false; !taken && !late;) {
        late = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET, 0, limitMs > 0 ? &deadline : nullptr, nullptr,
                       FUTEX_BITSET_MATCH_ANY) != 0 &&
               errno == ETIMEDOUT;
        one = 1;
        taken = word.compare_exchange_strong(one, 0);
    }
    --waiters;
    return taken;
}

BareRing::BareRing(const std::string& name, std::size_t slots, std::size_t slotBytes, bool create)
    : _name(name),
      _created(create),
      _slots(slots),
      _slotBytes(slotBytes),
      _bytes(kHeaderBytes + slots * slotBytes),
      _memory(static_cast<unsigned char*>(mapShared(name, _bytes, create))),
      _header(reinterpret_cast<Header*>(_memory)) {}

BareRing::~BareRing() {
    munmap(_memory, _bytes);
    if (_created) shm_unlink(_name.c_str());
}

unsigned char* BareRing::writeSlot() {
    return _memory + kHeaderBytes + _header->write.load(std::memory_order_relaxed) % _slots * _slotBytes;
}

void BareRing::put() { _header->write.fetch_add(1, std::memory_order_release); }

bool BareRing::isFull() const {
    return _header->write.load(std::memory_order_relaxed) - _header->read.load(std::memory_order_acquire) >= _slots;
}

const unsigned char* BareRing::readSlot() {
    const std::uint64_t read = _header->read.load(std::memory_order_relaxed);
    if (_header->write.load(std::memory_order_acquire) == read) return nullptr;
    return _memory + kHeaderBytes + read % _slots * _slotBytes;
}

void BareRing::release() { _header->read.fetch_add(1, std::memory_order_release); }

void BareRing::signal() { futexSet(_header->word, _header->waiters); }

void BareRing::wait() { futexWait(_header->word, _header->waiters, 2'000); }

SharedPage::SharedPage(const std::string& name, bool create)
    : _name(name), _created(create), _words(static_cast<std::atomic<std::uint32_t>*>(mapShared(name, 4096, create))) {}

SharedPage::~SharedPage() {
    munmap(_words, 4096);
    if (_created) shm_unlink(_name.c_str());
}

}  // namespace bench
