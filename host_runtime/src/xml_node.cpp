#include <algorithm>
#include <cwchar>
#include <type_traits>
#include <vector>

#include <rapidxml/rapidxml.hpp>

#include "NUV_Base.h"

namespace NUV {
namespace {

using Document = rapidxml::xml_document<wchar_t>;
using Node = rapidxml::xml_node<wchar_t>;
using Attribute = rapidxml::xml_attribute<wchar_t>;

// wchar_t is signed on one system and unsigned on the other.
char32_t codeOf(wchar_t character) { return static_cast<std::make_unsigned_t<wchar_t>>(character); }

// A document cannot contain control characters, U+FFFE and U+FFFF in any form.
bool isForbidden(char32_t code) { return code < U' ' || code == 0xFFFE || code == 0xFFFF; }

bool isName(const wchar_t* name) {
    if (!name || !*name || std::wcschr(L"-.0123456789", *name)) return false;
    return std::none_of(name, name + std::wcslen(name), [](wchar_t character) {
        return codeOf(character) <= U' ' || std::wcschr(L"<>&\"'=/!?", character);
    });
}

Node* appendElement(Document& document, Node& parent, const wchar_t* name) {
    Node* element = document.allocate_node(rapidxml::node_element, document.allocate_string(name));
    parent.append_node(element);
    return element;
}

void writeCharacter(std::wstring& text, wchar_t character) {
    switch (character) {
        case L'&':
            text += L"&amp;";
            break;
        case L'<':
            text += L"&lt;";
            break;
        case L'>':
            text += L"&gt;";
            break;
        case L'"':
            text += L"&quot;";
            break;
        case L'\'':
            text += L"&apos;";
            break;
        // A reader would replace these by blanks.
        case L'\t':
            text += L"&#9;";
            break;
        case L'\n':
            text += L"&#10;";
            break;
        case L'\r':
            text += L"&#13;";
            break;
        default:
            text += isForbidden(codeOf(character)) ? L'?' : character;
    }
}

void writeText(std::wstring& text, const wchar_t* characters, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) writeCharacter(text, characters[i]);
}

void writeChildren(std::wstring& text, const Node& node, std::size_t depth);

void writeElement(std::wstring& text, const Node& element, std::size_t depth) {
    text.append(depth, L'\t').append(L"<").append(element.name(), element.name_size());
    for (const Attribute* each = element.first_attribute(); each; each = each->next_attribute()) {
        text.append(L" ").append(each->name(), each->name_size()).append(L"=\"");
        writeText(text, each->value(), each->value_size());
        text += L'"';
    }
    if (element.value_size() == 0 && !element.first_node()) {
        text += L"/>\n";
        return;
    }
    text += L'>';
    writeText(text, element.value(), element.value_size());
    if (element.first_node()) {
        text += L'\n';
        writeChildren(text, element, depth + 1);
        text.append(depth, L'\t');
    }
    text.append(L"</").append(element.name(), element.name_size()).append(L">\n");
}

void writeChildren(std::wstring& text, const Node& node, std::size_t depth) {
    for (const Node* child = node.first_node(); child; child = child->next_sibling()) writeElement(text, *child, depth);
}

}  // namespace

struct CXmlNode::Tree {
    std::shared_ptr<Document> document;  // owns all nodes of the tree
    Node* node;                          // this one; the document itself for a root
    std::vector<std::unique_ptr<CXmlNode>> children;
};

CXmlNode::CXmlNode(CXmlNode* parent, const wchar_t* name, const wchar_t* value) : _tree(std::make_unique<Tree>()) {
    const bool hasName = isName(name);
    _tree->document = parent && hasName ? parent->_tree->document : std::make_shared<Document>();
    _tree->node = parent && hasName ? parent->_tree->node : _tree->document.get();
    if (hasName) _tree->node = appendElement(*_tree->document, *_tree->node, name);
    SetValue(L"", value);
}

CXmlNode::~CXmlNode() = default;

CXmlNode* CXmlNode::AddNode(const wchar_t* name) {
    if (!isName(name)) return nullptr;
    _tree->children.push_back(std::make_unique<CXmlNode>(this, name, nullptr));
    return _tree->children.back().get();
}

bool CXmlNode::SetValue(const wchar_t* path, const wchar_t* value) {
    Node& node = *_tree->node;
    if (!path || !value || node.type() != rapidxml::node_element) return false;
    Document& document = *_tree->document;
    if (!*path) {
        node.value(document.allocate_string(value));
        return true;
    }
    if (*path != L'@' || !isName(path + 1)) return false;
    Attribute* attribute = node.first_attribute(path + 1);
    if (!attribute) {
        attribute = document.allocate_attribute(document.allocate_string(path + 1));
        node.append_attribute(attribute);
    }
    attribute->value(document.allocate_string(value));
    return true;
}

std::size_t CXmlNode::SaveToString(wchar_t* buffer, std::size_t capacity, const wchar_t* header) const {
    std::wstring text;
    if (header) text.append(header).append(L"\n");
    if (_tree->node->type() == rapidxml::node_element)
        writeElement(text, *_tree->node, 0);
    else
        writeChildren(text, *_tree->node, 0);
    if (buffer && capacity > 0) {
        const std::size_t count = std::min(text.size(), capacity - 1);
        text.copy(buffer, count);
        buffer[count] = L'\0';
    }
    return text.size();
}

}  // namespace NUV
