// Which files hold the pictures that somebody asked for.
#pragma once

#include <string>
#include <vector>

namespace simulator {

/// Whether the file name in a path has a '*' or '?' in it.
bool isGlob(const std::string& path);

/// Whether a name fits a pattern, all of it: '*' stands for any characters, '?' for one.
bool fitsGlob(const std::string& name, const std::string& pattern);

/// Whether a name ends like that of a PNG or PGM file; capitals do not count.
bool isPictureName(const std::string& path);

/// Files of folders, globs and plain paths, in the order given; of each folder and glob in name order, byte by byte.
///
/// @param raw  Take every file of a folder; else PNG and PGM files only.
/// @return     none, with the reason, when one of them gives none.
std::vector<std::string> pictureFiles(const std::vector<std::string>& paths, bool raw, std::string& error);

}  // namespace simulator
