#include "object_file_posix.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "event_state.h"
#include "last_error_posix.h"
#include "layer_locks_posix.h"
#include "object_folder_posix.h"
#include "object_parent_posix.h"

namespace {

constexpr std::size_t kReportBytes = 512;  // a name has at most 260 characters or so

// Stores the text that ObjectFile_HasFullName compares.
bool storeFullName(int descriptor, const std::string& fullName) {
    static_assert(sizeof(ObjectFullName::text) >= kLongestNameBytes);
    if (fullName.empty()) return true;
    ObjectFullName stored{static_cast<std::uint32_t>(fullName.size()), {}};
    std::copy(fullName.begin(), fullName.end(), stored.text);
    return pwrite(descriptor, &stored, sizeof stored, kFullNameOffset) == sizeof stored ||
           platform_failWith(platform_errorOf(errno), false);
}

// Called without any lock or guard of the layer: the report function may use named objects.
void reportStuckGuard(const std::string& name) {
    char text[kReportBytes];
    std::snprintf(
        text, sizeof text,
        "shared object \"%s\": another process has kept its guard for more than %d s; if it was stopped, let it go "
        "on or end it",
        name.c_str(), kGuardLimitSeconds);
    platform_report(text);
}

// The open file must be a plain file of this user; anything else was put in the object's place.
bool isOwnFile(int descriptor, struct stat& status) {
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

// More than all memory of the machine. The system would hand it out byte by byte until nothing is left for anybody.
bool isMoreThanTheMachineHas(std::uint64_t bytes) {
    struct sysinfo machine {};
    if (sysinfo(&machine) != 0) return false;
    return bytes / machine.mem_unit > std::uint64_t{machine.totalram} + machine.totalswap;
}

// Empties the file and initialises it. The memory is committed here, so that a full /dev/shm is an error of this call
// and not a fault when a byte is touched.
bool initialise(int descriptor, const ObjectPage& page) {
    const std::uint64_t dataBytes = wholePages(page.size);
    const std::uint64_t fileBytes = dataBytes + kPageBytes;
    if ((page.size > 0 && dataBytes == 0) || fileBytes > INT64_MAX) {
        return platform_failWith(ERROR_NOT_ENOUGH_MEMORY, false);
    }
    if (isMoreThanTheMachineHas(fileBytes)) return platform_failWith(ERROR_COMMITMENT_LIMIT, false);
    if (ftruncate(descriptor, 0) != 0) return platform_failWith(platform_errorOf(errno), false);
    int error = 0;
    do {
        error = posix_fallocate(descriptor, 0, static_cast<off_t>(fileBytes));
    } while (error == EINTR);
    if (error != 0) return platform_failWith(platform_errorOf(error), false);
    if (pwrite(descriptor, &page, sizeof page, 0) != sizeof page)
        return platform_failWith(platform_errorOf(errno), false);
    return true;
}

// Reads the page of an object that somebody holds and checks it against the file.
bool readPage(int descriptor, std::uint64_t fileBytes, ObjectKind kind, ObjectPage& page) {
    if (pread(descriptor, &page, sizeof page, 0) != sizeof page || page.magic != kObjectMagic ||
        fileBytes < kPageBytes + wholePages(page.size))
        return platform_failWith(ERROR_FILE_INVALID, false);
    if (page.kind != static_cast<std::uint32_t>(kind)) return platform_failWith(ERROR_INVALID_HANDLE, false);
    return true;
}

// For letting go: if there is no memory for the folder's name, the file stays until the next sweep.
int folderWithoutThrowing() noexcept {
    try {
        return ObjectFolder_Descriptor();
    } catch (const std::bad_alloc&) {
        return platform_failWith<int>(ERROR_NOT_ENOUGH_MEMORY, -1);
    }
}

// The objects that this process holds, so that it maps each name once. The lock is held only for a lookup: a thread
// that waits for another process's guard does not block others.
struct HeldObjects {
    std::mutex& mutex = LayerLocks_Of(LayerLock::objects);
    std::map<std::string, std::weak_ptr<ObjectFile>> byFileName;
    std::multimap<std::string, std::weak_ptr<ObjectFile>> ofParents;  // of those that this process was forked from
};

// Never destroyed, because destructors of static objects let go of objects too.
HeldObjects& heldObjects() noexcept {
    alignas(HeldObjects) static unsigned char storage[sizeof(HeldObjects)];
    static auto* const only = new (storage) HeldObjects;
    return *only;
}
[[maybe_unused]] const HeldObjects& madeAtLoad = heldObjects();

}  // namespace

/// Opens one object's file by the rules of the header. No lock is held.
class ObjectFileOpener {
public:
    ObjectFileOpener(const char* name, std::string fileName, const ObjectPage& page, bool create)
        : _name(name),
          _fileName(std::move(fileName)),
          _fullName(ObjectFolder_FullName(name, _fileName)),
          _page(page),
          _create(create) {}

