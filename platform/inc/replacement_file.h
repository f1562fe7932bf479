// A file that takes the place of another one, or of none.
#pragma once

#include <string>

#include "platform.h"

/// It is made beside the place that it is to take, under a name that nobody can guess (".dorven-….part"), and made
/// exclusively: it is never a file that was there already, and nothing is written through a link that somebody planted.
/// It is then told by its open handle, not by its name: who renames it, or puts another file under its name, neither
/// gets that file moved nor removed. On Linux, which moves and removes names only, that holds up to the moment between
/// the last look at the name and the call; what comes in it is moved, for which takePlace answers 5, or removed. A
/// process that is killed before the file has taken its place leaves it behind. One thread at a time.
///
/// Each call answers with an error code of platform.h; ERROR_SUCCESS when it did what it says.
class ReplacementFile {
public:
    ReplacementFile() = default;
    /// Closes.
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    /// Makes the file, empty. On Linux it gets the permissions of the file in the place.
    /// @param place  Path of the place; on Linux '\\' separates folders, too.
    DWORD open(const std::string& place);

    /// To write it with the calls of platform.h; stays the file's own. INVALID_HANDLE_VALUE: it is not open.
    HANDLE handle() const { return _file; }

    /// Puts it in its place. A link there is replaced, not what it leads to. Refused, with 5, where the place has a
    /// folder, a device or a file that may not be written, and, with 32, where another writer has that file open; on
    /// Windows also where a reader has it open who does not let it be removed, as most do not. The file stays open and
    /// may be written further; no other writer can open it until it is closed. Until then most readers cannot open it
    /// on Windows, either, because it could still be removed: a file that grows for long calls admitReaders.
    DWORD takePlace();

    /// Opens a file that took its place anew, as one that is written and no more. To call after takePlace, for readers
    /// that do not let a file be removed; on Linux nobody keeps them away. Refused, with 32, where another writer came
    /// in between; the file is then closed.
    DWORD admitReaders();

    /// Closes it; one that has not taken its place is removed.
    void close();

private:
    HANDLE _file = INVALID_HANDLE_VALUE;
    int _descriptor = -1;  // on Linux: that of the handle
    int _folder = -1;      // on Linux: that of the place's folder
    std::string _place;    // path; on Linux the name in the folder
    std::string _made;     // the same of the file, as it was made
    bool _placed = false;
};
