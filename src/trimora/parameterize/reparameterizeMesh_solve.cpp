// The linear system. A vertex i with the coordinates (u, v) has two rows; each triangle (i, j, k) round it adds to them, with a and b the
// cotangents of the angles at k and at j,
//
//     row u:   a (u_i - u_j) + b (u_i - u_k) - v_j + v_k
//     row v:   a (v_i - v_j) + b (v_i - v_k) + u_j - u_k
//
// The first two terms are the stretch, the last two the area. These cancel where triangles follow each other all round the vertex, so they
// are left along borders alone. Where j or k is pinned, its terms stand on the right side. Angles and lengths are those of space: the plane
// gives the pinned vertices their coordinates, and all others a guess to start from.

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/parameterize/ConjugateGradient.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/parameterize/detail/GroupsByVertex.h"
#include "trimora/parameterize/detail/reparameterizeMeshImpl.h"

#include <cmath>

namespace koGeom {

namespace {

using HolesByVertex = detail::GroupsByVertex<MeshTriangle const*>;

HolesByVertex groupHoles(ko::vector<MeshTriangle> const& holes, int numVertices) {
    HolesByVertex groups(numVertices);
    for (MeshTriangle const& hole : holes)
        for (int const vertex : hole.vertices)
            groups.count(vertex);
    groups.endCounting();
    for (MeshTriangle const& hole : holes)
        for (int const vertex : hole.vertices)
            groups.place(vertex, &hole);
    return groups;
}

/// Fills in the rows of free vertices. The order of additions settles how sums are rounded: a vertex's fan in its table's order, then
/// the holes in theirs.
class SystemBuilder {
public:
    SystemBuilder(CompactMesh const& mesh, MeshAdjTris const& adjacency,
                  ko::vector<MeshTriangle> const& holes, ko::vector<Point> const& points,
                  ko::vector<int> const& freeIndices, SparseMatrix& matrix, NVector& b)
        : triangles_(mesh.getTriangles()),
          adjacency_(adjacency),
          holes_(groupHoles(holes, mesh.getNumVertices())),
          points_(points),
          freeIndices_(freeIndices),
          matrix_(matrix),
          b_(b) {}

    void setupVertexCG(int vertex) {
        int const* const fan = adjacency_.triIndices(vertex);
        for (int i = 0, count = adjacency_.numTris(vertex); i < count; ++i)
            setupTriangleAt(vertex, triangles_[fan[i]]);
        for (auto hole = holes_.begin(vertex); hole != holes_.end(vertex); ++hole)
            setupTriangleAt(vertex, **hole);
        // A vertex of which no triangle has spoken stays at its place; without a diagonal all of the solution would be lost.
        int const row = 2 * freeIndexOf(vertex);
        if (matrix_.row(row).empty()) {
            matrix_.addToElement(row, row, 1.0);
            matrix_.addToElement(row + 1, row + 1, 1.0);
            b_[row] = pointOf(vertex).x;
            b_[row + 1] = pointOf(vertex).y;
        }
    }

private:
    int freeIndexOf(int vertex) const { return freeIndices_[static_cast<std::size_t>(vertex)]; }
    Point const& pointOf(int vertex) const { return points_[static_cast<std::size_t>(vertex)]; }

    void setupTriangleAt(int vertex, MeshTriangle const& triangle) {
        int rotated[3];
        cutSurface().orientVertices(vertex, triangle.vertices, rotated);
        setupTriangle(rotated[0], rotated[1], rotated[2]);
    }

    /// The terms of one triangle in the rows of its vertex i. Without an area it has none.
    void setupTriangle(int i, int j, int k) {
        Vector const ki = pointOf(i) - pointOf(k);
        Vector const kj = pointOf(j) - pointOf(k);
        Vector const ji = pointOf(i) - pointOf(j);
        Vector const jk = pointOf(k) - pointOf(j);
        double const lengthAtK = cross(ki, kj).length();
        double const lengthAtJ = cross(ji, jk).length();
        if (lengthAtJ < epsilonTol || lengthAtK < epsilonTol)
            return;

        double const a = dot(ki, kj) / lengthAtK;
        double const b = dot(ji, jk) / lengthAtJ;
        int const row = 2 * freeIndexOf(i);
        matrix_.addToElement(row, row, a + b);
        matrix_.addToElement(row + 1, row + 1, a + b);
        couple(row, j, a, -1.0);
        couple(row, k, b, 1.0);
    }

