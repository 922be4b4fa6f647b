#include "toolkit/meshWelding.h"

#include "toolkit/detail/CheckedEdit.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koOS/StopWatch.h"

namespace trimora {

namespace {

WeldOutcome weld(koGeom::CompactMesh& mesh, koUtil::Progress& progress) {
    koOS::StopWatch watch;
    watch.start();
    WeldOutcome outcome;
    outcome.verticesBefore = mesh.getNumVertices();
    koUtil::Progress child;
    progress.subPhase(1.0, child);
    koGeom::meshCompact(mesh, child);
    outcome.verticesAfter = mesh.getNumVertices();
    outcome.seconds = watch.clear();
    return outcome;
}

Expectation predict(MeshState const& before, WeldOutcome const& outcome) {
    Expectation expected;
    expected.noMoreVertices = true;
    expected.vertices = outcome.verticesAfter;
    expected.triangles = before.triangles;
    if (before.census)
        expected.mostComponents = before.census->components;
    return expected;
}

}  // namespace

WeldOutcome weldMesh(koGeom::CompactMesh& mesh, koUtil::Progress& progress) {
    return editChecked(
        mesh, [&progress](koGeom::CompactMesh& work) { return weld(work, progress); }, predict,
        &progress);
}

}  // namespace trimora
