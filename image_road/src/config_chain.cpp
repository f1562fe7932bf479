#include "config_chain.h"

#include "fileops.h"

namespace image_road {
namespace {

bool isAbsolute(const std::string& path) {
    return path.find(':') != std::string::npos || (!path.empty() && (path[0] == '/' || path[0] == '\\'));
}

/// The folder of a file with its separator; "./" when the name has none.
std::string folderOf(const std::string& path) {
    const std::size_t separator = path.find_last_of("\\/");
    return separator == std::string::npos ? "./" : path.substr(0, separator + 1);
}

bool isFolder(const std::string& path) {
    const std::size_t end = path.find_last_not_of("\\/");
    return end == std::string::npos || file_type(path.substr(0, end + 1).c_str()) == 'd';
}

}  // namespace

ConfigChain::ConfigChain(std::string path) : _path(std::move(path)) {}

ConfigFile ConfigChain::read() {
    _ini = std::make_shared<MIniData>(_path.c_str());
    if (!_ini->IsOpen()) return _file = ConfigFile::unreadable;
    if (_ini->FileAbsent()) return _file = ConfigFile::absent;
    if (!isNew()) return _file = ConfigFile::circle;
    if (!_ini->GetStringEntry(kRedirectSection, kRedirectKey, _target)) return _file = ConfigFile::camera;
    _target.resize(_target.find('\0') == std::string::npos ? _target.size() : _target.find('\0'));  // no name has more
    return _file = ConfigFile::leadsOn;
}

void ConfigChain::follow() {
    _namedBy = _path;
    _path = (isAbsolute(_target) ? std::string() : folderOf(_path)).append(_target);
}

bool ConfigChain::isNew() {
    if (!_paths.insert(_path).second) return false;
    const std::pair here(platform_identityOf(folderOf(_path).c_str()), platform_identityOf(_path.c_str()));
    return !here.first.known() || !here.second.known() || _visited.insert(here).second;
}

std::string ConfigChain::reason() const {
    switch (_file) {
        case ConfigFile::leadsOn:
        case ConfigFile::camera:
            return "";
        case ConfigFile::absent:
            return "there is no such file";
        case ConfigFile::circle:
            return "it leads back to itself";
        case ConfigFile::unreadable:
            break;
    }
    if (!_ini->GetLastErrorText().empty()) return _ini->GetLastErrorText();
    if (!isFolder(_path)) return "it cannot be opened";
    return _target.empty() && !_namedBy.empty()
               ? "it is a folder, since " + (kRedirectKey + (" in " + _namedBy)) + " is empty"
               : "it is a folder";
}

}  // namespace image_road