    std::shared_ptr<ObjectFile> open(bool& existed) {
        constexpr int kTries = 1000;  // each one that fails means that a last holder left just then
        for (int i = 0; i < kTries; ++i) {
            std::shared_ptr<ObjectFile> file;
            switch (tryOpen(file, existed)) {
                case Outcome::done:
                    return file;
                case Outcome::failed:
                    return nullptr;
                case Outcome::stuck:
                    reportStuckGuard(_name);
                    return platform_failWith<std::shared_ptr<ObjectFile>>(ERROR_SEM_TIMEOUT, nullptr);
                case Outcome::again:
                    break;
            }
        }
        return platform_failWith<std::shared_ptr<ObjectFile>>(ERROR_SEM_TIMEOUT, nullptr);
    }

    /// An object without name: private memory, which ends with its last handle and view.
    static std::shared_ptr<ObjectFile> openUnnamed(const ObjectPage& page) {
        std::shared_ptr<ObjectFile> object(new ObjectFile);
        if (!object->_file.openMemory("dorven-object"))
            return platform_failWith<std::shared_ptr<ObjectFile>>(platform_errorOf(errno), nullptr);
        return initialise(object->descriptor(), page) && object->take(page) ? object : nullptr;
    }

private:
    enum class Outcome { done, failed, stuck, again };

    Outcome tryOpen(std::shared_ptr<ObjectFile>& opened, bool& existed) {
        const int folder = ObjectFolder_Descriptor();
        if (folder < 0) return Outcome::failed;
        // Everything that needs memory comes first; otherwise a failure would leave a file behind.
        std::shared_ptr<ObjectFile> object(new ObjectFile);
        std::string name = _name;
        std::string fileName = _fileName;
        const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | (_create ? O_CREAT : 0);
        if (!object->_file.open(folder, _fileName.c_str(), flags, 0600)) {
            return afterRefusal(folder, errno);
        }
        const int descriptor = object->descriptor();
        struct stat status {};
        if (!isOwnFile(descriptor, status)) return platform_failWith(ERROR_ACCESS_DENIED, Outcome::failed);
        if (!ObjectLocks_TakeGuard(descriptor)) return Outcome::stuck;
        std::uint64_t fileBytes = 0;
        if (!ObjectFolder_IsUnderName(folder, status, _fileName, fileBytes)) return Outcome::again;

        existed = ObjectLocks_IsHeld(descriptor);
        if (!existed && !_create) {
            unlinkat(folder, _fileName.c_str(), 0);  // a leftover does not exist for whoever opens
            return platform_failWith(ERROR_FILE_NOT_FOUND, Outcome::failed);
        }
        // A leftover is not initialised in its place: somebody may still have a view of it.
        if (!existed && fileBytes > 0)
            return unlinkat(folder, _fileName.c_str(), 0) == 0
                       ? Outcome::again
                       : platform_failWith(platform_errorOf(errno), Outcome::failed);
        // Of two names with the same hash, the second does not exist and cannot be created while the first one exists.
        if (existed && !ObjectFile_HasFullName(descriptor, _fullName))
            return platform_failWith<Outcome>(_create ? ERROR_DUP_NAME : ERROR_FILE_NOT_FOUND, Outcome::failed);
        const bool usable = existed ? readPage(descriptor, fileBytes, static_cast<ObjectKind>(_page.kind), _page)
                                    : layOut(folder, descriptor);
        if (!usable) return Outcome::failed;
        if (!ObjectLocks_Hold(descriptor)) return platform_failWith(platform_errorOf(errno), Outcome::failed);
        ObjectLocks_LeaveGuard(descriptor);
        object->_name = std::move(name);
        object->_fileName = std::move(fileName);  // from here on the object lets go
        if (!object->take(_page)) return Outcome::failed;
        opened = std::move(object);
        return Outcome::done;
    }

    /// The file could not be opened.
    Outcome afterRefusal(int folder, int errorNumber) const {
        // Created under a umask by a process that was killed before it could set the file's rights.
        if (errorNumber == EACCES && ObjectParent_MendMode(folder, _fileName, S_IFREG | 0600)) return Outcome::again;
        // Another process may have recreated the folder, with the object in it.
        if (errorNumber == ENOENT && (_create || ObjectFolder_WasRemoved(folder)))
            return ObjectFolder_Renew() ? Outcome::again : Outcome::failed;
        return platform_failWith(platform_errorOf(errorNumber), Outcome::failed);
    }

    bool layOut(int folder, int descriptor) const {
        if (fchmod(descriptor, 0600) == 0 && initialise(descriptor, _page) && storeFullName(descriptor, _fullName))
            return true;
        const DWORD error = GetLastError();
        unlinkat(folder, _fileName.c_str(), 0);
        return platform_failWith(error, false);
    }

