// Random bytes through the coder and back.
#include <string>

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "log_recorder.h"
#include "mbase64.h"

namespace {

std::ptrdiff_t lengthOf(const std::string& text) { return static_cast<std::ptrdiff_t>(text.size()); }

std::string encoded(const std::string& bytes) {
    std::string text(MBase64_EncodedSize(bytes.size()), '#');
    RC_ASSERT(MBase64_Encode(text.data(), bytes.data(), ~lengthOf(bytes)) == lengthOf(text));
    return text;
}

RC_GTEST_PROP(MBase64Property, DecodingGivesBackTheBytes, (const std::string& bytes)) {
    const std::string text = encoded(bytes);
    std::string back(text.size() + 1, '#');
    RC_ASSERT(MBase64_Decode(back.data(), text.data(), lengthOf(text)) == lengthOf(bytes));
    RC_ASSERT(back.substr(0, bytes.size()) == bytes);
    RC_ASSERT(back[bytes.size()] == '\0');
}

RC_GTEST_PROP(MBase64Property, InPlaceBothWaysGivesBackTheBytes, (const std::string& bytes)) {
    std::string buffer = bytes;
    buffer.resize(MBase64_EncodedSize(bytes.size()));
    MBase64_Encode(buffer.data(), buffer.data(), ~lengthOf(bytes));
    RC_ASSERT(buffer == encoded(bytes));
    RC_ASSERT(MBase64_Decode(buffer.data(), buffer.data(), ~lengthOf(buffer)) == lengthOf(bytes));
    RC_ASSERT(buffer.substr(0, bytes.size()) == bytes);
}

// A text that decodes equals the encoding of its bytes, except for bits of its last character that belong to no byte.
RC_GTEST_PROP(MBase64Property, WhatDecodesEncodesToTheSame, ()) {
    const test::LogRecorder recorder;
    std::string text = *rc::gen::container<std::string>(
        rc::gen::elementOf(std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/==* ")));
    text.resize(text.size() / 4 * 4);
    std::string bytes(text.size(), '#');
    const std::ptrdiff_t count = MBase64_Decode(bytes.data(), text.data(), ~lengthOf(text));
    if (count < 0) {
        RC_ASSERT(recorder.errorTraces().size() == 1U);
        return;
    }
    bytes.resize(static_cast<std::size_t>(count));
    std::string again = encoded(bytes);
    if (count % 3 != 0) {
        const std::size_t last = text.find('=') - 1;
        again[last] = text[last];
    }
    RC_ASSERT(again == text);
}

}  // namespace
