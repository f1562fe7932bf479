#include <gmock/gmock.h>

#include "NUV_Base.h"

namespace {

using NUV::CStringHelper;

TEST(StringHelper, ValidTextGoesBothWays) {
    // clang-format off
    const std::pair<std::string, std::wstring> rows[] = {
        {"",                        L""},
        {"DorVenCam",               L"DorVenCam"},
        {std::string("a\0b", 3),    std::wstring(L"a\0b", 3)},
        {"\x7f",                    L"\u007f"},
        {"\xc2\x80",                L"\u0080"},
        {"\xdf\xbf",                L"\u07ff"},
        {"\xe0\xa0\x80",            L"\u0800"},
        {"\xed\x9f\xbf",            L"\ud7ff"},
        {"\xee\x80\x80",            L"\ue000"},
        {"\xef\xbf\xbf",            L"\uffff"},
        {"\xf0\x90\x80\x80",        L"\U00010000"},
        {"\xf0\x9f\x93\xb7 camera", L"\U0001f4f7 camera"},
        {"\xf4\x8f\xbf\xbf",        L"\U0010ffff"},
    };
    // clang-format on
    for (const auto& [narrow, wide] : rows) {
        EXPECT_EQ(CStringHelper::ToWString(narrow), wide);
        EXPECT_EQ(CStringHelper::ToString(wide), narrow);
    }
}

TEST(StringHelper, EachByteThatIsNotValidBecomesAQuestionMark) {
    // clang-format off
    const std::pair<std::string, std::wstring> rows[] = {
        {"a\x80z",               L"a?z"  }, // a continuation without a beginning
        {"a\xc3",                L"a?"   }, // cut at the end
        {"a\xe2\x82",            L"a??"  }, //
        {"\xf0\x9f\x93",         L"???"  }, //
        {"\xc3z",                L"?z"   }, // begun, not gone on
        {"\xe2\x82z",            L"??z"  }, //
        {"\xc0\x80",             L"??"   }, // written longer than need be
        {"\xc1\xbf",             L"??"   }, //
        {"\xe0\x9f\xbf",         L"???"  }, //
        {"\xf0\x8f\xbf\xbf",     L"????" }, //
        {"\xed\xa0\x80",         L"???"  }, // half of a pair
        {"\xed\xbf\xbf",         L"???"  }, //
        {"\xf4\x90\x80\x80",     L"????" }, // beyond the last character
        {"\xf8\x88\x80\x80\x80", L"?????"}, // no such length
        {"\xf9\x80\x80\x80",     L"????" },
        {"\xff\xfe",             L"??"   }, //
    };
    // clang-format on
    for (const auto& [narrow, wide] : rows) EXPECT_EQ(CStringHelper::ToWString(narrow), wide);
}

TEST(StringHelper, EachWideCharacterThatIsNotValidBecomesAQuestionMark) {
    constexpr auto kHigh = static_cast<wchar_t>(0xD83D);
    constexpr auto kLow = static_cast<wchar_t>(0xDCF7);
    // clang-format off
    const std::pair<std::wstring, std::string> rows[] = {
        {{L'a', kHigh, L'z'},  "a?z"},
        {{L'a', kLow, L'z'},   "a?z"},
        {{L'a', kHigh},        "a?" },
        {{kLow, kHigh},        "??" },
        {{kHigh, kHigh, L'z'}, "??z"},
    };
    // clang-format on
    for (const auto& [wide, narrow] : rows) EXPECT_EQ(CStringHelper::ToString(wide), narrow);
}

TEST(StringHelper, APairIsOneCharacterOnlyWhereWideCharactersHave16Bits) {
    const std::wstring pair{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDCF7)};
    EXPECT_EQ(CStringHelper::ToString(pair), sizeof(wchar_t) == 2 ? "\xf0\x9f\x93\xb7" : "??");
}

TEST(StringHelper, AWideNumberBeyondTheLastCharacterBecomesAQuestionMark) {
    // Cut to 16 bits, it would be an ordinary character.
    const std::wstring text{static_cast<wchar_t>(0x110041)};
    EXPECT_EQ(CStringHelper::ToString(text), sizeof(wchar_t) == 2 ? "A" : "?");
    EXPECT_EQ(CStringHelper::ToString({static_cast<wchar_t>(-1)}), sizeof(wchar_t) == 2 ? "\xef\xbf\xbf" : "?");
}

}  // namespace
