#include "mbase64.h"

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kUntouched = '#';

struct Vector {
    std::string bytes;
    std::string text;
};

// RFC 4648, section 10, and bytes whose characters are the last two of the alphabet.
// clang-format off
const std::vector<Vector> kVectors = {
    {"",             ""        },
    {"f",            "Zg=="    },
    {"fo",           "Zm8="    },
    {"foo",          "Zm9v"    },
    {"foob",         "Zm9vYg=="},
    {"fooba",        "Zm9vYmE="},
    {"foobar",       "Zm9vYmFy"},
    {"\xFB\xFF\xBF", "+/+/"    },
    {"\0\0\0"s,      "AAAA"    },
};
// clang-format on

std::string encoded(const std::string& bytes) {
    std::string text(MBase64_EncodedSize(bytes.size()), kUntouched);
    EXPECT_EQ(MBase64_Encode(text.data(), bytes.data(), ~static_cast<std::ptrdiff_t>(bytes.size())),
              static_cast<std::ptrdiff_t>(text.size()));
    return text;
}

struct Decoded {
    std::ptrdiff_t result;
    std::string bytes;
};

Decoded decode(const std::string& text) {
    std::string bytes(text.size() + 1, kUntouched);
    const std::ptrdiff_t result = MBase64_Decode(bytes.data(), text.data(), static_cast<std::ptrdiff_t>(text.size()));
    if (result >= 0) bytes.resize(static_cast<std::size_t>(result));
    return {result, bytes};
}

std::string randomBytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

TEST(MBase64Encode, GivesTheStandardsText) {
    for (const Vector& vector : kVectors) EXPECT_EQ(encoded(vector.bytes), vector.text);
}

TEST(MBase64Encode, WritesAZeroBehindTheText) {
    std::array<char, 6> text{};
    text.fill(kUntouched);
    EXPECT_EQ(MBase64_Encode(text.data(), "foo", 3), 4);
    EXPECT_THAT(text, ElementsAre('Z', 'm', '9', 'v', '\0', kUntouched));
    text.fill(kUntouched);
    EXPECT_EQ(MBase64_Encode(text.data(), "", 0), 0);
    EXPECT_THAT(text, ElementsAre('\0', kUntouched, kUntouched, kUntouched, kUntouched, kUntouched));
}

TEST(MBase64Encode, WritesNoZeroForAComplementedLength) {
    std::array<char, 5> text{};
    text.fill(kUntouched);
    EXPECT_EQ(MBase64_Encode(text.data(), "foo", ~std::ptrdiff_t{3}), 4);
    EXPECT_THAT(text, ElementsAre('Z', 'm', '9', 'v', kUntouched));
    text.fill(kUntouched);
    EXPECT_EQ(MBase64_Encode(text.data(), "", ~std::ptrdiff_t{0}), 0);
    EXPECT_EQ(text[0], kUntouched);
}

