#include <cstring>
#include <string>

#include "doctor_checks.h"
#include "image_line.h"
#include "mmemfifo.h"
#include "mmemlinefifo.h"
#include "object_look.h"
#include "object_names.h"
#include "platform.h"

namespace host {
namespace {

using Kind = ObjectSight::Kind;
using image_road::finishedOf;
using image_road::kCameraAsks;
using image_road::kImagesEvent;
using image_road::kImagesMemory;
using image_road::kImagesWriter;
using image_road::kSimulatorAsks;

constexpr std::int64_t kBetweenLooksNs = 100'000'000;
constexpr int kMoreLooks = 5;
constexpr std::size_t kMaxNamed = 10;  // files in one line

std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t index = 0; index < names.size() && index < kMaxNamed; ++index)
        text += (index > 0 ? ", " : "") + names[index];
    if (names.size() > kMaxNamed) text += " and " + std::to_string(names.size() - kMaxNamed) + " more";
    return text;
}

bool isThere(const std::string& name) { return platform_lookAtObject(name.c_str(), 0).kind == Kind::event; }

// The programs on the two ends. Programs come and go while the doctor looks. A program counts as running if it ran at
// one of two checks, one before and one after the objects were examined, so that its mark is not taken for a dead
// one's.
struct Presence {
    bool simulator = false;      // a dorven-simulator has the images
    bool camera = false;         // a host has a camera, or asks like one
    bool simulatorLink = false;  // a simulator uses the link
    bool settled = false;        // a simulator ran at both checks, so its objects must exist
};

Presence lookForPrograms() {
    return {isThere(kImagesWriter), isThere(finishedOf(kCameraAsks)), isThere(finishedOf(kSimulatorAsks)), false};
}

Presence either(const Presence& before, const Presence& after) {
    return {before.simulator || after.simulator, before.camera || after.camera,
            before.simulatorLink || after.simulatorLink, before.simulator && after.simulator};
}

void tellPrograms(const Presence& presence, Findings& findings) {
    constexpr const char* kCheck = "programs";
    if (presence.simulator) {
        add(findings, kCheck, FindingLevel::ok, "a simulator runs");
    } else {
        add(findings, kCheck, FindingLevel::warning, "no simulator is running: the camera fakes images after 22 s",
            "start dorven-simulator");
    }
    add(findings, kCheck, FindingLevel::ok,
        presence.camera ? "a host has a camera, or an ask-snap its link: another host is refused without --share"
                        : "no host has a camera");
}

void tellEvent(Kind kind, const Presence& presence, Findings& findings) {
    constexpr const char* kCheck = "event";
    const std::string name = std::string("\"") + kImagesEvent + "\" ";
    if (kind == Kind::event) {
        addDetail(findings, kCheck, name + "is there");
    } else if (kind != Kind::absent) {
        add(findings, kCheck, FindingLevel::problem, name + "is no event",
            "end the program that made something else of that name");
    } else if (presence.settled) {
        add(findings, kCheck, FindingLevel::problem, name + "is missing though a simulator runs: nobody is woken",
            "start the simulator again");
    } else {
        addDetail(findings, kCheck, name + "is not there, as nobody needs it");
    }
}

struct Ring {
    LineFifoHeader header{};
    std::uint64_t memoryBytes = 0;

    std::uint64_t waiting() const { return MMemLineFifo_GetCount(&header); }
    // What is impossible in an intact ring; "" when all is possible.
    std::string damage() const {
        const std::string slots =
            std::to_string(header.slotCount) + " slots of " + std::to_string(header.lineLength) + " bytes";
        if (header.lineLength < sizeof(image_road::ImageLineHeader)) return slots + " are too short for images";
        if (header.slotCount < 2 || !MMemLineFifo_Fits(header, memoryBytes))
            return slots + " do not fit into " + std::to_string(memoryBytes) + " bytes";
        if (!MMemLineFifo_HasPossibleIndices(header))
            return "read index " + std::to_string(header.readIndex) + " and write index " +
                   std::to_string(header.writeIndex) + " are impossible in " + slots;
        return "";
    }
};

enum class RingSight { absent, noMemory, tooSmall, notLaid, there };

RingSight lookAtRing(Ring& ring) {
    const ObjectSight sight = platform_lookAtObject(kImagesMemory, sizeof(LineFifoHeader));
    if (sight.kind == Kind::absent) return RingSight::absent;
    if (sight.kind != Kind::memory) return RingSight::noMemory;
    ring.memoryBytes = sight.bytes;
    if (sight.content.size() < sizeof(LineFifoHeader)) return RingSight::tooSmall;
    std::memcpy(&ring.header, sight.content.data(), sizeof ring.header);
    return ring.header.slotCount == 0 && ring.header.writerMark == 0 ? RingSight::notLaid : RingSight::there;
}

