#include <memory>

#include <gmock/gmock.h>

#include <rapidxml/rapidxml.hpp>

#include "NUV_Base.h"

namespace {

using NUV::CStringHelper;
using NUV::CXmlNode;

std::wstring saved(const CXmlNode& node, const wchar_t* header = nullptr) {
    std::wstring text(node.SaveToString(nullptr, 0, header) + 1, L'#');
    EXPECT_EQ(node.SaveToString(text.data(), text.size(), header), text.size() - 1);
    EXPECT_EQ(text.back(), L'\0');
    text.pop_back();
    return text;
}

// The document as a host receives it: converted to narrow text, then parsed by another library.
class Parsed {
public:
    explicit Parsed(const CXmlNode& node) : _text(CStringHelper::ToString(saved(node))) {
        _document.parse<rapidxml::parse_validate_closing_tags>(_text.data());
    }
    const rapidxml::xml_node<>& element() { return *_document.first_node(); }

private:
    std::string _text;
    rapidxml::xml_document<> _document;
};

TEST(XmlNode, ADocumentWithItemsIsSavedUnderItsHeader) {
    CXmlNode root(nullptr, nullptr, nullptr);
    CXmlNode* info = root.AddNode(L"Info");
    ASSERT_NE(info, nullptr);
    for (const auto& [key, value] : {std::pair(L"manufacturer", L"DorVen"), std::pair(L"serialnumber", L"20250313")}) {
        CXmlNode* item = info->AddNode(L"Item");
        EXPECT_TRUE(item->SetValue(L"@key", key));
        EXPECT_TRUE(item->SetValue(L"@value", value));
    }
    EXPECT_EQ(saved(root, L"<?xml version=\"1.0\" encoding=\"unicode\" ?>"),
              L"<?xml version=\"1.0\" encoding=\"unicode\" ?>\n"
              L"<Info>\n"
              L"\t<Item key=\"manufacturer\" value=\"DorVen\"/>\n"
              L"\t<Item key=\"serialnumber\" value=\"20250313\"/>\n"
              L"</Info>\n");
}

TEST(XmlNode, AnElementWithoutChildrenIsSavedEmpty) {
    CXmlNode root(nullptr, nullptr, nullptr);
    root.AddNode(L"Info");
    EXPECT_EQ(saved(root, L"header"), L"header\n<Info/>\n");
}

TEST(XmlNode, AnEmptyTreeIsSavedAsItsHeader) {
    EXPECT_EQ(saved(CXmlNode(nullptr, nullptr, nullptr), L"header"), L"header\n");
    EXPECT_EQ(saved(CXmlNode(nullptr, L"", nullptr)), L"");
}

TEST(XmlNode, ANamedNodeWithoutParentIsTheElementOfItsOwnTree) {
    CXmlNode node(nullptr, L"Info", L"text");
    EXPECT_EQ(saved(node), L"<Info>text</Info>\n");
}

TEST(XmlNode, ANodeWithParentIsAppendedAndStaysInTheParentsTree) {
    CXmlNode root(nullptr, nullptr, nullptr);
    {
        CXmlNode first(&root, L"First", nullptr);
        CXmlNode second(&root, L"Second", L"2");
        second.AddNode(L"Third");
    }
    EXPECT_EQ(saved(root), L"<First/>\n<Second>2\n\t<Third/>\n</Second>\n");
}

TEST(XmlNode, ANodeMayOutliveItsParent) {
    auto root = std::make_unique<CXmlNode>(nullptr, nullptr, nullptr);
    CXmlNode node(root.get(), L"Item", L"old");
    root.reset();
    EXPECT_TRUE(node.SetValue(L"", L"new"));
    EXPECT_EQ(saved(node), L"<Item>new</Item>\n");
}

TEST(XmlNode, ANodeWithParentButWithoutNameStandsAlone) {
    CXmlNode root(nullptr, nullptr, nullptr);
    CXmlNode node(&root, nullptr, nullptr);
    node.AddNode(L"Item");
    EXPECT_EQ(saved(root), L"");
    EXPECT_EQ(saved(node), L"<Item/>\n");
}

TEST(XmlNode, AnInnerElementCanBeSavedAlone) {
    CXmlNode root(nullptr, nullptr, nullptr);
    CXmlNode* info = root.AddNode(L"Info");
    info->AddNode(L"Item")->SetValue(L"", L"text");
    EXPECT_EQ(saved(*info), L"<Info>\n\t<Item>text</Item>\n</Info>\n");
}

TEST(XmlNode, WhatIsNoNameAddsNoElement) {
    CXmlNode root(nullptr, nullptr, nullptr);
    EXPECT_EQ(root.AddNode(nullptr), nullptr);
    for (const wchar_t* name :
         {L"", L"a b", L"<a", L"a>", L"a&", L"a\"", L"a'", L"a=", L"a/", L"!a", L"?a", L"1a", L"-a", L".a", L"a\n"})
        EXPECT_EQ(root.AddNode(name), nullptr) << CStringHelper::ToString(name);
    EXPECT_EQ(saved(root), L"");
}

TEST(XmlNode, NamesMayHoldDigitsDashesAndLetters) {
    CXmlNode root(nullptr, nullptr, nullptr);
    EXPECT_NE(root.AddNode(L"a-1.b_\u00e4\u20ac"), nullptr);
    EXPECT_EQ(saved(root), L"<a-1.b_\u00e4\u20ac/>\n");
}

TEST(XmlNode, AnAttributeSetAgainIsReplacedInItsPlace) {
    CXmlNode node(nullptr, L"Item", nullptr);
    EXPECT_TRUE(node.SetValue(L"@key", L"old"));
    EXPECT_TRUE(node.SetValue(L"@value", L""));
    EXPECT_TRUE(node.SetValue(L"@key", L"new"));
    EXPECT_EQ(saved(node), L"<Item key=\"new\" value=\"\"/>\n");
}

TEST(XmlNode, ValuesAreCopied) {
    CXmlNode node(nullptr, L"Item", nullptr);
    std::wstring path = L"@key";
    std::wstring value = L"value";
    EXPECT_TRUE(node.SetValue(path.c_str(), value.c_str()));
    path = L"@xxx";
    value = L"xxxxx";
    EXPECT_EQ(saved(node), L"<Item key=\"value\"/>\n");
}

TEST(XmlNode, AWrongPathOrValueChangesNothing) {
    CXmlNode node(nullptr, L"Item", L"text");
    EXPECT_FALSE(node.SetValue(nullptr, L"value"));
    EXPECT_FALSE(node.SetValue(L"@key", nullptr));
    EXPECT_FALSE(node.SetValue(L"", nullptr));
    EXPECT_FALSE(node.SetValue(L"@", L"value"));
    EXPECT_FALSE(node.SetValue(L"@a b", L"value"));
    EXPECT_FALSE(node.SetValue(L"key", L"value"));
    EXPECT_EQ(saved(node), L"<Item>text</Item>\n");
}

TEST(XmlNode, ADocumentRootHasNeitherTextNorAttributes) {
    CXmlNode root(nullptr, nullptr, L"text");
    EXPECT_FALSE(root.SetValue(L"", L"text"));
    EXPECT_FALSE(root.SetValue(L"@key", L"value"));
    EXPECT_EQ(saved(root), L"");
}

TEST(XmlNode, MarkupCharactersAreEscaped) {
    CXmlNode node(nullptr, L"Item", L"<&>\"'");
    node.SetValue(L"@key", L"<&>\"'");
    EXPECT_EQ(saved(node), L"<Item key=\"&lt;&amp;&gt;&quot;&apos;\">&lt;&amp;&gt;&quot;&apos;</Item>\n");
}

TEST(XmlNode, LineEndsAndTabsAreWrittenSoThatReadersKeepThem) {
    CXmlNode node(nullptr, L"Item", nullptr);
    node.SetValue(L"@key", L"a\tb\nc\rd");
    EXPECT_EQ(saved(node), L"<Item key=\"a&#9;b&#10;c&#13;d\"/>\n");
}

TEST(XmlNode, CharactersThatADocumentCannotHoldBecomeQuestionMarks) {
    CXmlNode node(nullptr, L"Item", nullptr);
    node.SetValue(L"@key", L"a\x01\x15\x1f\x20\x7f");
    EXPECT_EQ(saved(node), L"<Item key=\"a??? \x7f\"/>\n");
    node.SetValue(L"@key", L"a\xFFFD|\xFFFE|\xFFFF");
    EXPECT_EQ(saved(node), L"<Item key=\"a\xFFFD|?|?\"/>\n");
}

TEST(XmlNode, ValuesComeBackThroughAParser) {
    const std::string values[] = {"plain",
                                  "a<b",
                                  "<&>\"'",
                                  "&amp;",
                                  "it's \"both\"",
                                  " blanks ",
                                  "tab\tline\nreturn\r",
                                  "\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\xb7",
                                  "]]>",
                                  "<!-- -->"};
    for (const std::string& value : values) {
        CXmlNode root(nullptr, nullptr, nullptr);
        CXmlNode* node = root.AddNode(L"Item");
        node->SetValue(L"@value", CStringHelper::ToWString(value).c_str());
        node->SetValue(L"", CStringHelper::ToWString(value).c_str());
        Parsed parsed(root);
        EXPECT_STREQ(parsed.element().first_attribute("value")->value(), value.c_str());
        EXPECT_STREQ(parsed.element().value(), value.c_str());
    }
}

TEST(XmlNode, ABufferThatIsTooSmallReceivesACutTextAndTheWholeLength) {
    CXmlNode node(nullptr, L"Info", nullptr);  // "<Info/>\n"
    wchar_t buffer[6] = L"#####";
    EXPECT_EQ(node.SaveToString(buffer, 4, nullptr), 8u);
    EXPECT_EQ(std::wstring(buffer, 6), std::wstring(L"<In\0#\0", 6));
}

TEST(XmlNode, ABufferOfNoElementsIsNotTouched) {
    CXmlNode node(nullptr, L"Info", nullptr);
    wchar_t buffer[] = L"#";
    EXPECT_EQ(node.SaveToString(buffer, 0, nullptr), 8u);
    EXPECT_EQ(buffer[0], L'#');
}

TEST(XmlNode, ATreeOfManyNodesIsSavedWhole) {
    CXmlNode root(nullptr, nullptr, nullptr);
    CXmlNode* info = root.AddNode(L"Info");
    const std::wstring value(100, L'v');
    for (int i = 0; i < 5000; ++i) info->AddNode(L"Item")->SetValue(L"@value", value.c_str());
    Parsed parsed(root);
    int count = 0;
    for (const auto* item = parsed.element().first_node(); item; item = item->next_sibling()) ++count;
    EXPECT_EQ(count, 5000);
}

}  // namespace
