#include "deviation.h"
#include "halfEdges.h"
#include "harness.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
#include "trimora/topology/MeshConvertRep.h"

#include <cmath>
#include <memory>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

/// The mesh moved by smooth waves and a little noise. A mesh of midpoint splits is flat nearly everywhere, so that its edges
/// cost nothing; here they do.
NamedMesh wavy(NamedMesh const& named) {
    NamedMesh result{named.name + "_wavy", named.mesh};
    BoundingBox box;
    meshBoundingBox(named.mesh, box);
    double const diagonal = static_cast<double>(box.diagonalLength());
    std::uint64_t state = 3;
    auto const uniform = [&state] {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(state >> 11) * 0x1.0p-53;
    };
    float* const coordinates = result.mesh.getVerticesRaw();
    for (int v = 0; v < result.mesh.getNumVertices(); ++v) {
        float* const p = coordinates + 3 * static_cast<std::ptrdiff_t>(v);
        double const at[3] = {p[0] / diagonal, p[1] / diagonal, p[2] / diagonal};
        for (int k = 0; k < 3; ++k) {
            double const wave = std::sin(170.0 * at[(k + 1) % 3] + 40.0 * at[(k + 2) % 3]);
            p[k] += static_cast<float>(diagonal * (5e-4 * wave + 2e-5 * (uniform() - 0.5)));
        }
    }
    return result;
}

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
        collapses(wavy(largeMesh()));
}

}  // namespace bench
