// Tells requests of the peer from one's own answers coming back. Any frame that is no answer to the last own request is
// answered; when it was a late answer, or one for somebody else, the peer may answer that in turn, and so on for ever.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kest::dorven {

/// What a messenger's thread remembers of its own requests and of the last answer that it gave. A side that has asked
/// nothing meets no echo, so a peer may then number its requests as it likes, all alike for example.
class EchoGuard {
public:
    /// An own request was sent, and then: its answer has come.
    void asked(std::uint64_t id);
    void heard() { _awaits = false; }

    /// Called for each frame that is no answer to the last own request, before it is answered.
    /// @return  False: a request, or the first late answer of its id; to be answered. True: one's own answer coming
    ///          back; nothing more of it is on its way once it is dropped.
    bool isEcho(std::uint64_t id, const void* payload, std::size_t size);

    /// Such a frame was answered.
    void answered(std::uint64_t id, const void* payload, std::size_t size);

private:
    struct Request {
        std::uint64_t id = 0;
        bool cameLate = false;  // and was answered
    };
    Request* findOwn(std::uint64_t id);
    bool isRoundTrip(std::uint64_t id, const void* payload, std::size_t size) const;

    std::array<Request, 64> _own{};  // the latest, over and over
    std::size_t _next = 0;
    bool _awaits = false;           // the last own request was not answered yet
    std::uint64_t _answeredId = 0;  // of the last answer; 0: none
    std::vector<char> _answer;
    int _inARow = 0;               // answers to frames of that id while an own request was not answered
    std::uint64_t _droppedId = 0;  // a foreign one that was taken for an echo; when it comes again it was none
};

}  // namespace kest::dorven
