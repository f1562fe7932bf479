// Compares docs/wire-format.md, table by table, with what the code stores; also lets a process that knows only those
// offsets exchange images with the library.
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "TeskImagesFifo.h"
#include "child_process.h"
#include "crc32.h"
#include "image_line.h"
#include "image_ring.h"
#include "mmemlinefifo.h"
#include "mprocessevent.h"
#include "msharedmem.h"
#include "object_names.h"
#include "page.h"
#include "platform.h"
#include "strip.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

using test::trimmed;
using Row = test::Page::Row;

const test::Page& page() {
    static const test::Page read(WIRE_FORMAT_PAGE);
    return read;
}

const std::vector<std::string>& linesOfPage() { return page().lines(); }

std::vector<Row> tableOf(const std::string& section) { return page().tableOf("## " + section); }

struct Field {
    std::size_t offset;
    std::size_t size;  // 0 when the page gives a formula
};

bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// First cell, second cell and name of each row.
std::map<std::string, Field> fieldsOf(const std::string& section) {
    std::map<std::string, Field> fields;
    for (const Row& row : tableOf(section))
        fields[row.at(2)] = {std::stoul(row.at(0)), isNumber(row.at(1)) ? std::stoul(row.at(1)) : 0};
    return fields;
}

std::vector<std::string> namesOf(const std::string& section) {
    std::vector<std::string> names;
    for (const Row& row : tableOf(section)) names.push_back(row.at(2));
    return names;
}

// Every field begins where the previous one ends.
void expectWithoutGaps(const std::string& section) {
    std::size_t end = 0;
    for (const Row& row : tableOf(section)) {
        EXPECT_EQ(row.at(0), std::to_string(end)) << row.at(2);
        if (isNumber(row.at(1))) end += std::stoul(row.at(1));
    }
}

// The number in some bytes, least significant first.
std::uint64_t numberAt(const unsigned char* bytes, const Field& field) {
    std::uint64_t number = 0;
    for (std::size_t byte = field.size; byte-- > 0;) number = number << 8 | bytes[field.offset + byte];
    return number;
}

// Known bytes, all different.
template <std::size_t size>
std::array<unsigned char, size> knownBytes() {
    std::array<unsigned char, size> bytes{};
    for (std::size_t byte = 0; byte < size; ++byte) bytes[byte] = static_cast<unsigned char>(byte + 1);
    return bytes;
}

// ------------------------------------------------------------------------------------------------------------ tables

TEST(WireFormatPage, NamesAreThoseOfTheProgram) {
    std::string names;
    for (const std::string& line : linesOfPage()) {
        if (line.starts_with("| \"")) names += line.substr(2, line.find('"', 3) - 1) + " ";
    }
    EXPECT_EQ(names, "\"DorVenImages\" \"DorVenImagesEvent\" ");
    EXPECT_EQ(names, std::string("\"") + image_road::kImagesMemory + "\" \"" + image_road::kImagesEvent + "\" ");
}

TEST(WireFormatPage, HeaderTableIsTheHeader) {
    ASSERT_THAT(namesOf("Line fifo header"), ElementsAre("writer mark", "write index", "reader mark", "read index",
                                                         "line length", "slot count", "reserved", "slots"));
    expectWithoutGaps("Line fifo header");
    auto fields = fieldsOf("Line fifo header");
    const auto bytes = knownBytes<sizeof(LineFifoHeader)>();
    LineFifoHeader header;
    std::memcpy(&header, bytes.data(), sizeof header);
    EXPECT_EQ(header.writerMark, numberAt(bytes.data(), fields["writer mark"]));
    EXPECT_EQ(header.writeIndex, numberAt(bytes.data(), fields["write index"]));
    EXPECT_EQ(header.readerMark, numberAt(bytes.data(), fields["reader mark"]));
    EXPECT_EQ(header.readIndex, numberAt(bytes.data(), fields["read index"]));
    EXPECT_EQ(header.lineLength, numberAt(bytes.data(), fields["line length"]));
    EXPECT_EQ(header.slotCount, numberAt(bytes.data(), fields["slot count"]));
    EXPECT_EQ(std::memcmp(header.reserved, bytes.data() + fields["reserved"].offset, sizeof header.reserved), 0);
    EXPECT_EQ(sizeof header.reserved, fields["reserved"].size);
    EXPECT_EQ(sizeof header, fields["slots"].offset);
}

