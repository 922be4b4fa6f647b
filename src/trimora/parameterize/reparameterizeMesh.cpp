// A map of a surface to the plane keeps angles where its energy, the stretch in all directions, is no larger than the area that it
// covers. The difference of the two is a quadratic form of the coordinates; its minimum with two vertices pinned is one linear system.
//
//     copy and weld -> count edges: a disk? -> cut if not -> pin two vertices -> lay the border into a plane -> close the holes
//       -> solve -> scale into the unit square

#include "trimora/parameterize/reparameterizeMesh.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/detail/callerContract.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/parameterize/detail/reparameterizeMeshImpl.h"
#include "trimora/planar/triangulatePolygon.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace koGeom {

namespace {

/// The vertices of a boundary with the least and the greatest coordinate in each axis; of equals the first one.
class Extremes {
public:
    explicit Extremes(MeshVertex const* vertices) : vertices_(vertices) {}

    void include(int vertex) {
        for (int axis = 0; axis < 3; ++axis) {
            if (isFirst_ || at(vertex, axis) < at(lowest_[axis], axis))
                lowest_[axis] = vertex;
            if (isFirst_ || at(vertex, axis) > at(highest_[axis], axis))
                highest_[axis] = vertex;
        }
        isFirst_ = false;
    }

    double extent(int axis) const {
        return std::abs(at(lowest_[axis], axis) - at(highest_[axis], axis));
    }
    int longestAxis() const {
        double const x = extent(0), y = extent(1), z = extent(2);
        if (x >= y && x >= z)
            return 0;
        return y >= x && y >= z ? 1 : 2;
    }
    int lowest(int axis) const { return lowest_[axis]; }
    int highest(int axis) const { return highest_[axis]; }

private:
    double at(int vertex, int axis) const {
        MeshVertex const& v = vertices_[vertex];
        return static_cast<double>(axis == 0 ? v.x : axis == 1 ? v.y : v.z);
    }

    MeshVertex const* vertices_;
    bool isFirst_ = true;
    int lowest_[3] = {0, 0, 0};
    int highest_[3] = {0, 0, 0};
};

/// The box of the coordinates, and the factor that brings it into the unit square.
struct UnitSquareFit {
    double minU, minV, scale;
};

UnitSquareFit fitUnitSquare(ko::vector<Point2> const& uvs) {
    double minU = uvs.front().x, maxU = minU;
    double minV = uvs.front().y, maxV = minV;
    for (Point2 const& uv : uvs) {
        minU = std::min(minU, uv.x), maxU = std::max(maxU, uv.x);
        minV = std::min(minV, uv.y), maxV = std::max(maxV, uv.y);
    }
    double const scale = std::min(1.0 / (maxU - minU), 1.0 / (maxV - minV));
    // All in one point: there is nothing to scale, and 0 times infinity would be NaN.
    return {minU, minV, std::isinf(scale) ? 1.0 : scale};
}

}  // namespace

reparameterizeMesh::reparameterizeMesh(CompactMesh& mesh) : impl_(std::make_unique<Impl>(mesh)) {
    assert(detail::hasTrianglesInRange(mesh));
}

reparameterizeMesh::~reparameterizeMesh() = default;

void reparameterizeMesh::enableMeshCompact(bool enable) {
    impl_->compactEnabled = enable;
}

void reparameterizeMesh::enableMeshCutSurface(bool enable) {
    impl_->cutEnabled = enable;
}

bool reparameterizeMesh::flatten() {
    koUtil::Progress progress;
    return flatten(progress);
}

bool reparameterizeMesh::flatten(koUtil::Progress& progress) {
    return impl_->flatten(progress);
}

reparameterizeMesh::SolverOutcome reparameterizeMesh::solverOutcome() const {
    return impl_->solverOutcome;
}

reparameterizeMesh::Impl::Impl(CompactMesh& mesh)
    : mesh_(mesh), work_(mesh), output_(koOS::AppOutput::getInstance()) {}

bool reparameterizeMesh::Impl::flatten(koUtil::Progress& progress) {
    koUtil::Progress child;
    auto const beginPhase = [&](double fraction, char const* caption) {
        progress.subPhase(fraction, child);
        progress.setCaption(caption);
    };

    progress.subPhase(0.025, child);
    child.setCaption("Copying Mesh");
    Remap remap;
    prepareMesh(child, remap);
    if (progress.cancelled())
        return false;

    beginPhase(0.1, "Finding Mesh Boundaries");
    BoundarySet boundaries;
    if (!makeSureOfDisk(progress, boundaries))
        return false;

    beginPhase(0.025, "Getting Extreme Vertices");
    int fixed[2] = {-1, -1};
    int const outer = getExtremeVerts(boundaries, fixed);
    if (outer < 0) {
        output_.error("There must be a boundary for the disk, none found. No changes made.\n");
        output_.info("- - - MeshReparameterize: outerBoundary = %d\n", outer);
        return false;
    }

    beginPhase(0.025, "Creating Plane");
    ko::vector<Point> points;
    rotateAndProject(boundaries[static_cast<std::size_t>(outer)], points, fixed);

    progress.subPhase(0.025, child);
    FreeIndices freeIndices;
    buildFreeToCompleteMapping(freeIndices, fixed);

    beginPhase(0.025, "Filling Mesh Holes");
    ko::vector<MeshTriangle> holes;
    fillHoles(boundaries, outer, holes);

    beginPhase(0.75, "Solving");
    ko::vector<Point2> uvs;
    doCG(uvs, points, freeIndices, holes, child);
    if (progress.cancelled())
        return false;

    beginPhase(0.025, "Applying to Mesh");
    applyUvsToMesh(uvs, remap);
    child.set(1.0);
    return true;
}

