// STL: which of the two forms a file has, and the text form.
//
// Text is read word by word, so that it does not matter how it is broken into lines; only the names behind solid and endsolid go to
// the end of their line. A facet ends where its endfacet stands, or where the next one begins.

#include "toolkit/MeshFormat.h"
#include "toolkit/ReadReport.h"
#include "toolkit/detail/FaceList.h"
#include "toolkit/detail/TextCursor.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/meshNames.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/detail/stlFormat.h"
#include "toolkit/detail/weldCorners.h"
#include "toolkit/readMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Whether a word is the lower-case one, in any case.
bool isWord(std::string_view word, std::string_view wanted) {
    return word.size() == wanted.size() && std::equal(word.begin(), word.end(), wanted.begin(),
                                                      [](char a, char b) { return lower(a) == b; });
}

bool holdsWord(std::string_view text, std::string_view wanted) {
    return std::search(text.begin(), text.end(), wanted.begin(), wanted.end(),
                       [](char a, char b) { return lower(a) == b; }) != text.end();
}

/// Whether the first word is solid, as in most text files; some binary ones have it too.
bool beginsAsText(std::string_view head) {
    if (head.starts_with("\xEF\xBB\xBF"))
        head.remove_prefix(3);
    head.remove_prefix(std::min(head.find_first_not_of(" \t\r\n\v\f"), head.size()));
    constexpr std::string_view first = "solid";
    return isWord(head.substr(0, first.size()), first) &&
           (head.size() == first.size() ||
            std::string_view(" \t\r\n\v\f").find(head[first.size()]) != std::string_view::npos) &&
           head.find('\0') == std::string_view::npos;
}

/// Whether the size is that of the count of triangles that a binary file's head gives.
bool hasBinarySize(std::string_view head, std::uint64_t size) {
    return head.size() >= stlHeaderSize && stlTriangleCount(head.data()) > 0 &&
           size == stlHeaderSize + stlTriangleSize * std::uint64_t(stlTriangleCount(head.data()));
}

enum class Keyword { None, Solid, Facet, Normal, Outer, Loop, Vertex, EndLoop, EndFacet, EndSolid };

Keyword keywordOf(std::string_view word) {
    constexpr std::array<std::string_view, 9> words = {
        "solid", "facet", "normal", "outer", "loop", "vertex", "endloop", "endfacet", "endsolid"};
    for (std::size_t i = 0; i < words.size(); ++i)
        if (isWord(word, words[i]))
            return static_cast<Keyword>(i + 1);
    return Keyword::None;
}

/// Where in the line behind solid the first facet begins, in files without line ends; else the line's size.
std::size_t facetIn(std::string_view line) {
    constexpr std::string_view blanks = " \t\v\f";
    std::size_t before = line.size();  // the word facet, if it is the last one
    for (std::size_t begin = line.find_first_not_of(blanks); begin < line.size();) {
        std::size_t const end = std::min(line.find_first_of(blanks, begin), line.size());
        Keyword const found = keywordOf(line.substr(begin, end - begin));
        if (before < line.size() && (found == Keyword::Normal || found == Keyword::Outer))
            return before;
        before = found == Keyword::Facet ? begin : line.size();
        begin = line.find_first_not_of(blanks, end);
    }
    return line.size();
}

class TextStlReader {
public:
    TextStlReader(LoadedText const& text, Shift const& shift, ReadReport& report,
                  ReadOptions const& options)
        : cursor_(text),
          limit_(options, text.size()),
          shift_(shift),
          report_(report),
          options_(options) {}

    FileOutcome run(std::string const& fileName, CompactMesh& mesh);
    bool exceedsFloat() const { return exceedsFloat_; }

private:
    bool read();
    void keyword(Keyword keyword);
    void solid();
    void skipNormal();
    void vertex();
    void endFacet();
    void skipLine() { cursor_.passOver(cursor_.peekLine().size()); }
    void problem(std::int64_t line, char const* text) {
        addProblem(faces_.left, FacePlaces::Lines, line, text);
    }
    bool isCancelled() const {
        return options_.progress != nullptr && options_.progress->cancelled();
    }
    bool fits(std::uint64_t moreBytes) const {
        return limit_.allows(bytesIn(positions_) + bytesIn(corners_) + faces_.numBytes() +
                             moreBytes);
    }

    TextCursor cursor_;
    GrowthLimit const limit_;
    Shift const shift_;
    ReadReport& report_;
    ReadOptions const& options_;
    std::vector<float> positions_;  // of all facets' corners, 3 each
    std::vector<float> corners_;    // of the present facet
    FaceList faces_;
    std::int64_t facetLine_ = 0;  // 0: in none
    int numSolids_ = 0;
    int numEnds_ = 0;
    bool exceedsFloat_ = false;
    bool exceedsLimit_ = false;
};

