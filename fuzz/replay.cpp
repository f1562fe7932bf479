// Runs a fuzz target over the files of folders, or over single files: fuzz_NAME PATH …
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz_target.h"

namespace {

namespace fs = std::filesystem;

bool replay(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int count = 0;
    for (int at = 1; at < argc; ++at) {
        const fs::path path = argv[at];
        if (!fs::is_directory(path)) {
            count += replay(path) ? 1 : 0;
            continue;
        }
        for (const auto& entry : fs::directory_iterator(path)) count += replay(entry.path()) ? 1 : 0;
    }
    std::printf("%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;  // an empty corpus proves nothing
}
