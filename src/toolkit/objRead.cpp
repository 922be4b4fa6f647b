// The tolerant OBJ reader: parses pieces in parallel, then joins them. Only the joining knows how many elements came
// before a piece, so there the relative indices are settled, faces are tested against the count of vertices, and the
// faces that stay are cut into fans. Linear in the bytes; nothing depends on where the pieces were cut.

#include "toolkit/ReadReport.h"
#include "toolkit/detail/ObjJoin.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

constexpr std::size_t usualPieceSize = 1u << 19;  // with its records about a core's own cache

/// Runs work(piece) for all pieces on the shared pool.
template <class Work>
class ForPieces : public koUtil::ThreadedChunkAlg {
public:
    ForPieces(std::vector<JoinedPiece>& pieces, Work work) : pieces_(pieces), work_(work) {}
    void executeChunk(int chunkIndex, int /*threadIndex*/) override {
        int const numPieces = static_cast<int>(pieces_.size());
        int const end = getBeginIndex(chunkIndex + 1, numChunks, numPieces);
        for (int i = getBeginIndex(chunkIndex, numChunks, numPieces); i < end; ++i)
            work_(pieces_[static_cast<std::size_t>(i)]);
    }

private:
    std::vector<JoinedPiece>& pieces_;
    Work work_;
};

class ObjJoiner {
public:
    ObjJoiner(InputFile const& file, CompactMesh& mesh, ReadReport& report,
              ReadOptions const& options)
        : file_(file), mesh_(mesh), report_(report), options_(options) {}

    /// Takes report.shift off the coordinates.
    FileOutcome run(std::size_t pieceSize);
    /// Whether a coordinate that was shifted has more digits than a float.
    bool exceedsFloat() const;

private:
    FileOutcome checkText() const;
    FileOutcome parse(std::size_t pieceSize);
    FileOutcome countElements();
    void fillVertices();
    void settleFaces(JoinedPiece& piece) const;
    void dropFaces(JoinedPiece& piece) const;
    FileOutcome countFaces();
    void fillTriangles();
    void fillTriangles(JoinedPiece const& piece, int* triangles, int* polygon) const;
    void fillAttributes();
    void reportLeft();

    template <class Work>
    void forPieces(Work work) {
        ForPieces<Work> alg(pieces_, work);
        (pieces_.size() > 1 ? koUtil::ThreadPool::get()
                            : koUtil::ThreadPool::getSingleThreadedPool())
            .run(alg);
    }
    FileOutcome failed(Failure failure, char const* what) const {
        return FileOutcome::failed(failure, file_.name() + ": " + what);
    }

    InputFile const& file_;
    CompactMesh& mesh_;
    ReadReport& report_;
    ReadOptions const& options_;
    std::vector<JoinedPiece> pieces_;
};

FileOutcome ObjJoiner::run(std::size_t pieceSize) {
    FileOutcome outcome = checkText();
    if (outcome)
        outcome = parse(pieceSize);
    if (outcome)
        outcome = countElements();
    if (!outcome)
        return outcome;

    fillVertices();
    forPieces([this](JoinedPiece& piece) { settleFaces(piece); });
    outcome = countFaces();
    reportLeft();
    if (!outcome)
        return outcome;

    fillTriangles();
    fillAttributes();
    return outcome;
}

bool ObjJoiner::exceedsFloat() const {
    return std::any_of(pieces_.begin(), pieces_.end(),
                       [](JoinedPiece const& piece) { return piece.records.exceedsFloat; });
}

FileOutcome ObjJoiner::checkText() const {
    std::array<char, 4096> head{};
    std::size_t const size =
        static_cast<std::size_t>(std::min<std::uint64_t>(file_.size(), head.size()));
    if (!file_.fetch(0, size, head.data()))
        return cannotBeRead(file_);
    if (std::find(head.begin(), head.begin() + static_cast<std::ptrdiff_t>(size), '\0') !=
        head.begin() + static_cast<std::ptrdiff_t>(size))
        return failed(Failure::Unsupported,
                      "is binary or UTF-16, no OBJ text; convert it to OBJ in ASCII or UTF-8");
    return FileOutcome::done();
}

FileOutcome ObjJoiner::parse(std::size_t pieceSize) {
    std::vector<ObjPiece> parsed;
    ObjPiecesEnd const end = parseObjPieces(file_, pieceSize, report_.shift, options_, parsed);
    if (end != ObjPiecesEnd::Done)
        return end == ObjPiecesEnd::Unreadable ? cannotBeRead(file_) : takesTooMuch(file_.name());
    if (options_.progress != nullptr && options_.progress->cancelled())
        return failed(Failure::Cancelled, "reading was cancelled");
    pieces_.reserve(parsed.size());
    for (ObjPiece& records : parsed)
        pieces_.emplace_back().records = std::move(records);
    return FileOutcome::done();
}

