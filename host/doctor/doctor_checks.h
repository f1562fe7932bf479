// The parts of an examination. Each appends its findings.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "doctor.h"
#include "image_view.h"
#include "object_look.h"
#include "object_refusal.h"

namespace host {

inline void add(Findings& findings, const char* check, FindingLevel level, std::string found, std::string advice = "") {
    findings.push_back({check, level, std::move(found), std::move(advice)});
}

/// What is well and of use only to whoever wants to know everything.
inline void addDetail(Findings& findings, const char* check, std::string found) {
    findings.push_back({check, FindingLevel::ok, std::move(found), "", true});
}

/// The plugin's file: is there, is made for this machine, can be loaded, has its two functions.
void examineLibrary(const std::string& path, Findings& findings);

/// The configuration's files, and the value and origin of each key of the camera.
/// @return  The images that the camera will make with it; none when unknown.
std::optional<frames::ImageFormat> examineConfiguration(const std::string& path, Findings& findings);

/// The folder of named objects: rights, leftovers. Does nothing on a system without one.
void examineObjectFolder(Findings& findings);

/// Creates an object to see whether that works; like in each program, this removes leftovers. Call it after
/// examineObjectFolder, whose findings it does not repeat.
/// @return  Whether it could be created.
bool examineMaking(Findings& findings);

/// Whether the ring of a simulator that asks the camera would fit; does nothing if such a ring exists.
/// @param expected  The camera's images; none when unknown: its defaults.
void examineRoom(const ObjectRoom& room, const std::optional<frames::ImageFormat>& expected, Findings& findings);

/// Simulators that this program cannot see: in other name spaces of this user, of other users, in containers.
void tellElsewhere(const ObjectsElsewhere& elsewhere, Findings& findings);

/// What was logged meanwhile.
void examineLog(Findings& findings);

/// Programs that run, their events, the image ring and the link.
/// @param expected  The camera's images, none when unknown.
void examineObjects(const std::optional<frames::ImageFormat>& expected, Findings& findings);

}  // namespace host