bool isWhole(RingSight sight, const Ring& ring) { return sight == RingSight::there && ring.damage().empty(); }

void tellLineLength(const Ring& ring, const frames::ImageFormat& expected, Findings& findings) {
    const std::uint64_t needed = sizeof(image_road::ImageLineHeader) + expected.bytes();
    const std::string size = std::to_string(expected.width) + "x" + std::to_string(expected.height) + " of " +
                             std::to_string(expected.bytesPerPixel) +
                             (expected.bytesPerPixel == 1 ? " byte" : " bytes");
    if (ring.header.lineLength < needed) {
        add(findings, "ring", FindingLevel::problem,
            "lines of " + std::to_string(ring.header.lineLength) + " bytes are shorter than images of " + size + ", " +
                std::to_string(needed) + " with their header",
            "give host and simulator the same --config");
    } else if (ring.header.lineLength > image_road::imageLineBytes(expected.bytes())) {
        add(findings, "ring", FindingLevel::warning,
            "lines of " + std::to_string(ring.header.lineLength) + " bytes are longer than images of " + size + ", " +
                std::to_string(needed) + " with their header",
            "give host and simulator the same --config");
    } else {
        addDetail(findings, "ring", "lines fit images of " + size);
    }
}

void tellMarks(const Ring& before, const Ring& ring, const Presence& presence, Findings& findings) {
    constexpr const char* kCheck = "ring";
    const std::uint64_t slots = ring.header.slotCount;
    const std::uint64_t put = (ring.header.writeIndex + slots - before.header.writeIndex % slots) % slots;
    const std::uint64_t taken = (ring.header.readIndex + slots - before.header.readIndex % slots) % slots;
    add(findings, kCheck, FindingLevel::ok,
        std::to_string(ring.waiting()) + " of " + std::to_string(slots - 1) + " images wait; within 100 ms " +
            (put > 0 ? "images came" : "no image came") + (taken > 0 ? " and were taken" : " and none was taken"));
    if (ring.header.writerMark == 0) {
        add(findings, kCheck, FindingLevel::warning, "no writer is attached: the simulator has left",
            "start dorven-simulator");
    } else if (!presence.simulator) {
        add(findings, kCheck, FindingLevel::warning,
            "a writer's mark stands though no dorven-simulator runs: it was killed, or is another program",
            "start dorven-simulator: it lays the ring anew");
    } else {
        addDetail(findings, kCheck, "a writer is attached");
    }
    if (ring.header.readerMark == 0) {
        addDetail(findings, kCheck, "no reader is attached");
    } else if (!presence.camera) {
        add(findings, kCheck, FindingLevel::warning,
            "a reader's mark stands though no host has a camera: it was killed, and no other can attach yet",
            presence.simulator ? "none: once the ring was full for --reader-timeout, the simulator lays it anew"
                               : "start dorven-simulator: it lays the ring anew");
    } else if (ring.waiting() == slots - 1 && taken == 0) {
        add(findings, kCheck, FindingLevel::warning, "the ring is full and its reader takes nothing",
            "look whether the host hangs in its callback or was paused");
    } else {
        addDetail(findings, kCheck, "a reader is attached");
    }
}

// The memory, as far as it can contain a ring; false, with a finding, when there is none to examine.
bool tellMemory(RingSight sight, const Ring& ring, const Presence& presence, Findings& findings) {
    constexpr const char* kMemory = "shared memory";
    const std::string name = std::string("\"") + kImagesMemory + "\" ";
    if (sight == RingSight::absent) {
        const std::string found = name + "is not there: no simulator has made it";
        if (presence.settled) {
            add(findings, kMemory, FindingLevel::problem, found, "start the simulator again");
        } else {
            addDetail(findings, kMemory, found);
        }
        return false;
    }
    if (sight == RingSight::noMemory) {
        add(findings, kMemory, FindingLevel::problem, name + "is no shared memory that can be read",
            "end the program that made something else of that name");
        return false;
    }
    if (sight == RingSight::tooSmall) {
        add(findings, kMemory, FindingLevel::problem,
            name + "has " + std::to_string(ring.memoryBytes) + " bytes, too few for a ring's header",
            "end the program that made it");
        return false;
    }
    addDetail(findings, kMemory, name + "has " + std::to_string(ring.memoryBytes) + " bytes");
    if (sight == RingSight::there) return true;
    add(findings, "ring", FindingLevel::warning, "nobody has laid a ring yet", "start dorven-simulator");
    return false;
}

// @param before  The ring 100 ms earlier.
void tellRing(const Ring& before, const Ring& ring, const Presence& presence,
              const std::optional<frames::ImageFormat>& expected, Findings& findings) {
    if (const std::string damage = ring.damage(); !damage.empty()) {
        add(findings, "ring", FindingLevel::problem, "the header is damaged: " + damage, "start the simulator again");
        return;
    }
    addDetail(findings, "ring",
              std::to_string(ring.header.slotCount) + " slots of " + std::to_string(ring.header.lineLength) + " bytes");
    if (expected) tellLineLength(ring, *expected, findings);
    tellMarks(before, ring, presence, findings);
}

