// Replaces the host's base library in a test: records how the device uses it, and builds nothing.
#pragma once

#include <cstddef>
#include <cwchar>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// The requests to the library, in order, and the ones that it must refuse.
struct XmlRecord {
    std::vector<std::wstring> calls;
    std::vector<std::wstring> refused;  // names of elements that are refused, each once
    int living = 0;                     // nodes that exist
};
inline XmlRecord xml;

inline const wchar_t kSavedText[] = L"saved";

}  // namespace test

namespace NUV {

class CXmlNode {
public:
    CXmlNode(CXmlNode* parent, const wchar_t* name, const wchar_t* value) {
        ++test::xml.living;
        if (!parent && !name && !value) note(L"root");
    }
    ~CXmlNode() {
        --test::xml.living;
        if (!_added) note(L"destroy root");
    }
    CXmlNode(const CXmlNode&) = delete;
    CXmlNode& operator=(const CXmlNode&) = delete;

    CXmlNode* AddNode(const wchar_t* name) {
        note(std::wstring(L"add ") + name);
        auto& refused = test::xml.refused;
        if (!refused.empty() && refused.front() == name) {
            refused.erase(refused.begin());
            return nullptr;
        }
        _children.push_back(std::make_unique<CXmlNode>(this, name, nullptr));
        _children.back()->_added = true;
        return _children.back().get();
    }

    bool SetValue(const wchar_t* path, const wchar_t* value) {
        note(std::wstring(path) + L"=" + value);
        return true;
    }

    std::size_t SaveToString(wchar_t* buffer, std::size_t capacity, const wchar_t* header) const {
        note((buffer ? L"save into " : L"save nowhere ") + std::to_wstring(capacity) + L" " + header);
        if (buffer) std::wcsncpy(buffer, test::kSavedText, capacity);
        return std::wcslen(test::kSavedText);
    }

private:
    static void note(const std::wstring& call) { test::xml.calls.push_back(call); }

    bool _added = false;
    std::list<std::unique_ptr<CXmlNode>> _children;
};

class CStringHelper {
public:
    static std::wstring ToWString(const std::string& text) { return {text.begin(), text.end()}; }
    static std::string ToString(const std::wstring& text) {
        std::string narrow;
        for (const wchar_t character : text) narrow += static_cast<char>(character);
        return narrow;
    }
};

}  // namespace NUV
