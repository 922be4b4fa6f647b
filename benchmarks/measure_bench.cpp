#include "harness.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/measure/meshCurvature.h"

namespace bench {

void measureCases() {
    using namespace koGeom;
    for (NamedMesh const* const named : bothMeshes()) {
        CompactMesh mesh(named->mesh);
        meshComputeNormals(mesh);
        SimpleMeshCache cache;
        ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
        ko::Reference<MeshAdjVertices> const adjVertices = cache.getAdjVertices(mesh);
        std::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
        run({"curvature", named->name, mesh.getNumTriangles(), 0.0, [] {},
             [&] {
                 meshCurvature(mesh, *adjTris, *adjVertices, AffineMatrixFlt::Identity,
                               MaxCurvature, values.data());
             },
             [&] { return figure("first", static_cast<double>(values[0])); }});
    }
}

}  // namespace bench
