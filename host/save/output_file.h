// Files that this program makes, written so that one that could not be finished does not stay.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform.h"
#include "replacement_file.h"

namespace host {

/// What happens to a file that is there already.
enum class ExistingFile { refuse, replace };

/// Writes a whole file. One that is replaced keeps its old content until the new one is complete (ReplacementFile: it
/// is written beside it, under a name that nobody can guess). A link is replaced, not what it leads to.
///
/// @return  false, with the file's name and the reason; nothing is then left of the new content.
bool writeWholeFile(const std::string& path, const void* data, std::size_t size, ExistingFile existing,
                    std::string& error);

/// A file that grows by whole pieces. One thread.
class GrowingFile {
public:
    GrowingFile() = default;
    ~GrowingFile() { close(); }
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;

    /// Makes the file; one that is replaced has lost its content then. A link is replaced, not what it leads to. While
    /// it grows everybody may read it who lets others write.
    /// @return false, with the file's name and the reason.
    bool open(const std::string& path, ExistingFile existing, std::string& error);

    /// Hands a piece to the system, so that it outlives this process. @return false, with the file's name and the
    /// reason; nothing is then left of the piece.
    bool append(const std::string& piece, std::string& error);

    void close();
    bool isOpen() const { return _file != INVALID_HANDLE_VALUE; }

private:
    std::string _path;
    ReplacementFile _replacement;  // open where another file was replaced; then _file is its handle
    HANDLE _file = INVALID_HANDLE_VALUE;
    std::int64_t _size = 0;  // bytes of whole pieces
};

}  // namespace host
