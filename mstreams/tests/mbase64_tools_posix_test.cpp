// Compares with the texts of the base64 tool that every system includes.
#include <array>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "mbase64.h"
#include "temporary_folder.h"

namespace {

std::string outputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return "no " + command;
    std::array<char, 4096> part{};
    while (const std::size_t count = std::fread(part.data(), 1, part.size(), pipe)) output.append(part.data(), count);
    pclose(pipe);
    return output;
}

TEST(MBase64, AgreesWithTheSystemsCoder) {
    const test::TemporaryFolder folder;
    const std::string fileName = folder.path() + "/bytes";
    std::mt19937 random(4648);
    for (const std::size_t size : {1, 2, 3, 57, 1000, 4095, 4096, 65537}) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        std::ofstream(fileName, std::ios::binary) << bytes;

        std::string text(MBase64_EncodedSize(size), '\0');
        MBase64_Encode(text.data(), bytes.data(), ~static_cast<std::ptrdiff_t>(size));
        ASSERT_EQ(text, outputOf("base64 --wrap=0 '" + fileName + "'")) << size;

        std::string decoded(text.size(), '\0');
        const std::ptrdiff_t count =
            MBase64_Decode(decoded.data(), text.data(), ~static_cast<std::ptrdiff_t>(text.size()));
        ASSERT_EQ(count, static_cast<std::ptrdiff_t>(size));
        decoded.resize(size);
        EXPECT_EQ(decoded, bytes) << size;
    }
}

}  // namespace
