#include "toolkit/meshMerging.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"

#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/stitch/MeshMerge.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshPlacement;
using koGeom::MeshTriangle;
using koLinear::PointFlt;

bool isFinite(PointFlt const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

int numDegenerate(CompactMesh const& mesh) {
    auto const isDegenerate = [](MeshTriangle const& t) {
        return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
    };
    MeshTriangle const* const triangles = mesh.getTriangles();
    return static_cast<int>(
        std::count_if(triangles, triangles + mesh.getNumTriangles(), isDegenerate));
}

/// Nonfinite corners would be taken for vertex 0.
MergeOutcome faultOfCorners(MeshPlacement const& placement) {
    MergeOutcome outcome;
    for (int t = 0; t < placement.mesh->getNumTriangles(); ++t) {
        for (int const v : placement.mesh->getTriangles()[t].vertices) {
            PointFlt const p = placement.mesh->getVertices()[v].asPointFlt();
            outcome.isNonfinite = !isFinite(p);
            if (outcome.isNonfinite)
                outcome.refusal =
                    "a triangle has a corner that is NaN or infinite; leave such triangles out";
            else if (!isFinite(p * placement.matrix))
                outcome.refusal =
                    "the placed mesh leaves the range of floats, 3.4e38; place it nearer";
            if (!outcome.refusal.empty())
                return outcome;
        }
    }
    return outcome;
}

/// Of the list; cancelled, it says so.
MergeOutcome faultOf(ko::list<MeshPlacement> const& meshes, koUtil::Progress const& progress) {
    std::int64_t numVertices = 0;
    std::int64_t numTriangles = 0;
    int place = 0;
    for (MeshPlacement const& placement : meshes) {
        MergeOutcome outcome;
        if (progress.cancelled())
            return cancelledOutcome<MergeOutcome>();
        if (placement.mesh == nullptr) {
            outcome.refusal = "there is no mesh in this place of the list";
            outcome.mesh = place;
            return outcome;
        }
        if (!isRefused(outcome, *placement.mesh))
            outcome = faultOfCorners(placement);
        numVertices += placement.mesh->getNumVertices();
        numTriangles += placement.mesh->getNumTriangles();
        if (std::max(numVertices, numTriangles) > std::numeric_limits<int>::max())
            outcome.refusal =
                "with this mesh there are more vertices or triangles than 2^31 - 1; merge fewer";
        outcome.mesh = place++;
        if (!outcome.refusal.empty())
            return outcome;
    }
    return {};
}

}  // namespace

double diagonalOf(ko::list<MeshPlacement> const& meshes) {
    koLinear::Point low(HUGE_VAL, HUGE_VAL, HUGE_VAL);
    koLinear::Point high(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
    for (MeshPlacement const& placement : meshes) {
        int const numVertices = placement.mesh ? placement.mesh->getNumVertices() : 0;
        for (int v = 0; v < numVertices; ++v) {
            PointFlt const f = placement.mesh->getVertices()[v].asPointFlt() * placement.matrix;
            if (!isFinite(f))
                continue;
            koLinear::Point const p(f);
            low.set(std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z));
            high.set(std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z));
        }
    }
    return low.x <= high.x ? distance(low, high) : 0.0;
}

MergeOutcome mergeMeshes(ko::list<MeshPlacement> const& meshes, double tolerance,
                         CompactMesh& result, koUtil::Progress& progress) {
    MergeOutcome outcome = faultOf(meshes, progress);
    if (!outcome.cancelled && (!std::isfinite(tolerance) || tolerance < 0.0))
        outcome.refusal = "the tolerance is below 0, or no finite number";
    if (!outcome.refusal.empty() || outcome.cancelled)
        return outcome;
    koOS::StopWatch watch;
    watch.start();
    CompactMesh merged;
    MeshState source;  // of all that is merged, as far as it matters
    Expectation expected;
    expected.triangles = 0;
    double const most = std::numeric_limits<float>::max();
    koUtil::Progress child;
    progress.subPhase(1.0, child);
    koGeom::MeshMerge(merged, meshes, static_cast<float>(std::min(tolerance, most))).merge(child);
    if (progress.cancelled())
        return cancelledOutcome<MergeOutcome>();
    for (MeshPlacement const& placement : meshes) {
        outcome.verticesMerged += placement.mesh->getNumVertices();
        *expected.triangles += placement.mesh->getNumTriangles();
        source.nonfiniteVertices += numNonfiniteVertices(*placement.mesh);
        outcome.degenerateTriangles -= numDegenerate(*placement.mesh);
    }
    outcome.verticesMerged -= merged.getNumVertices();
    outcome.degenerateTriangles += numDegenerate(merged);
    outcome.seconds = watch.clear();
    if (SurfaceFault const fault = faultOfMade(source, merged, expected)) {
        outcome = MergeOutcome();
        refuse(outcome, fault);
        return outcome;
    }
    if (progress.cancelled())
        return cancelledOutcome<MergeOutcome>();
    result.swap(merged);
    return outcome;
}

}  // namespace trimora
