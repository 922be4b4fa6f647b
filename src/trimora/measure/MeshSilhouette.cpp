// The dual of a vertex is its tangent plane as a row of four numbers; its product with the view
// point in homogeneous coordinates tells on which side of the plane the point lies. A call first
// takes these products and their signs for all vertices, which read memory in order, and then looks
// at the signs of each triangle: most have three of a kind.

#include "trimora/measure/MeshSilhouette.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/getSharedEdgeAdjacentTriangle.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <cstdint>
#include <vector>

namespace koGeom {

namespace {

struct Row {
    float x, y, z, w;
};

class DualMesh {
public:
    explicit DualMesh(CompactMesh const& mesh) : mesh_(mesh) {
        MeshNormal const* const normals = mesh.getNormals();
        if (normals == nullptr)
            return;
        rows_.reserve(static_cast<std::size_t>(mesh.getNumVertices()));
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            MeshVertex const& p = mesh.getVertices()[v];
            MeshNormal const& n = normals[v];
            rows_.push_back({n.x, n.y, n.z, -(p.x * n.x + p.y * n.y + p.z * n.z)});
        }
    }
    virtual ~DualMesh() = default;

    CompactMesh const& mesh() const { return mesh_; }
    std::vector<Row> const& rows() const { return rows_; }

private:
    CompactMesh const& mesh_;
    std::vector<Row> rows_;  // one a vertex; empty without normals
};

constexpr int next(int corner) {
    return (corner + 1) % 3;
}
constexpr int previous(int corner) {
    return (corner + 2) % 3;
}

/// An end of a segment on a triangle: the corner `from`, or on the edge from there to the next one.
struct End {
    int from;
    float weight = 1.0f;  // of `from`
};

}  // namespace

class MeshSilhouetteImpl : public ko::ImplBase {
public:
    MeshSilhouetteImpl(CompactMesh const& mesh, float tolerance)
        : dual_(mesh), tolerance_(tolerance) {}

    ko::Reference<CompactMesh> lines(Row const& view);
    void onMesh(Row const& view, std::deque<MeshCoord>& result);

    MeshAdjTris const* adjTris = nullptr;
    ko::list<int>* zeroTriangles = nullptr;

private:
    void compute(Row const& view);
    void evaluate(Row const& view);

    struct Triangle;
    void twoEdgesCross(Triangle const& triangle);
    void oneEdgeCrosses(Triangle const& triangle);
    void noEdgeCrosses(Triangle const& triangle);
    void edgeAtZero(Triangle const& triangle, int edge);
    bool separates(Triangle const& triangle, int edge);
    End crossing(Triangle const& triangle, int edge) const;
    void give(Triangle const& triangle, End const& start, End const& end);
    void giveEnd(Triangle const& triangle, End const& end);

    DualMesh dual_;
    float tolerance_;
    std::vector<float> values_;        // of the view in hand, one a vertex
    std::vector<std::int16_t> signs_;  // -1, 0 or 1, one a vertex
    BitVector done_;                   // triangles whose edge at 0 has been looked at
    ko::vector<MeshVertex> points_;    // ends of segments in pairs, unless they go to coords_
    std::deque<MeshCoord>* coords_ = nullptr;
};

struct MeshSilhouetteImpl::Triangle {
    int number;
    int const* vertices;
    int signs[3];

    Triangle(int triangle, MeshTriangle const* triangles, std::int16_t const* vertexSigns)
        : number(triangle), vertices(triangles[triangle].vertices) {
        for (int k = 0; k < 3; ++k)
            signs[k] = vertexSigns[vertices[k]];
    }

    int sum() const { return signs[0] + signs[1] + signs[2]; }
    bool crosses(int edge) const { return signs[edge] * signs[next(edge)] < 0; }
    int numCrossings() const { return crosses(0) + crosses(1) + crosses(2); }
    /// The first edge with ends of one sign.
    int levelEdge() const {
        int edge = 0;
        while (edge < 2 && signs[edge] != signs[next(edge)])
            ++edge;
        return edge;
    }
};

