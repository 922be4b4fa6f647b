#include "toolkit/vertexCurvature.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koLinear/matrices.h"

namespace trimora {

using koGeom::CompactMesh;

CurvatureOutcome measureCurvature(CompactMesh const& mesh, koGeom::MeshCurvature kind) {
    CurvatureOutcome outcome;
    if (isRefused(outcome, mesh) || mesh.getNumVertices() == 0)
        return outcome;
    if (kind < koGeom::MeanCurvature || kind > koGeom::MaxCurvature) {
        outcome.refusal = "there is no curvature of this number";
        return outcome;
    }
    CompactMesh copy;
    bool const hasNormals = mesh.getNormals() != nullptr;
    if (!hasNormals) {
        copy = bareCopy(mesh);
        koGeom::meshComputeNormals(copy);
    }
    CompactMesh const& measured = hasNormals ? mesh : copy;
    koGeom::SimpleMeshCache cache;
    outcome.values.resize(static_cast<std::size_t>(mesh.getNumVertices()));
    koGeom::meshCurvature(measured, *cache.getAdjTris(measured), *cache.getAdjVertices(measured),
                          koGeom::AffineMatrixFlt::Identity, kind, outcome.values.data());
    return outcome;
}

}  // namespace trimora
