// Which parts are inside out is what the diagnosis tells; the library turns them.

#include "toolkit/partsOutward.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/diagnosis.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/repair/meshReverseWinding.h"

#include <algorithm>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;

/// Triangles of the mesh as it stands, for each part to be turned.
std::vector<std::vector<int>> partsInsideOut(CompactMesh const& mesh, koUtil::Progress& progress) {
    ReadReport const report;
    DiagnosisOptions const options;
    DiagnosisRun run(mesh, report, options, progress);
    return findPartsInsideOut(run, DiagnosisEdges(run.of));
}

/// All triangles that hang together with those parts by a vertex: duplicates and triangles without area are no part of any.
BitVector trianglesOf(CompactMesh const& mesh, std::vector<std::vector<int>> const& parts) {
    BitVector vertices(mesh.getNumVertices());
    BitVector triangles(mesh.getNumTriangles());
    for (std::vector<int> const& part : parts)
        for (int const t : part) {
            triangles.setBit(t);
            for (int const v : mesh.getTriangles()[t].vertices)
                vertices.setBit(v);
        }
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        int const* const corners = mesh.getTriangles()[t].vertices;
        bool const isAtPart = std::any_of(corners, corners + 3,
                                          [&vertices](int v) { return vertices.isBitSet(v) != 0; });
        if (isAtPart)
            triangles.setBit(t);
    }
    return triangles;
}

OutwardOutcome turn(CompactMesh& mesh, koUtil::Progress& progress) {
    koOS::StopWatch watch;
    watch.start();
    OutwardOutcome outcome;
    std::vector<std::vector<int>> const parts = partsInsideOut(mesh, progress);
    outcome.cancelled = progress.cancelled();
    if (outcome.cancelled)
        return outcome;
    if (!parts.empty()) {
        BitVector const toTurn = trianglesOf(mesh, parts);
        BitVector const selected = mesh.getSelectedTriangles();
        mesh.getSelectedTriangles() = toTurn;
        koGeom::meshReverseSelectedWinding(mesh);
        mesh.getSelectedTriangles() = selected;
        outcome.partsTurned = static_cast<int>(parts.size());
        outcome.trianglesTurned = toTurn.count;
    }
    progress.set(1.0);
    outcome.seconds = watch.clear();
    return outcome;
}

Expectation predict(MeshState const& before, OutwardOutcome const&) {
    Expectation expected = Expectation::ofKeptTopology(before);
    expected.samePositions = true;
    expected.vertices = before.vertices;
    expected.triangles = before.triangles;
    return expected;
}

}  // namespace

OutwardOutcome turnPartsOutward(CompactMesh& mesh, koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return turn(work, progress); }, predict);
}

}  // namespace trimora
