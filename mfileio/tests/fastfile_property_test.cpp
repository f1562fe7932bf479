// Random bytes and random operations: the reading calls return what the writing calls wrote.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "fastfile.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

constexpr std::size_t kBorder = MFastFile::kBufferSize;

const std::string& fileName() {
    static const test::TemporaryFolder folder;
    static const std::string name = folder.path("f");
    return name;
}

std::ptrdiff_t lengthOf(const std::string& text) { return static_cast<std::ptrdiff_t>(text.size()); }

// Bytes of any value, with many line ends, that begin near the border of the buffer.
rc::Gen<std::string> bytesAtTheBorder() {
    const auto byte = rc::gen::oneOf(rc::gen::elementOf(std::string("\r\n")), rc::gen::arbitrary<char>());
    const auto tail = rc::gen::container<std::string>(byte);
    const auto length = rc::gen::oneOf(rc::gen::just<std::size_t>(0), rc::gen::inRange(kBorder - 40, kBorder + 4),
                                       rc::gen::inRange(2 * kBorder - 40, 2 * kBorder + 4));
    return rc::gen::map(rc::gen::pair(length, rc::gen::pair(tail, tail)), [](const auto& parts) {
        return parts.second.first + std::string(parts.first, 'x') + parts.second.second;
    });
}

// A text without the characters given.
std::string without(std::string text, const std::string& characters) {
    std::erase_if(text, [&](char character) { return characters.find(character) != std::string::npos; });
    return text;
}

std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
    std::string result;
    std::size_t at = 0;
    for (std::size_t found; (found = text.find(from, at)) != std::string::npos; at = found + from.size())
        result += text.substr(at, found - at) + to;
    return result + text.substr(at);
}

// The rule for lines, without a buffer: each CR LF, single CR and LF ends one.
std::string withLf(const std::string& text) { return replaced(replaced(text, "\r\n", "\n"), "\r", "\n"); }

