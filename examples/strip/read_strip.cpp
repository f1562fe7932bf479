// Reads the strip of images as they are in memory, and says what it tells of each.
//
//   read_strip LINE_BYTES FILE …     LINE_BYTES: width times bytes per pixel
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

struct Strip {
    std::uint64_t frame, timeNs;
    bool whole;  // the bytes below the strip are those that it was made for
};

std::uint32_t crc32(const std::uint8_t* bytes, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t bit = 0; bit < size * 8; ++bit) {
        if (bit % 8 == 0) crc ^= bytes[bit / 8];
        crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
    }
    return ~crc;
}

bool readStrip(const std::uint8_t* pixels, std::size_t lineBytes, std::size_t height, Strip& strip) {
    const std::size_t columns = lineBytes / 8;  // cells of 8 x 8 bytes, side by side
    if (columns < 32) return false;
    const std::size_t lines = std::max<std::size_t>((224 + columns - 1) / columns * 8, 16);  // of the strip
    if (height <= lines) return false;
    std::uint8_t fields[28] = {};  // 224 cells, one for each bit
    for (std::size_t cell = 0; cell < 224; ++cell) {
        const std::uint8_t middle = pixels[(cell / columns * 8 + 4) * lineBytes + cell % columns * 8 + 4];
        fields[cell / 8] = static_cast<std::uint8_t>(fields[cell / 8] << 1 | (middle >= 128));
    }
    const auto number = [&fields](std::size_t at, std::size_t size) {
        std::uint64_t value = 0;
        for (std::size_t end = at + size; at < end; ++at) value = value << 8 | fields[at];
        return value;
    };
    if (number(0, 2) != 0xD0C5 || fields[2] != 1 || number(20, 4) != crc32(fields, 20)) return false;
    const std::size_t stripBytes = lines * lineBytes;
    strip = {number(4, 8), number(12, 8), number(24, 4) == crc32(pixels + stripBytes, height * lineBytes - stripBytes)};
    return true;
}

int main(int argc, char** argv) {
    const std::size_t lineBytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0;
    if (lineBytes == 0) return 2;
    for (int file = 2; file < argc; ++file) {
        std::ifstream stream(argv[file], std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        const auto* const pixels = reinterpret_cast<const std::uint8_t*>(bytes.data());
        Strip strip;
        if (readStrip(pixels, lineBytes, bytes.size() / lineBytes, strip)) {
            std::cout << "frame " << strip.frame << ", " << strip.timeNs << " ns, " << (strip.whole ? "whole" : "torn")
                      << '\n';
        } else {
            std::cout << "no strip\n";
        }
    }
}
