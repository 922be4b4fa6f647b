#include "trimora/contract/koString/IString.h"

// Bytes that belong to no valid UTF-8 sequence are held as the lone surrogates U+DC80 to U+DCFF, one a byte: valid
// UTF-8 never decodes to a surrogate, so they are told apart and can be written back as they came.

#include <string_view>

namespace koString {

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr char32_t keptBytes = 0xDC00;  // plus the byte, 0x80 to 0xFF

bool isKeptByte(char32_t character) {
    return character >= keptBytes + 0x80 && character <= keptBytes + 0xFF;
}

/// Bytes of the sequence that starts with the lead byte; 0 if it can start none.
std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return 2;
    if (lead >= 0xE0 && lead <= 0xEF)
        return 3;
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

/// Takes one character off the front of non-empty text. False, and one byte taken, where no valid sequence starts.
bool takeUtf8(std::string_view& text, char32_t& character) {
    auto const byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    std::size_t const length = sequenceLength(byteAt(0));
    bool valid = length > 0 && length <= text.size();
    char32_t const leadBits = length <= 1 ? 0x7F : 0xFF >> (length + 1);
    char32_t value = byteAt(0) & leadBits;
    for (std::size_t i = 1; valid && i < length; ++i) {
        valid = (byteAt(i) & 0xC0) == 0x80;
        value = value << 6 | (byteAt(i) & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    valid = valid && value >= smallest[length] && value <= 0x10FFFF &&
            (value < 0xD800 || value > 0xDFFF);

    character = valid ? value : byteAt(0);
    text.remove_prefix(valid ? length : 1);
    return valid;
}

void appendUtf8(std::string& bytes, char32_t c) {
    auto const append = [&](char32_t byte) { bytes.push_back(static_cast<char>(byte)); };
    if (c < 0x80) {
        append(c);
    } else if (c < 0x800) {
        append(0xC0 | c >> 6);
        append(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        append(0xE0 | c >> 12);
        append(0x80 | (c >> 6 & 0x3F));
        append(0x80 | (c & 0x3F));
    } else {
        append(0xF0 | c >> 18);
        append(0x80 | (c >> 12 & 0x3F));
        append(0x80 | (c >> 6 & 0x3F));
        append(0x80 | (c & 0x3F));
    }
}

void appendCharacter(std::string& bytes, char32_t character, Encoding encoding) {
    if (encoding == Encoding::Latin1)
        bytes.push_back(character < 0x100 ? static_cast<char>(character) : '?');
    else if (!isKeptByte(character))
        appendUtf8(bytes, character);
    else if (encoding == Encoding::Utf8)
        appendUtf8(bytes, replacement);
    else
        bytes.push_back(static_cast<char>(character - keptBytes));
}

}  // namespace

IString::IString(char const* text, Encoding encoding) : encoding_(encoding) {
    std::string_view rest(text == nullptr ? "" : text);
    text_.reserve(rest.size());
    if (encoding == Encoding::Latin1) {
        for (char const byte : rest)
            text_.push_back(static_cast<unsigned char>(byte));
        return;
    }
    while (!rest.empty()) {
        char32_t character = 0;
        bool const valid = takeUtf8(rest, character);
        char32_t const instead = encoding == Encoding::Utf8 ? replacement : keptBytes + character;
        text_.push_back(valid ? character : instead);
    }
}

CString IString::asMultibyte(Encoding encoding) const {
    std::string bytes;
    bytes.reserve(text_.size());
    for (char32_t const character : text_)
        appendCharacter(bytes, character, encoding);
    return CString(bytes.c_str());
}

}  // namespace koString
