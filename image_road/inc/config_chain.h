// The files of a camera's configuration, in the order in which the camera reads them.
//
// A file is an ini file. If its section "Dorven" has the key "camera_config", the file named there is used instead,
// which may name another one, and so on. The name is used exactly as written after the '=', including blanks. It is
// absolute when it begins with '/' or '\\' or contains a ':'. Otherwise it is relative to the folder of the file that
// contains it, or to "./" when that file's name has no folder.
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

/// The kind of a file in the chain. The chain ends with the first file that does not name another one.
enum class ConfigFile {
    leadsOn,     // it names another file
    camera,      // it is the camera's configuration
    absent,      // there is no such file: an empty configuration
    unreadable,  // a folder, a pipe, a device, more than 64 MB, or no ini file; never blocks
    circle,      // it was already read, from the same folder
};

/// A walk along the files:
///
///     ConfigChain chain(path);
///     while (chain.read() == ConfigFile::leadsOn) chain.follow();
class ConfigChain {
public:
    explicit ConfigChain(std::string path);

    /// The file to read next, or read last.
    const std::string& path() const { return _path; }

    /// Reads the file.
    ConfigFile read();

    /// The result of read.
    ConfigFile file() const { return _file; }

    /// Moves to the file that this one names. Call it after read has returned leadsOn.
    void follow();

    /// The name of the next file, as written in this one. Call it after read has returned leadsOn.
    const std::string& target() const { return _target; }

    /// What was read, empty when the file is absent; never null after read.
    const std::shared_ptr<MIniData>& ini() const { return _ini; }

    /// Why the chain cannot continue, for people, such as "there is no such file"; empty when it can.
    std::string reason() const;

private:
    bool isNew();

    std::string _path;
    std::string _target;
    std::string _namedBy;  // the file that names this one
    std::shared_ptr<MIniData> _ini;
    ConfigFile _file = ConfigFile::absent;
    std::set<std::string> _paths;
    // Folder and file: from the same folder, the same file always leads to the same next one, whatever the names are.
    std::set<std::pair<FileIdentity, FileIdentity>> _visited;
};

}  // namespace image_road
