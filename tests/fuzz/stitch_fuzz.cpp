// A lattice mesh with its borders stitched at a drawn distance: a refusal leaves it as it was, and a result is no worse.

#include "fuzzMesh.h"
#include "support/builders.h"
#include "toolkit/meshStitching.h"

using koGeom::CompactMesh;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    double const distances[] = {0.2, 0.5, 1.1, 3.0};
    trimora::StitchOptions options;
    options.distance = distances[flags & 3];
    CompactMesh mesh = fuzz::latticeMesh(bytes, (flags & 4) != 0);
    CompactMesh const before = mesh;
    koUtil::Progress progress;
    auto const holes = trimora::findHoles(mesh, progress).holes;
    auto const chosen = trimora::chooseHoles(holes, {trimora::HoleChoice::Kind::All, {}, 0.0});
    auto const outcome = trimora::stitchMesh(mesh, holes, chosen, options, progress);
    fuzz::requireValid(mesh);
    if (!outcome.refusal.empty()) {
        fuzz::require(mesh.getNumVertices() == before.getNumVertices() &&
                          support::trianglesOf(mesh) == support::trianglesOf(before),
                      "a refusal that changed something");
        return 0;
    }
    fuzz::require(outcome.after.nonManifoldEdges <= outcome.before.nonManifoldEdges,
                  "a stitched edge has more than two triangles");
    return 0;
}
