// The files of a camera's configuration. Whoever wants to know what the camera is told walks them with this.
//
// A file is an ini file. Its key "camera_config" of section "Dorven" names another one that counts in its place, and so
// on, as often as files name further ones. The name is taken as it stands behind the '=', blanks included. It is
// absolute when it begins with '/' or '\\' or has a ':'; else it counts from the folder of the file that holds it, from
// "./" when that one's name has no folder.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "MIniData.h"
#include "file_identity.h"

namespace image_road {

/// Where a file names the next one.
inline constexpr char kRedirectSection[] = "Dorven";
inline constexpr char kRedirectKey[] = "camera_config";

/// What a file of the chain is. The chain ends with the first one that does not lead on.
enum class ConfigFile {
    leadsOn,     // it names another one
    camera,      // it is the camera's configuration
    absent,      // there is none of that name: an empty configuration
    unreadable,  // a folder, a pipe, a device, more than 64 MB, or no ini file; nothing was waited for
    circle,      // it was read before, from the same folder
};

/// A walk along the files:
///
///     ConfigChain chain(path);
///     while (chain.read() == ConfigFile::leadsOn) chain.follow();
class ConfigChain {
public:
    explicit ConfigChain(std::string path);

    /// The file that is read next, or was read last.
    const std::string& path() const { return _path; }

    /// Reads the file.
    ConfigFile read();

    /// What the file is, as read answered.
    ConfigFile file() const { return _file; }

    /// Goes on to the file that this one names. After read has answered leadsOn.
    void follow();

    /// The name of the next file, as it stands in this one. After read has answered leadsOn.
    const std::string& target() const { return _target; }

    /// What was read, empty when the file is absent; never null after read.
    const std::shared_ptr<MIniData>& ini() const { return _ini; }

    /// Why the chain cannot go on, for people, such as "there is no such file"; empty when it can.
    std::string reason() const;

private:
    bool isNew();

    std::string _path;
    std::string _target;
    std::string _namedBy;  // the file that names this one
    std::shared_ptr<MIniData> _ini;
    ConfigFile _file = ConfigFile::absent;
    std::set<std::string> _paths;
    // Folder and file: from the same folder the same file leads to the same next one, whatever the names are.
    std::set<std::pair<FileIdentity, FileIdentity>> _visited;
};

}  // namespace image_road