std::vector<std::string> linesOf(const std::string& bytes) {
    std::vector<std::string> lines;
    const std::string text = withLf(bytes);
    std::size_t at = 0;
    for (std::size_t end; at < text.size(); at = end + 1) {
        end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

void writeAll(const std::string& bytes) {
    RC_ASSERT(MFastFile_WriteAtOnce(fileName().c_str(), bytes.data(), bytes.size(), MFastFile::kTruncate) ==
              lengthOf(bytes));
}

std::string contentOfFile() {
    std::string content;
    const std::ptrdiff_t count = MFastFile_ReadAtOnce(fileName().c_str(), content);
    RC_ASSERT(count == lengthOf(content));
    return content;
}

// ------------------------------------------------------------------------------------------------------------ reading

RC_GTEST_PROP(MFastFileProperty, ReadLineYieldsTheLines, ()) {
    const std::string bytes = *bytesAtTheBorder();
    writeAll(bytes);
    MFastFileReader reader(fileName().c_str());
    std::vector<std::string> lines;
    std::string line;
    while (!reader.IsEOF() && reader.ReadLine(line)) lines.push_back(line);
    RC_ASSERT(lines == linesOf(bytes));
}

RC_GTEST_PROP(MFastFileProperty, ReadLineIntoABufferYieldsTheLinesCut, ()) {
    const std::string bytes = *bytesAtTheBorder();
    const auto room = *rc::gen::elementOf(std::vector<std::size_t>{0, 1, 5, kBorder, 3 * kBorder});
    writeAll(bytes);
    MFastFileReader reader(fileName().c_str());
    std::string line(room + 1, '#');
    for (const std::string& expected : linesOf(bytes)) {
        const std::string cut = expected.substr(0, room);
        RC_ASSERT(reader.ReadLine(line.data(), room) == lengthOf(cut));
        RC_ASSERT(line.substr(0, cut.size()) == cut);
        RC_ASSERT(cut.size() == room || line[cut.size()] == '\0');
        RC_ASSERT(line[room] == '#');
    }
    RC_ASSERT(reader.IsEOF());
}

RC_GTEST_PROP(MFastFileProperty, ReadYieldsTheBytesInPiecesOfAnySize, ()) {
    const std::string bytes = *bytesAtTheBorder();
    writeAll(bytes);
    MFastFileReader reader(fileName().c_str());
    std::string content;
    while (!reader.IsEOF()) {
        std::string part(
            *rc::gen::oneOf(rc::gen::inRange<std::size_t>(1, 20), rc::gen::inRange(kBorder - 2, kBorder + 9)), '#');
        const std::ptrdiff_t count = reader.Read(part.data(), part.size());
        RC_ASSERT(count > 0);
        content.append(part, 0, static_cast<std::size_t>(count));
    }
    RC_ASSERT(content == bytes);
}

RC_GTEST_PROP(MFastFileProperty, ReadCharNLYieldsLfForCrLf, ()) {
    const std::string bytes = *bytesAtTheBorder();
    writeAll(bytes);
    MFastFileReader reader(fileName().c_str());
    std::string content;
    for (char character = 0; reader.ReadCharNL(character);) content += character;
    RC_ASSERT(content == replaced(bytes, "\r\n", "\n"));
}

RC_GTEST_PROP(MFastFileProperty, ReadCharYieldsTheBytes, ()) {
    const std::string bytes = *bytesAtTheBorder();
    writeAll(bytes);
    MFastFileReader reader(fileName().c_str());
    std::string content;
    for (char character = 0; reader.ReadChar(character);) content += character;
    RC_ASSERT(content == bytes);
    RC_ASSERT(reader.IsEOF());
}

RC_GTEST_PROP(MFastFileProperty, ReadStringYieldsTheTextsBetweenZeros, ()) {
    const std::string first = without(*bytesAtTheBorder(), std::string(1, '\0'));
    const std::string second = without(*bytesAtTheBorder(), std::string(1, '\0'));
    writeAll(first + '\0' + second);
    MFastFileReader reader(fileName().c_str());
    std::string text;
    RC_ASSERT(reader.ReadString(text) && text == first);
    RC_ASSERT(reader.ReadString(text) && text == second);
    RC_ASSERT(reader.IsEOF());
}

RC_GTEST_PROP(MFastFileProperty, ReadLinesAtOnceYieldsTheTextWithLf, ()) {
    const std::string bytes = *bytesAtTheBorder();
    writeAll(bytes);
    std::string text;
    RC_ASSERT(MFastFile_ReadLinesAtOnce(fileName().c_str(), text) == lengthOf(withLf(bytes)));
    RC_ASSERT(text == withLf(bytes));
    std::string buffer(bytes.size(), '#');
    RC_ASSERT(MFastFile_ReadLinesAtOnce(fileName().c_str(), buffer.data(), buffer.size()) == lengthOf(text));
    RC_ASSERT(buffer.substr(0, text.size()) == text);
}

// ------------------------------------------------------------------------------------------------------------ writing

// One operation of the writer on random bytes. @return the expected bytes in the file.
std::string writeSomething(MFastFileWriter& writer) {
    const std::string bytes = *bytesAtTheBorder();
    const auto wrote = [](std::ptrdiff_t result, const std::string& expected) {
        RC_ASSERT(result == lengthOf(expected));
        return expected;
    };
    switch (*rc::gen::inRange(0, 9)) {
        case 0:
            return wrote(writer.Write(bytes.data(), bytes.size()), bytes);
        case 1:
            return wrote(writer.WriteString(bytes), bytes);
        case 2:
            return wrote(writer.WriteStringNL(bytes), replaced(bytes, "\n", "\r\n"));
        case 3:
            return wrote(writer.WriteLineNL(bytes), replaced(bytes, "\n", "\r\n") + "\r\n");
        case 4:
            return wrote(writer.WriteLine(without(bytes, "\n")), without(bytes, "\n") + "\r\n");
        case 5:
            for (const char character : bytes) RC_ASSERT(writer.WriteChar(character));
            return bytes;
        case 6:
            for (const char character : bytes) RC_ASSERT(writer.WriteCharNL(character));
            return replaced(bytes, "\n", "\r\n");
        case 7:
            RC_ASSERT(writer.WriteInt(0x44434241));
            return "ABCD";
        default:
            RC_ASSERT(writer.Flush());
            return "";
    }
}

RC_GTEST_PROP(MFastFileProperty, WhatIsWrittenInAnyFormStandsInTheFile, ()) {
    MFastFileWriter writer(fileName().c_str(), MFastFile::kTruncate);
    std::string expected;
    const int count = *rc::gen::inRange(0, 8);
    for (int at = 0; at < count; ++at) expected += writeSomething(writer);
    RC_ASSERT(writer.Close());
    RC_ASSERT(contentOfFile() == expected);
}

// A binary value: how it is written, and whether reading returns the same.
struct Value {
    std::function<bool(MFastFileWriter&)> write;
    std::function<bool(MFastFileReader&)> readBack;
};

template <typename Number>
rc::Gen<Value> valueOf(bool (MFastFileWriter::*write)(Number), bool (MFastFileReader::*read)(Number&)) {
    return rc::gen::map(rc::gen::arbitrary<Number>(), [write, read](Number number) {
        return Value{[=](MFastFileWriter& writer) { return (writer.*write)(number); },
                     [=](MFastFileReader& reader) {
                         Number back{};
                         return (reader.*read)(back) && back == number;
                     }};
    });
}

rc::Gen<Value> anyValue() {
    return rc::gen::oneOf(valueOf(&MFastFileWriter::WriteInt, &MFastFileReader::ReadInt),
                          valueOf(&MFastFileWriter::WriteShort, &MFastFileReader::ReadShort),
                          valueOf(&MFastFileWriter::WriteLong, &MFastFileReader::ReadLong),
                          valueOf(&MFastFileWriter::WriteFloat, &MFastFileReader::ReadFloat),
                          valueOf(&MFastFileWriter::WriteDouble, &MFastFileReader::ReadDouble));
}

// The bytes before a value let it cross the border of the buffer, in the writer and in the reader.
RC_GTEST_PROP(MFastFileProperty, ValuesAcrossTheBorderAreReadBack, ()) {
    const std::string front(*rc::gen::inRange<std::size_t>(kBorder - 30, kBorder + 1), 'x');
    std::vector<Value> values;
    const int count = *rc::gen::inRange(1, 12);
    for (int at = 0; at < count; ++at) values.push_back(*anyValue());
    MFastFileWriter writer(fileName().c_str(), MFastFile::kTruncate);
    RC_ASSERT(writer.WriteString(front) == lengthOf(front));
    for (const Value& value : values) RC_ASSERT(value.write(writer));
    RC_ASSERT(writer.Close());
    MFastFileReader reader(fileName().c_str());
    char character = 0;
    for (std::size_t at = 0; at < front.size(); ++at) RC_ASSERT(reader.ReadChar(character) && character == 'x');
    for (const Value& value : values) RC_ASSERT(value.readBack(reader));
    RC_ASSERT(reader.IsEOF());
}

RC_GTEST_PROP(MFastFileProperty, WriteLinesAtOnceWritesTheLinesThatReadLineReads, ()) {
    const std::string bytes = *bytesAtTheBorder();
    const int mode =
        *rc::gen::element(static_cast<int>(MFastFile::kTruncate), static_cast<int>(MFastFile::kSafeReplace));
    const std::string expected = replaced(withLf(bytes), "\n", "\r\n");
    RC_ASSERT(MFastFile_WriteLinesAtOnce(fileName().c_str(), bytes.data(), bytes.size(), mode) == lengthOf(expected));
    RC_ASSERT(contentOfFile() == expected);
    RC_ASSERT(linesOf(expected) == linesOf(bytes));
}

RC_GTEST_PROP(MFastFileProperty, CopyFileCopiesTheBytes, ()) {
    const std::string bytes = *bytesAtTheBorder();
    writeAll(bytes);
    const std::string copy = fileName() + "_copy";
    RC_ASSERT(MFastFile_CopyFile(fileName().c_str(), copy.c_str(), MFastFile::kTruncate) == lengthOf(bytes));
    std::string content;
    RC_ASSERT(MFastFile_ReadAtOnce(copy.c_str(), content) == lengthOf(bytes));
    RC_ASSERT(content == bytes);
}

}  // namespace
