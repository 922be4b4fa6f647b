// Text of an OBJ file to the records of a piece. One pass over the bytes without a test for the end: the padding ends
// the last line, and a line end ends every token. Lines that continue after a backslash are taken as blanks where
// blanks are skipped.

#include "toolkit/detail/ObjPiece.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/detail/textLines.h"
#include "toolkit/detail/textNumbers.h"

#include "trimora/contract/koString/decimals.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

enum CharClass : std::uint8_t { Blank = 1, LineEnd = 2, Backslash = 4 };

constexpr std::array<std::uint8_t, 256> charClasses = [] {
    std::array<std::uint8_t, 256> classes{};
    for (char const c : {' ', '\t', '\v', '\f'})
        classes[static_cast<unsigned char>(c)] = Blank;
    for (char const c : {'\n', '\r'})
        classes[static_cast<unsigned char>(c)] = LineEnd;
    classes[static_cast<unsigned char>('\\')] = Backslash;
    return classes;
}();

unsigned classOf(char c) {
    return charClasses[static_cast<unsigned char>(c)];
}

bool isBlank(char c) {
    return classOf(c) == Blank;
}

bool isLineEnd(char c) {
    return classOf(c) == LineEnd;
}

/// Where a line ends in a backslash, the next one belongs to it.
bool continues(char const* p) {
    return *p == '\\' && isLineEnd(p[1]);
}

bool endsToken(char const* p) {
    unsigned const found = classOf(*p);
    return found != 0 && (found != Backslash || isLineEnd(p[1]));
}

/// What goes into no mesh but is no fault of the file.
constexpr std::array<std::string_view, 30> skippedWords = {
    "g",    "o",          "s",         "mg",    "mtllib",   "usemtl",   "usemap", "maplib",
    "lod",  "bevel",      "bmat",      "step",  "c_interp", "d_interp", "deg",    "cstype",
    "parm", "trim",       "hole",      "scrv",  "sp",       "end",      "con",    "vp",
    "call", "shadow_obj", "trace_obj", "ctech", "stech",    "csh"};
constexpr std::array<std::string_view, 6> elementWords = {"l", "p", "curv", "curv2", "surf", "bsp"};

template <class Words>
bool contains(Words const& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

constexpr std::array<std::string_view, 5> meshWords = {"v", "vt", "vn", "f", "fo"};

class ObjParser {
public:
    ObjParser(char const* begin, char const* end, Shift const& shift, ObjPiece& piece)
        : p_(begin), end_(end), shift_(shift), piece_(piece) {
        piece_.vertexOf.form = ObjCorners::Form::Stored;
    }

    void run();

private:
    struct Corner {
        std::int64_t vertex = 0;  // as written; 0 for none
        std::int64_t texture = 0;
        std::int64_t normal = 0;
    };

    void line();
    void otherLine();
    void vertexLine();
    void attributeLine(std::vector<float>& values, int dimension);
    void faceLine();
    bool corner(Corner& corner);
    void addCorner(Corner const& corner);
    void addTo(ObjCorners& corners, std::int64_t index, std::int64_t numElements,
               std::int64_t vertexIndex);
    void dropFace(std::size_t firstCorner, std::int64_t& count, char const* why);

    enum class Number { Good, Absent, Bad };
    Number number(float& value, double shift = 0.0);
    bool index(std::int64_t& value);

    void skipBlanks();
    void skipComment();
    void skipLine();
    bool atLineEnd() const { return isLineEnd(*p_) || *p_ == '#'; }
    std::string_view token() const;
    void endLine();

    char const* p_;
    char const* const end_;
    Shift const shift_;
    ObjPiece& piece_;
    std::uint32_t line_ = 0;
    std::uint32_t firstLine_ = 0;  // of the present logical line
    std::size_t numCorners_ = 0;
};

void ObjParser::run() {
    while (p_ < end_)
        line();
    piece_.numLines = line_;
}

void ObjParser::line() {
    skipBlanks();
    firstLine_ = line_;
    if (isLineEnd(*p_)) {
        endLine();
        return;
    }
    if (*p_ == '#') {
        skipComment();
        return;
    }
    ++piece_.numContentLines;
    if (*p_ == 'v' && endsToken(p_ + 1)) {
        p_ += 1;
        vertexLine();
    } else if (*p_ == 'f' && endsToken(p_ + 1)) {
        p_ += 1;
        faceLine();
    } else if (*p_ == 'v' && p_[1] == 'n' && endsToken(p_ + 2)) {
        p_ += 2;
        attributeLine(piece_.normals, 3);
    } else if (*p_ == 'v' && p_[1] == 't' && endsToken(p_ + 2)) {
        p_ += 2;
        attributeLine(piece_.textureCoordinates, 2);
    } else if (*p_ == 'f' && p_[1] == 'o' && endsToken(p_ + 2)) {
        p_ += 2;  // the old word for a face
        faceLine();
    } else {
        otherLine();
    }
    skipLine();
}

void ObjParser::otherLine() {
    std::string_view const word = token();
    if (contains(elementWords, word)) {
        ++piece_.left.otherElements;
    } else if (!contains(skippedWords, word)) {
        ++piece_.left.unknownLines;
        std::string text = "'";
        text.append(word.substr(0, 20)).append("' is no word of this format; line skipped");
        piece_.addProblem(firstLine_, std::move(text));
    }
}

void ObjParser::vertexLine() {
    std::array<float, 3> position{};
    bool complete = true;
    bool finite = true;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        float& x = position[axis];
        Number const result = number(x, shift_[axis]);
        complete &= result == Number::Good;
        finite &= std::isfinite(x);
    }
    for (float const x : position)
        piece_.positions.push_back(x);
    if (!complete) {
        ++piece_.left.incompleteVertices;
        piece_.addProblem(firstLine_,
                          finite ? "vertex with fewer than three numbers; the others are 0"
                                 : "vertex with a coordinate that is no number; it is NaN");
    } else if (!finite) {
        piece_.addProblem(firstLine_, "vertex with a coordinate that is NaN or infinite");
    }
    piece_.left.nonfiniteVertices += !finite;
    skipBlanks();
    piece_.left.verticesWithMore += !atLineEnd();
}

