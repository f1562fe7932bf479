// The limit for the path of the images: a ring of slots and a futex word in shared memory, and nothing else. One
// writer, one reader; no checks, no marks, no names except that of the one file.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace bench {

class BareRing {
public:
    /// Creates the memory, or opens the other process's memory.
    BareRing(const std::string& name, std::size_t slots, std::size_t slotBytes, bool create);
    ~BareRing();
    BareRing(const BareRing&) = delete;
    BareRing& operator=(const BareRing&) = delete;

    unsigned char* writeSlot();
    void put();
    bool isFull() const;
    const unsigned char* readSlot();  // null: no slot waits
    void release();

    /// An auto-reset signal on the shared futex word, and the wait for it, with a limit of 2 s like the image source's.
    void signal();
    void wait();

private:
    struct Header {
        std::atomic<std::uint64_t> write;
        std::atomic<std::uint64_t> read;
        std::atomic<std::uint32_t> word;
        std::atomic<std::uint32_t> waiters;
    };

    std::string _name;
    bool _created;
    std::size_t _slots;
    std::size_t _slotBytes;
    std::size_t _bytes;
    unsigned char* _memory;
    Header* _header;
};

/// Only the futex word, in memory shared by name: the least that an event between processes costs.
void futexSet(std::atomic<std::uint32_t>& word, std::atomic<std::uint32_t>& waiters);
/// @param limitMs  0: no limit.
/// @return         False when the limit passed.
bool futexWait(std::atomic<std::uint32_t>& word, std::atomic<std::uint32_t>& waiters, int limitMs);

/// One page shared by name.
class SharedPage {
public:
    SharedPage(const std::string& name, bool create);
    ~SharedPage();
    SharedPage(const SharedPage&) = delete;
    SharedPage& operator=(const SharedPage&) = delete;
    std::atomic<std::uint32_t>* words() const { return _words; }

private:
    std::string _name;
    bool _created;
    std::atomic<std::uint32_t>* _words;
};

}  // namespace bench
