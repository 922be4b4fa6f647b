#include "deviation.h"
#include "halfEdges.h"
#include "harness.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
#include "trimora/topology/MeshConvertRep.h"

#include <memory>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

void collapseTo(NamedMesh const& named, char const* job, double fraction) {
    std::unique_ptr<TopoMesh> topo;
    Case each;
    each.job = job;
    each.mesh = named.name;
    each.triangles = named.mesh.getNumTriangles();
    each.setup = [&] { topo = topoMeshOf(named.mesh); };
    each.body = [&] {
        koUtil::Progress progress;
        meshReduceByEdgeCollapse(*topo, fraction, progress);
    };
    each.check = [&] {
        Deviation const deviation =
            twoSidedDeviation(named.mesh, *std::unique_ptr<CompactMesh>(meshConvertRep(*topo)));
        return figure("out_v", topo->numVertices()) + figure("out_t", topo->numFaces()) +
               figure("rms/diag", deviation.rms) + figure("max/diag", deviation.largest);
    };
    run(each, {1});
}

void collapses(NamedMesh const& named) {
    collapseTo(named, "edge_collapse_10pct", 0.1);
    collapseTo(named, "edge_collapse_1pct", 0.01);
}

}  // namespace

void collapseCases() {
    for (NamedMesh const* const named : bothMeshes())
        collapses(*named);
    if (!options().smallOnly)
        collapses(wavyMesh());
}

}  // namespace bench