void ObjParser::attributeLine(std::vector<float>& values, int dimension) {
    bool good = true;
    for (int i = 0; i < dimension; ++i) {
        float x = 0.0f;
        Number const result = number(x);
        // A texture coordinate may be a single number.
        good &= result == Number::Good || (result == Number::Absent && dimension == 2 && i == 1);
        values.push_back(x);
    }
    if (!good)
        piece_.addProblem(firstLine_,
                          dimension == 2
                              ? "texture coordinate with a part that is absent or no number"
                              : "normal with a part that is absent or no number");
}

void ObjParser::faceLine() {
    std::size_t const firstCorner = numCorners_;
    for (;;) {
        skipBlanks();
        if (atLineEnd())
            break;
        Corner read;
        if (!corner(read)) {
            dropFace(firstCorner, piece_.left.dropped.notANumber,
                     "face with a corner that is no index; dropped");
            return;
        }
        addCorner(read);
    }
    std::size_t const numCorners = numCorners_ - firstCorner;
    if (numCorners < 3) {
        dropFace(firstCorner, piece_.left.dropped.tooFewCorners,
                 "face with fewer than three corners; dropped");
        return;
    }
    piece_.addFace(firstLine_, static_cast<std::uint32_t>(numCorners));
}

/// v, v/t, v//n or v/t/n; what stands between slashes may be absent.
bool ObjParser::corner(Corner& corner) {
    if (!index(corner.vertex))
        return false;
    if (*p_ == '/') {
        ++p_;
        if (*p_ != '/' && !endsToken(p_) && !index(corner.texture))
            return false;
        if (*p_ == '/') {
            ++p_;
            if (!endsToken(p_) && !index(corner.normal))
                return false;
        }
    }
    return endsToken(p_);
}

/// The first lines of both are what nearly all corners of a file need.
inline void ObjParser::addCorner(Corner const& corner) {
    bool const isOrdinary = corner.vertex > 0 && corner.vertex <= INT32_MAX;
    if (isOrdinary)
        piece_.vertexOf.indices.push_back(static_cast<int>(corner.vertex - 1));
    else
        addTo(piece_.vertexOf, corner.vertex == 0 ? INT64_MAX : corner.vertex, piece_.numVertices(),
              0);

    using Form = ObjCorners::Form;
    auto const isImplied = [&corner](ObjCorners const& corners, std::int64_t index) {
        return (corners.form == Form::Missing && index == 0) ||
               (corners.form == Form::SameAsVertex && index == corner.vertex && index > 0);
    };
    if (!isImplied(piece_.textureOf, corner.texture))
        addTo(piece_.textureOf, corner.texture, piece_.numTextureCoordinates(), corner.vertex);
    if (!isImplied(piece_.normalOf, corner.normal))
        addTo(piece_.normalOf, corner.normal, piece_.numNormals(), corner.vertex);
    ++numCorners_;
}

