#include "trimora/measure/meshSmoothLaplacian.h"

#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/detail/SmoothingPass.h"

#include <cassert>

namespace koGeom {

void meshSmoothLaplacian(CompactMesh& mesh, MeshAdjVertices const& adjVertices,
                         koUtil::Progress& progress) {
    assert(detail::isTableOf(adjVertices, mesh));
    MeshVertex const* const vertices = mesh.getVertices();
    detail::smoothSelected(mesh, progress, [&](int vertex) {
        VectorFlt sum;
        int const count = adjVertices.numNeighbours(vertex);
        for (int i = 0; i < count; ++i) {
            MeshVertex const& neighbour = vertices[adjVertices.neighbours(vertex)[i]];
            sum = sum + VectorFlt(neighbour.x, neighbour.y, neighbour.z);
        }
        float const divisor = static_cast<float>(count);
        return PointFlt(sum.x / divisor, sum.y / divisor, sum.z / divisor);
    });
}

}  // namespace koGeom
