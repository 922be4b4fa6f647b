#include "toolkit/vertexCurvature.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koLinear/matrices.h"

namespace trimora {

using koGeom::CompactMesh;

namespace {

// Of the time.
constexpr double shareOfNormals = 0.2;
constexpr double shareOfTables = 0.3;

}  // namespace

CurvatureOutcome measureCurvature(CompactMesh const& mesh, koGeom::MeshCurvature kind,
                                  koUtil::Progress& progress) {
    CurvatureOutcome outcome;
    if (isRefused(outcome, mesh) || mesh.getNumVertices() == 0)
        return outcome;
    if (kind < koGeom::MeanCurvature || kind > koGeom::MaxCurvature) {
        outcome.refusal = "there is no curvature of this number";
        return outcome;
    }
    if (progress.cancelled())
        return cancelledOutcome<CurvatureOutcome>();
    CompactMesh copy;
    bool const hasNormals = mesh.getNormals() != nullptr;
    if (!hasNormals) {
        copy = bareCopy(mesh);
        koGeom::meshComputeNormals(copy);
    }
    CompactMesh const& measured = hasNormals ? mesh : copy;
    progress.set(shareOfNormals);
    if (progress.cancelled())
        return cancelledOutcome<CurvatureOutcome>();
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(measured);
    auto const adjVertices = cache.getAdjVertices(measured);
    progress.set(shareOfNormals + shareOfTables);
    if (progress.cancelled())
        return cancelledOutcome<CurvatureOutcome>();
    outcome.values.resize(static_cast<std::size_t>(mesh.getNumVertices()));
    koGeom::meshCurvature(measured, *adjTris, *adjVertices, koGeom::AffineMatrixFlt::Identity, kind,
                          outcome.values.data());
    progress.set(1.0);
    if (progress.cancelled())
        return cancelledOutcome<CurvatureOutcome>();
    return outcome;
}

}  // namespace trimora