/// `index` as written, 0 for none.
void ObjParser::addTo(ObjCorners& corners, std::int64_t index, std::int64_t numElements,
                      std::int64_t vertexIndex) {
    using Form = ObjCorners::Form;
    if (corners.form == Form::Missing && numCorners_ == 0 && index == vertexIndex && index > 0) {
        corners.form = Form::SameAsVertex;
        return;
    }
    if (corners.form == Form::SameAsVertex) {
        corners.indices = piece_.vertexOf.indices;
        corners.indices.resize(numCorners_);
    } else if (corners.form == Form::Missing) {
        corners.indices.assign(numCorners_, ObjCorners::missing);
    }
    corners.form = Form::Stored;

    int stored = ObjCorners::missing;
    if (index > 0) {
        stored = static_cast<int>(std::min<std::int64_t>(index - 1, INT32_MAX));
    } else if (index < 0) {
        std::int64_t const fromHere = numElements + index;
        stored = fromHere > INT32_MIN ? static_cast<int>(fromHere) : INT32_MAX;
        if (fromHere > INT32_MIN)
            corners.relative.push_back(static_cast<std::uint32_t>(corners.indices.size()));
    }
    corners.indices.push_back(stored);
}

void ObjParser::dropFace(std::size_t firstCorner, std::int64_t& count, char const* why) {
    ++count;
    ++piece_.numDroppedFaces;
    piece_.addProblem(firstLine_, why);
    for (ObjCorners* const corners : {&piece_.vertexOf, &piece_.textureOf, &piece_.normalOf}) {
        if (corners->form == ObjCorners::Form::Stored)
            corners->indices.resize(firstCorner);
        while (!corners->relative.empty() && corners->relative.back() >= firstCorner)
            corners->relative.pop_back();
    }
    numCorners_ = firstCorner;
}

inline ObjParser::Number ObjParser::number(float& value, double shift) {
    skipBlanks();
    if (atLineEnd())
        return Number::Absent;
    return readCoordinate(p_, endsToken, shift, value, piece_.exceedsFloat) == NumberToken::Good
               ? Number::Good
               : Number::Bad;
}

/// A whole number, 0 included; what is beyond 32 bits stays beyond them.
inline bool ObjParser::index(std::int64_t& value) {
    bool const negative = *p_ == '-';
    p_ += negative || *p_ == '+';
    char const* const first = p_;
    std::uint64_t magnitude = 0;
    for (; koString::isDigit(*p_); ++p_)
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(*p_ - '0');
    if (p_ == first)
        return false;
    constexpr std::uint64_t beyond = 1ull << 40;
    constexpr int safeDigits = 19;
    if (p_ - first > safeDigits &&
        std::find_if(first, p_, [](char c) { return c != '0'; }) < p_ - safeDigits)
        magnitude = beyond;
    auto const bounded = static_cast<std::int64_t>(std::min(magnitude, beyond));
    value = negative ? -bounded : bounded;
    return true;
}

inline void ObjParser::skipBlanks() {
    for (;;) {
        while (isBlank(*p_))
            ++p_;
        if (!continues(p_))
            return;
        ++p_;
        endLine();
    }
}

/// A backslash at the end of a comment continues nothing: it is the end of somebody's path.
void ObjParser::skipComment() {
    while (!isLineEnd(*p_))
        ++p_;
    endLine();
}

void ObjParser::skipLine() {
    for (; !isLineEnd(*p_); ++p_) {
        if (*p_ == '#') {
            skipComment();
            return;
        }
        if (continues(p_)) {
            ++p_;
            endLine();
            --p_;
        }
    }
    endLine();
}

std::string_view ObjParser::token() const {
    char const* p = p_;
    while (!endsToken(p))
        ++p;
    return {p_, static_cast<std::size_t>(p - p_)};
}

/// Steps over a line end: LF, CR LF or CR.
void ObjParser::endLine() {
    if (p_ >= end_) {  // the padding ends the last line where the file does not
        line_ += p_ == end_ && !isLineEnd(p_[-1]);
        p_ = end_ + 1;
        return;
    }
    p_ += *p_ == '\r' && p_[1] == '\n' ? 2 : 1;
    ++line_;
}

}  // namespace

bool recognisesObj(std::string_view head, std::uint64_t /*size*/) {
    if (head.find('\0') != std::string_view::npos)
        return false;
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (head.starts_with(byteOrderMark))
        head.remove_prefix(byteOrderMark.size());
    for (TextLines lines(head); lines.next();) {
        std::string_view const word = lines.word();
        if (!word.empty())
            return contains(meshWords, word) || contains(skippedWords, word) ||
                   contains(elementWords, word);
    }
    return false;
}

void ObjPiece::addProblem(std::int64_t line, std::string text) {
    ++left.numProblems;
    if (left.problems.size() < ReadReport::maxProblems)
        left.problems.push_back({line, std::move(text)});
}

void parseObjPiece(char const* begin, char const* end, Shift const& shift, ObjPiece& piece) {
    ObjParser(begin, end, shift, piece).run();
}

}  // namespace trimora
