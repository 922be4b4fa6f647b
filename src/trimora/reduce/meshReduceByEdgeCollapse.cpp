#include "trimora/reduce/meshReduceByEdgeCollapse.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/reduce/detail/EdgeCollapser.h"

#include <algorithm>
#include <cmath>

/// Reduction by edge collapse: the entry point. The work is that of EdgeCollapser, which leaves the mesh alone until it
/// stores the outcome.
namespace koGeom {

namespace {

int targetOf(int numFaces, double fraction) {
    double const wanted = std::trunc(numFaces * fraction);
    return wanted < numFaces ? static_cast<int>(std::max(wanted, 1.0)) : numFaces;
}

}  // namespace

void meshReduceByEdgeCollapse(TopoMesh& mesh, double fraction, koUtil::Progress& /*progress*/) {
    if (!TopoMeshTriangles::canHold(mesh))
        return;
    koOS::StopWatch watch;
    watch.start();

    int const numFaces = mesh.numFaces();
    int const target = targetOf(numFaces, fraction);
    EdgeCollapser collapser(mesh);
    while (collapser.numFaces() > target && collapser.collapseNext()) {
    }
    collapser.store();

    debugChannel().print("meshReduceByEdgeCollapse: %d of %d faces left, %f s\n", mesh.numFaces(),
                         numFaces, watch.clear());
    if (mesh.numFaces() < numFaces) {
        TopoMeshModification modification(mesh, TopoMeshModification::Topology);
        mesh.modified(modification);
    }
}

}  // namespace koGeom