void MeshSilhouetteImpl::evaluate(Row const& view) {
    std::vector<Row> const& rows = dual_.rows();
    values_.resize(rows.size());
    signs_.resize(rows.size());
    float const tolerance = tolerance_;
    for (std::size_t v = 0; v < rows.size(); ++v) {
        float const value =
            view.x * rows[v].x + view.y * rows[v].y + view.z * rows[v].z + view.w * rows[v].w;
        values_[v] = value;
        signs_[v] = value > tolerance ? std::int16_t{1} : std::int16_t(value < -tolerance ? -1 : 0);
    }
}

void MeshSilhouetteImpl::compute(Row const& view) {
    assert(adjTris == nullptr || detail::countsMatch(*adjTris, dual_.mesh()));
    points_.clear();
    if (dual_.rows().empty())
        return;
    evaluate(view);
    int const numTriangles = dual_.mesh().getNumTriangles();
    MeshTriangle const* const triangles = dual_.mesh().getTriangles();
    std::int16_t const* const signs = signs_.data();
    done_.resize(numTriangles);
    for (int t = 0; t < numTriangles; ++t) {
        int const* const v = triangles[t].vertices;
        int const first = signs[v[0]];
        if (first != 0 && signs[v[0]] == signs[v[1]] && signs[v[0]] == signs[v[2]])
            continue;
        Triangle const triangle(t, triangles, signs);
        int const numCrossings = triangle.numCrossings();
        if (numCrossings == 2)
            twoEdgesCross(triangle);
        else if (numCrossings == 1)
            oneEdgeCrosses(triangle);
        else
            noEdgeCrosses(triangle);
    }
}

//        L         One corner alone on its side: from edge to edge, with the positive side on the
//       / \        left.
//      x<--x       here k and k + 1 are positive
//     /     \      .
//    k-----k+1
void MeshSilhouetteImpl::twoEdgesCross(Triangle const& triangle) {
    int const k = triangle.levelEdge();
    End const toAlone = crossing(triangle, next(k));
    End const fromAlone = crossing(triangle, previous(k));
    if (triangle.signs[k] > 0)
        give(triangle, toAlone, fromAlone);
    else
        give(triangle, fromAlone, toAlone);
}

/// The third corner is at 0 itself.
void MeshSilhouetteImpl::oneEdgeCrosses(Triangle const& triangle) {
    int k = 0;
    while (!triangle.crosses(k))
        ++k;
    End const corner{previous(k)};
    if (triangle.signs[k] < 0)
        give(triangle, corner, crossing(triangle, k));
    else
        give(triangle, crossing(triangle, k), corner);
}

void MeshSilhouetteImpl::noEdgeCrosses(Triangle const& triangle) {
    bool const isAtZero =
        triangle.signs[0] == 0 && triangle.signs[1] == 0 && triangle.signs[2] == 0;
    if (isAtZero && zeroTriangles != nullptr) {
        zeroTriangles->push_back(triangle.number);
    } else if (isAtZero) {
        for (int k = 0; k < 3; ++k)
            give(triangle, {k}, {next(k)});
    } else if (triangle.sum() == 1 || triangle.sum() == -1) {
        edgeAtZero(triangle, triangle.levelEdge());
    }
}

void MeshSilhouetteImpl::edgeAtZero(Triangle const& triangle, int edge) {
    if (done_.isBitSet(triangle.number) != 0)
        return;
    done_.setBit(triangle.number);
    if (adjTris != nullptr && !separates(triangle, edge))
        return;
    if (triangle.signs[previous(edge)] > 0)
        give(triangle, {edge}, {next(edge)});
    else
        give(triangle, {next(edge)}, {edge});
}

/// Whether the neighbour across an edge at 0 has its third corner on the other side. The neighbour
/// is marked, so that it does not give the same edge again.
bool MeshSilhouetteImpl::separates(Triangle const& triangle, int edge) {
    MeshTriangle const* const triangles = dual_.mesh().getTriangles();
    int neighbour = -1;
    int sharedEdge = -1;
    if (!getSharedEdgeAdjacentTriangle(triangle.number, edge, triangles, *adjTris, neighbour,
                                       sharedEdge) ||
        done_.isBitSet(neighbour) != 0)
        return false;
    done_.setBit(neighbour);
    Triangle const other(neighbour, triangles, signs_.data());
    int const a = triangle.vertices[edge];
    int const b = triangle.vertices[next(edge)];
    int third = 0;  // whichever way the neighbour is wound
    while (third < 2 && (other.vertices[third] == a || other.vertices[third] == b))
        ++third;
    int const sign = other.signs[third];
    return sign != 0 && sign != triangle.signs[previous(edge)];
}

