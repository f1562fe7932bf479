// The state of a shared event, in one word that every step changes at once: whether a signal is kept, who waits, and
// which waiters were released. docs/model/event.pml checks all orders of these steps, with a kill at each.
//
// A waiting thread sits in one of 31 seats. A set releases one seat whose sitter has not been released yet; if there is
// none, it keeps the signal. A released thread stands up when it runs again, however late: its signal cannot be merged
// with the next one, nor taken by another thread.
#pragma once

#include <bit>
#include <cstdint>

constexpr unsigned kEventSeats = 31;
constexpr unsigned kNoSeat = kEventSeats;
constexpr std::uint32_t kAllSeats = (1u << kEventSeats) - 1;

struct EventState {
    static constexpr std::uint32_t kKept = 1u << kEventSeats;

    std::uint32_t released = 0;  // bit i: seat i is released; kKept: a signal is kept. The futex word
    std::uint32_t seated = 0;    // bit i: somebody sits in seat i

    constexpr bool isKept() const { return (released & kKept) != 0; }
    constexpr bool isReleased(unsigned seat) const { return (released >> seat & 1u) != 0; }
    constexpr bool isSeated(unsigned seat) const { return (seated >> seat & 1u) != 0; }
    constexpr std::uint32_t releasedSeats() const { return released & kAllSeats; }
    constexpr std::uint32_t waitingSeats() const { return seated & ~released & kAllSeats; }

    /// False for a word that no step leads to: somebody else has written here.
    constexpr bool isSound() const {
        return (seated & kKept) == 0 && (releasedSeats() & ~seated) == 0 && !(isKept() && waitingSeats() != 0);
    }

    constexpr EventState withoutKept() const { return {released & ~kKept, seated}; }
    constexpr EventState with(unsigned seat) const { return {released, seated | 1u << seat}; }
    constexpr EventState without(unsigned seat) const { return {released & ~(1u << seat), seated & ~(1u << seat)}; }
    constexpr EventState withReleased(unsigned seat) const {
        return seat == kNoSeat ? EventState{released | kKept, seated} : EventState{released | 1u << seat, seated};
    }

    /// The seat that a set releases: the next waiting seat after `last`, so that all have their turn; kNoSeat: nobody
    /// waits.
    constexpr unsigned nextToRelease(unsigned last) const {
        const std::uint32_t waiting = waitingSeats();
        if (waiting == 0) return kNoSeat;
        const std::uint32_t behind = last >= kEventSeats - 1 ? 0 : waiting & ~((2u << last) - 1);
        return static_cast<unsigned>(std::countr_zero(behind != 0 ? behind : waiting));
    }

    constexpr std::uint64_t word() const { return static_cast<std::uint64_t>(seated) << 32 | released; }
    static constexpr EventState of(std::uint64_t word) {
        return {static_cast<std::uint32_t>(word), static_cast<std::uint32_t>(word >> 32)};
    }
};
