#include "frame_delivery.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "fault_log_words.h"
#include "platform.h"
#include "strip.h"

namespace simulator {
namespace {

constexpr std::int64_t kDefaultTimeBackNs = 1'000'000'000;
constexpr std::int64_t kNoticeableNs = 1'000'000;  // no host needs to find a smaller shift

double seconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e9; }

const Strike* find(const std::vector<Strike>& faults, FaultKind kind) {
    const auto found = std::ranges::find(faults, kind, &Strike::kind);
    return found == faults.end() ? nullptr : &*found;
}

Expectation lateBy(std::uint64_t frame, std::int64_t timeNs) {
    return {frames::finding::kLate, frame, frame, timeNs / 1000};
}

// What a torn image has of another one: the lower half, as far as it lies outside the strip.
std::span<std::uint8_t> lowerHalf(const frames::Canvas& image, const frames::StripLayout& strip) {
    const std::size_t begin = strip.place == frames::StripPlace::top
                                  ? std::max(image.format.height / 2, strip.bodyFirst)
                                  : strip.bodyLines / 2;
    return {image.line(begin), (strip.bodyFirst + strip.bodyLines - begin) * image.format.lineBytes()};
}

}  // namespace

FrameDelivery::FrameDelivery(const DeliveryOptions& options, const FrameRate& rate, ImageRing& ring,
                             PreciseTimer& timer, FaultLog* log, SimulatorTotals& totals)
    : _options(options), _rate(rate), _ring(ring), _timer(timer), _log(log), _totals(totals) {
    ringLaid();
}

void FrameDelivery::drawAhead(ImageSource& source, std::uint64_t frame) {
    std::uint8_t* const pixels = _ring.slotPixels();
    if (!pixels) return;
    const std::uint32_t crc = draw(source, pixels, _drawnInSlot[_ring.slotIndex()], frame);
    _ahead = Drawn{pixels, frame, crc};
}

bool FrameDelivery::deliver(ImageSource& source, std::uint64_t frame, const Strikes& faults,
                            std::optional<std::int64_t> completeNs) {
    _verifiable = _options.strip && source.strip().lines > 0;
    _stampNs = completeNs;
    if (find(faults, FaultKind::drop)) {
        tellFault(FaultKind::drop, frame, {{frames::finding::kLost, frame, frame, {}}});
    } else if (find(faults, FaultKind::reorder) && !_held) {
        hold(source, frame, faults);
    } else if (_ring.slotPixels()) {
        return deliverNow(source, frame, faults);
    } else {
        refuse(frame);
    }
    return true;
}

bool FrameDelivery::deliverNow(ImageSource& source, std::uint64_t frame, const Strikes& faults) {
    std::uint8_t* const pixels = _ring.slotPixels();
    Made made = make(source, pixels, _drawnInSlot[_ring.slotIndex()], frame, faults);
    if (!waitLonger(made, faults)) return false;
    std::vector<std::uint8_t> copy;  // taken before a reader has the image
    const bool twice = find(faults, FaultKind::repeat) && _ring.waiting() + 2 <= _options.lineCount;
    if (twice) copy.assign(pixels, pixels + source.format().bytes());
    if (!publish(made)) {
        refuse(frame);
        return true;
    }
    ++_totals.written;
    if (twice && publishCopy(copy, made))
        made.findings.push_back({FaultKind::repeat, {{frames::finding::kRepeated, frame, frame, {}}}});
    tellFindings(made);
    if (!_held) return true;
    Held held = *std::exchange(_held, std::nullopt);
    held.made.findings.push_back(
        {FaultKind::reorder, {{frames::finding::kReordered, held.made.frame, held.made.frame, {}}}});
    deliverCopy(held);
    return true;
}

void FrameDelivery::deliverHeld() {
    if (_held) deliverCopy(*std::exchange(_held, std::nullopt));
}