void tellMessageFifo(const char* id, const char* direction, Findings& findings) {
    constexpr const char* kCheck = "link";
    const ObjectSight sight = platform_lookAtObject(image_road::memoryOf(id).c_str(), sizeof(MMemFifo));
    if (sight.kind == Kind::absent) {
        addDetail(findings, kCheck, std::string(direction) + ": no memory, nobody has asked yet");
        return;
    }
    MMemFifo header{};
    if (sight.kind != Kind::memory || sight.content.size() < sizeof header) {
        add(findings, kCheck, FindingLevel::problem, std::string(direction) + ": is no memory of a message fifo",
            "end the program that made something else of that name");
        return;
    }
    std::memcpy(&header, sight.content.data(), sizeof header);
    if (!MMemFifo_IsSound(&header, sight.bytes)) {
        add(findings, kCheck, FindingLevel::warning, std::string(direction) + ": the header is damaged",
            "the side that writes lays it anew with its next message");
        return;
    }
    addDetail(findings, kCheck,
              std::string(direction) + ": writer " + (MMemFifo_IsWriterAttached(&header) ? "attached" : "gone") +
                  ", reader " + (MMemFifo_IsReaderAttached(&header) ? "attached" : "gone") + ", " +
                  std::to_string(MMemFifo_GetUsed(&header)) + " bytes wait");
}

void tellLink(const Presence& presence, Findings& findings) {
    constexpr const char* kCheck = "link";
    add(findings, kCheck, FindingLevel::ok,
        std::string("the camera's end is ") + (presence.camera ? "taken" : "free") + ", the simulator's end is " +
            (presence.simulatorLink ? "taken" : "free"));
    tellMessageFifo(kCameraAsks, "camera to simulator", findings);
    tellMessageFifo(kSimulatorAsks, "simulator to camera", findings);
}

}  // namespace

void examineObjectFolder(Findings& findings) {
    constexpr const char* kCheck = "access rights";
    const ObjectFolderSight sight = platform_lookAtObjectFolder();
    if (!sight.has) return;
    if (!sight.squatter.empty())
        add(findings, kCheck, FindingLevel::warning,
            sight.squatter + (sight.path.empty() ? "; the first program that runs makes a folder of another name"
                                                 : "; a folder of another name serves in its place"),
            "none: all your programs find the same folder; its owner or root can remove it");
    if (sight.path.empty()) return;
    if (!sight.problem.empty()) {
        add(findings, kCheck, FindingLevel::problem, sight.problem, "remove it, or make it yours alone (chmod 700)");
        return;
    }
    add(findings, kCheck, FindingLevel::ok,
        sight.path + (sight.exists ? " is yours alone" : " is not there: nobody has made an object yet"));
    if (!sight.wrongFiles.empty())
        add(findings, kCheck, FindingLevel::problem,
            "files with another owner, other rights than 0600, or none at all: " + listed(sight.wrongFiles),
            "remove them");
    if (!sight.exists) return;
    if (sight.leftovers.empty()) {
        add(findings, "leftovers", FindingLevel::ok, "none; " + std::to_string(sight.held) + " objects are in use");
    } else {
        add(findings, "leftovers", FindingLevel::warning,
            std::to_string(sight.leftovers.size()) +
                " objects of programs that were killed: " + listed(sight.leftovers),
            "none: the next program that makes an object removes them");
    }
}

void examineObjects(const std::optional<frames::ImageFormat>& expected, Findings& findings) {
    const Presence early = lookForPrograms();
    Ring before;
    Ring ring;
    lookAtRing(before);
    platform_sleepUntil(platform_monotonicNanoseconds() + kBetweenLooksNs);
    RingSight sight = lookAtRing(ring);
    // A memory or ring that a simulator is just creating is complete at one of the next checks.
    const auto mayBecomeWhole = [&] { return !isWhole(sight, ring) && (early.simulator || sight == RingSight::there); };
    for (int look = 0; look < kMoreLooks && mayBecomeWhole(); ++look) {
        platform_sleepUntil(platform_monotonicNanoseconds() + kBetweenLooksNs);
        sight = lookAtRing(ring);
    }
    const Kind event = platform_lookAtObject(kImagesEvent, 0).kind;
    const Presence presence = either(early, lookForPrograms());
    tellPrograms(presence, findings);
    if (!presence.simulator) tellElsewhere(platform_lookElsewhere(kImagesWriter), findings);
    tellEvent(event, presence, findings);
    if (tellMemory(sight, ring, presence, findings)) tellRing(before, ring, presence, expected, findings);
    tellLink(presence, findings);
}

}  // namespace host
