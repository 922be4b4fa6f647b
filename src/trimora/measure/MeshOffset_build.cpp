#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/triNormal.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/measure/detail/OffsetShell.h"
#include "trimora/topology/meshTwin.h"

#include <new>

/// First stage of an offset: a copy of each vertex, the triangles on the copies turned round, and bands along the borders.
namespace koGeom::detail {

Normal faceNormal(TopoMeshFace face) {
    TopoMeshEdge const edge = face.edge();
    return triNormal(edge.origin().point(), edge.next().origin().point(),
                     edge.prev().origin().point());
}

namespace {

/// Only creases carry weight, in proportion to the angle of the fold; on flat ground the first triangle speaks for all. A vertex
/// without triangles looks along z, as a triangle without a direction does.
Normal creaseNormal(TopoMeshVertex vertex) {
    Vector sum;
    Normal first;
    for (TopoMeshEdgeVertexIterator i = {vertex, vertex.edge(), 1}; i.edge; i.next()) {
        Normal const left = faceNormal(i.edge.face());
        if (!first.valid)
            first = left;
        if (!i.edge.twin())
            continue;
        Normal const right = faceNormal(i.edge.twin().face());
        double const fold = angle(left, right);
        sum += fold * Vector(left);
        sum += fold * Vector(right);
    }
    if (sum.length() > epsilonTol)
        return Normal(sum);
    return first.valid ? first : Normal::zAxis;
}

}  // namespace

OffsetShell::OffsetShell(CompactMesh const& mesh, MeshModifyRep& rep, TopoMesh& topo,
                         double distance)
    : mesh_(mesh), rep_(rep), topo_(topo), distance_(distance) {
    auto const numVertices = static_cast<std::size_t>(mesh.getNumVertices());
    normals_.reserve(numVertices);
    sources_.reserve(numVertices);
    copies_.reserve(numVertices);
    isOnBorder_.assign(numVertices, 0);
    isPending_.assign(numVertices, 1);
    hasChanged_.assign(numVertices, 1);
}

void OffsetShell::build(MeshBoundaries const& boundaries) {
    std::vector<Point> points;
    points.reserve(static_cast<std::size_t>(mesh_.getNumVertices()));
    for (TopoMeshVertex v = topo_.firstVertex(); v; v = v.nextInList()) {
        Normal const normal = creaseNormal(v);
        sources_.push_back(v);
        normals_.push_back(VectorFlt(Vector(normal)));
        // The place is that of the double normal: a float's would leave half of the copies a little too near.
        points.push_back(v.point() - distance_ * Vector(normal));
    }
    allocate(points, reversedTriangles());
    for (int loop = 0; loop < boundaries.size(); ++loop)
        joinBorder(boundaries.getStart(loop), boundaries.getEnd(loop));
    meshTwin(topo_);
}

/// Triangles that name a vertex which is not there are left out, as the bridge does.
std::vector<int> OffsetShell::reversedTriangles() const {
    std::vector<int> corners;
    corners.reserve(3 * static_cast<std::size_t>(mesh_.getNumTriangles()));
    auto const isVertex = [this](int v) { return v >= 0 && v < mesh_.getNumVertices(); };
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        MeshTriangle const& triangle = mesh_.getTriangles()[t];
        if (!isVertex(triangle[0]) || !isVertex(triangle[1]) || !isVertex(triangle[2]))
            continue;
        for (int const k : {2, 1, 0})
            corners.push_back(triangle[k]);
    }
    return corners;
}

/// In one go where there is a triangle, as bulk allocation needs one.
void OffsetShell::allocate(std::vector<Point> const& points, std::vector<int> const& corners) {
    auto const numFaces = static_cast<int>(corners.size() / 3);
    if (numFaces == 0) {
        for (Point const& point : points)
            topo_.allocVertex(point);
    } else if (!topo_.allocFaces(static_cast<int>(points.size()), points.data(), numFaces, 3,
                                 corners.data())) {
        throw std::bad_alloc();  // more half-edges than can be numbered
    }
    for (TopoMeshVertex copy = sources_.back().nextInList(); copy; copy = copy.nextInList())
        copies_.push_back(copy);
}

///     i ----- j       the border, the surface above it
///     |     / |
///     |   /   |
///     | /     |
///     i'----- j'      that of the shell
void OffsetShell::joinBorder(int const* begin, int const* end) {
    auto const isVertex = [this](int v) {
        return v >= 0 && static_cast<std::size_t>(v) < numVertices();
    };
    for (int const* at = begin; at != end; ++at) {
        int const vertexI = *at;
        int const vertexJ = at + 1 != end ? at[1] : *begin;
        if (!isVertex(vertexI) || !isVertex(vertexJ))
            continue;
        auto const i = static_cast<std::size_t>(vertexI);
        auto const j = static_cast<std::size_t>(vertexJ);
        isOnBorder_[i] = 1;
        topo_.allocTriangle(sources_[j], sources_[i], copies_[i]);
        topo_.allocTriangle(copies_[i], copies_[j], sources_[j]);
    }
}

}  // namespace koGeom::detail
