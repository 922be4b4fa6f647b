// The body of a PLY file of text: one line an item, in the order of the elements. The lines that are not empty are counted
// first, piece by piece, so that each piece knows which items its lines are, and then parsed; both on the shared pool.

#include "toolkit/detail/PlyReading.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/textLines.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>

namespace trimora {

namespace {

using Failure = FileOutcome::Failure;

constexpr std::size_t pieceSize = 1u << 18;
constexpr std::size_t padding = 8;  // line ends behind the text: nothing else ends its last number

bool isLineEnd(char c) {
    return c == '\n' || c == '\r';
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

constexpr auto endsToken = [](char const* p) { return isLineEnd(*p) || isBlank(*p); };

char const* skipBlanks(char const* p) {
    while (isBlank(*p))
        ++p;
    return p;
}

/// Some lines of the body.
struct Piece {
    char const* begin = nullptr;
    char const* end = nullptr;
    std::int64_t numLines = 0;
    std::int64_t numItems = 0;  // lines that are not empty
    std::int64_t firstLine = 0;
    std::int64_t firstItem = 0;

    FaceList* faces = nullptr;
    ReadReport left;                       // of vertices
    std::vector<std::int64_t> numRounded;  // one a column
    bool exceedsFloat = false;
};

/// Items [begin, end) of the body are those of one element.
struct ElementRange {
    PlyElement const* element = nullptr;
    PlyRole role = PlyRole::Other;
    std::size_t indexList = PlyElement::none;
    std::size_t textureList = PlyElement::none;
    std::int64_t begin = 0;
    std::int64_t end = 0;
};

/// Runs work(piece) for all pieces on the shared pool, until the progress is cancelled.
template <class Work>
class ForPieces : public koUtil::ThreadedChunkAlg {
public:
    ForPieces(std::vector<Piece>& pieces, Work work) : pieces_(pieces), work_(work) {}
    void executeChunk(int chunkIndex, int threadIndex) override {
        int const numPieces = static_cast<int>(pieces_.size());
        int const end = getBeginIndex(chunkIndex + 1, numChunks, numPieces);
        for (int i = getBeginIndex(chunkIndex, numChunks, numPieces); i < end; ++i)
            if (!cancelled(threadIndex))
                work_(pieces_[static_cast<std::size_t>(i)]);
        updateProgress(threadIndex, static_cast<double>(chunkIndex + 1) / numChunks);
    }

private:
    std::vector<Piece>& pieces_;
    Work work_;
};

class TextBody {
public:
    explicit TextBody(PlyReading& reading) : reading_(reading) {}

    FileOutcome run();

private:
    FileOutcome fetch();
    void cut();
    void countLines(Piece& piece) const;
    FileOutcome findRanges();
    void parse(Piece& piece) const;
    void reserveFaces(Piece& piece, ElementRange const& range, std::int64_t item) const;
    // Each returns where in the line it stopped.
    char const* parseItem(Piece& piece, char const* p, ElementRange const& range, std::int64_t item,
                          std::int64_t line) const;
    char const* parseVertex(Piece& piece, char const* p, ElementRange const& range,
                            std::int64_t item, std::int64_t line) const;
    bool parseCell(Piece& piece, char const*& p, std::size_t columnIndex, std::int64_t item) const;
    char const* parseFace(Piece& piece, char const* p, ElementRange const& range,
                          std::int64_t line) const;
    void endFace(Piece& piece, std::int64_t line, std::size_t firstCorner, bool isGood) const;
    void endStrip(Piece& piece, std::int64_t line, std::vector<int> const& strip,
                  bool isGood) const;
    bool requireRoom(std::uint64_t bytes) const;
    void report();

    char const* nextLine(char const* p) const {
        return static_cast<char const*>(
                   std::memchr(p, lineEnd_, static_cast<std::size_t>(textEnd_ + 1 - p))) +
               1;
    }
    template <class Work>
    void forPieces(Work work, koUtil::Progress* progress) {
        ForPieces<Work> alg(pieces_, work);
        alg.setProgress(progress);
        (pieces_.size() > 1 ? koUtil::ThreadPool::get()
                            : koUtil::ThreadPool::getSingleThreadedPool())
            .run(alg);
    }

    PlyReading& reading_;
    char const lineEnd_ = reading_.header.endsLinesByCr ? '\r' : '\n';
    std::unique_ptr<char[]> bytes_;
    char const* text_ = nullptr;
    char const* textEnd_ = nullptr;
    std::vector<Piece> pieces_;
    std::vector<ElementRange> ranges_;
    std::vector<int> columnOf_;  // of each property of the vertices; -1: none
    std::int64_t numItems_ = 0;
    std::int64_t numLines_ = 0;
    std::optional<GrowthLimit> limit_;
    mutable std::atomic<std::uint64_t> numBytes_{0};  // of faces, as all threads read them
    mutable std::atomic<bool> exceedsLimit_{false};
};

FileOutcome TextBody::run() {
    FileOutcome outcome = requireTextFits(reading_.file, reading_.options);
    if (outcome)
        outcome = fetch();
    if (!outcome)
        return outcome;
    cut();
    forPieces([this](Piece& piece) { countLines(piece); }, nullptr);
    outcome = findRanges();
    if (!outcome)
        return outcome;
    std::uint64_t const numVertices = static_cast<std::uint64_t>(reading_.mesh.getNumVertices());
    limit_.emplace(reading_.options, reading_.file.size() + sizeof(float) *
                                                                reading_.columns.floatsPerVertex() *
                                                                numVertices);
    forPieces([this](Piece& piece) { parse(piece); }, reading_.options.progress);
    if (exceedsLimit_)
        return takesTooMuch(reading_.file.name());
    if (reading_.options.progress != nullptr && reading_.options.progress->cancelled())
        return FileOutcome::failed(Failure::Cancelled, "reading was cancelled");
    report();
    return outcome;
}

FileOutcome TextBody::fetch() {
    std::uint64_t const begin = reading_.header.bodyBegin;
    auto const size = static_cast<std::size_t>(reading_.file.size() - begin);
    bytes_ = std::make_unique_for_overwrite<char[]>(size + padding);
    std::memset(bytes_.get() + size, lineEnd_, padding);
    text_ = bytes_.get();
    textEnd_ = text_ + size;
    return reading_.file.fetch(begin, size, bytes_.get()) ? FileOutcome::done()
                                                          : cannotBeRead(reading_.file);
}

void TextBody::cut() {
    for (char const* begin = text_; begin < textEnd_;) {
        char const* end = textEnd_;
        if (static_cast<std::size_t>(textEnd_ - begin) > pieceSize)
            end = std::min(nextLine(begin + pieceSize), textEnd_);
        pieces_.emplace_back();
        pieces_.back().begin = begin;
        pieces_.back().end = end;
        begin = end;
    }
    reading_.faces.resize(pieces_.size());
    for (std::size_t i = 0; i < pieces_.size(); ++i)
        pieces_[i].faces = &reading_.faces[i];
}

void TextBody::countLines(Piece& piece) const {
    for (char const* p = piece.begin; p < piece.end; p = nextLine(p)) {
        ++piece.numLines;
        piece.numItems += !isLineEnd(*skipBlanks(p));
    }
}

/// Which items belong to which element, as far as there are lines for them.
FileOutcome TextBody::findRanges() {
    numLines_ = reading_.header.numLines;
    for (Piece& piece : pieces_) {
        piece.firstLine = numLines_ + 1;
        piece.firstItem = numItems_;
        numLines_ += piece.numLines;
        numItems_ += piece.numItems;
    }
    std::int64_t next = 0;
    for (PlyElement const& element : reading_.header.elements) {
        // An item without properties has nothing to stand on a line.
        std::int64_t const left = element.properties.empty() ? element.count : numItems_ - next;
        std::int64_t const whole = std::min(element.count, left);
        std::size_t const list = findIndexList(element);
        PlyRole role = roleOf(element);
        if (role != PlyRole::Vertices && list == PlyElement::none)
            role = PlyRole::Other;
        if (whole < element.count)
            reportCutOff(reading_, element, whole, numLines_);
        std::int64_t const end = element.properties.empty() ? next : next + whole;
        ranges_.push_back({&element, role, list, findTextureList(reading_, element), next, end});
        if (role == PlyRole::Other)
            addOtherElements(reading_, element, whole);
        if (role == PlyRole::Vertices) {
            if (FileOutcome const made = allocateVertices(reading_, whole); !made)
                return made;
            columnOf_.assign(element.properties.size(), -1);
            std::vector<PlyColumn> const& columns = reading_.columns.columns();
            for (std::size_t i = 0; i < columns.size(); ++i)
                columnOf_[columns[i].property] = static_cast<int>(i);
        }
        next = end;
    }
    if (next < numItems_)
        reading_.report.notes.push_back(
            "goes on for " + std::to_string(numItems_ - next) +
            " lines behind the last of its elements; they were not read");
    return FileOutcome::done();
}

void TextBody::parse(Piece& piece) const {
    piece.numRounded.assign(columnOf_.size(), 0);
    auto range = ranges_.begin();
    std::int64_t item = piece.firstItem;
    std::int64_t line = piece.firstLine;
    for (char const* p = piece.begin; p < piece.end; p = nextLine(p), ++line) {
        p = skipBlanks(p);
        if (isLineEnd(*p))
            continue;
        while (range != ranges_.end() && item >= range->end)
            ++range;
        if (range == ranges_.end() || exceedsLimit_)
            break;
        if (range->role == PlyRole::Faces && piece.faces->places.capacity() == 0)
            reserveFaces(piece, *range, item);
        p = parseItem(piece, p, *range, item - range->begin, line);
        ++item;
    }
    numBytes_ += piece.faces->numBytes();
    requireRoom(0);
}

/// Whether so many more bytes of faces are allowed; where not, the reading ends.
bool TextBody::requireRoom(std::uint64_t bytes) const {
    if (!limit_->allows(numBytes_ + bytes))
        exceedsLimit_ = true;
    return !exceedsLimit_;
}

/// Room for the faces that the rest of a piece may be, as triangles in the fewest bytes that programs write.
void TextBody::reserveFaces(Piece& piece, ElementRange const& range, std::int64_t item) const {
    constexpr std::int64_t leastLine = 8;
    std::int64_t const most = std::min({range.end - item, piece.firstItem + piece.numItems - item,
                                        (piece.end - piece.begin) / leastLine});
    piece.faces->places.reserve(static_cast<std::size_t>(most));
    piece.faces->corners.reserve(3 * static_cast<std::size_t>(most));
}

char const* TextBody::parseItem(Piece& piece, char const* p, ElementRange const& range,
                                std::int64_t item, std::int64_t line) const {
    if (range.role == PlyRole::Vertices)
        return parseVertex(piece, p, range, item, line);
    return range.role == PlyRole::Other ? p : parseFace(piece, p, range, line);
}

/// A token such as 1.0 or 1e3 as a whole number.
bool parseWholeFloat(char const*& p, std::int64_t& value) {
    char const* end = p;
    while (!endsToken(end))
        ++end;
    double number = 0.0;
    constexpr double far = 9e15;  // beyond it doubles are no longer all whole numbers
    if (!parseWhole(std::string_view(p, static_cast<std::size_t>(end - p)), number) ||
        !(std::abs(number) < far) || number != std::floor(number))
        return false;
    value = static_cast<std::int64_t>(number);
    p = end;
    return true;
}

/// A token as a whole number; false, and p where it was, when it is none.
bool parseInteger(char const*& p, std::int64_t& value) {
    p = skipBlanks(p);
    char const* q = p;
    bool const negative = *q == '-';
    q += *q == '-' || *q == '+';
    constexpr std::int64_t far = INT64_MAX / 16;
    std::int64_t magnitude = 0;
    char const* const first = q;
    for (; koString::isDigit(*q); ++q)
        magnitude = magnitude < far ? magnitude * 10 + (*q - '0') : far;
    if (!endsToken(q))
        return parseWholeFloat(p, value);
    if (q == first)
        return false;
    value = negative ? -magnitude : magnitude;
    p = q;
    return true;
}

/// Steps over the tokens of one property; false when they are not there.
bool skipProperty(char const*& p, PlyProperty const& property) {
    std::int64_t count = 1;
    if (property.isList && (!parseInteger(p, count) || count < 0))
        return false;
    for (; count > 0; --count) {
        p = skipBlanks(p);
        if (isLineEnd(*p))
            return false;
        while (!endsToken(p))
            ++p;
    }
    return true;
}

/// A list of vertices; false where it is not whole. In strips an index below 0 stays -1.
bool parseCorners(char const*& p, bool isStrip, std::vector<int>& corners) {
    std::int64_t count = 0;
    bool isGood = parseInteger(p, count) && count >= 0;
    for (; isGood && count > 0; --count) {
        std::int64_t index = 0;
        isGood = parseInteger(p, index);
        if (isGood)
            corners.push_back(isStrip && index < 0 ? -1 : asCorner(index));
    }
    return isGood;
}

/// A list of numbers; false where it is not whole.
bool parseFloats(char const*& p, std::vector<float>& values) {
    std::int64_t count = 0;
    bool isGood = parseInteger(p, count) && count >= 0;
    for (; isGood && count > 0; --count) {
        p = skipBlanks(p);
        float value = 0.0f;
        bool exceedsFloat = false;
        isGood = !isLineEnd(*p) &&
                 readCoordinate(p, endsToken, 0.0, value, exceedsFloat) == NumberToken::Good;
        values.push_back(value);
    }
    return isGood;
}

char const* TextBody::parseVertex(Piece& piece, char const* p, ElementRange const& range,
                                  std::int64_t item, std::int64_t line) const {
    bool isWhole = true;
    bool isComplete = true;  // as to coordinates
    std::vector<PlyProperty> const& properties = range.element->properties;
    for (std::size_t i = 0; i < properties.size(); ++i) {
        bool const hasColumn = columnOf_[i] >= 0;
        bool const isGood = hasColumn
                                ? parseCell(piece, p, static_cast<std::size_t>(columnOf_[i]), item)
                                : skipProperty(p, properties[i]);
        isWhole = isWhole && isGood;
        if (!isGood && hasColumn &&
            reading_.columns.columns()[static_cast<std::size_t>(columnOf_[i])].kind ==
                PlyColumn::Kind::Coordinate)
            isComplete = false;
    }
    float const* const position = reading_.mesh.getVerticesRaw() + 3 * item;
    bool const isFinite =
        std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
    piece.left.incompleteVertices += !isComplete;
    piece.left.nonfiniteVertices += !isFinite;
    piece.left.verticesWithMore += isWhole && !isLineEnd(*skipBlanks(p));
    if (!isWhole || !isFinite)
        addProblem(piece.left, FacePlaces::Lines, line,
                   isWhole      ? "vertex with a coordinate that is NaN or infinite"
                   : isComplete ? "vertex with a value that is absent or no number"
                                : "vertex with a coordinate that is absent or no number");
    return p;
}

/// Absent values are 0, what is no number is NaN.
bool TextBody::parseCell(Piece& piece, char const*& p, std::size_t columnIndex,
                         std::int64_t item) const {
    PlyColumn const& column = reading_.columns.columns()[columnIndex];
    float& target = column.target[static_cast<std::size_t>(item) * column.stride];
    p = skipBlanks(p);
    if (isLineEnd(*p))
        return false;
    char const* const first = p;
    NumberToken const token =
        readCoordinate(p, endsToken, column.shift, target, piece.exceedsFloat);
    if (column.full != 1.0f)
        target /= column.full;
    constexpr float contiguous = 16777216.0f;  // up to here floats hold all whole numbers
    if (column.kind == PlyColumn::Kind::Set && !isFloating(column.type) &&
        std::abs(target) >= contiguous) {
        std::int64_t exact = 0;
        char const* q = first;
        if (parseInteger(q, exact) && std::abs(target) < 9e18f)
            piece.numRounded[column.property] += static_cast<std::int64_t>(target) != exact;
    }
    return token == NumberToken::Good;
}

char const* TextBody::parseFace(Piece& piece, char const* p, ElementRange const& range,
                                std::int64_t line) const {
    FaceList& faces = *piece.faces;
    std::vector<PlyProperty> const& properties = range.element->properties;
    bool const isStrip = range.role == PlyRole::Strips;
    bool const hasTextures = range.textureList != PlyElement::none;
    std::size_t const firstCorner = faces.corners.size();
    std::vector<int> strip;
    std::vector<float> textures;
    std::size_t i = 0;
    bool isGood = true;
    for (; isGood && i < range.indexList; ++i)
        isGood = i == range.textureList ? parseFloats(p, textures) : skipProperty(p, properties[i]);
    isGood = isGood && parseCorners(p, isStrip, isStrip ? strip : faces.corners);
    // What comes behind the corners does not spoil them.
    bool isThere = isGood && hasTextures;
    for (++i; isThere && i <= range.textureList; ++i)
        isThere =
            i == range.textureList ? parseFloats(p, textures) : skipProperty(p, properties[i]);
    if (isStrip) {
        endStrip(piece, line, strip, isGood);
        return p;
    }
    endFace(piece, line, firstCorner, isGood);
    if (hasTextures)
        addTextures(faces, firstCorner, isThere, textures);
    return p;
}

void TextBody::endFace(Piece& piece, std::int64_t line, std::size_t firstCorner,
                       bool isGood) const {
    FaceList& faces = *piece.faces;
    std::size_t const count = faces.corners.size() - firstCorner;
    if (isGood && count >= 3)
        return faces.endFace(line, count);
    faces.cutCorners(firstCorner);
    if (isGood)
        faces.drop(FacePlaces::Lines, line, faces.left.dropped.tooFewCorners,
                   "face with fewer than three corners; dropped");
    else
        faces.drop(FacePlaces::Lines, line, faces.left.dropped.notANumber,
                   "face with a corner that is absent or no index; dropped");
}

void TextBody::endStrip(Piece& piece, std::int64_t line, std::vector<int> const& strip,
                        bool isGood) const {
    constexpr std::uint64_t bytesPerTriangle = 3 * sizeof(int) + sizeof(std::int64_t);
    FaceList& faces = *piece.faces;
    if (requireRoom(faces.numBytes() + bytesPerTriangle * strip.size()))
        addStrip(strip, line, faces);
    if (!isGood)
        faces.drop(FacePlaces::Lines, line, faces.left.dropped.notANumber,
                   "strip that is shorter than it says, or with a corner that is no index; cut "
                   "off");
}

void TextBody::report() {
    ReadReport& report = reading_.report;
    report.lines = numLines_;
    for (Piece& piece : pieces_) {
        report.incompleteVertices += piece.left.incompleteVertices;
        report.nonfiniteVertices += piece.left.nonfiniteVertices;
        report.verticesWithMore += piece.left.verticesWithMore;
        report.numProblems += piece.left.numProblems;
        for (ReadReport::Problem& problem : piece.left.problems)
            if (report.problems.size() < ReadReport::maxProblems)
                report.problems.push_back(std::move(problem));
        for (PlyColumn& column : reading_.columns.columns())
            column.numRounded += piece.numRounded[column.property];
        reading_.exceedsFloat = reading_.exceedsFloat || piece.exceedsFloat;
    }
}

}  // namespace

FileOutcome readPlyText(PlyReading& reading) {
    return TextBody(reading).run();
}

}  // namespace trimora
