// Finds the files of the requested pictures.
#pragma once

#include <string>
#include <vector>

namespace simulator {

/// Whether the file name in a path contains '*' or '?'.
bool isGlob(const std::string& path);

/// Whether a whole name matches a pattern: '*' stands for any characters, '?' for one.
bool fitsGlob(const std::string& name, const std::string& pattern);

/// Whether a name ends like that of a PNG or PGM file, in upper or lower case.
bool isPictureName(const std::string& path);

/// Files of folders, globs and plain paths, in the given order; for each folder and glob in name order, byte by byte.
///
/// @param raw  Whether to take every file of a folder; otherwise PNG and PGM files only.
/// @return     None, with the reason, when a path yields no file.
std::vector<std::string> pictureFiles(const std::vector<std::string>& paths, bool raw, std::string& error);

}  // namespace simulator
