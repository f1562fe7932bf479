// The part of the host framework's base library that the device needs: a small XML tree and string conversion.
// A host installation has its own; this one replaces it. Its classes need the same compiler on both sides.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "host_runtime_export.h"

namespace NUV {

/// A node of an XML tree. A node without a parent and without a name is the root of a document; it owns the nodes that
/// AddNode adds below it. One thread at a time for each tree.
/// A name is refused when it is null or empty, begins with a digit, '-' or '.', or contains blanks or markup
/// characters.
class NUV_BASE_API CXmlNode {
public:
    /// @param parent  Tree to append the element to; it stays there when this object is destroyed. Null: a new tree.
    /// @param name    Element name; a refused one (null, "") creates a separate document root, which has no text.
    /// @param value   Text of the element, or null.
    CXmlNode(CXmlNode* parent, const wchar_t* name, const wchar_t* value);
    ~CXmlNode();
    CXmlNode(const CXmlNode&) = delete;
    CXmlNode& operator=(const CXmlNode&) = delete;

    /// Adds an element as the last child.
    /// @return  The new node, owned by this one; null when the name is refused.
    CXmlNode* AddNode(const wchar_t* name);

    /// Sets the attribute that an '@' path names ("@key"), or the element's text for an empty path.
    /// @return  false, with nothing changed, for a null path or value, any other path, a refused name, or a document
    ///          root.
    bool SetValue(const wchar_t* path, const wchar_t* value);

    /// Writes header and tree as text, children indented by tabs, an element without content as <Name/>. Values are
    /// escaped so that a reader restores them; control characters that no document can contain become '?'.
    /// @param buffer    Receives at most capacity - 1 characters and a terminator; null to learn the length.
    /// @param capacity  Elements in buffer.
    /// @param header    First line of the text, written unchanged, or null.
    /// @return          Length of the whole text without terminator.
    std::size_t SaveToString(wchar_t* buffer, std::size_t capacity, const wchar_t* header) const;

private:
    struct Tree;
    std::unique_ptr<Tree> _tree;
};

/// Conversion between narrow (UTF-8) and wide text. Each byte or wide character that is not part of valid text becomes
/// '?'. Characters beyond U+FFFF are surrogate pairs where wchar_t has 16 bits.
class NUV_BASE_API CStringHelper {
public:
    static std::wstring ToWString(const std::string& text);
    static std::string ToString(const std::wstring& text);
};

}  // namespace NUV