TEST(WireFormatPage, HeaderTableIsWhatTheFunctionsStoreAndRead) {
    auto fields = fieldsOf("Line fifo header");
    alignas(8) auto bytes = knownBytes<512>();
    unsigned char* const memory = bytes.data();
    const auto slotArea = reinterpret_cast<std::uintptr_t>(memory) + fields["slots"].offset;
    ASSERT_EQ(MMemLineFifo_Create(memory, 3, 50), 1);
    ASSERT_EQ(MMemLineFifo_Link(memory), 1);
    MMemLineFifo_PutLine(memory);
    MMemLineFifo_PutLine(memory);
    EXPECT_EQ(MMemLineFifo_GetWriteLine(memory), memory + fields["slots"].offset + 2 * 50);
    EXPECT_EQ(MMemLineFifo_GetReadLine(memory), memory + fields["slots"].offset);
    MMemLineFifo_ReleaseLine(memory);
    EXPECT_EQ(numberAt(memory, fields["writer mark"]), slotArea);
    EXPECT_EQ(numberAt(memory, fields["write index"]), 2u);
    EXPECT_EQ(numberAt(memory, fields["reader mark"]), slotArea);
    EXPECT_EQ(numberAt(memory, fields["read index"]), 1u);
    EXPECT_EQ(numberAt(memory, fields["line length"]), 50u);
    EXPECT_EQ(numberAt(memory, fields["slot count"]), 4u);
    const auto reserved = static_cast<std::ptrdiff_t>(fields["reserved"].offset);
    EXPECT_TRUE(std::equal(bytes.begin() + reserved, bytes.end(), knownBytes<512>().begin() + reserved));
}

TEST(WireFormatPage, ImageLineTableIsWhatTheSimulatorWritesAndTheCameraReads) {
    ASSERT_THAT(namesOf("Image line"), ElementsAre("image counter", "time stamp", "frame time", "pixels"));
    expectWithoutGaps("Image line");
    auto fields = fieldsOf("Image line");
    const auto bytes = knownBytes<sizeof(image_road::ImageLineHeader)>();
    image_road::ImageLineHeader header;
    std::memcpy(&header, bytes.data(), sizeof header);
    EXPECT_EQ(header.imageCounter, numberAt(bytes.data(), fields["image counter"]));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(header.timeStampS), numberAt(bytes.data(), fields["time stamp"]));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(header.frameTimeS), numberAt(bytes.data(), fields["frame time"]));
    EXPECT_EQ(sizeof header, fields["pixels"].offset);
}

TEST(WireFormatPage, StripTableIsTheStrip) {
    ASSERT_THAT(namesOf("Strip"), ElementsAre("magic", "version", "flags", "frame number", "time stamp",
                                              "check of the fields", "check of the image"));
    expectWithoutGaps("Strip");
    const frames::ImageFormat format{300, 80, 1};
    std::vector<std::uint8_t> pixels(format.bytes(), 100);
    const frames::Canvas canvas{pixels.data(), format};
    const frames::Strip strip{1, 0x0123456789ABCDEFu, 0xFEDCBA9876543210u, 0xDEADBEEFu};
    frames::stampStrip(canvas, strip);
    auto fields = fieldsOf("Strip");
    const auto bitsOf = [&](const Field& field) {
        const std::size_t cellsPerRow = format.lineBytes() / 8;
        std::uint64_t value = 0;
        for (std::size_t bit = field.offset; bit < field.offset + field.size; ++bit)
            value = value << 1 | (canvas.line(bit / cellsPerRow * 8)[bit % cellsPerRow * 8] == 255 ? 1 : 0);
        return value;
    };
    EXPECT_EQ(bitsOf(fields["magic"]), 0xD0C5u);
    EXPECT_EQ(bitsOf(fields["version"]), 1u);
    EXPECT_EQ(bitsOf(fields["flags"]), 1u);
    EXPECT_EQ(bitsOf(fields["frame number"]), strip.frameNumber);
    EXPECT_EQ(bitsOf(fields["time stamp"]), strip.timeStampNs);
    EXPECT_EQ(bitsOf(fields["check of the image"]), strip.imageCrc);
    std::array<std::uint8_t, 20> fieldBytes{};
    for (std::size_t byte = 0; byte < fieldBytes.size(); ++byte)
        fieldBytes[byte] = static_cast<std::uint8_t>(bitsOf({byte * 8, 8}));
    EXPECT_EQ(bitsOf(fields["check of the fields"]), frames::crc32(fieldBytes.data(), fieldBytes.size()));
    EXPECT_EQ(fields["check of the image"].offset + fields["check of the image"].size, frames::kStripCells);
}

