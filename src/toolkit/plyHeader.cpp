// The header of a PLY file: lines of words that tell the elements of the body and their properties, in order.

#include "toolkit/detail/PlyHeader.h"

#include "toolkit/detail/FaceList.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/textLines.h"

#include <algorithm>
#include <array>
#include <utility>

namespace trimora {

namespace {

constexpr std::size_t maxHeaderSize = 1u << 20;
constexpr std::size_t maxProperties = 1000;  // of all elements; programs write a few dozen

constexpr std::array<std::pair<std::string_view, PlyType>, 18> typeNames = {
    {{"char", PlyType::Int8},
     {"int8", PlyType::Int8},
     {"uchar", PlyType::UInt8},
     {"uint8", PlyType::UInt8},
     {"short", PlyType::Int16},
     {"int16", PlyType::Int16},
     {"ushort", PlyType::UInt16},
     {"uint16", PlyType::UInt16},
     {"int", PlyType::Int32},
     {"int32", PlyType::Int32},
     {"uint", PlyType::UInt32},
     {"uint32", PlyType::UInt32},
     {"int64", PlyType::Int64},
     {"uint64", PlyType::UInt64},
     {"float", PlyType::Float32},
     {"float32", PlyType::Float32},
     {"double", PlyType::Float64},
     {"float64", PlyType::Float64}}};

/// The words of one line.
std::vector<std::string_view> wordsOf(std::string_view line) {
    constexpr std::string_view blanks = " \t\v\f\r";
    std::vector<std::string_view> words;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        if (line.empty())
            return words;
        std::string_view const word = line.substr(0, line.find_first_of(blanks));
        words.push_back(word);
        line.remove_prefix(word.size());
    }
}

class HeaderReader {
public:
    HeaderReader(InputFile const& file, PlyHeader& header, ReadReport& report)
        : file_(file), header_(header), report_(report) {}

    FileOutcome run();

private:
    FileOutcome fetch();
    FileOutcome readLines(std::string_view rest);
    /// Each returns what is wrong with the line, or nothing.
    std::string readLine(std::vector<std::string_view> const& words);
    std::string readFormat(std::vector<std::string_view> const& words);
    std::string readElement(std::vector<std::string_view> const& words);
    std::string readProperty(std::vector<std::string_view> const& words);
    static bool findType(std::string_view name, PlyType& type);
    FileOutcome failed(std::string const& what) const {
        return FileOutcome::failed(FileOutcome::Failure::Unsupported, file_.name() + ": " + what);
    }

    InputFile const& file_;
    PlyHeader& header_;
    ReadReport& report_;
    std::string text_;
    bool hasFormat_ = false;
    bool isAtEnd_ = false;
    std::size_t numProperties_ = 0;
};

FileOutcome HeaderReader::run() {
    if (FileOutcome const fetched = fetch(); !fetched)
        return fetched;
    if (text_.starts_with("PLY"))  // then all of it is in capitals
        std::transform(text_.begin(), text_.end(), text_.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
    std::string_view const text = text_;
    std::size_t const firstEnd = text.find_first_of("\r\n");
    std::vector<std::string_view> const first = wordsOf(text.substr(0, firstEnd));
    if (first.empty() || first[0] != "ply")
        return failed("does not begin with 'ply', as a PLY file does; check what the file is");
    header_.endsLinesByCr = firstEnd != std::string_view::npos && text[firstEnd] == '\r' &&
                            text.substr(firstEnd, 2) != "\r\n";
    FileOutcome outcome = readLines(text);
    if (outcome && !hasFormat_)
        outcome = failed("its header has no line 'format', so that its body could be anything");
    return outcome;
}

FileOutcome HeaderReader::fetch() {
    text_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(file_.size(), maxHeaderSize)));
    return file_.fetch(0, text_.size(), text_.data()) ? FileOutcome::done() : cannotBeRead(file_);
}

FileOutcome HeaderReader::readLines(std::string_view rest) {
    char const lineEnd = header_.endsLinesByCr ? '\r' : '\n';
    while (!isAtEnd_) {
        std::size_t const end = rest.find(lineEnd);
        bool const isLast = end == std::string_view::npos;
        // What a file ends in may well be the last line, without an end of its own.
        if (isLast && (text_.size() < file_.size() || rest.empty()))
            return failed(text_.size() < file_.size()
                              ? "its header goes on beyond 1 MiB; no program writes such ones"
                              : "ends within its header; it is not whole");
        ++header_.numLines;
        std::string const wrong = readLine(wordsOf(rest.substr(0, end)));
        if (!wrong.empty())
            return failed("line " + std::to_string(header_.numLines) + ": " + wrong);
        rest.remove_prefix(isLast ? rest.size() : end + 1);
    }
    header_.bodyBegin = text_.size() - rest.size();
    return FileOutcome::done();
}

