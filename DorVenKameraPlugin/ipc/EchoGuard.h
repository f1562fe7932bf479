// Tells requests of the peer from one's own answers coming back. Any frame that is no answer to the last own request is
// answered; when it was a late answer, or one for somebody else, the peer may answer that in turn, and so on for ever.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kest::dorven {

/// What a messenger's thread remembers of its own requests and of the last answer that it gave.
///
/// It takes one side to end a frame that goes to and fro, and that is the one that asks. A side that has never asked
/// answers everything, so that a peer of it may number its requests as it likes, all alike for example, and loses none.
/// On a side that has ever asked, whether a request waits now or not, a frame with a foreign id is an echo when it is
/// byte for byte the answer given last, or when a thousand of that id have come in a row. Nothing tells such a frame
/// from that of a peer which gives all its requests one id and asks what it was answered; so each id is dropped once
/// only, and such a peer loses one request of all that it makes.
class EchoGuard {
public:
    /// An own request was sent.
    void asked(std::uint64_t id);

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
    bool _hasAsked = false;
    std::uint64_t _answeredId = 0;  // of the last answer; 0: none
    std::vector<char> _answer;
    int _inARow = 0;               // answers to frames of that id
    std::uint64_t _droppedId = 0;  // a foreign one that was taken for an echo; when it comes again it was none
};

}  // namespace kest::dorven