TEST(WireFormatPage, FormsOfTheStripAreThoseOfTheTable) {
    const auto rows = tableOf("Strip forms");
    ASSERT_EQ(rows.size(), frames::kStripForms.size());
    for (std::size_t form = 0; form < rows.size(); ++form) {
        const frames::StripFormRow& expected = frames::kStripForms[form];
        const std::string cell = std::to_string(expected.cell);
        EXPECT_EQ(rows[form].at(0), "`" + std::string(expected.name) + "`");
        EXPECT_EQ(rows[form].at(1), cell + " × " + cell);
        EXPECT_EQ(rows[form].at(6), std::to_string(expected.minLineBytes));
        EXPECT_EQ(rows[form].at(7), std::to_string(expected.minLines));
        for (const auto place : {frames::StripPlace::top, frames::StripPlace::bottom}) {
            const frames::ImageFormat format{512, 64, 1};
            const frames::StripLayout layout = stripLayout(format, {static_cast<frames::StripForm>(form), place});
            std::vector<std::uint8_t> pixels(format.bytes(), 100);
            frames::stampStrip({pixels.data(), format}, {}, layout);
            const auto byteAt = [&](std::size_t firstBit) {
                const std::size_t columns = format.lineBytes() / expected.cell;
                std::size_t value = 0;
                for (std::size_t bit = firstBit; bit < firstBit + 8; ++bit) {
                    const std::size_t line = layout.firstLine + bit / columns * expected.cell;
                    const bool set = pixels[line * format.lineBytes() + bit % columns * expected.cell] == 255;
                    value = value << 1 | (set ? 1u : 0u);
                }
                return value;
            };
            const std::size_t bottom = place == frames::StripPlace::bottom ? 1 : 0;
            EXPECT_EQ(std::stoul(rows[form].at(2 + bottom)), byteAt(16));
            EXPECT_EQ(std::stoul(rows[form].at(4 + bottom), nullptr, 16), byteAt(24));
        }
    }
}