TEST(MBase64Encode, GivesTheSameInPlaceForEveryLength) {
    for (std::size_t size = 0; size <= 100; ++size) {
        const std::string bytes = randomBytes(size, static_cast<unsigned>(size));
        std::string inPlace = bytes;
        inPlace.resize(MBase64_EncodedSize(size));
        MBase64_Encode(inPlace.data(), inPlace.data(), ~static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(inPlace, encoded(bytes)) << size;
    }
}

TEST(MBase64Decode, GivesTheBytesOfTheStandardsText) {
    for (const Vector& vector : kVectors) {
        const Decoded decoded = decode(vector.text);
        EXPECT_EQ(decoded.result, static_cast<std::ptrdiff_t>(vector.bytes.size())) << vector.text;
        EXPECT_EQ(decoded.bytes, vector.bytes) << vector.text;
    }
}

TEST(MBase64Decode, WritesAZeroBehindTheBytes) {
    std::array<char, 5> bytes{};
    bytes.fill(kUntouched);
    EXPECT_EQ(MBase64_Decode(bytes.data(), "Zm9v", 4), 3);
    EXPECT_THAT(bytes, ElementsAre('f', 'o', 'o', '\0', kUntouched));
    bytes.fill(kUntouched);
    EXPECT_EQ(MBase64_Decode(bytes.data(), "Zg==", 4), 1);
    EXPECT_THAT(bytes, ElementsAre('f', '\0', kUntouched, kUntouched, kUntouched));
    bytes.fill(kUntouched);
    EXPECT_EQ(MBase64_Decode(bytes.data(), "", 0), 0);
    EXPECT_THAT(bytes, ElementsAre('\0', kUntouched, kUntouched, kUntouched, kUntouched));
}

TEST(MBase64Decode, WritesNoZeroForAComplementedLength) {
    std::array<char, 4> bytes{};
    bytes.fill(kUntouched);
    EXPECT_EQ(MBase64_Decode(bytes.data(), "Zm9v", ~std::ptrdiff_t{4}), 3);
    EXPECT_THAT(bytes, ElementsAre('f', 'o', 'o', kUntouched));
    EXPECT_EQ(MBase64_Decode(bytes.data(), "", ~std::ptrdiff_t{0}), 0);
    EXPECT_EQ(bytes[0], 'f');
}

TEST(MBase64Decode, GivesBackEveryLengthAndWorksInPlace) {
    for (std::size_t size = 0; size <= 100; ++size) {
        const std::string bytes = randomBytes(size, static_cast<unsigned>(size) + 1000);
        std::string inPlace = encoded(bytes);
        const std::ptrdiff_t count =
            MBase64_Decode(inPlace.data(), inPlace.data(), ~static_cast<std::ptrdiff_t>(inPlace.size()));
        ASSERT_EQ(count, static_cast<std::ptrdiff_t>(size));
        inPlace.resize(size);
        EXPECT_EQ(inPlace, bytes) << size;
    }
}

TEST(MBase64Decode, DoesNotLookAtBitsThatNoByteTakes) {
    EXPECT_EQ(decode("Zh==").bytes, "f");
    EXPECT_EQ(decode("Zm9=").bytes, "fo");
}

TEST(MBase64Decode, RefusesALengthThatIsNoMultipleOfFour) {
    const test::LogRecorder recorder;
    EXPECT_EQ(decode("abcde").result, -1);
    char byte = kUntouched;
    EXPECT_EQ(MBase64_Decode(&byte, "abc", ~std::ptrdiff_t{3}), -1);
    EXPECT_EQ(byte, kUntouched);
    EXPECT_THAT(recorder.errorTraces(), ElementsAre("MBase64_Decode(): source_len has to be multiple of 4, not 5",
                                                    "MBase64_Decode(): source_len has to be multiple of 4, not 3"));
    EXPECT_THAT(recorder.errors(), IsEmpty());
}

// Each text, and its first character that is illegal at its position.
TEST(MBase64Decode, RefusesIllegalCharactersWhereverTheyStand) {
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> refused = {
        {"Zm9*",     "2a"},
        {"Zm9vZm9 ", "20"},
        {"Zm9\n",    "0a"},
        {"ab\x80=",  "80"},
        {"\377bcd",  "ff"},
        {"abc\0"s,   "00"},
        {"-_-_",     "2d"},
        {"*bcdefgh", "2a"},
        {"a*cdefgh", "2a"},
        {"ab*defgh", "2a"},
        {"abc*efgh", "2a"},
        {"*===",     "2a"},
        {"a*==",     "2a"},
        {"ab*=",     "2a"},
        {"ab=c",     "3d"},
        {"=abc",     "3d"},
        {"a===",     "3d"},
        {"====",     "3d"},
        {"ab==cdef", "3d"},
        {"abc=cdef", "3d"},
    };
    // clang-format on
    for (const auto& [text, character] : refused) {
        const test::LogRecorder recorder;
        EXPECT_EQ(decode(text).result, -1) << text;
        EXPECT_THAT(recorder.errorTraces(),
                    ElementsAre("MBase64_Decode(): illegal character 0x" + character + " read, terminating"))
            << text;
    }
}

}  // namespace