FileOutcome TextStlReader::run(std::string const& fileName, CompactMesh& mesh) {
    if (!read())
        return FileOutcome::failed(Failure::Cancelled, "reading was cancelled");
    if (exceedsLimit_)
        return takesTooMuch(fileName);
    report_.variant = "text";
    report_.lines = cursor_.numLines();
    report_.vertices = static_cast<std::int64_t>(positions_.size() / 3);
    if (report_.vertices >= std::numeric_limits<int>::max())
        return FileOutcome::failed(Failure::Limit,
                                   fileName + ": more than 2^31 - 2 corners, what 32-bit indices "
                                              "can name; split the file");
    if (numSolids_ > 1)
        report_.notes.push_back("its " + std::to_string(numSolids_) +
                                " solids are one mesh here, in their order");
    mesh.copyVertices(static_cast<int>(report_.vertices),
                      reinterpret_cast<koGeom::MeshVertex const*>(positions_.data()));
    positions_ = {};
    // A facet's own problem names its first line and is known at its last.
    std::stable_sort(
        faces_.left.problems.begin(), faces_.left.problems.end(),
        [](ReadReport::Problem const& a, ReadReport::Problem const& b) { return a.line < b.line; });
    std::vector<FaceList> lists;
    lists.push_back(std::move(faces_));
    return fillTriangles(lists, FacePlaces::Lines, fileName, mesh, report_, options_);
}

bool TextStlReader::read() {
    constexpr int wordsPerQuestion = 1 << 14;
    for (int numWords = 0; cursor_.toWord() && !exceedsLimit_; ++numWords) {
        if (numWords % wordsPerQuestion == 0) {
            if (isCancelled())
                return false;
            exceedsLimit_ = !fits(0);
        }
        std::int64_t const line = cursor_.line();
        std::string_view const word = cursor_.word();
        Keyword const found = keywordOf(word);
        if (found == Keyword::None) {
            ++report_.unknownLines;
            problem(line, "a word that means nothing in this format; line skipped");
            skipLine();
        } else {
            keyword(found);
        }
    }
    if (facetLine_ != 0) {
        problem(cursor_.numLines(), "the file ends within a facet");
        report_.cutShort.push_back({"facets", static_cast<std::int64_t>(faces_.numFaces())});
        endFacet();
    } else if (numEnds_ < numSolids_) {
        problem(cursor_.numLines(), "the file ends without endsolid");
        report_.doubts.push_back(
            "ends without endsolid: it may have been cut short behind a facet");
    }
    return true;
}

void TextStlReader::keyword(Keyword keyword) {
    switch (keyword) {
    case Keyword::Solid:
        return solid();
    case Keyword::Facet:
        endFacet();
        facetLine_ = cursor_.line();
        return;
    case Keyword::Normal:
        return skipNormal();
    case Keyword::Vertex:
        return vertex();
    case Keyword::EndFacet:
        return endFacet();
    case Keyword::EndSolid:
        endFacet();
        ++numEnds_;
        skipLine();
        return;
    default:
        return;
    }
}

void TextStlReader::solid() {
    endFacet();
    std::string_view const line = cursor_.peekLine();
    std::string_view const name = line.substr(0, facetIn(line));
    cursor_.passOver(name.size());
    if (numSolids_++ == 0)
        report_.name = meshNameOf(name.substr(0, name.find_last_not_of(" \t\v\f") + 1));
}

/// What a facet's normal says follows from its corners.
void TextStlReader::skipNormal() {
    for (int i = 0; i < 3 && !cursor_.isLineAtEnd(); ++i) {
        if (keywordOf(cursor_.peek()) != Keyword::None)
            return;
        cursor_.word();
    }
}

void TextStlReader::vertex() {
    std::int64_t const line = cursor_.line();
    if (facetLine_ == 0)
        facetLine_ = line;
    bool complete = true;
    bool isTold = false;
    std::array<float, 3> position{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!cursor_.toWord() || keywordOf(cursor_.peek()) != Keyword::None) {
            complete = false;
            break;
        }
        isTold |= cursor_.number(shift_[axis], position[axis], exceedsFloat_) == NumberToken::Bad;
    }
    bool const finite =
        std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
    if (char const* const fault = countVertexFaults(report_, complete, isTold, finite))
        problem(line, fault);
    corners_.insert(corners_.end(), position.begin(), position.end());
}

