// A file that replaces another one, or fills an empty place.
#pragma once

#include <string>

#include "platform.h"

/// The file is created in the folder of its place, under a name that nobody can guess (".dorven-….part"), and
/// exclusively: it is never a file that existed before, and nothing is written through a link that somebody prepared.
/// From then on its open handle identifies it, not its name. Whoever renames it, or puts another file under its name,
/// causes neither of them to be moved or removed. Linux moves and removes by name only, so there is a gap between the
/// last check of the name and the call: a file that appears in this gap is moved, and takePlace returns 5, or it is
/// removed. If the process is killed before the file has taken its place, the file stays behind. One thread at a time.
///
/// Each call returns an error code of platform.h, or ERROR_SUCCESS.
class ReplacementFile {
public:
    ReplacementFile() = default;
    /// Closes.
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    /// Creates the file, empty. On Linux it gets the permissions of the file that it replaces.
    /// @param place  Path of the place; on Linux '\\' separates folders, too.
    DWORD open(const std::string& place);

    /// For writing with the calls of platform.h; this object keeps it. INVALID_HANDLE_VALUE: the file is not open.
    HANDLE handle() const { return _file; }

    /// Moves it to its place. If a link is there, the link is replaced, not its target. Fails with 5 if the place
    /// contains a folder, a device or a file that may not be written, and with 32 if another writer has that file open.
    /// On Windows it also fails with 32 if a reader has it open without permitting removal, as most readers do. The
    /// file stays open and can still be written; no other writer can open it until it is closed. On Windows most
    /// readers cannot open it until then either, because it could still be removed: call admitReaders for a file that
    /// grows for a long time.
    DWORD takePlace();

    /// Reopens a file that took its place, for writing only and no longer for removal. Call it after takePlace, for
    /// readers that do not permit removal; on Linux nothing keeps readers away. Fails with 32 if another writer opened
    /// the file in between; the file is then closed.
    DWORD admitReaders();

    /// Closes the file; removes it if it has not taken its place.
    void close();

private:
    HANDLE _file = INVALID_HANDLE_VALUE;
    int _descriptor = -1;  // on Linux: the handle's descriptor
    int _folder = -1;      // on Linux: descriptor of the place's folder
    std::string _place;    // path; on Linux the name in the folder
    std::string _made;     // the file's own path or name, as created
    bool _placed = false;
};