FileOutcome ObjJoiner::countElements() {
    std::int64_t numContentLines = 0;
    for (JoinedPiece& piece : pieces_) {
        piece.lineBase = report_.lines;
        piece.vertexBase = report_.vertices;
        report_.lines += piece.records.numLines;
        report_.vertices += piece.records.numVertices();
        report_.faces +=
            static_cast<std::int64_t>(piece.records.numFaces()) + piece.records.numDroppedFaces;
        report_.textureCoordinates.lines += piece.records.numTextureCoordinates();
        report_.normals.lines += piece.records.numNormals();
        report_.unknownLines += piece.records.left.unknownLines;
        numContentLines += piece.records.numContentLines;
    }
    if (report_.unknownLines > 0 && report_.unknownLines == numContentLines)
        return failed(Failure::Unsupported,
                      "no line of it is one of an OBJ file; check what the file is");
    if (std::max({report_.vertices, report_.textureCoordinates.lines, report_.normals.lines}) >=
        std::numeric_limits<int>::max())
        return failed(Failure::Limit,
                      "more than 2^31 - 2 vertices, what 32-bit indices can name; split the file");
    return FileOutcome::done();
}

void ObjJoiner::fillVertices() {
    mesh_.resizeVertexArray(static_cast<int>(report_.vertices));
    float* const positions = mesh_.getVerticesRaw();
    forPieces([positions](JoinedPiece& piece) {
        std::copy(piece.records.positions.begin(), piece.records.positions.end(),
                  positions + 3 * piece.vertexBase);
    });
}

/// Settles relative indices, and finds the faces that cannot stay.
void ObjJoiner::settleFaces(JoinedPiece& piece) const {
    std::vector<int>& corners = piece.records.vertexOf.indices;
    for (std::uint32_t const corner : piece.records.vertexOf.relative) {
        std::int64_t const vertex = piece.vertexBase + corners[corner];
        corners[corner] = vertex < 0 ? outOfRange : static_cast<int>(vertex);
    }
    auto const numVertices = static_cast<unsigned>(report_.vertices);
    unsigned highest = 0;
    for (int const corner : corners)
        highest = std::max(highest, static_cast<unsigned>(corner));

    std::size_t const numFaces = piece.records.numFaces();
    piece.numKept = static_cast<std::int64_t>(numFaces);
    piece.numTriangles = static_cast<std::int64_t>(corners.size()) - 2 * piece.numKept;
    piece.numPolygons =
        std::count_if(piece.records.faceSizes.begin(), piece.records.faceSizes.end(),
                      [](std::uint32_t size) { return size > 3; });
    if ((numFaces > 0 && highest >= numVertices) || options_.dropNonfinite)
        dropFaces(piece);
}

void ObjJoiner::dropFaces(JoinedPiece& piece) const {
    int const* corners = piece.records.vertexOf.indices.data();
    float const* const positions = mesh_.getVerticesRaw();
    auto const isOutside = [this](int v) {
        return static_cast<unsigned>(v) >= static_cast<unsigned>(report_.vertices);
    };
    auto const isNonfinite = [positions](int v) {
        float const* const p = positions + 3 * static_cast<std::size_t>(v);
        return !(std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]));
    };

    piece.isDropped.assign(piece.records.numFaces(), 0);
    for (std::size_t i = 0; i < piece.records.numFaces(); ++i) {
        std::uint32_t const numCorners = piece.records.faceSize(i);
        int const* const end = corners + numCorners;
        bool const outside = std::any_of(corners, end, isOutside);
        if (outside || (options_.dropNonfinite && std::any_of(corners, end, isNonfinite))) {
            piece.isDropped[i] = 1;
            --piece.numKept;
            piece.numTriangles -= static_cast<std::int64_t>(numCorners) - 2;
            piece.numPolygons -= numCorners > 3;
            ++(outside ? piece.left.dropped.outOfRange : piece.left.dropped.nonfinite);
            ++piece.left.numProblems;
            if (piece.left.problems.size() < ReadReport::maxProblems)
                piece.left.problems.push_back(
                    {piece.records.faceLines[i],
                     outside ? "face at a vertex that the file does not hold; dropped"
                             : "face at a vertex that is NaN or infinite; dropped"});
        }
        corners = end;
    }
}

FileOutcome ObjJoiner::countFaces() {
    std::int64_t numKept = 0;
    for (JoinedPiece& piece : pieces_) {
        piece.faceBase = numKept;
        piece.triangleBase = report_.triangles;
        numKept += piece.numKept;
        report_.triangles += piece.numTriangles;
        report_.polygons += piece.numPolygons;
    }
    if (report_.triangles > std::numeric_limits<int>::max())
        return failed(Failure::Limit,
                      "more than 2^31 - 1 triangles, what 32-bit indices can name; split the file");
    std::uint64_t bytes =
        sizeof(koGeom::MeshVertex) * static_cast<std::uint64_t>(report_.vertices) +
        sizeof(int) * (report_.polygons > 0 ? 4 : 3) *
            static_cast<std::uint64_t>(report_.triangles);
    for (JoinedPiece const& piece : pieces_)
        bytes += 2 * piece.records.numBytes();  // an array may have room for as much again
    return requireMemoryFor(file_, static_cast<double>(bytes), options_);
}