/// A facet of more corners than three, which the format does not allow, gives each triangle of its fan corners of its own.
void TextStlReader::endFacet() {
    if (facetLine_ == 0)
        return;
    std::size_t const numCorners = corners_.size() / 3;
    if (numCorners < 3) {
        ++faces_.numDropped;
        ++faces_.left.dropped.tooFewCorners;
        problem(facetLine_, "facet with fewer than three corners; dropped");
    } else if (numCorners > 3) {
        problem(facetLine_, "facet with more than three corners; cut into triangles");
    }
    constexpr std::size_t bytesPerTriangle = 9 * sizeof(float) + 3 * sizeof(int) + 8;
    exceedsLimit_ = exceedsLimit_ || (numCorners > 3 && !fits(numCorners * bytesPerTriangle));
    for (std::size_t k = 2; k < numCorners && !exceedsLimit_; ++k) {
        for (std::size_t const corner : {std::size_t(0), k - 1, k}) {
            // Beyond what an int can name the count is refused in the end, whatever stands here.
            faces_.corners.push_back(static_cast<int>(positions_.size() / 3));
            positions_.insert(positions_.end(), &corners_[3 * corner], &corners_[3 * corner] + 3);
        }
        faces_.endFace(facetLine_, 3);
    }
    corners_.clear();
    facetLine_ = 0;
}

/// What people name .stl that is none, by its first bytes.
struct OtherContent {
    std::string_view begin;
    char const* what;
};
constexpr std::array<OtherContent, 9> otherContents = {
    {{"\x1F\x8B", "is compressed (gzip); unpack it first"},
     {"PK\x03\x04", "is an archive (ZIP); unpack it first"},
     {"7z\xBC\xAF", "is an archive (7z); unpack it first"},
     {"\xFD"
      "7zXZ",
      "is compressed (xz); unpack it first"},
     {"\x28\xB5\x2F\xFD", "is compressed (Zstandard); unpack it first"},
     {"BZh", "is compressed (bzip2); unpack it first"},
     {"%PDF", "is a PDF document, no STL file"},
     {"\xFF\xFE", "is text in UTF-16; save it as ASCII or UTF-8"},
     {"\xFE\xFF", "is text in UTF-16; save it as ASCII or UTF-8"}}};

/// Whether it has no character that no text has.
bool isText(std::string_view head) {
    return std::none_of(head.begin(), head.end(), [](char c) {
        bool const isControl = static_cast<unsigned char>(c) < ' ' || c == '\x7f';
        return isControl && std::string_view(" \t\r\n\v\f").find(c) == std::string_view::npos;
    });
}

/// Why content that has neither facets in text nor the size that its head tells can be no binary file either; null: it may be one.
char const* whyNoStl(std::string_view head) {
    auto const* const found =
        std::find_if(otherContents.begin(), otherContents.end(),
                     [head](OtherContent const& other) { return head.starts_with(other.begin); });
    if (found != otherContents.end())
        return found->what;
    return !head.empty() && isText(head) ? "is text, but no STL: it has no facets; check what it is"
                                         : nullptr;
}

bool isBinary(std::string_view head, std::uint64_t size) {
    return hasBinarySize(head, size) ||
           !(beginsAsText(head) || (holdsWord(head, "facet") && holdsWord(head, "vertex") &&
                                    head.find('\0') == std::string_view::npos));
}

}  // namespace

bool recognisesStl(std::string_view head, std::uint64_t size) {
    return hasBinarySize(head, size) ||
           (beginsAsText(head) && (holdsWord(head, "facet") || holdsWord(head, "endsolid")));
}

FileOutcome readTextStl(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                        ReadOptions const& options) {
    LoadedText text;
    if (FileOutcome const loaded = text.load(file, options); !loaded)
        return loaded;
    auto const read = [&](Shift const& shift, CompactMesh& readMesh, ReadReport& readReport,
                          bool& exceedsFloat) {
        TextStlReader reader(text, shift, readReport, options);
        FileOutcome const outcome = reader.run(file.name(), readMesh);
        exceedsFloat = reader.exceedsFloat();
        return outcome;
    };
    return readRecentred(mesh, report, options, read);
}

FileOutcome readStl(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options) {
    std::string head(
        static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), recognitionBytes)), '\0');
    if (!file.fetch(0, head.size(), head.data()))
        return cannotBeRead(file);
    bool const readsBinary = isBinary(head, file.size());
    char const* const whyNot =
        readsBinary && !hasBinarySize(head, file.size()) ? whyNoStl(head) : nullptr;
    if (whyNot != nullptr)
        return FileOutcome::failed(Failure::Unsupported, file.name() + ": " + whyNot);
    FileOutcome outcome = readsBinary ? readBinaryStl(file, mesh, report, options)
                                      : readTextStl(file, mesh, report, options);
    if (outcome && options.weld)
        outcome = requireMemoryFor(file, stlWeldBytesPerTriangle * mesh.getNumTriangles(), options);
    if (outcome && options.weld)
        weldCorners(mesh, report);
    return outcome;
}

}  // namespace trimora