End MeshSilhouetteImpl::crossing(Triangle const& triangle, int edge) const {
    float const a = values_[static_cast<std::size_t>(triangle.vertices[edge])];
    float const b = values_[static_cast<std::size_t>(triangle.vertices[next(edge)])];
    return {edge, b / (b - a)};
}

void MeshSilhouetteImpl::give(Triangle const& triangle, End const& start, End const& end) {
    giveEnd(triangle, start);
    giveEnd(triangle, end);
}

void MeshSilhouetteImpl::giveEnd(Triangle const& triangle, End const& end) {
    float const weightOfNext = 1.0f - end.weight;
    if (coords_ != nullptr) {
        MeshCoord coord(triangle.number, 0.0, 0.0, 0.0);
        coord.weights[end.from] = static_cast<double>(end.weight);
        coord.weights[next(end.from)] = static_cast<double>(weightOfNext);
        coords_->push_back(coord);
        return;
    }
    MeshVertex const* const vertices = dual_.mesh().getVertices();
    PointFlt const from = vertices[triangle.vertices[end.from]].asPointFlt();
    PointFlt const to = vertices[triangle.vertices[next(end.from)]].asPointFlt();
    PointFlt const at = weightOfNext == 0.0f ? from : combine(end.weight, from, weightOfNext, to);
    points_.push_back({at.x, at.y, at.z});
}

ko::Reference<CompactMesh> MeshSilhouetteImpl::lines(Row const& view) {
    compute(view);
    ko::Reference<CompactMesh> mesh(new CompactMesh);
    int const numPoints = static_cast<int>(points_.size());
    if (numPoints == 0)
        return mesh;
    mesh->copyVertices(numPoints, points_.data());
    mesh->resizeLineStripArrays(numPoints, numPoints / 2);
    int* const points = mesh->getLineStripPoints();
    for (int i = 0; i < numPoints; ++i)
        points[i] = i;
    int* const lengths = mesh->getLineStripLengths();
    for (int i = 0; i < numPoints / 2; ++i)
        lengths[i] = 2;
    return mesh;
}

void MeshSilhouetteImpl::onMesh(Row const& view, std::deque<MeshCoord>& result) {
    result.clear();
    coords_ = &result;
    compute(view);
    coords_ = nullptr;
}

MeshSilhouette::MeshSilhouette(CompactMesh const& mesh, float tolerance)
    : impl_(new MeshSilhouetteImpl(mesh, tolerance)), ownsImpl_(true) {
    assert(detail::hasTrianglesInRange(mesh));
}

MeshSilhouette::MeshSilhouette(MeshSilhouette const& other)
    : impl_(other.impl_), ownsImpl_(false) {}

MeshSilhouette::~MeshSilhouette() {
    if (ownsImpl_)
        delete impl_;
}

ko::Reference<CompactMesh> MeshSilhouette::computePersp(PointFlt const& eye) {
    return impl_->lines({eye.x, eye.y, eye.z, 1.0f});
}

ko::Reference<CompactMesh> MeshSilhouette::computeOrtho(VectorFlt const& direction) {
    return impl_->lines({direction.x, direction.y, direction.z, 0.0f});
}

void MeshSilhouette::computePerspOnMesh(PointFlt const& eye, std::deque<MeshCoord>& result) {
    impl_->onMesh({eye.x, eye.y, eye.z, 1.0f}, result);
}

void MeshSilhouette::computeOrthoOnMesh(VectorFlt const& direction, std::deque<MeshCoord>& result) {
    impl_->onMesh({direction.x, direction.y, direction.z, 0.0f}, result);
}

void MeshSilhouette::setAdjacentTrianglesForDuplicateEdgeDetection(MeshAdjTris const& adjTris) {
    impl_->adjTris = &adjTris;
}

void MeshSilhouette::setZeroCrossingTriangleList(ko::list<int>* triangles) {
    impl_->zeroTriangles = triangles;
}

}  // namespace koGeom