// The cells of a strip at the top, 32 in each row of text.
std::vector<std::string> cellsOf(const frames::ImageFormat& format) {
    std::vector<std::uint8_t> pixels(format.bytes(), 100);
    const frames::Canvas canvas{pixels.data(), format};
    const frames::StripLayout layout = stripLayout(format);
    stampStrip(canvas, {frames::kStripRendered, 7, 1'500'000'000, crcOutsideStrip(canvas, layout)}, layout);
    const std::size_t size = frames::kStripForms[static_cast<std::size_t>(layout.form)].cell;
    const std::size_t columns = format.lineBytes() / size;
    std::vector<std::string> rows(7);
    for (std::size_t cell = 0; cell < frames::kStripCells; ++cell)
        rows[cell / 32] += canvas.line(cell / columns * size)[cell % columns * size] == 255 ? '#' : '.';
    return rows;
}

TEST(WireFormatPage, EachFormIsDrawnAsItIsWritten) {
    for (const auto& [block, format] : {std::pair("```strip-8", frames::ImageFormat{256, 57, 1}),
                                        std::pair("```strip-4", frames::ImageFormat{128, 29, 1}),
                                        std::pair("```strip-line", frames::ImageFormat{224, 2, 1})}) {
        const auto& lines = linesOfPage();
        const std::string name = block;
        const auto begin = std::ranges::find_if(lines, [&](const std::string& line) { return trimmed(line) == name; });
        ASSERT_NE(begin, lines.end()) << block;
        std::vector<std::string> drawn;
        for (auto line = begin + 1; line != lines.end() && !line->starts_with("```"); ++line)
            drawn.push_back(trimmed(*line));
        EXPECT_EQ(drawn, cellsOf(format)) << block;
    }
}

// ----------------------------------------------------------------------------------------------------------- picture

// The picture's bytes as texts: two digits, "WW", "RR" or "..".
std::vector<std::string> picture() {
    std::vector<std::string> bytes;
    bool inside = false;
    for (const std::string& line : linesOfPage()) {
        if (line.starts_with("```")) inside = trimmed(line) == "```bytes";
        if (!inside || line.starts_with("```")) continue;
        std::istringstream row(line.substr(0, line.find('|')));
        std::size_t offset = 0;
        row >> offset;
        EXPECT_EQ(offset, bytes.size());
        for (std::string byte; row >> byte;) bytes.push_back(byte);
    }
    return bytes;
}

TEST(WireFormatPage, PictureShowsTheBytesOfThatExchange) {
    alignas(8) unsigned char memory[160] = {};
    ASSERT_EQ(MMemLineFifo_CreateBySize(memory, sizeof memory, 32), 1);
    const image_road::ImageLineHeader header{7, 1.5, 0.25};
    auto* const line = static_cast<unsigned char*>(MMemLineFifo_GetWriteLine(memory));
    std::memcpy(line, &header, sizeof header);
    for (unsigned char pixel = 0; pixel < 8; ++pixel) line[24 + pixel] = static_cast<unsigned char>(10 + pixel);
    ASSERT_EQ(MMemLineFifo_PutLine(memory), 1);
    ASSERT_EQ(MMemLineFifo_Link(memory), 1);

    const auto drawn = picture();
    ASSERT_EQ(drawn.size(), sizeof memory);
    int compared = 0;
    for (std::size_t byte = 0; byte < sizeof memory; ++byte) {
        if (drawn[byte] == "WW" || drawn[byte] == "RR" || drawn[byte] == "..") continue;
        EXPECT_EQ(std::stoul(drawn[byte], nullptr, 16), memory[byte]) << "at " << byte;
        ++compared;
    }
    EXPECT_EQ(compared, 32 + 32);
    EXPECT_EQ(drawn[0], "WW");
    EXPECT_EQ(drawn[16], "RR");
    MMemLineFifo_ReleaseLine(memory);
    EXPECT_EQ(memory[24], 1);
    EXPECT_EQ(MMemLineFifo_GetCount(memory), 0u);
}

// ---------------------------------------------------------------- a peer that knows only the page

constexpr std::uint64_t kImages = 2000;
constexpr std::size_t kLineBytes = 24 + 1000;
constexpr std::uint64_t kSlots = 4;
constexpr std::size_t kBytes = 64 + kSlots * kLineBytes;

// Memory that is used through system calls only.
class RawMemory {
public:
    explicit RawMemory(const std::string& name)
        : _mapping(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBytes, name.c_str())),
          _bytes(static_cast<unsigned char*>(MapViewOfFile(_mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0))) {}
    ~RawMemory() {
        UnmapViewOfFile(_bytes);
        CloseHandle(_mapping);
    }
    RawMemory(const RawMemory&) = delete;
    RawMemory& operator=(const RawMemory&) = delete;

    std::uint64_t get(std::size_t offset) const { return word(offset).load(); }
    void set(std::size_t offset, std::uint64_t value) const { word(offset).store(value); }
    unsigned char* slot(std::uint64_t index) const { return _bytes + 64 + index * kLineBytes; }
    std::uint64_t ownMark() const { return reinterpret_cast<std::uintptr_t>(_bytes) + 64; }

private:
    std::atomic_ref<std::uint64_t> word(std::size_t offset) const {
        return std::atomic_ref(*reinterpret_cast<std::uint64_t*>(_bytes + offset));
    }

    HANDLE _mapping;
    unsigned char* _bytes;
};

struct Image {
    std::uint64_t counter;
    double timeStamp;
    double frameTime;
    unsigned char pixels[1000];
};

Image imageOf(std::uint64_t number) {
    Image image{number, static_cast<double>(number) / 8, 0.125, {}};
    std::memset(image.pixels, static_cast<int>(number % 251), sizeof image.pixels);
    return image;
}

void write(unsigned char* line, const Image& image) {
    std::memcpy(line, &image.counter, 8);
    std::memcpy(line + 8, &image.timeStamp, 8);
    std::memcpy(line + 16, &image.frameTime, 8);
    std::memcpy(line + 24, image.pixels, sizeof image.pixels);
}

bool holds(const unsigned char* line, const Image& image) {
    return std::memcmp(line, &image.counter, 8) == 0 && std::memcmp(line + 8, &image.timeStamp, 8) == 0 &&
           std::memcmp(line + 16, &image.frameTime, 8) == 0 &&
           std::memcmp(line + 24, image.pixels, sizeof image.pixels) == 0;
}

// Tries until it succeeds or a limit is over.
template <typename Try>
bool within40Seconds(Try&& done) {
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

CHILD_ROLE(writesFromThePageAlone) {
    const RawMemory memory(arguments.at(0));
    MProcessEvent laid(arguments.at(1).c_str());
    memory.set(32, kLineBytes);
    memory.set(8, 0);
    memory.set(40, kSlots);
    memory.set(16, 0);
    memory.set(0, memory.ownMark());
    memory.set(24, 0);
    laid.Notify();
    for (std::uint64_t number = 0; number < kImages; ++number) {
        const std::uint64_t index = memory.get(8);
        write(memory.slot(index), imageOf(number));
        const std::uint64_t next = (index + 1) % kSlots;
        if (!within40Seconds([&] { return memory.get(24) != next; })) return 1;
        memory.set(8, next);
    }
    memory.set(0, 0);
    return 0;
}

TEST(WireFormatPeer, LibraryReadsWhatAWriterOfThePageWrites) {
    const std::string name = test::uniqueName("raw");
    const std::string laidName = test::uniqueName("laid");
    MProcessEvent laid(laidName.c_str());
    void* const memory = MSharedMem_Create(name.c_str(), kBytes);
    test::ChildProcess writer("writesFromThePageAlone", {name, laidName});
    ASSERT_EQ(laid.Wait(60.0), 1);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(memory), 0);
    EXPECT_EQ(MMemLineFifo_GetLineLength(memory), kLineBytes);
    ASSERT_EQ(MMemLineFifo_Link(memory), 1);
    std::uint64_t number = 0;
    bool whole = true;
    while (whole && number < kImages) {
        const unsigned char* line = nullptr;
        whole = within40Seconds([&] {
            line = static_cast<const unsigned char*>(MMemLineFifo_GetReadLine(memory));
            return line != nullptr;
        });
        whole = whole && holds(line, imageOf(number));
        MMemLineFifo_ReleaseLine(memory);
        ++number;
    }
    EXPECT_TRUE(whole) << "image " << number - 1;
    EXPECT_EQ(writer.join(60s), 0);
    EXPECT_EQ(MMemLineFifo_IsWriterAttached(memory), 0);
    MSharedMem_Unlink(memory);
}

CHILD_ROLE(readsFromThePageAlone) {
    const RawMemory memory(arguments.at(0));
    if (memory.get(0) == 0 || memory.get(16) != 0) return 1;
    if (memory.get(32) != kLineBytes || memory.get(40) != kSlots) return 2;
    memory.set(16, memory.ownMark());
    for (std::uint64_t number = 0; number < kImages; ++number) {
        const std::uint64_t index = memory.get(24);
        if (!within40Seconds([&] { return memory.get(8) != index; })) return 3;
        if (!holds(memory.slot(index), imageOf(number))) return 4;
        memory.set(24, (index + 1) % kSlots);
    }
    memory.set(16, 0);
    return 0;
}

TEST(WireFormatPeer, ReaderOfThePageReadsWhatTheLibraryWrites) {
    const std::string name = test::uniqueName("raw");
    void* const memory = MSharedMem_Create(name.c_str(), kBytes);
    ASSERT_EQ(MMemLineFifo_CreateBySize(memory, kBytes, kLineBytes), 1);
    test::ChildProcess reader("readsFromThePageAlone", {name});
    std::uint64_t number = 0;
    for (; number < kImages; ++number) {
        write(static_cast<unsigned char*>(MMemLineFifo_GetWriteLine(memory)), imageOf(number));
        if (!within40Seconds([&] { return MMemLineFifo_PutLine(memory) != 0; })) break;
    }
    EXPECT_EQ(number, kImages);
    EXPECT_EQ(reader.join(60s), 0);
    EXPECT_EQ(MMemLineFifo_IsReaderAttached(memory), 0);
    EXPECT_EQ(MMemLineFifo_GetCount(memory), 0u);
    MSharedMem_Unlink(memory);
}

}  // namespace