void reparameterizeMesh::Impl::prepareMesh(koUtil::Progress& progress, Remap& remap) {
    work_.deleteUVs();
    work_.deleteNormals();
    meshCompact(work_, progress, remap);
    if (compactEnabled)
        return;

    int const numOriginal = cache_.getBoundaries(mesh_)->size();
    int const numCompacted = cache_.getBoundaries(work_)->size();
    output_.info("prepareMesh: numBoundaries o = %d, c = %d\n", numOriginal, numCompacted);
    if (numOriginal == numCompacted)
        return;

    output_.info("prepareMesh: compacting changed topology, reverting\n");
    work_ = mesh_;
    MeshModification modification(&work_, MeshModification::Topology, nullptr);
    work_.modified(modification);
    remap.resize(work_.getNumVertices(), work_.getNumVertices());
    remap.setSequential();
}

bool reparameterizeMesh::Impl::makeSureOfDisk(koUtil::Progress& progress, BoundarySet& boundaries) {
    int const genus = getMeshGenus(boundaries);
    if (progress.cancelled())
        return false;
    output_.info("- - - MeshReparameterize: genus = %d\n", genus);
    if (genus < 0)
        return false;
    if (genus == 0 && !boundaries.empty())
        return true;
    if (!cutEnabled)
        return false;
    cutSurface().makeDisk(work_);
    boundaries.clear();
    return getMeshGenus(boundaries) == 0;
}

bool reparameterizeMesh::Impl::testDegenerate(int triangle, int const* vertices) const {
    int const a = vertices[0], b = vertices[1], c = vertices[2];
    bool const isDegenerate = a == b || b == c || c == a;
    if (isDegenerate)
        output_.error("Found degenerate triangle %d (%d,%d,%d), mesh not changed. \n", triangle, a,
                      b, c);
    return isDegenerate;
}

int reparameterizeMesh::Impl::getMeshGenus(BoundarySet& boundaries) {
    int const numTriangles = work_.getNumTriangles();
    int const numVertices = work_.getNumVertices();
    for (int t = 0; t < numTriangles; ++t)
        if (testDegenerate(t, work_.getTriangles()[t].vertices)) {
            output_.info("getMeshGenus: testDegenerate == true\n");
            return -1;
        }

    ko::Reference<MeshBoundaries> const loops = cache_.getBoundaries(work_);
    int const numBoundaries = loops->size();
    output_.info("getMeshGenus: numBoundaries %d \n", numBoundaries);
    int numBoundaryEdges = 0;
    for (int i = 0; i < numBoundaries; ++i) {
        numBoundaryEdges += loops->getLength(i);
        if (loops->getLength(i) < 3) {
            output_.info("getMeshGenus: boundary length < 3 \n");
            return -1;
        }
    }
    output_.info("getMeshGenus: numBoundaryEdges %d \n", numBoundaryEdges);
    output_.info("getMeshGenus: numVertices %d \n", numVertices);
    output_.info("getMeshGenus: numTriangles %d \n", numTriangles);

    int const numEdges = (numBoundaryEdges + 3 * numTriangles) / 2;
    output_.info("getMeshGenus: numEdges %d \n", numEdges);
    // Each loop counts as the rim of one more face: chi is that of the closed surface.
    int const chi = numBoundaries + numVertices + numTriangles - numEdges;
    output_.info("getMeshGenus: chi = %d + %d + %d - %d = %d \n", numBoundaries, numVertices,
                 numTriangles, numEdges, chi);
    int const genus = (2 - chi) / 2;
    output_.info("getMeshGenus: genus = ( 2 - %d ) / 2 = %d \n", chi, genus);
    if (genus < 0) {
        output_.info("getMeshGenus: genus = %d \n", genus);
        return -1;
    }

    for (int i = 0; i < numBoundaries; ++i) {
        int const* const loop = loops->getStart(i);
        int const length = loops->getLength(i);
        Boundary& boundary = boundaries.emplace_back();
        for (int k = 0; k < length; ++k)
            boundary.push_back({loop[k], loop[k + 1 < length ? k + 1 : 0]});
    }
    return genus;
}

