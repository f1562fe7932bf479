// Compares the description of frames, image messages and commands in docs/wire-format.md with what the code does.
#include <bit>
#include <chrono>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "DorVenImagesComm.h"
#include "FrameHeader.h"
#include "IPMessageReceiver.h"
#include "IPMessageSender.h"
#include "ImagesMessage.h"
#include "TeskImages.h"
#include "TeskImagesComm.h"
#include "log_recorder.h"
#include "msharedmem.h"
#include "object_names.h"
#include "page.h"

using kest::dorven::DorVenImagesComm;
using kest::dorven::FrameHeader;
using kest::dorven::ImagesMessage;
using kest::dorven::IPMessageReceiver;
using kest::dorven::IPMessageSender;
using kest::dorven::TeskImages;
using kest::dorven::TeskImagesComm;
using test::Page;
using testing::ElementsAre;

namespace {

const Page& page() {
    static const Page read(WIRE_FORMAT_PAGE);
    return read;
}

/// Known bytes, all different, and the number that they form at a field of a table.
class KnownBytes {
public:
    explicit KnownBytes(const std::string& section) {
        for (std::size_t byte = 0; byte < sizeof bytes; ++byte) bytes[byte] = static_cast<unsigned char>(byte + 1);
        std::size_t end = 0;
        for (const Page::Row& row : page().tableOf(section)) {
            EXPECT_EQ(row.at(0), std::to_string(end)) << row.at(2);
            _fields[row.at(2)] = {std::stoul(row.at(0)), row.at(1) == "payload" ? 0 : std::stoul(row.at(1))};
            end += _fields[row.at(2)].second;
        }
        size = end;
    }

    std::uint64_t at(const std::string& field) const {
        const auto [offset, length] = _fields.at(field);
        std::uint64_t number = 0;
        for (std::size_t byte = length; byte-- > 0;) number = number << 8 | bytes[offset + byte];
        return number;
    }

    unsigned char bytes[32];
    std::size_t size = 0;  // to the end of the last field

private:
    std::map<std::string, std::pair<std::size_t, std::size_t>> _fields;
};

TEST(LinkPage, FrameHeaderTableIsTheHeader) {
    const KnownBytes known("## Frame header");
    FrameHeader header;
    std::memcpy(&header, known.bytes, sizeof header);
    EXPECT_EQ(header.step, known.at("step"));
    EXPECT_EQ(header.reserved, known.at("reserved"));
    EXPECT_EQ(header.id, known.at("id"));
    EXPECT_EQ(known.size, sizeof header);
}

TEST(LinkPage, ImageMessageTableIsTheMessage) {
    const KnownBytes known("## Image message");
    ImagesMessage message;
    std::memcpy(&message, known.bytes, sizeof message);
    EXPECT_EQ(message.command, known.at("command"));
    EXPECT_EQ(message.value32, known.at("value32"));
    EXPECT_EQ(message.first, known.at("first"));
    EXPECT_EQ(message.second, known.at("second"));
    EXPECT_EQ(known.size, sizeof message);
}

TEST(LinkPage, IdsAreThoseOfTheChannels) {
    TeskImagesComm camera(nullptr);
    DorVenImagesComm simulator;
    const auto quoted = [](const std::string& id) { return '"' + id + '"'; };
    EXPECT_THAT(page().tableOf("## Image request"),
                ElementsAre(ElementsAre("camera", quoted(camera.requestId()), quoted(camera.responseId())),
                            ElementsAre("simulator", quoted(simulator.requestId()), quoted(simulator.responseId()))));
}

TEST(LinkPage, NamesOfAChannelsObjectsAreThoseOfTheProgram) {
    std::string text;
    for (const std::string& line : page().lines()) text += line + '\n';
    for (const std::string& suffix : {image_road::memoryOf(""), image_road::eventOf(""), image_road::finishedOf("")}) {
        EXPECT_THAT(text, testing::HasSubstr(" + \"" + suffix + "\"")) << suffix;
    }
}

TEST(LinkPage, CommandsAreThoseThatEachSideAnswers) {
    test::LogRecorder log;
    const auto source = TeskImages::create(nullptr);
    TeskImagesComm camera(source.get());
    DorVenImagesComm simulator;
    std::vector<std::string> commands;
    for (const Page::Row& row : page().tableOf("## Image commands")) {
        const auto command = static_cast<std::uint32_t>(std::stoul(row.at(0)));
        const bool toCamera = row.at(1) == "simulator";
        EXPECT_EQ(camera.handle({command, 0, 0, 0}).command, toCamera ? command : 0) << command;
        EXPECT_EQ(simulator.handle({command, 0, 0, 0}).command, toCamera ? 0 : command) << command;
        commands.push_back(row.at(0));
    }
    EXPECT_THAT(commands, ElementsAre("1", "2", "3", "4"));
    EXPECT_EQ(camera.handle({5, 0, 0, 0}).command, 0u);
    EXPECT_EQ(simulator.handle({5, 0, 0, 0}).command, 0u);
}

// The picture's bytes as texts: two digits, "WW", "RR" or "..".
std::vector<std::string> picture() {
    std::vector<std::string> bytes;
    bool inside = false;
    for (const std::string& line : page().lines()) {
        if (line.starts_with("```")) inside = test::trimmed(line) == "```image-answer";
        if (!inside || line.starts_with("```")) continue;
        std::istringstream row(line.substr(0, line.find('|')));
        std::size_t offset = 0;
        row >> offset;
        EXPECT_EQ(offset, bytes.size());
        for (std::string byte; row >> byte;) bytes.push_back(byte);
    }
    return bytes;
}

TEST(LinkPage, PictureShowsTheAnswerOfAnImageSource) {
    test::LogRecorder log;
    const auto source = TeskImages::create(nullptr);
    DorVenImagesComm names;
    const auto sender = IPMessageSender::create(names.requestId(), sizeof(FrameHeader) + sizeof(ImagesMessage));
    const auto receiver = IPMessageReceiver::create(names.responseId(), sizeof(FrameHeader) + sizeof(ImagesMessage));
    const FrameHeader header{1, 0, 0x0123456789ABCDEF};
    const ImagesMessage request{1, 0, 0, 0};
    sender->write(&header, sizeof header);
    sender->write(&request, sizeof request);
    sender->notify();
    ASSERT_EQ(receiver->wait(60.0), 1);

    void* const memory = MSharedMem_Link(image_road::memoryOf(names.responseId()).c_str());
    const auto drawn = picture();
    ASSERT_EQ(drawn.size(), 105u);
    int compared = 0;
    for (std::size_t byte = 0; byte < drawn.size(); ++byte) {
        if (drawn[byte] == "WW" || drawn[byte] == "RR" || drawn[byte] == "..") continue;
        EXPECT_EQ(std::stoul(drawn[byte], nullptr, 16), static_cast<unsigned char*>(memory)[byte]) << "at " << byte;
        ++compared;
    }
    EXPECT_EQ(compared, 24 + 40);
    MSharedMem_Unlink(memory);
}

}  // namespace