    /// turn   the sign of the area term: -1 for the vertex after i, 1 for the one before
    void couple(int row, int other, double cotangent, double turn) {
        int const column = 2 * freeIndexOf(other);
        if (column < 0) {
            Point const& pinned = pointOf(other);
            b_[row] += cotangent * pinned.x - turn * pinned.y;
            b_[row + 1] += cotangent * pinned.y + turn * pinned.x;
            return;
        }
        if (!(std::abs(cotangent) < epsilonTol)) {
            matrix_.addToElement(row, column, -cotangent);
            matrix_.addToElement(row + 1, column + 1, -cotangent);
        }
        matrix_.addToElement(row, column + 1, turn);
        matrix_.addToElement(row + 1, column, -turn);
    }

    MeshTriangle const* triangles_;
    MeshAdjTris const& adjacency_;
    HolesByVertex holes_;
    ko::vector<Point> const& points_;
    ko::vector<int> const& freeIndices_;
    SparseMatrix& matrix_;
    NVector& b_;
};

}  // namespace

void reparameterizeMesh::Impl::doCG(ko::vector<Point2>& uvs, ko::vector<Point> const& points,
                                    FreeIndices const& freeIndices,
                                    ko::vector<MeshTriangle> const& holes,
                                    koUtil::Progress& progress) {
    int const numVertices = work_.getNumVertices();
    int const numUnknowns = 2 * numVertices - 4;
    auto const freeIndexOf = [&](int v) { return freeIndices[static_cast<std::size_t>(v)]; };
    auto const pointOf = [&](int v) -> Point const& { return points[static_cast<std::size_t>(v)]; };
    NVector x0(numUnknowns);
    NVector b(numUnknowns);
    ConjugateGradient solver(numUnknowns);
    ko::Reference<MeshAdjTris> const adjacency = cache_.getAdjTris(work_);
    SystemBuilder system(work_, *adjacency, holes, points, freeIndices, solver.A(), b);

    koUtil::Progress child;
    progress.subPhase(0.1, child);
    for (int v = 0; v < numVertices; ++v) {
        child.set(static_cast<double>(v) / numVertices);
        if (child.cancelled())
            break;
        int const free = freeIndexOf(v);
        if (free < 0)
            continue;
        x0[2 * free] = pointOf(v).x;
        x0[2 * free + 1] = pointOf(v).y;
        system.setupVertexCG(v);
    }
    if (progress.cancelled())
        return;

    progress.subPhase(0.8, child);
    if (solver.A().isMMatrix())
        solver.initIncompleteCholeskyPreconditioner();
    else
        solver.initDiagonalPreconditioner();
    solver.initialize(b, x0);
    iterate(solver, numUnknowns, child);
    if (progress.cancelled())
        return;

    progress.subPhase(0.1, child);
    NVector const& solution = solver.x();
    for (int v = 0; v < numVertices; ++v) {
        if (v % 100 == 0)
            child.set(static_cast<double>(v) / numVertices);
        if (child.cancelled())
            return;
        int const free = freeIndexOf(v);
        uvs.push_back(free < 0 ? Point2(pointOf(v).x, pointOf(v).y)
                               : Point2(solution[2 * free], solution[2 * free + 1]));
    }
}

void reparameterizeMesh::Impl::iterate(ConjugateGradient& solver, int numUnknowns,
                                       koUtil::Progress& progress) {
    solverOutcome = {};
    for (int i = 0; i < numUnknowns; ++i) {
        if (progress.cancelled())
            return;
        if (i % 100 == 0)
            progress.set(static_cast<double>(i) / numUnknowns);
        if (numUnknowns > 100 && i % (numUnknowns / 20) == 0)
            output_.info(
                "Parameterization %5.1f%% complete\n",
                static_cast<double>(
                    90.0f * static_cast<float>(i) / static_cast<float>(numUnknowns) + 5.0f));
        ConjugateGradient::Status const status = solver.iterate(epsilonTol, epsilonTol);
        solverOutcome = {status.code(), solver.getIteration()};
        if (status.isDone()) {
            output_.info("Parameterization: CG finished, code = %d\n", status.code());
            progress.set(1.0);
            return;
        }
    }
}

}  // namespace koGeom
