#include "trimora/connectivity/meshTriBoundingBox.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <cassert>

namespace koGeom {

namespace {

BoundingBox boxOfTriangle(MeshVertex const* vertices, MeshTriangle const& triangle) {
    PointFlt const first = vertices[triangle[0]].asPointFlt();
    BoundingBox box(first, first);
    box.extend(vertices[triangle[1]].asPointFlt());
    box.extend(vertices[triangle[2]].asPointFlt());
    return box;
}

}  // namespace

void meshTriBoundingBox(MeshVertex const* vertices, MeshTriangle const& triangle,
                        BoundingBox& box) {
    box = boxOfTriangle(vertices, triangle);
}

void meshTriBoundingBoxes(MeshVertex const* vertices, MeshTriangle const* triangles, int count,
                          BoundingBox* boxes) {
    koOS::StopWatch watch;
    watch.start();
    for (int t = 0; t < count; ++t)
        boxes[t] = boxOfTriangle(vertices, triangles[t]);
    debugChannel().print("meshTriBoundingBoxes: %d triangles, %f s\n", count, watch.clear());
}

void meshComputeNeighbourBBoxes(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                BoundingBox* boxes) {
    assert(detail::isTableOf(adjTris, mesh));
    MeshVertex const* const vertices = mesh.getVertices();
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int v = 0, numVertices = mesh.getNumVertices(); v < numVertices; ++v) {
        boxes[v].setInvalid();
        int const* const tris = adjTris.triIndices(v);
        for (int i = 0, count = adjTris.numTris(v); i < count; ++i)
            for (int const corner : triangles[tris[i]].vertices)
                boxes[v].extend(vertices[corner].asPointFlt());
    }
}

}  // namespace koGeom
