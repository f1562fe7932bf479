// Files that this program writes; a file that could not be finished is removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform.h"
#include "replacement_file.h"

namespace host {

/// What happens to an existing file.
enum class ExistingFile { refuse, replace };

/// Writes a whole file. A file that is replaced keeps its old content until the new one is complete (ReplacementFile:
/// it is written next to it, under a name that nobody can guess). A link is replaced itself, not its target.
///
/// @return  false, with the file's name and the reason; nothing of the new content is then left.
bool writeWholeFile(const std::string& path, const void* data, std::size_t size, ExistingFile existing,
                    std::string& error);

/// A file that grows by whole pieces. Used by one thread.
class GrowingFile {
public:
    GrowingFile() = default;
    ~GrowingFile() { close(); }
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;

    /// Creates the file; a file that is replaced has then lost its content. A link is replaced itself, not its target.
    /// While the file grows, all readers that let others write can read it.
    /// @return false, with the file's name and the reason.
    bool open(const std::string& path, ExistingFile existing, std::string& error);

    /// Hands a piece to the system, so that it outlives this process. @return false, with the file's name and the
    /// reason; nothing of the piece is then left.
    bool append(const std::string& piece, std::string& error);

    void close();
    bool isOpen() const { return _file != INVALID_HANDLE_VALUE; }

private:
    std::string _path;
    ReplacementFile _replacement;  // open if another file was replaced; then _file is its handle
    HANDLE _file = INVALID_HANDLE_VALUE;
    std::int64_t _size = 0;  // bytes of whole pieces
};

}  // namespace host