    std::string _name;
    std::string _fileName;
    std::string _fullName;
    ObjectPage _page;
    bool _create;
};

ObjectFile::~ObjectFile() {
    const bool guardStuck = !_fileName.empty() && !leave();
    _file.close();
    if (guardStuck) reportStuckGuard(_name);
}

bool ObjectFile::take(const ObjectPage& page) {
    _kind = static_cast<ObjectKind>(page.kind);
    _size = page.size;
    if (_kind != ObjectKind::event || _file.map(kPageBytes)) return true;
    return platform_failWith(platform_errorOf(errno), false);
}

bool ObjectFile::leave() {
    {
        HeldObjects& held = heldObjects();
        const std::lock_guard lock(held.mutex);
        const auto entry = held.byFileName.find(_fileName);
        if (entry != held.byFileName.end() && entry->second.expired()) held.byFileName.erase(entry);
    }
    const int folder = _file.wasLetGo() ? -1 : folderWithoutThrowing();
    if (folder < 0) return true;
    if (!ObjectLocks_TakeGuard(descriptor())) return false;
    // Release the own lock on byte 0 first: then any remaining lock on it is somebody else's.
    ObjectLocks_LetGo(descriptor());
    if (!ObjectLocks_IsHeld(descriptor()) && ObjectFolder_IsUnderName(folder, descriptor(), _fileName))
        unlinkat(folder, _fileName.c_str(), 0);
    return true;
}

void ObjectFiles_LetGoInChild() {
    HeldObjects& held = heldObjects();
    held.ofParents.merge(held.byFileName);
}

namespace {

std::shared_ptr<ObjectFile> heldUnder(const std::string& fileName) {
    HeldObjects& held = heldObjects();
    const std::lock_guard lock(held.mutex);
    const auto entry = held.byFileName.find(fileName);
    return entry == held.byFileName.end() ? nullptr : entry->second.lock();
}

// Registers what was opened, or returns what another thread has opened under that name in the meantime.
std::shared_ptr<ObjectFile> noted(const std::string& fileName, const std::shared_ptr<ObjectFile>& opened) {
    HeldObjects& held = heldObjects();
    const std::lock_guard lock(held.mutex);
    auto& entry = held.byFileName[fileName];
    if (auto earlier = entry.lock()) return earlier;
    entry = opened;
    return opened;
}

std::shared_ptr<ObjectFile> openObject(const char* name, const ObjectPage& page, bool create, bool& existed) {
    existed = false;
    if (!name || !*name) return ObjectFileOpener::openUnnamed(page);
    const std::string fileName = ObjectFolder_FileName(name);
    if (fileName.empty()) return nullptr;

    if (auto file = heldUnder(fileName)) {
        existed = true;
        if (!ObjectFile_HasFullName(file->descriptor(), ObjectFolder_FullName(name, fileName)))
            return platform_failWith<std::shared_ptr<ObjectFile>>(create ? ERROR_DUP_NAME : ERROR_FILE_NOT_FOUND,
                                                                  nullptr);
        if (file->kind() == static_cast<ObjectKind>(page.kind)) return file;
        return platform_failWith<std::shared_ptr<ObjectFile>>(ERROR_INVALID_HANDLE, nullptr);
    }
    const auto file = ObjectFileOpener(name, fileName, page, create).open(existed);
    return file ? noted(fileName, file) : nullptr;
}

ObjectPage newPage(ObjectKind kind, std::uint64_t size, bool signalled) {
    const EventState state = signalled ? EventState{}.withReleased(kNoSeat) : EventState{};
    return {kObjectMagic, static_cast<std::uint32_t>(kind), kNoSeat, size, state.word()};
}

}  // namespace

std::shared_ptr<ObjectFile> ObjectFile_Create(const char* name, ObjectKind kind, std::uint64_t size, bool signalled,
                                              bool& existed) {
    return openObject(name, newPage(kind, size, signalled), true, existed);
}

bool ObjectFile_HasFullName(int descriptor, const std::string& fullName) {
    if (fullName.empty()) return true;
    ObjectFullName stored{};
    return pread(descriptor, &stored, sizeof stored, kFullNameOffset) == sizeof stored &&
           stored.length == fullName.size() && std::equal(fullName.begin(), fullName.end(), stored.text);
}

std::shared_ptr<ObjectFile> ObjectFile_Open(const char* name, ObjectKind kind) {
    bool existed = false;
    if (!name || !*name) {  // "" is the folder of all names, which is an object of another kind
        return platform_failWith<std::shared_ptr<ObjectFile>>(name ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER,
                                                              nullptr);
    }
    return openObject(name, newPage(kind, 0, false), false, existed);
}
