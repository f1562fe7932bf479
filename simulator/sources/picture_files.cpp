#include "picture_files.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>

#include "utf8_path.h"

namespace simulator {
namespace {

namespace fs = std::filesystem;

// Files of a folder with the wanted names, in name order; false, with the reason, when it cannot be read.
template <typename Wanted>
bool filesIn(const fs::path& folder, Wanted wanted, std::vector<std::string>& files, std::string& error) {
    std::error_code failure;
    std::error_code ignored;  // a file that vanishes meanwhile does not count
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        const std::string name = textOfPath(entry->path().filename());
        if (wanted(name) && !entry->is_directory(ignored))
            files.push_back(textOfPath(folder / entry->path().filename()));
    }
    if (failure) {
        error = textOfPath(folder) + ": cannot be read: " + failure.message();
        return false;
    }
    std::sort(files.begin(), files.end());
    return true;
}

bool filesOf(const std::string& path, bool raw, std::vector<std::string>& files, std::string& error) {
    std::error_code failure;
    if (isGlob(path)) {
        const std::string pattern = textOfPath(pathOfText(path).filename());
        const auto fits = [&](const std::string& name) { return fitsGlob(name, pattern); };
        if (!filesIn(pathOfText(path).parent_path(), fits, files, error)) return false;
        if (files.empty()) error = path + ": no file has such a name";
    } else if (fs::is_directory(pathOfText(path), failure)) {
        const auto fits = [&](const std::string& name) { return raw || isPictureName(name); };
        if (!filesIn(pathOfText(path), fits, files, error)) return false;
        if (files.empty())
            error = path + (raw ? ": holds no file" : ": holds no picture (PNG, PGM, JPEG, BMP or TIFF)");
    } else {
        files.push_back(path);
    }
    return !files.empty();
}

// Position of the next character in a UTF-8 name.
std::size_t behindCharacter(const std::string& name, std::size_t at) {
    const auto isInside = [&] { return at < name.size() && (static_cast<unsigned char>(name[at]) & 0xC0) == 0x80; };
    for (++at; isInside();) ++at;
    return at;
}

}  // namespace

bool isGlob(const std::string& path) {
    return textOfPath(pathOfText(path).filename()).find_first_of("*?") != std::string::npos;
}

// On a mismatch the last star takes one character more; earlier stars never need to.
bool fitsGlob(const std::string& name, const std::string& pattern) {
    std::size_t at = 0;
    std::size_t next = 0;
    std::size_t star = std::string::npos;
    std::size_t starTook = 0;
    while (at < name.size()) {
        if (next < pattern.size() && pattern[next] == '*') {
            star = next++;
            starTook = at;
        } else if (next < pattern.size() && pattern[next] == name[at]) {
            ++next;
            ++at;
        } else if (next < pattern.size() && pattern[next] == '?') {
            ++next;
            at = behindCharacter(name, at);
        } else if (star != std::string::npos) {
            next = star + 1;
            at = starTook = behindCharacter(name, starTook);
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', next) == std::string::npos;
}

bool isPictureName(const std::string& path) {
    std::string extension = textOfPath(pathOfText(path).extension());
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    constexpr std::string_view kEndings[] = {".png", ".pgm", ".jpg", ".jpeg", ".bmp", ".tif", ".tiff"};
    return std::ranges::find(kEndings, extension) != std::end(kEndings);
}

std::vector<std::string> pictureFiles(const std::vector<std::string>& paths, bool raw, std::string& error) {
    std::vector<std::string> all;
    for (const std::string& path : paths) {
        std::vector<std::string> files;
        if (!filesOf(path, raw, files, error)) return {};
        all.insert(all.end(), std::make_move_iterator(files.begin()), std::make_move_iterator(files.end()));
    }
    return all;
}

}  // namespace simulator
