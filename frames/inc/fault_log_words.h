// The words of a fault log, as the simulator writes them and the host reads them; docs/faults.md describes the lines.
#pragma once

namespace frames::fault_log {

inline constexpr char kSchema[] = "dorven-fault-log/1";

/// Values of key "event".
inline constexpr char kRun[] = "run";
inline constexpr char kFault[] = "fault";
inline constexpr char kNote[] = "note";
inline constexpr char kEnd[] = "end";

/// Values of key "note": why frames did not arrive although no fault took them away.
inline constexpr char kRefused[] = "refused";           // the ring was full
inline constexpr char kSkipped[] = "skipped";           // too late
inline constexpr char kRingLaid[] = "ring-laid";        // unread when the ring was recreated
inline constexpr char kRingDamaged[] = "ring-damaged";  // unread when the ring was recreated after damage

}  // namespace frames::fault_log

/// What a host may find wrong with images, as named in fault logs and in the host's JSON.
namespace frames::finding {

inline constexpr char kLost[] = "lost";
inline constexpr char kRepeated[] = "repeated";
inline constexpr char kReordered[] = "reordered";
inline constexpr char kTorn[] = "torn";
inline constexpr char kStale[] = "stale";
inline constexpr char kFormat[] = "format";
inline constexpr char kCounter[] = "counter";
inline constexpr char kTimeBack[] = "time_back";
inline constexpr char kLate[] = "late";
inline constexpr char kStopped[] = "stopped";

}  // namespace frames::finding