std::vector<std::uint64_t> FrameDelivery::unread() const {
    std::vector<std::uint64_t> frames;
    const std::size_t slots = _numberInSlot.size();
    for (std::size_t behind = _ring.waiting(); behind > 0; --behind)
        frames.push_back(_numberInSlot[(_ring.slotIndex() + slots - behind) % slots]);
    return frames;
}

void FrameDelivery::ringLaid() {
    _ahead.reset();
    _drawnInSlot.assign(_options.lineCount + 1, std::nullopt);
    _numberInSlot.assign(_options.lineCount + 1, 0);
}

void FrameDelivery::tellFault(FaultKind kind, std::uint64_t frame, const std::vector<Expectation>& expectations) {
    ++_totals.faults;
    if (_log) _log->fault(rowOf(kind).name, frame, expectations);
}

void FrameDelivery::tellNote(const char* note, const FrameRange& frames) {
    if (_log) _log->note(note, frames);
}

void FrameDelivery::tellFindings(const Made& made) {
    for (const Made::Finding& finding : made.findings) tellFault(finding.kind, made.frame, finding.expectations);
    if (_log) _log->settle();
}

// Without a strip, nobody can find what only a strip shows.
std::vector<Expectation> FrameDelivery::ifVerifiable(const Expectation& expectation) const {
    return _verifiable ? std::vector{expectation} : std::vector<Expectation>();
}

/// @param drawn  The frame that the pixels hold; none when unknown. Becomes `frame`.
/// @return       CRC-32 of the bytes outside the strip's lines.
std::uint32_t FrameDelivery::draw(ImageSource& source, std::uint8_t* pixels, std::optional<std::uint64_t>& drawn,
                                  std::uint64_t frame) {
    if (_ahead && _ahead->pixels == pixels) {
        if (_ahead->frame == frame) return _ahead->crc;
        _ahead.reset();
    }
    const std::uint32_t crc = source.draw(pixels, frame, drawn);
    drawn = frame;
    return crc;
}

FrameDelivery::Made FrameDelivery::make(ImageSource& source, std::uint8_t* pixels, std::optional<std::uint64_t>& drawn,
                                        std::uint64_t frame, const Strikes& faults) {
    Made made;
    made.frame = frame;
    const frames::Canvas image{pixels, source.format()};
    const std::uint32_t crc = draw(source, pixels, drawn, frame);
    if (find(faults, FaultKind::torn)) {
        const bool visible = tear(image, source.strip(), crc);
        made.findings.push_back({FaultKind::torn, visible ? ifVerifiable({frames::finding::kTorn, frame, frame, {}})
                                                          : std::vector<Expectation>()});
        drawn.reset();
        _ahead.reset();
    } else if (_tearing) {
        keepForTearing(image, source.strip());
    }
    made.counterShift = _counterShift;
    if (find(faults, FaultKind::counterWrap)) shiftCounter(made);
    source.record(frame);  // before the clock is read: a slow disk must not look like a slow road to the reader
    made.completeNs = platform_monotonicNanoseconds();
    made.stampNs = stampOf(_stampNs.value_or(made.completeNs));
    if (const Strike* back = find(faults, FaultKind::timeBack)) setTimeBack(made, back->timeNs);
    if (_verifiable) {
        stampStrip(image, {source.stripFlags(), frame, static_cast<std::uint64_t>(made.stampNs), crc}, source.strip());
    } else {
        std::memset(image.line(source.strip().firstLine), 0, source.strip().lines * image.format.lineBytes());
    }
    return made;
}

std::int64_t FrameDelivery::stampOf(std::int64_t completeNs) const {
    return std::max(completeNs, _lastStampNs.value_or(completeNs));
}

/// Exchanges the lower half with that of the frame before; black before the first one.
/// @return Whether the image has become another one by it.
bool FrameDelivery::tear(const frames::Canvas& image, const frames::StripLayout& strip, std::uint32_t crc) {
    const std::span<std::uint8_t> half = lowerHalf(image, strip);
    _older.resize(half.size());
    std::ranges::swap_ranges(_older, half);
    return crcOutsideStrip(image, strip) != crc;
}

