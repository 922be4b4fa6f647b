#include "toolkit/page/pageText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace trimora {

namespace {

constexpr char32_t replacement = 0xfffd;

/// Takes one character off the front of a text; a byte that begins none is taken alone, as U+FFFD.
char32_t takeCharacter(std::string_view& text) {
    auto const byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned const lead = byteAt(0);
    std::size_t const size = lead < 0x80   ? 1
                             : lead < 0xc2 ? 0
                             : lead < 0xe0 ? 2
                             : lead < 0xf0 ? 3
                             : lead < 0xf5 ? 4
                                           : 0;
    char32_t code = size == 1 ? lead : lead & (0x7fu >> size);
    bool isSound = size > 0 && size <= text.size();
    for (std::size_t i = 1; isSound && i < size; ++i) {
        isSound = (byteAt(i) & 0xc0) == 0x80;
        code = code << 6 | (byteAt(i) & 0x3f);
    }
    constexpr std::array<char32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    isSound =
        isSound && code >= least[size] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
    text.remove_prefix(isSound ? size : 1);
    return isSound ? code : replacement;
}

void appendUtf8(std::string& out, char32_t code) {
    auto const put = [&](char32_t byte) {
        out += static_cast<char>(static_cast<unsigned char>(byte));
    };
    if (code < 0x80)
        put(code);
    else if (code < 0x800)
        put(0xc0 | code >> 6), put(0x80 | (code & 0x3f));
    else if (code < 0x10000)
        put(0xe0 | code >> 12), put(0x80 | (code >> 6 & 0x3f)), put(0x80 | (code & 0x3f));
    else
        put(0xf0 | code >> 18), put(0x80 | (code >> 12 & 0x3f)), put(0x80 | (code >> 6 & 0x3f)),
            put(0x80 | (code & 0x3f));
}

bool needsEscapeInScript(char32_t code) {
    return code < 0x20 || code == '"' || code == '\\' || code == '<' || code == '>' ||
           code == '&' || code == 0x7f || code == 0x2028 || code == 0x2029;
}

void appendEscape(std::string& out, char32_t code) {
    constexpr std::string_view digits = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4)
        out += digits[code >> shift & 0xf];
}

}  // namespace

std::string escapeHtml(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        char32_t const code = takeCharacter(text);
        switch (code) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            appendUtf8(out, code < 0x20 || (code >= 0x7f && code < 0xa0) ? replacement : code);
        }
    }
    return out;
}

std::string encodeBase64(std::span<std::byte const> bytes) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out((bytes.size() + 2) / 3 * 4, '=');
    auto const byteAt = [&](std::size_t i) {
        return i < bytes.size() ? std::to_integer<unsigned>(bytes[i]) : 0u;
    };
    for (std::size_t i = 0, o = 0; i < bytes.size(); i += 3, o += 4) {
        unsigned const group = byteAt(i) << 16 | byteAt(i + 1) << 8 | byteAt(i + 2);
        std::size_t const numDigits = std::min<std::size_t>(bytes.size() - i, 3) + 1;
        for (std::size_t d = 0; d < numDigits; ++d)
            out[o + d] = digits[group >> (18 - 6 * d) & 0x3f];
    }
    return out;
}

void ScriptJson::beginValue() {
    if (needsComma_)
        out_ += ',';
    needsComma_ = true;
}

ScriptJson& ScriptJson::open(char bracket) {
    beginValue();
    out_ += bracket;
    needsComma_ = false;
    return *this;
}

ScriptJson& ScriptJson::close(char bracket) {
    out_ += bracket;
    needsComma_ = true;
    return *this;
}

ScriptJson& ScriptJson::name(std::string_view name) {
    text(name);
    out_ += ':';
    needsComma_ = false;
    return *this;
}

ScriptJson& ScriptJson::text(std::string_view text) {
    beginValue();
    out_ += '"';
    while (!text.empty()) {
        char32_t const code = takeCharacter(text);
        if (needsEscapeInScript(code))
            appendEscape(out_, code);
        else
            appendUtf8(out_, code);
    }
    out_ += '"';
    return *this;
}

ScriptJson& ScriptJson::number(double value) {
    if (!std::isfinite(value))
        return nothing();
    beginValue();
    std::array<char, 32> digits;
    out_.append(digits.data(),
                std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
    return *this;
}

ScriptJson& ScriptJson::whole(std::int64_t value) {
    beginValue();
    std::array<char, 32> digits;
    out_.append(digits.data(),
                std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
    return *this;
}

ScriptJson& ScriptJson::truth(bool value) {
    beginValue();
    out_ += value ? "true" : "false";
    return *this;
}

ScriptJson& ScriptJson::nothing() {
    beginValue();
    out_ += "null";
    return *this;
}

}  // namespace trimora
