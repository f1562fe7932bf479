#include "object_file_posix.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "descriptor_posix.h"
#include "high_descriptor.h"
#include "last_error_posix.h"
#include "object_folder_posix.h"

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

// A guard is held for some dozen microseconds; a process that was stopped while it held one must not stop the others.
constexpr auto kGuardLimit = 5s;
constexpr auto kFirstPause = 20us;
constexpr auto kLongestPause = 2ms;

bool lockByte(int descriptor, short type, off_t byte) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return fcntl(descriptor, F_OFD_SETLK, &lock) == 0;
}

// Stores what ObjectFile_HasFullName compares.
bool storeFullName(int descriptor, const std::string& fullName) {
    static_assert(sizeof(ObjectFullName::text) >= kLongestNameBytes);
    if (fullName.empty()) return true;
    ObjectFullName stored{static_cast<std::uint32_t>(fullName.size()), {}};
    std::copy(fullName.begin(), fullName.end(), stored.text);
    return pwrite(descriptor, &stored, sizeof stored, kFullNameOffset) == sizeof stored ||
           platform_failWith(platform_errorOf(errno), false);
}

bool takeGuard(int descriptor, const std::string& name) {
    const auto deadline = steady_clock::now() + kGuardLimit;
    for (auto pause = std::chrono::microseconds(kFirstPause);;
         pause = std::min<std::chrono::microseconds>(pause * 2, kLongestPause)) {
        if (ObjectFolder_TryGuard(descriptor)) return true;
        if (steady_clock::now() >= deadline) break;
        std::this_thread::sleep_for(pause);
    }
    std::fprintf(stderr, "shared object \"%s\": another process has kept its guard for more than %d s\n", name.c_str(),
                 static_cast<int>(kGuardLimit.count()));
    return platform_failWith(ERROR_SEM_TIMEOUT, false);
}

void leaveGuard(int descriptor) { lockByte(descriptor, F_UNLCK, 1); }

// What is open must be a plain file of this user; anything else was put in the object's place.
bool isOwnFile(int descriptor, struct stat& status) {
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

ObjectPage* mapPage(int descriptor) {
    void* address = mmap(nullptr, kPageBytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    return address == MAP_FAILED ? platform_failWith<ObjectPage*>(platform_errorOf(errno), nullptr)
                                 : static_cast<ObjectPage*>(address);
}

// All that the machine has. What is more would be given out byte by byte until nothing is left for anybody.
bool isMoreThanTheMachineHas(std::uint64_t bytes) {
    struct sysinfo machine {};
    if (sysinfo(&machine) != 0) return false;
    return bytes / machine.mem_unit > std::uint64_t{machine.totalram} + machine.totalswap;
}

// Empties the file and lays it out anew. Its memory is committed here, so that a full /dev/shm is an error of this
// call and not a fault when a byte is touched.
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

// The objects that this process holds, so that one name is one mapping in it.
struct HeldObjects {
    std::mutex mutex;
    std::map<std::string, std::weak_ptr<ObjectFile>> byFileName;
};

// Never destroyed: objects are let go by destructors of static objects too.
HeldObjects& heldObjects() {
    static auto* const only = new HeldObjects;
    return *only;
}

}  // namespace

/// Opens one object's file by the rules above; the process's table is locked.
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
                case Outcome::again:
                    break;
            }
        }
        return platform_failWith<std::shared_ptr<ObjectFile>>(ERROR_SEM_TIMEOUT, nullptr);
    }

    /// An object without name: memory of its own, gone with its last handle and view.
    static std::shared_ptr<ObjectFile> openUnnamed(const ObjectPage& page) {
        Descriptor descriptor(highDescriptor(memfd_create("dorven-object", MFD_CLOEXEC)));
        if (descriptor.get() < 0)
            return platform_failWith<std::shared_ptr<ObjectFile>>(platform_errorOf(errno), nullptr);
        if (!initialise(descriptor.get(), page)) return nullptr;
        return make("", "", descriptor, page);
    }

