// A lattice mesh or a height field through the three reductions: what is left is valid and no more than before, borders stay
// with vertex removal, and every vertex stays within the tolerance.

#include "fuzzMesh.h"
#include "support/oracles.h"
#include "support/plainDistance.h"
#include "toolkit/meshReduction.h"

#include <cmath>

using koGeom::CompactMesh;

namespace {

void requireWithin(CompactMesh const& before, CompactMesh const& after, double tolerance) {
    double const most = tolerance + 1e-5;
    for (int i = 0; i < 3 * before.getNumTriangles(); ++i) {
        auto const p = before.getVertices()[before.getTrianglesRaw()[i]].asPoint();
        fuzz::require(support::distance2ToMesh(p, after, most * most) <= most * most,
                      "a vertex is farther away than the tolerance");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    bool const isHard = (flags & 9) == 8;
    trimora::ReduceOptions options;
    double const fractions[] = {0.5, 0.1, 0.0, 0.9};
    double const tolerances[] = {0.05, 0.3, 2.0, 0.0};
    options.method = static_cast<trimora::ReduceMethod>((flags >> 1 & 3) % 3);
    bool const isTolerance = options.method == trimora::ReduceMethod::Tolerance;
    options.value = (isTolerance ? tolerances : fractions)[flags >> 4 & 3];
    CompactMesh mesh = (flags & 1) != 0 ? fuzz::gridMesh(bytes) : fuzz::latticeMesh(bytes, isHard);
    CompactMesh const before = mesh;
    koUtil::Progress progress;
    auto const outcome = trimora::reduceMesh(mesh, options, progress);
    fuzz::requireRefusedOrValid(before, mesh, outcome.refusal);
    if (!outcome.refusal.empty())
        return 0;
    fuzz::require(mesh.getNumTriangles() <= before.getNumTriangles(), "it became more");
    fuzz::require(outcome.after.triangles == mesh.getNumTriangles() &&
                      outcome.after.vertices == mesh.getNumVertices(),
                  "the counts are wrong");
    fuzz::require(options.method == trimora::ReduceMethod::Collapse ||
                      support::numBorderEdges(mesh) == support::numBorderEdges(before),
                  "vertex removal changed a border");
    if (isTolerance && !isHard)
        requireWithin(before, mesh, options.value);
    return 0;
}