void FrameDelivery::keepForTearing(const frames::Canvas& image, const frames::StripLayout& strip) {
    const std::span<std::uint8_t> half = lowerHalf(image, strip);
    _older.assign(half.begin(), half.end());
}

/// Moves it to the next multiple of 2^32. Only a reader that saw an earlier image can notice.
void FrameDelivery::shiftCounter(Made& made) const {
    made.counterShift = (((made.frame >> 32) + 1) << 32) - made.frame;
    const bool visible = _lastStampNs && static_cast<std::uint32_t>(made.counterShift - _counterShift) != 0;
    made.findings.push_back(
        {FaultKind::counterWrap,
         visible ? ifVerifiable({frames::finding::kCounter, made.frame, made.frame, {}}) : std::vector<Expectation>()});
}

void FrameDelivery::setTimeBack(Made& made, std::int64_t timeNs) const {
    const std::int64_t before = _lastStampNs.value_or(made.stampNs);
    made.stampNs = std::max<std::int64_t>(before - (timeNs != 0 ? timeNs : kDefaultTimeBackNs), 0);
    const bool visible = _lastStampNs && made.stampNs < before;
    made.findings.push_back(
        {FaultKind::timeBack, visible ? ifVerifiable({frames::finding::kTimeBack, made.frame, made.frame, {}})
                                      : std::vector<Expectation>()});
}

/// @return False when a stop was requested meanwhile.
bool FrameDelivery::waitLonger(Made& made, const Strikes& faults) {
    const Strike* const delay = find(faults, FaultKind::delay);
    const Strike* const jitter = find(faults, FaultKind::jitter);
    if (!delay && !jitter) return true;
    if (delay) made.findings.push_back({FaultKind::delay, ifVerifiable(lateBy(made.frame, delay->timeNs))});
    if (jitter) {
        const bool visible = jitter->timeNs >= kNoticeableNs;
        made.findings.push_back({FaultKind::jitter, visible ? ifVerifiable(lateBy(made.frame, jitter->timeNs))
                                                            : std::vector<Expectation>()});
    }
    return _timer.sleepUntil(made.completeNs + (delay ? delay->timeNs : 0) + (jitter ? jitter->timeNs : 0));
}

void FrameDelivery::hold(ImageSource& source, std::uint64_t frame, const Strikes& faults) {
    std::vector<std::uint8_t> pixels(source.format().bytes());
    std::optional<std::uint64_t> drawn;
    Made made = make(source, pixels.data(), drawn, frame, faults);
    _held = Held{std::move(made), std::move(pixels)};
}

void FrameDelivery::deliverCopy(const Held& held) {
    if (!publishCopy(held.pixels, held.made)) return refuse(held.made.frame);
    ++_totals.written;
    tellFindings(held.made);
}

/// @return False when a host has moved the read index back since there was room.
bool FrameDelivery::publish(const Made& made) {
    _ahead.reset();
    const std::size_t slot = _ring.slotIndex();
    const double frameTime = static_cast<double>(_rate.seconds) / static_cast<double>(_rate.frames);
    if (!_ring.publish({made.frame + made.counterShift, seconds(made.stampNs), frameTime})) return false;
    _numberInSlot[slot] = made.frame;
    _counterShift = made.counterShift;
    _lastStampNs = made.stampNs;
    return true;
}

/// @return False when the ring is full.
bool FrameDelivery::publishCopy(const std::vector<std::uint8_t>& pixels, const Made& made) {
    std::uint8_t* const slot = _ring.slotPixels();
    if (!slot) return false;
    std::memcpy(slot, pixels.data(), pixels.size());
    _drawnInSlot[_ring.slotIndex()].reset();
    return publish(made);
}

void FrameDelivery::refuse(std::uint64_t frame) {
    ++_totals.refused;
    tellNote(frames::fault_log::kRefused, {frame, frame});
    _ring.wakeReader();
}

}  // namespace simulator