int reparameterizeMesh::Impl::getExtremeVerts(BoundarySet const& boundaries, int* fixed) const {
    int outer = -1;
    double largest = 0.0;
    for (std::size_t i = 0; i < boundaries.size(); ++i) {
        Extremes extremes(work_.getVertices());
        for (boundaryEdge const& edge : boundaries[i])
            extremes.include(edge.start);
        int const axis = extremes.longestAxis();
        if (extremes.extent(axis) > largest) {
            largest = extremes.extent(axis);
            outer = static_cast<int>(i);
            fixed[0] = extremes.lowest(axis);
            fixed[1] = extremes.highest(axis);
        }
    }
    return outer;
}

AffineMatrix reparameterizeMesh::Impl::determineRotMatrix(Boundary const& boundary,
                                                          int const* fixed) const {
    auto const pointOf = [this](int vertex) { return work_.getVertices()[vertex].asPoint(); };
    Vector const d = pointOf(fixed[0]) - pointOf(fixed[1]);
    Vector sum;
    for (std::size_t i = 0; boundary.size() >= 3 && i < boundary.size(); ++i) {
        boundaryEdge const& previous = boundary[i > 0 ? i - 1 : boundary.size() - 1];
        Point const start = pointOf(boundary[i].start);
        sum += cross(pointOf(boundary[i].end) - start, start - pointOf(previous.start));
    }

    Normal normal(sum);
    if (!normal.valid) {
        output_.info(
            "Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n");
        normal = Normal::zAxis;
    } else if (isParallel(Normal(d), normal, parallelTol)) {
        output_.info("Parameterization: calculated planeNormal is (anti-)parallel to the vector "
                     "between the fixed vertices of the 3D-boundary.  Choosing a random orthogonal "
                     "vector instead.\n");
        normal = d.orthogonalVector();
    } else {
        output_.info(
            "Parameterization: calculated planeNormal is good.  Using orthogonal component.\n");
        normal = project(normal, Normal(d));
    }
    AffineMatrix matrix(1.0);
    matrix.rotate(normal, Normal::zAxis);
    return matrix;
}

void reparameterizeMesh::Impl::rotateAndProject(Boundary const& boundary, ko::vector<Point>& points,
                                                int const* fixed) const {
    AffineMatrix const matrix = determineRotMatrix(boundary, fixed);
    int const numVertices = work_.getNumVertices();
    points.reserve(static_cast<std::size_t>(numVertices));
    for (int v = 0; v < numVertices; ++v)
        points.push_back(work_.getVertices()[v].asPoint() * matrix);
}

void reparameterizeMesh::Impl::buildFreeToCompleteMapping(FreeIndices& freeIndices,
                                                          int const* fixed) const {
    int next = 0;
    for (int v = 0; v < work_.getNumVertices(); ++v)
        freeIndices.push_back(v == fixed[0] || v == fixed[1] ? -1 : next++);
}

void reparameterizeMesh::Impl::fillHoles(BoundarySet const& boundaries, int outer,
                                         ko::vector<MeshTriangle>& holes) const {
    for (std::size_t i = 0; i < boundaries.size(); ++i) {
        if (static_cast<int>(i) == outer)
            continue;
        Boundary const& boundary = boundaries[i];
        auto const vertexAt = [&boundary](int corner) {
            return boundary[static_cast<std::size_t>(corner)].start;
        };
        ko::vector<Point> polygon;
        for (boundaryEdge const& edge : boundary)
            polygon.push_back(work_.getVertices()[edge.start].asPoint());
        ko::vector<int> triangles;
        triangulatePolygon(polygon, triangles, nullptr, nullptr);
        // Turned over: a boundary runs as the triangles beside it do, what closes it runs against them.
        for (std::size_t t = 0; t + 2 < triangles.size(); t += 3)
            holes.push_back(
                {{vertexAt(triangles[t + 2]), vertexAt(triangles[t + 1]), vertexAt(triangles[t])}});
    }
}

void reparameterizeMesh::Impl::applyUvsToMesh(ko::vector<Point2> const& uvs, Remap const& remap) {
    UnitSquareFit const fit = fitUnitSquare(uvs);
    if (mesh_.getUVs() == nullptr)
        mesh_.allocUVArray();
    MeshUV* const target = mesh_.getUVs();
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
        int const source = remap(v);
        if (source < 0)  // a vertex that came after the copy was made
            continue;
        Point2 const& uv = uvs[static_cast<std::size_t>(source)];
        target[v].set((uv.x - fit.minU) * fit.scale, (uv.y - fit.minV) * fit.scale);
    }
    MeshModification modification(&mesh_, MeshModification::Attributes, nullptr);
    modification.uvsModified();
    mesh_.modified(modification);
}

}  // namespace koGeom
