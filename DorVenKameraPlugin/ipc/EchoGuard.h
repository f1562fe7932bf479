// Distinguishes requests of the peer from own answers that come back. Any frame that does not answer the last own
// request is answered. If it was a late answer, or one for somebody else, the peer may answer that in turn, and so on
// for ever.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kest::dorven {

/// What a messenger's thread remembers about its own requests and its last answer.
///
/// One side is enough to end a frame that goes back and forth: the side that asks. A side that has never asked answers
/// everything, so a peer may number its requests as it likes, for example all alike, and loses none. On a side that has
/// ever asked, whether a request waits now or not, a frame with a foreign id is an echo in two cases: it equals the
/// last answer byte for byte, or it is the thousandth in a row with that id. Such a frame cannot be distinguished from
/// that of a peer that gives all its requests one id and repeats the answer as a request. So each id is dropped only
/// once, and such a peer loses one request altogether.
class EchoGuard {
public:
    /// An own request was sent.
    void asked(std::uint64_t id);

    /// Called for each frame that does not answer the last own request, before it is answered.
    /// @return  False: a request, or the first late answer with its id; answer it. True: an own answer that comes back;
    ///          once it is dropped, no more of it is on its way.
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

    std::array<Request, 64> _own{};  // the latest ones, as a ring
    std::size_t _next = 0;
    bool _hasAsked = false;
    std::uint64_t _answeredId = 0;  // of the last answer; 0: none
    std::vector<char> _answer;
    int _inARow = 0;               // answers to frames of that id
    std::uint64_t _droppedId = 0;  // a foreign id that was taken for an echo; if it comes again, it was none
};

}  // namespace kest::dorven