private:
    enum class Outcome { done, failed, again };

    Outcome tryOpen(std::shared_ptr<ObjectFile>& file, bool& existed) {
        const int folder = ObjectFolder_Descriptor();
        if (folder < 0) return Outcome::failed;
        const int flags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (_create ? O_CREAT : 0);
        Descriptor descriptor(highDescriptor(openat(folder, _fileName.c_str(), flags, 0600)));
        if (descriptor.get() < 0) {
            // Creating says "not found" only when the folder itself was removed.
            if (errno == ENOENT && _create) return ObjectFolder_Renew() ? Outcome::again : Outcome::failed;
            return platform_failWith(platform_errorOf(errno), Outcome::failed);
        }
        struct stat status {};
        if (!isOwnFile(descriptor.get(), status)) return platform_failWith(ERROR_ACCESS_DENIED, Outcome::failed);
        if (!takeGuard(descriptor.get(), _name)) return Outcome::failed;
        std::uint64_t fileBytes = 0;
        if (!ObjectFolder_IsUnderName(folder, status, _fileName, fileBytes)) return Outcome::again;

        existed = ObjectFolder_IsHeld(descriptor.get());
        if (!existed && !_create) {
            unlinkat(folder, _fileName.c_str(), 0);  // a leftover: absent for whoever opens
            return platform_failWith(ERROR_FILE_NOT_FOUND, Outcome::failed);
        }
        // Of two names with the same hash the second one is not there, and cannot be made while the first one is.
        if (existed && !ObjectFile_HasFullName(descriptor.get(), _fullName))
            return platform_failWith<Outcome>(_create ? ERROR_DUP_NAME : ERROR_FILE_NOT_FOUND, Outcome::failed);
        const bool usable = existed ? readPage(descriptor.get(), fileBytes, static_cast<ObjectKind>(_page.kind), _page)
                                    : layOut(folder, descriptor.get());
        if (!usable) return Outcome::failed;
        if (!lockByte(descriptor.get(), F_RDLCK, 0)) return platform_failWith(platform_errorOf(errno), Outcome::failed);
        leaveGuard(descriptor.get());
        file = make(_name, _fileName, descriptor, _page);
        return file ? Outcome::done : Outcome::failed;
    }

    bool layOut(int folder, int descriptor) const {
        if (fchmod(descriptor, 0600) == 0 && initialise(descriptor, _page) && storeFullName(descriptor, _fullName))
            return true;
        const DWORD error = GetLastError();
        unlinkat(folder, _fileName.c_str(), 0);
        return platform_failWith(error, false);
    }

    static std::shared_ptr<ObjectFile> make(const std::string& name, const std::string& fileName,
                                            Descriptor& descriptor, const ObjectPage& page) {
        const auto kind = static_cast<ObjectKind>(page.kind);
        ObjectPage* mapped = nullptr;
        if (kind == ObjectKind::event) {
            mapped = mapPage(descriptor.get());
            if (!mapped) return nullptr;
        }
        std::shared_ptr<ObjectFile> file(new ObjectFile);
        file->_name = name;
        file->_fileName = fileName;
        file->_kind = kind;
        file->_page = mapped;
        file->_size = page.size;
        file->_descriptor = descriptor.release();  // from here on the object lets go
        return file;
    }

    std::string _name;
    std::string _fileName;
    std::string _fullName;
    ObjectPage _page;
    bool _create;
};

ObjectFile::~ObjectFile() {
    if (_page) munmap(_page, kPageBytes);
    if (!_fileName.empty()) {
        {
            HeldObjects& held = heldObjects();
            const std::lock_guard lock(held.mutex);
            const auto entry = held.byFileName.find(_fileName);
            if (entry != held.byFileName.end() && entry->second.expired()) held.byFileName.erase(entry);
        }
        const int folder = ObjectFolder_Descriptor();
        // Own lock on byte 0 first: then whoever is still on it is somebody else.
        if (folder >= 0 && takeGuard(_descriptor, _name)) {
            lockByte(_descriptor, F_UNLCK, 0);
            if (!ObjectFolder_IsHeld(_descriptor) && ObjectFolder_IsUnderName(folder, _descriptor, _fileName))
                unlinkat(folder, _fileName.c_str(), 0);
        }
    }
    close(_descriptor);
}

namespace {

std::shared_ptr<ObjectFile> openObject(const char* name, const ObjectPage& page, bool create, bool& existed) {
    existed = false;
    if (!name || !*name) return ObjectFileOpener::openUnnamed(page);
    const std::string fileName = ObjectFolder_FileName(name);
    if (fileName.empty()) return nullptr;

    std::shared_ptr<ObjectFile> file;  // before the lock: an object is never let go while the table is locked
    HeldObjects& held = heldObjects();
    const std::lock_guard lock(held.mutex);
    if (const auto entry = held.byFileName.find(fileName); entry != held.byFileName.end()) {
        file = entry->second.lock();
        existed = file != nullptr;
        if (file && !ObjectFile_HasFullName(file->descriptor(), ObjectFolder_FullName(name, fileName)))
            return platform_failWith<std::shared_ptr<ObjectFile>>(create ? ERROR_DUP_NAME : ERROR_FILE_NOT_FOUND,
                                                                  nullptr);
        if (file && file->kind() != static_cast<ObjectKind>(page.kind))
            return platform_failWith<std::shared_ptr<ObjectFile>>(ERROR_INVALID_HANDLE, nullptr);
        if (file) return file;
    }
    file = ObjectFileOpener(name, fileName, page, create).open(existed);
    if (file) held.byFileName[fileName] = file;
    return file;
}

ObjectPage newPage(ObjectKind kind, std::uint64_t size, bool signalled) {
    return {kObjectMagic, static_cast<std::uint32_t>(kind), signalled ? 1u : 0u, size, 0, 0};
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
