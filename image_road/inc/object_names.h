// The names by which camera and simulator find each other's objects. Memories and events share one space of names;
// docs/wire-format.md draws what lies in the memories.
#pragma once

#include <string>

namespace image_road {

// ---- the ring of images

inline constexpr char kImagesMemory[] = "DorVenImages";
inline constexpr char kImagesEvent[] = "DorVenImagesEvent";    // signalled for new images
inline constexpr char kImagesWriter[] = "DorVenImagesWriter";  // event that exists while a simulator has the ring

// ---- the link: one channel for each side's messages

inline constexpr char kCameraAsks[] = "DorVenCameraPlugin_tesk_asks";       // the camera sends, the simulator listens
inline constexpr char kSimulatorAsks[] = "DorVenCameraPlugin_dorven_asks";  // the other way round

/// Name of the fifo that carries a channel's messages.
inline std::string memoryOf(const std::string& channel) { return channel + "_mem"; }

/// Name of the event that is signalled for a new message.
inline std::string eventOf(const std::string& channel) { return channel + "_event"; }

/// Name of the event on which the sending side's own threads meet. It exists exactly as long as that side's messenger,
/// even if its process is killed.
inline std::string finishedOf(const std::string& channel) { return channel + "_finished"; }

}  // namespace image_road
