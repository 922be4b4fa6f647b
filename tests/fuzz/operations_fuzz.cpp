// A lattice mesh or a height field through one of the toolkit's other operations: smooth, offset, extrude, subdivide, split,
// strips, merge, silhouette, collar, measure. A refusal leaves the mesh as it was, and what comes out is valid.

#include "fuzzMesh.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "toolkit/collarSampling.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshOffsetting.h"
#include "toolkit/meshSmoothing.h"
#include "toolkit/meshSplitting.h"
#include "toolkit/meshStrips.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/silhouetteCurves.h"

#include <cmath>

using koGeom::CompactMesh;

namespace {

koUtil::Progress nobody;

koGeom::BitVector selectionFrom(fuzz::Bytes& bytes, int count) {
    koGeom::BitVector bits(count);
    for (int i = 0; i < count; ++i)
        if (bytes.next() % 2 != 0)
            bits.setBit(i);
    return bits;
}

void smooth(CompactMesh& mesh, fuzz::Bytes& bytes) {
    CompactMesh const before = mesh;
    trimora::SmoothOptions options;
    options.method = static_cast<trimora::SmoothOptions::Method>(bytes.index(2));
    options.passes = 1 + bytes.index(3);
    options.sigma = 0.5;
    options.keepBorders = bytes.index(2) != 0;
    auto const outcome =
        trimora::smoothMesh(mesh, selectionFrom(bytes, mesh.getNumTriangles()), options, nobody);
    fuzz::requireRefusedOrValid(before, mesh, outcome.refusal);
    fuzz::require(std::equal(mesh.getTrianglesRaw(),
                             mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles(),
                             before.getTrianglesRaw()),
                  "smoothing changed a triangle");
}

void offset(CompactMesh& mesh, fuzz::Bytes& bytes) {
    CompactMesh const before = mesh;
    double const distances[] = {0.1, -0.1, 1.0, -3.0, 0.0, 1e-9};
    trimora::OffsetOptions options;
    options.distance = distances[bytes.index(6)];
    options.shellOnly = bytes.index(2) != 0;
    auto const outcome = trimora::offsetMesh(mesh, options, nobody);
    fuzz::requireRefusedOrValid(before, mesh, outcome.refusal);
}

void extrude(CompactMesh& mesh, fuzz::Bytes& bytes) {
    CompactMesh const before = mesh;
    trimora::ExtrudeOptions options;
    options.distance = 0.25 * bytes.index(16) - 1.0;
    if (bytes.index(2) != 0)
        options.direction = koLinear::Vector(bytes.index(3) - 1, bytes.index(3) - 1, 1);
    auto const outcome =
        trimora::extrudeMesh(mesh, selectionFrom(bytes, mesh.getNumTriangles()), options, nobody);
    fuzz::requireRefusedOrValid(before, mesh, outcome.refusal);
}

void subdivide(CompactMesh& mesh, fuzz::Bytes& bytes) {
    auto const outcome = trimora::subdivideMesh(mesh, {}, 1 + bytes.index(2), nobody);
    fuzz::require(outcome.refusal.empty(), "a mesh was not subdivided");
    fuzz::requireValid(outcome.mesh);
}

void split(CompactMesh& mesh, fuzz::Bytes& bytes) {
    trimora::SplitOptions options;
    options.by = static_cast<trimora::SplitOptions::By>(bytes.index(2));
    options.maxVertices = bytes.index(20);
    auto const outcome = trimora::splitMesh(mesh, options, nobody);
    int triangles = 0;
    for (CompactMesh const& part : outcome.parts) {
        fuzz::requireValid(part);
        triangles += part.getNumTriangles();
    }
    fuzz::require(!outcome.refusal.empty() || triangles == mesh.getNumTriangles(),
                  "the parts are not the whole");
}

/// NaN is in no set.
void strips(CompactMesh& mesh, fuzz::Bytes& bytes, bool isHard) {
    trimora::StripOptions options;
    options.maxLength = bytes.index(40);
    options.isSingle = bytes.index(2) != 0;
    if (bytes.index(2) != 0)
        options.cacheSize = bytes.index(24);
    CompactMesh result;
    auto const outcome = trimora::makeStrips(mesh, options, result, nobody);
    fuzz::requireValid(result);
    std::string const fault = support::faultOf(result);
    fuzz::require(fault.empty(), fault.c_str());
    fuzz::require(!outcome.refusal.empty() || isHard ||
                      support::positionTriples(result) == support::positionTriples(mesh),
                  "strips changed the surface");
}

void merge(CompactMesh& mesh, fuzz::Bytes& bytes) {
    double const tolerances[] = {0.0, 0.1, 1.5, 40.0};
    koGeom::MeshPlacement first, second;
    first.mesh = second.mesh = &mesh;
    CompactMesh result;
    auto const outcome =
        trimora::mergeMeshes({first, second}, tolerances[bytes.index(4)], result, nobody);
    fuzz::requireValid(result);
    fuzz::require(!outcome.refusal.empty() ||
                      result.getNumTriangles() == 2 * mesh.getNumTriangles(),
                  "merging lost triangles");
}

void look(CompactMesh& mesh, fuzz::Bytes& bytes) {
    trimora::SilhouetteView view;
    view.isDirection = bytes.index(2) != 0;
    view.place = {bytes.index(9) - 2.0, bytes.index(9) - 2.0, bytes.index(9) - 2.0};
    auto const outcome = trimora::silhouetteCurves(mesh, view, nobody);
    fuzz::require(outcome.refusal.empty() || outcome.curves.empty(), "curves of a refusal");
    for (trimora::Polyline const& curve : outcome.curves)
        for (koLinear::Point const& p : curve)
            fuzz::require(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z),
                          "a silhouette without a place");
}

void sampleBorders(CompactMesh& mesh, fuzz::Bytes& bytes) {
    trimora::CollarOptions options;
    options.samples = bytes.index(30);
    for (trimora::MeshHole const& hole : trimora::findHoles(mesh, nobody).holes) {
        auto const outcome = trimora::sampleCollar(mesh, hole, options);
        fuzz::require(!outcome.refusal.empty() || options.samples == 0 ||
                          outcome.samples.size() == static_cast<std::size_t>(options.samples),
                      "another number of samples");
    }
}

void measure(CompactMesh& mesh) {
    auto const outcome = trimora::measureMesh(mesh, true, nobody);
    fuzz::require(!outcome.refusal.empty() ||
                      (std::isfinite(outcome.whole.area) && std::isfinite(outcome.whole.volume)),
                  "a measure that is none");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    int const operation = bytes.index(9);
    bool const isHard = (flags & 3) == 2;
    CompactMesh mesh =
        (flags & 1) != 0 ? fuzz::gridMesh(bytes) : fuzz::latticeMesh(bytes, isHard, 12);
    switch (operation) {
    case 0:
        smooth(mesh, bytes);
        break;
    case 1:
        offset(mesh, bytes);
        break;
    case 2:
        extrude(mesh, bytes);
        break;
    case 3:
        subdivide(mesh, bytes);
        break;
    case 4:
        split(mesh, bytes);
        break;
    case 5:
        strips(mesh, bytes, isHard);
        break;
    case 6:
        merge(mesh, bytes);
        break;
    case 7:
        look(mesh, bytes);
        sampleBorders(mesh, bytes);
        break;
    default:
        measure(mesh);
        break;
    }
    return 0;
}
