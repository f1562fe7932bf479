// The names by which camera and simulator find each other's objects. Memories and events share one space of names;
// docs/wire-format.md draws what lies in the memories.
#pragma once

#include <string>

namespace image_road {

// ---- the ring of images

inline constexpr char kImagesMemory[] = "DorVenImages";
inline constexpr char kImagesEvent[] = "DorVenImagesEvent";    // signalled for new images
inline constexpr char kImagesWriter[] = "DorVenImagesWriter";  // event that is there while a simulator has the ring

// ---- the link: one channel for each side's messages

inline constexpr char kCameraAsks[] = "DorVenCameraPlugin_tesk_asks";       // the camera sends, the simulator listens
inline constexpr char kSimulatorAsks[] = "DorVenCameraPlugin_dorven_asks";  // the other way round

/// Of the fifo that carries a channel's messages.
inline std::string memoryOf(const std::string& channel) { return channel + "_mem"; }

/// Of the event that is signalled for a new message.
inline std::string eventOf(const std::string& channel) { return channel + "_event"; }

/// Of the event on which the sending side's own threads meet. It is there exactly as long as that side's messenger,
/// however its process ends.
inline std::string finishedOf(const std::string& channel) { return channel + "_finished"; }

}  // namespace image_road