std::string HeaderReader::readLine(std::vector<std::string_view> const& words) {
    if (words.empty() || words[0] == "comment" || words[0] == "obj_info" ||
        (words[0] == "ply" && header_.numLines == 1))
        return {};
    if (words[0] == "format")
        return readFormat(words);
    if (words[0] == "element")
        return readElement(words);
    if (words[0] == "property")
        return readProperty(words);
    if (words[0] == "end_header") {
        isAtEnd_ = true;
        return {};
    }
    ++report_.unknownLines;
    std::string text = "'";
    text.append(words[0].substr(0, 20)).append("' is no word of this format; line skipped");
    addProblem(report_, FacePlaces::Lines, header_.numLines, std::move(text));
    return {};
}

std::string HeaderReader::readFormat(std::vector<std::string_view> const& words) {
    using Encoding = PlyHeader::Encoding;
    std::string_view const name = words.size() > 1 ? words[1] : std::string_view();
    if (hasFormat_)
        return "a second line 'format'";
    if (name == "ascii")
        header_.encoding = Encoding::Text;
    else if (name == "binary_little_endian")
        header_.encoding = Encoding::LittleEndian;
    else if (name == "binary_big_endian")
        header_.encoding = Encoding::BigEndian;
    else
        return "the format is none of ascii, binary_little_endian and binary_big_endian";
    if (words.size() < 3 || words[2] != "1.0")
        report_.notes.push_back((words.size() < 3
                                     ? "its header tells no version of the format"
                                     : "is of version " + std::string(words[2].substr(0, 20)) +
                                           " of the format, which is not known") +
                                std::string("; it was read as version 1.0"));
    hasFormat_ = true;
    return {};
}

std::string HeaderReader::readElement(std::vector<std::string_view> const& words) {
    PlyElement element;
    if (words.size() < 3 || !parseWhole(words[2], element.count) || element.count < 0)
        return "an element takes a name and how many there are, a number from 0 on";
    element.name = words[1];
    element.isRepeated =
        std::any_of(header_.elements.begin(), header_.elements.end(),
                    [&element](PlyElement const& other) { return other.name == element.name; });
    if (++numProperties_ > maxProperties)
        return "more than 1000 elements and properties";
    header_.elements.push_back(std::move(element));
    return {};
}

std::string HeaderReader::readProperty(std::vector<std::string_view> const& words) {
    if (header_.elements.empty())
        return "a property before any element";
    PlyElement& element = header_.elements.back();
    PlyProperty property;
    property.isList = words.size() > 1 && words[1] == "list";
    std::size_t const nameAt = property.isList ? 4 : 2;
    if (words.size() <= nameAt)
        return "a property takes a type and a name, or 'list', two types and a name";
    if (property.isList && !findType(words[2], property.countType))
        return "'" + std::string(words[2].substr(0, 20)) + "' is no type";
    if (!findType(words[nameAt - 1], property.type))
        return "'" + std::string(words[nameAt - 1].substr(0, 20)) + "' is no type";
    property.name = words[nameAt];
    property.isRepeated = element.find(property.name) != PlyElement::none;
    if (property.isRepeated)
        addProblem(report_, FacePlaces::Lines, header_.numLines,
                   "a second property of that name; the first one counts");
    if (++numProperties_ > maxProperties)
        return "more than 1000 elements and properties";
    element.properties.push_back(std::move(property));
    return {};
}

bool HeaderReader::findType(std::string_view name, PlyType& type) {
    auto const* const found =
        std::find_if(typeNames.begin(), typeNames.end(),
                     [name](auto const& known) { return known.first == name; });
    if (found == typeNames.end())
        return false;
    type = found->second;
    return true;
}

}  // namespace

bool PlyElement::hasLists() const {
    return std::any_of(properties.begin(), properties.end(),
                       [](PlyProperty const& property) { return property.isList; });
}

std::size_t PlyElement::leastSize() const {
    std::size_t size = 0;
    for (PlyProperty const& property : properties)
        size += sizeOf(property.isList ? property.countType : property.type);
    return size;
}

std::size_t PlyElement::find(std::string_view propertyName) const {
    for (std::size_t i = 0; i < properties.size(); ++i)
        if (properties[i].name == propertyName && !properties[i].isRepeated)
            return i;
    return none;
}

FileOutcome readPlyHeader(InputFile const& file, PlyHeader& header, ReadReport& report) {
    return HeaderReader(file, header, report).run();
}

}  // namespace trimora
