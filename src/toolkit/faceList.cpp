// Faces of a file to the triangles of a mesh. Each list is looked through by itself, then its place in the mesh is known from
// the counts of those before it, and it is cut into fans there.

#include "toolkit/detail/FaceList.h"

#include "toolkit/detail/readLimits.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace trimora {

namespace {

using koGeom::CompactMesh;

/// What is found out about one list.
struct ListPart {
    FaceList const* faces = nullptr;
    std::vector<char> isDropped;  // one a face; empty when all stay
    std::int64_t numKept = 0;
    std::int64_t numPolygons = 0;
    std::int64_t numTriangles = 0;
    std::int64_t faceBase = 0;  // of the faces kept
    std::int64_t triangleBase = 0;
    ReadReport left;
};

/// Runs work(part) for all parts on the shared pool.
template <class Work>
class ForParts : public koUtil::ThreadedChunkAlg {
public:
    ForParts(std::vector<ListPart>& parts, Work work) : parts_(parts), work_(work) {}
    void executeChunk(int chunkIndex, int /*threadIndex*/) override {
        int const numParts = static_cast<int>(parts_.size());
        int const end = getBeginIndex(chunkIndex + 1, numChunks, numParts);
        for (int i = getBeginIndex(chunkIndex, numChunks, numParts); i < end; ++i)
            work_(parts_[static_cast<std::size_t>(i)]);
    }

private:
    std::vector<ListPart>& parts_;
    Work work_;
};

template <class Work>
void forParts(std::vector<ListPart>& parts, Work work) {
    ForParts<Work> alg(parts, work);
    (parts.size() > 1 ? koUtil::ThreadPool::get() : koUtil::ThreadPool::getSingleThreadedPool())
        .run(alg);
}

void examine(ListPart& part, FacePlaces places, CompactMesh const& mesh, bool dropNonfinite) {
    FaceList const& faces = *part.faces;
    auto const numVertices = static_cast<unsigned>(mesh.getNumVertices());
    float const* const positions = mesh.getVerticesRaw();
    auto const isOutside = [numVertices](int v) { return static_cast<unsigned>(v) >= numVertices; };
    auto const isNonfinite = [positions](int v) {
        float const* const p = positions + 3 * static_cast<std::size_t>(v);
        return !(std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]));
    };
    int const* corners = faces.corners.data();
    for (std::size_t i = 0; i < faces.numFaces(); ++i) {
        std::uint32_t const size = faces.sizeOf(i);
        int const* const end = corners + size;
        bool const outside = std::any_of(corners, end, isOutside);
        bool const drops = outside || (dropNonfinite && std::any_of(corners, end, isNonfinite));
        corners = end;
        if (!drops) {
            ++part.numKept;
            part.numPolygons += size > 3;
            part.numTriangles += static_cast<std::int64_t>(size) - 2;
            continue;
        }
        part.isDropped.resize(faces.numFaces());
        part.isDropped[i] = 1;
        ++(outside ? part.left.dropped.outOfRange : part.left.dropped.nonfinite);
        addProblem(part.left, places, faces.places[i],
                   outside ? "face at a vertex that the file does not hold; dropped"
                           : "face at a vertex that is NaN or infinite; dropped");
    }
}

/// polygon    null where every face is a triangle
void cutIntoFans(ListPart const& part, int* triangle, int* polygon) {
    FaceList const& faces = *part.faces;
    if (faces.sizes.empty() && part.isDropped.empty() && polygon == nullptr) {
        std::copy(faces.corners.begin(), faces.corners.end(), triangle);
        return;
    }
    int const* corner = faces.corners.data();
    int face = static_cast<int>(part.faceBase);
    for (std::size_t i = 0; i < faces.numFaces(); ++i) {
        std::uint32_t const size = faces.sizeOf(i);
        if (part.isDropped.empty() || !part.isDropped[i]) {
            for (std::uint32_t k = 2; k < size; ++k) {
                *triangle++ = corner[0];
                *triangle++ = corner[k - 1];
                *triangle++ = corner[k];
                if (polygon != nullptr)
                    *polygon++ = face;
            }
            ++face;
        }
        corner += size;
    }
}

void countParts(std::vector<ListPart>& parts, ReadReport& report) {
    std::int64_t numKept = 0;
    for (ListPart& part : parts) {
        part.faceBase = numKept;
        part.triangleBase = report.triangles;
        numKept += part.numKept;
        report.triangles += part.numTriangles;
        report.polygons += part.numPolygons;
        report.faces += static_cast<std::int64_t>(part.faces->numFaces()) + part.faces->numDropped;
    }
}

