// Compares the description of the byte fifo and of message fifos in docs/wire-format.md with what the code stores.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "IPMessageReceiver.h"
#include "IPMessageSender.h"
#include "child_process.h"
#include "mmemfifo.h"
#include "msharedmem.h"
#include "page.h"

using test::Page;
using testing::ElementsAre;

namespace {

const Page& page() {
    static const Page read(WIRE_FORMAT_PAGE);
    return read;
}

std::vector<Page::Row> headerTable() { return page().tableOf("## Byte fifo header"); }

// Offset of each field by its name.
std::map<std::string, std::size_t> offsets() {
    std::map<std::string, std::size_t> found;
    for (const Page::Row& row : headerTable()) found[row.at(2)] = std::stoul(row.at(0));
    return found;
}

std::uint64_t numberAt(const unsigned char* bytes, std::size_t offset) {
    std::uint64_t number = 0;
    for (std::size_t byte = 8; byte-- > 0;) number = number << 8 | bytes[offset + byte];
    return number;
}

TEST(ByteFifoPage, HeaderTableHasTheFieldsWithoutGaps) {
    std::vector<std::string> names;
    std::size_t end = 0;
    for (const Page::Row& row : headerTable()) {
        names.push_back(row.at(2));
        EXPECT_EQ(row.at(0), std::to_string(end)) << row.at(2);
        if (row.at(1) != "data size") end += std::stoul(row.at(1));
    }
    EXPECT_THAT(names, ElementsAre("writer mark", "write offset", "reader mark", "read offset", "data size", "reserved",
                                   "data"));
    EXPECT_EQ(end, sizeof(MMemFifo));
}

TEST(ByteFifoPage, HeaderTableIsTheHeader) {
    std::array<unsigned char, sizeof(MMemFifo)> bytes{};
    for (std::size_t byte = 0; byte < bytes.size(); ++byte) bytes[byte] = static_cast<unsigned char>(byte + 1);
    MMemFifo header;
    std::memcpy(&header, bytes.data(), sizeof header);
    auto at = offsets();
    EXPECT_EQ(header.writerMark, numberAt(bytes.data(), at["writer mark"]));
    EXPECT_EQ(header.writeOffset, numberAt(bytes.data(), at["write offset"]));
    EXPECT_EQ(header.readerMark, numberAt(bytes.data(), at["reader mark"]));
    EXPECT_EQ(header.readOffset, numberAt(bytes.data(), at["read offset"]));
    EXPECT_EQ(header.dataSize, numberAt(bytes.data(), at["data size"]));
    EXPECT_EQ(header.reserved[0], numberAt(bytes.data(), at["reserved"]));
}

TEST(ByteFifoPage, HeaderTableIsWhatTheFunctionsStoreAndRead) {
    auto at = offsets();
    alignas(8) unsigned char memory[128] = {};
    const auto dataArea = reinterpret_cast<std::uintptr_t>(memory) + at["data"];
    ASSERT_EQ(MMemFifo_Create(memory, 20), 1);
    ASSERT_EQ(MMemFifo_Link(memory), 1);
    ASSERT_EQ(MMemFifo_Write(memory, "abcde", 5), 1);
    char bytes[2];
    ASSERT_EQ(MMemFifo_Read(memory, bytes, 2), 2u);
    EXPECT_EQ(numberAt(memory, at["writer mark"]), dataArea);
    EXPECT_EQ(numberAt(memory, at["write offset"]), 5u);
    EXPECT_EQ(numberAt(memory, at["reader mark"]), dataArea);
    EXPECT_EQ(numberAt(memory, at["read offset"]), 2u);
    EXPECT_EQ(numberAt(memory, at["data size"]), 21u);
    EXPECT_EQ(std::memcmp(memory + at["data"], "abcde", 5), 0);
    EXPECT_TRUE(std::all_of(memory + at["reserved"], memory + at["data"], [](int byte) { return byte == 0; }));
}

// The picture's bytes as texts: two digits, "WW", "RR" or "..".
std::vector<std::string> picture() {
    std::vector<std::string> bytes;
    bool inside = false;
    for (const std::string& line : page().lines()) {
        if (line.starts_with("```")) inside = test::trimmed(line) == "```byte-fifo";
        if (!inside || line.starts_with("```")) continue;
        std::istringstream row(line.substr(0, line.find('|')));
        std::size_t offset = 0;
        row >> offset;
        EXPECT_EQ(offset, bytes.size());
        for (std::string byte; row >> byte;) bytes.push_back(byte);
    }
    return bytes;
}

TEST(ByteFifoPage, PictureShowsTheBytesOfThatMessage) {
    alignas(8) unsigned char memory[64 + 17] = {};
    unsigned char message[12] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7};
    ASSERT_EQ(MMemFifo_Create(memory, 16), 1);
    ASSERT_EQ(MMemFifo_Link(memory), 1);
    ASSERT_EQ(MMemFifo_Write(memory, message, 12), 1);
    ASSERT_EQ(MMemFifo_Read(memory, message, 12), 12u);
    ASSERT_EQ(MMemFifo_Write(memory, message, 8), 1);

    const auto drawn = picture();
    ASSERT_EQ(drawn.size(), sizeof memory);
    int compared = 0;
    for (std::size_t byte = 0; byte < sizeof memory; ++byte) {
        if (drawn[byte] == "WW" || drawn[byte] == "RR" || drawn[byte] == "..") continue;
        EXPECT_EQ(std::stoul(drawn[byte], nullptr, 16), memory[byte]) << "at " << byte;
        ++compared;
    }
    EXPECT_EQ(compared, 3 * 8 + 8);
    EXPECT_EQ(drawn[0], "WW");
    EXPECT_EQ(drawn[16], "RR");
}

TEST(MessageFifoPage, NamesAndSizeAreThoseThatBothEndsUse) {
    const std::string id = test::uniqueName("channel");
    const auto sender = kest::dorven::IPMessageSender::create(id, 40);
    const auto receiver = kest::dorven::IPMessageReceiver::create(id, 40);
    ASSERT_TRUE(receiver->isConnected());
    std::vector<std::string> names;
    for (const Page::Row& row : page().tableOf("## Message fifo")) names.push_back(row.at(1));
    const auto written = [&](const std::string& name) { return "id + \"" + name.substr(id.size()) + "\""; };
    EXPECT_THAT(names, ElementsAre(written(sender->memoryName()), written(sender->eventName())));
    EXPECT_EQ(receiver->memoryName(), sender->memoryName());
    EXPECT_EQ(receiver->eventName(), sender->eventName());

    const std::string content = page().tableOf("## Message fifo").at(0).at(2);
    void* const memory = MSharedMem_Link(sender->memoryName().c_str());
    const std::string overhead = std::to_string(MSharedMem_GetSize(memory) - 40);
    EXPECT_THAT(content, testing::HasSubstr("size + " + overhead + " bytes of memory"));
    MSharedMem_Unlink(memory);
}

}  // namespace
