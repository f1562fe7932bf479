#include "stl_utilities.h"

#include <algorithm>
#include <cstdlib>

#include "errtrace.h"
#include "format_string.h"
#include "mbase64.h"

namespace {

const char kFile[] = "mutil/src/stl_utilities";

// Stores what convert reads at the start of the text; with `whole`, only when it reads the whole text. The whole of an
// empty text is 0; kept on purpose: docs/oddities.md, empty-text-is-zero
template <typename Value, typename Convert>
bool convertText(const std::string& text, Value& value, bool whole, Convert convert) {
    char* end = nullptr;
    const Value number = convert(text.c_str(), &end);
    if (whole ? end != text.c_str() + text.size() : end == text.c_str()) return false;
    value = number;
    return true;
}

}  // namespace

std::string stl_string_format(const char* format, ...) {
    std::string text;
    std::va_list arguments;
    va_start(arguments, format);
    const bool formatted = formatString(text, format, arguments);
    va_end(arguments);
    if (!formatted) M_ERRLOG("%s(): stl_string_format() failed: %s", "stl_string_format", format);
    return text;
}

std::string stl_string_format_va(const char* format, std::va_list arguments) {
    std::string text;
    if (!formatString(text, format, arguments)) {
        M_ERRLOG("%s(): stl_string_format_va() failed: %s", "stl_string_format_va", format);
    }
    return text;
}

bool stl_string_to_double(const std::string& text, double& value, bool whole) {
    return convertText(text, value, whole, [](const char* digits, char** end) { return std::strtod(digits, end); });
}

bool stl_string_to_int(const std::string& text, std::int32_t& value, bool whole) {
    return convertText(text, value, whole, [](const char* digits, char** end) {
        const long number = std::strtol(digits, end, 10);  // 64 bits on some systems
        return static_cast<std::int32_t>(std::clamp<long>(number, INT32_MIN, INT32_MAX));
    });
}

std::string stl_double_to_string(double value, int precision) { return stl_string_format("%.*lf", precision, value); }

bool stl_string_unquote_space(std::string& text) {
    const std::size_t first = text.find_first_of("\"\\ ");
    if (first == std::string::npos) return true;
    if (text[first] == ' ') {
        M_ERRTRACE("stl_string_unquote_space(): found unquoted space");
        return false;
    }
    std::string unquoted(text, 0, first);
    bool quoted = false;
    for (std::size_t at = first; at < text.size();) {
        if (text[at] == '"') {
            quoted = !quoted;
            ++at;
        } else if (text[at] == '\\') {
            const char taken = at + 1 < text.size() ? text[at + 1] : '\0';
            if (taken != '"' && taken != '\\') {
                M_ERRTRACE("stl_string_unquote_space(): can't unquote a lonely backslash");
                return false;
            }
            unquoted.push_back(taken);
            at += 2;
        } else {
            const std::size_t end = std::min(text.find_first_of("\"\\", at), text.size());
            unquoted.append(text, at, end - at);
            at = end;
        }
    }
    if (quoted) {
        M_ERRTRACE("stl_string_unquote_space(): no closing quote found");
        return false;
    }
    text = std::move(unquoted);
    return true;
}

bool stl_encode_base64(std::string& text) {
    const std::size_t size = text.size();
    const auto encoded = static_cast<std::ptrdiff_t>(MBase64_EncodedSize(size));
    text.resize(static_cast<std::size_t>(encoded));
    const std::ptrdiff_t result = MBase64_Encode(text.data(), text.data(), ~static_cast<std::ptrdiff_t>(size));
    if (result == encoded) return true;
    M_ERRTRACE("stl_encode_base64(): MBase64_Encode() returned %Id instead of %Iu", result,
               static_cast<std::size_t>(encoded));
    text.clear();
    return false;
}

bool stl_decode_base64(std::string& text) {
    text.resize(text.find_last_not_of('\0') + 1);
    const std::size_t size = text.size();
    const std::ptrdiff_t result = MBase64_Decode(text.data(), text.data(), ~static_cast<std::ptrdiff_t>(size));
    if (result >= 0) {
        text.resize(static_cast<std::size_t>(result));
        return true;
    }
    M_ERRTRACE("stl_decode_base64(): MBase64_Decode(%Iu) failed (%Iu)", size, static_cast<std::size_t>(result));
    text.clear();
    return false;
}