void appendLeft(ReadReport& report, ReadReport const& left) {
    report.dropped.tooFewCorners += left.dropped.tooFewCorners;
    report.dropped.notANumber += left.dropped.notANumber;
    report.dropped.outOfRange += left.dropped.outOfRange;
    report.dropped.nonfinite += left.dropped.nonfinite;
    mergeProblems(report, left);
}

void reportParts(std::vector<ListPart> const& parts, ReadReport& report) {
    for (ListPart const& part : parts) {
        appendLeft(report, part.faces->left);
        appendLeft(report, part.left);
    }
}

FileOutcome limited(std::string const& fileName, char const* what) {
    return FileOutcome::failed(FileOutcome::Failure::Limit, fileName + ": " + what);
}

}  // namespace

void addProblem(ReadReport& report, FacePlaces places, std::int64_t place, std::string text) {
    ++report.numProblems;
    if (report.problems.size() >= ReadReport::maxProblems)
        return;
    bool const isLine = places == FacePlaces::Lines;
    report.problems.push_back({isLine ? place : 0, std::move(text), isLine ? -1 : place});
}

/// Each list holds the first problems of its kind in order: so do both merged. Lines are those of a head where the rest has bytes.
void mergeProblems(ReadReport& report, ReadReport const& part) {
    report.numProblems += part.numProblems;
    if (part.problems.empty())
        return;
    std::vector<ReadReport::Problem> both;
    std::merge(
        report.problems.begin(), report.problems.end(), part.problems.begin(), part.problems.end(),
        std::back_inserter(both), [](ReadReport::Problem const& a, ReadReport::Problem const& b) {
            bool const isLine = a.byte < 0;
            return isLine != (b.byte < 0) ? isLine : isLine ? a.line < b.line : a.byte < b.byte;
        });
    both.resize(std::min(both.size(), ReadReport::maxProblems));
    report.problems = std::move(both);
}

void FaceList::endFace(std::int64_t place, std::size_t numCorners) {
    if (numCorners != 3 && sizes.empty())
        sizes.assign(places.size(), 3);
    if (numCorners != 3 || !sizes.empty())
        sizes.push_back(static_cast<std::uint32_t>(numCorners));
    places.push_back(place);
}

std::uint64_t FaceList::numBytes() const {
    return bytesIn(corners) + bytesIn(sizes) + bytesIn(places) + bytesIn(textureCoordinates);
}

void FaceList::cutCorners(std::size_t numCorners) {
    corners.resize(numCorners);
    textureCoordinates.resize(std::min(textureCoordinates.size(), 2 * numCorners));
}

void FaceList::drop(FacePlaces kind, std::int64_t place, std::int64_t& count, char const* why) {
    ++count;
    ++numDropped;
    addProblem(left, kind, place, why);
}

FileOutcome fillTriangles(std::vector<FaceList> const& lists, FacePlaces places,
                          std::string const& fileName, CompactMesh& mesh, ReadReport& report,
                          ReadOptions const& options) {
    std::vector<ListPart> parts(lists.size());
    for (std::size_t i = 0; i < lists.size(); ++i)
        parts[i].faces = &lists[i];
    forParts(parts, [&](ListPart& part) { examine(part, places, mesh, options.dropNonfinite); });
    countParts(parts, report);
    reportParts(parts, report);
    if (report.triangles > std::numeric_limits<int>::max())
        return limited(
            fileName, "more than 2^31 - 1 triangles, what 32-bit indices can name; split the file");
    std::uint64_t const triangleSize = sizeof(int) * (report.polygons > 0 ? 4 : 3);
    std::uint64_t bytes =
        static_cast<std::uint64_t>(report.triangles) * triangleSize +
        sizeof(koGeom::MeshVertex) * static_cast<std::uint64_t>(mesh.getNumVertices());
    for (FaceList const& list : lists)
        bytes += 2 * list.numBytes();  // an array may have room for as much again
    if (options.maxMemory > 0 && bytes > options.maxMemory)
        return limited(fileName,
                       "its triangles take more memory than the limit allows; raise the limit");

    mesh.resizeTriangleArray(static_cast<int>(report.triangles));
    if (report.polygons > 0)
        report.trianglePolygon.resize(static_cast<std::size_t>(report.triangles));
    int* const triangles = mesh.getTrianglesRaw();
    int* const polygons = report.polygons > 0 ? report.trianglePolygon.data() : nullptr;
    forParts(parts, [triangles, polygons](ListPart& part) {
        cutIntoFans(part, triangles + 3 * part.triangleBase,
                    polygons != nullptr ? polygons + part.triangleBase : nullptr);
    });
    return FileOutcome::done();
}

}  // namespace trimora