void ObjJoiner::fillTriangles() {
    mesh_.resizeTriangleArray(static_cast<int>(report_.triangles));
    if (report_.polygons > 0)
        report_.trianglePolygon.resize(static_cast<std::size_t>(report_.triangles));
    int* const triangles = mesh_.getTrianglesRaw();
    int* const polygons = report_.polygons > 0 ? report_.trianglePolygon.data() : nullptr;
    forPieces([this, triangles, polygons](JoinedPiece& piece) {
        fillTriangles(piece, triangles + 3 * piece.triangleBase,
                      polygons != nullptr ? polygons + piece.triangleBase : nullptr);
    });
}

void ObjJoiner::fillTriangles(JoinedPiece const& piece, int* triangle, int* polygon) const {
    std::vector<int> const& corners = piece.records.vertexOf.indices;
    if (piece.records.faceSizes.empty() && piece.isDropped.empty() && polygon == nullptr) {
        std::copy(corners.begin(), corners.end(), triangle);
        return;
    }
    int const* corner = corners.data();
    int face = static_cast<int>(piece.faceBase);
    for (std::size_t i = 0; i < piece.records.numFaces(); ++i) {
        int const numCorners = static_cast<int>(piece.records.faceSize(i));
        if (piece.isDropped.empty() || !piece.isDropped[i]) {
            for (int k = 2; k < numCorners; ++k) {
                *triangle++ = corner[0];
                *triangle++ = corner[k - 1];
                *triangle++ = corner[k];
                if (polygon != nullptr)
                    *polygon++ = face;
            }
            ++face;
        }
        corner += numCorners;
    }
}

void ObjJoiner::fillAttributes() {
    AttributeJoiner uvs(pieces_, &ObjPiece::textureCoordinates, &ObjPiece::textureOf, 2,
                        mesh_.getNumVertices());
    if (uvs.join(report_.textureCoordinates)) {
        mesh_.allocUVArray();
        uvs.write(mesh_.getUVsRaw());
    }
    AttributeJoiner normals(pieces_, &ObjPiece::normals, &ObjPiece::normalOf, 3,
                            mesh_.getNumVertices());
    if (normals.join(report_.normals)) {
        mesh_.allocNormalArray();
        normals.write(mesh_.getNormalsRaw());
    }
}

void ObjJoiner::reportLeft() {
    for (JoinedPiece const& piece : pieces_) {
        ReadReport const& parsed = piece.records.left;
        report_.dropped.tooFewCorners += parsed.dropped.tooFewCorners;
        report_.dropped.notANumber += parsed.dropped.notANumber;
        report_.dropped.outOfRange += piece.left.dropped.outOfRange;
        report_.dropped.nonfinite += piece.left.dropped.nonfinite;
        report_.nonfiniteVertices += parsed.nonfiniteVertices;
        report_.incompleteVertices += parsed.incompleteVertices;
        report_.verticesWithMore += parsed.verticesWithMore;
        report_.otherElements += parsed.otherElements;
        report_.numProblems += parsed.numProblems + piece.left.numProblems;

        // Each list holds the first problems of its kind, by line: so do both merged.
        std::vector<ReadReport::Problem> both;
        std::merge(parsed.problems.begin(), parsed.problems.end(), piece.left.problems.begin(),
                   piece.left.problems.end(), std::back_inserter(both),
                   [](ReadReport::Problem const& a, ReadReport::Problem const& b) {
                       return a.line < b.line;
                   });
        for (ReadReport::Problem& problem : both) {
            if (report_.problems.size() == ReadReport::maxProblems)
                break;
            report_.problems.push_back(
                {piece.lineBase + problem.line + 1, std::move(problem.text)});
        }
    }
}

}  // namespace

FileOutcome readObjInPieces(InputFile const& file, std::size_t pieceSize, CompactMesh& mesh,
                            ReadReport& report, ReadOptions const& options) {
    if (FileOutcome const fits = requireTextFits(file, options); !fits)
        return fits;
    auto const read = [&](Shift const&, CompactMesh& readMesh, ReadReport& readReport,
                          bool& exceedsFloat) {
        ObjJoiner joiner(file, readMesh, readReport, options);
        FileOutcome const outcome = joiner.run(pieceSize);
        exceedsFloat = joiner.exceedsFloat();
        return outcome;
    };
    return readRecentred(mesh, report, options, read);
}

FileOutcome readObj(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options) {
    return readObjInPieces(file, usualPieceSize, mesh, report, options);
}

}  // namespace trimora
