#include "trimora/assembly/detail/textFiles.h"

#include "trimora/contract/koString/CString.h"

#include <array>
#include <cmath>
#include <locale>
#include <sstream>

namespace koGeom::detail {

namespace {

template <class T>
bool convertByStream(char const* begin, char const* end, T& value) {
    std::istringstream stream(std::string(begin, end));
    stream.imbue(std::locale::classic());
    if (stream >> value)
        return true;
    // The stream gives the largest number of the sign for what is too large.
    value = std::copysign(std::numeric_limits<T>::infinity(), value);
    return false;
}

}  // namespace

bool readTextFile(koOS::Filename const& name, std::string& text) {
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> const file(std::fopen(name.path().asChar(), "r"));
    if (file == nullptr)
        return false;
    constexpr std::size_t firstSize = 1u << 16;
    std::size_t used = 0;
    std::size_t got = 0;
    do {
        if (used == text.size())
            text.resize(std::max(firstSize, 2 * used));
        got = std::fread(text.data() + used, 1, text.size() - used, file.get());
        used += got;
    } while (got > 0);
    text.resize(used);
    return std::ferror(file.get()) == 0;
}

bool convertDecimal(char const* begin, char const* end, float& value) {
    return convertByStream(begin, end, value);
}

bool convertDecimal(char const* begin, char const* end, double& value) {
    return convertByStream(begin, end, value);
}

bool TextScanner::skipWord(std::string_view lowerCaseWord) {
    if (static_cast<std::size_t>(end_ - p_) < lowerCaseWord.size())
        return false;
    for (std::size_t i = 0; i < lowerCaseWord.size(); ++i) {
        char const c = p_[i];
        if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lowerCaseWord[i])
            return false;
    }
    p_ += lowerCaseWord.size();
    return true;
}

TextWriter::TextWriter(koString::CString const& path) : file_(std::fopen(path.asChar(), "w")) {}

TextWriter::~TextWriter() {
    if (isOpen())
        std::fwrite(pending_.data(), 1, pending_.size(), file_.get());
}

TextWriter& TextWriter::operator<<(std::string_view text) {
    pending_ += text;
    if (pending_.size() >= flushSize) {
        std::fwrite(pending_.data(), 1, pending_.size(), file_.get());
        pending_.clear();
    }
    return *this;
}

TextWriter& TextWriter::operator<<(int value) {
    std::array<char, 16> digits;
    char const* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return *this << std::string_view(digits.data(), end);
}

TextWriter& TextWriter::number(double value, int numDigits) {
    std::array<char, 64> digits;
    char const* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                          std::chars_format::general, numDigits)
                                .ptr;
    return *this << std::string_view(digits.data(), end);
}

}  // namespace koGeom::detail
