#include "temporary_files_posix.h"

#include <functional>
#include <map>
#include <mutex>
#include <new>

#include <sys/stat.h>
#include <unistd.h>

#include "layer_locks_posix.h"

namespace {

struct Made {
    std::mutex& mutex = LayerLocks_Of(LayerLock::temporaryFiles);
    std::map<std::string, int, std::less<>> descriptors;
};

// Never destroyed, because destructors of static objects close and remove files too.
Made& made() noexcept {
    alignas(Made) static unsigned char storage[sizeof(Made)];
    static auto* const only = new (storage) Made;
    return *only;
}
[[maybe_unused]] const Made& madeAtLoad = made();

bool areSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

void TemporaryFiles_Remember(const std::string& path, Descriptor& descriptor) {
    Made& all = made();
    const std::lock_guard lock(all.mutex);
    const auto [entry, added] = all.descriptors.emplace(path, -1);
    if (!added) close(entry->second);  // somebody removed that file
    entry->second = descriptor.release();
}

int TemporaryFiles_Find(std::string_view path) {
    Made& all = made();
    const std::lock_guard lock(all.mutex);
    const auto found = all.descriptors.find(path);
    return found == all.descriptors.end() ? -1 : found->second;
}

bool TemporaryFiles_IsReplaced(const char* path) {
    const int descriptor = TemporaryFiles_Find(path);
    if (descriptor < 0) return false;
    struct stat own {};
    struct stat found {};
    return fstat(descriptor, &own) != 0 || lstat(path, &found) != 0 || !areSame(own, found);
}

bool TemporaryFiles_AreSame(int descriptor, int other) {
    struct stat one {};
    struct stat two {};
    return fstat(descriptor, &one) == 0 && fstat(other, &two) == 0 && areSame(one, two);
}

void TemporaryFiles_Forget(std::string_view path) {
    Made& all = made();
    const std::lock_guard lock(all.mutex);
    const auto found = all.descriptors.find(path);
    if (found == all.descriptors.end()) return;
    close(found->second);
    all.descriptors.erase(found);
}
