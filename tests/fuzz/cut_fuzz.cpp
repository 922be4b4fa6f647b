// A lattice mesh or a height field cut by a plane, or along a line laid on it: a refusal leaves it as it was, a cut keeps its
// area and opens it.

#include "fuzzMesh.h"
#include "support/oracles.h"
#include "toolkit/meshCutting.h"
#include "toolkit/surfaceCurve.h"

#include "trimora/connectivity/SimpleMeshCache.h"

#include <cmath>

using koGeom::CompactMesh;

namespace {

constexpr std::size_t bytesOfCurves = 16;

double coordinateFrom(fuzz::Bytes& bytes) {
    return 0.25 * bytes.index(40) - 0.5;
}

trimora::SurfaceCurves planeCurves(CompactMesh const& mesh, fuzz::Bytes& bytes, double tolerance) {
    trimora::SectionPlane plane;
    double const x = bytes.index(7) - 3, y = bytes.index(7) - 3, z = bytes.index(7) - 3;
    if (!plane.set({x, y, z, coordinateFrom(bytes)}))
        return {};
    koUtil::Progress progress;
    return trimora::planeSection(mesh, plane, tolerance, progress).curves;
}

trimora::SurfaceCurves laidCurves(CompactMesh const& mesh, fuzz::Bytes& bytes, double tolerance) {
    std::vector<trimora::Polyline> lines(1);
    do {
        double const x = coordinateFrom(bytes), y = coordinateFrom(bytes);
        lines.front().emplace_back(x, y, coordinateFrom(bytes));
    } while (lines.front().size() < 2 || (bytes.left() > 0 && lines.front().size() < 5));
    koGeom::SimpleMeshCache cache;
    koUtil::Progress progress;
    trimora::LaidCurves laid = trimora::laySurfaceCurves(mesh, cache, lines, tolerance, progress);
    fuzz::require(laid.refusal.empty() || laid.curves.empty(), "curves of a refusal");
    return std::move(laid.curves);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    bool const isHard = (flags & 5) == 4;
    CompactMesh mesh =
        (flags & 1) != 0 ? fuzz::gridMesh(bytes) : fuzz::latticeMesh(bytes, isHard, bytesOfCurves);
    double const tolerance = trimora::cutTolerance(mesh);
    if (mesh.getNumTriangles() == 0)
        return 0;
    trimora::SurfaceCurves const curves =
        (flags & 2) != 0 ? laidCurves(mesh, bytes, tolerance) : planeCurves(mesh, bytes, tolerance);
    if (curves.empty())
        return 0;
    CompactMesh const before = mesh;
    koUtil::Progress progress;
    auto const outcome = trimora::cutMesh(mesh, curves, tolerance, progress);
    fuzz::requireRefusedOrValid(before, mesh, outcome.refusal);
    if (isHard)
        return 0;
    double const area = support::area(before);
    fuzz::require(outcome.removedVertices > 0 || outcome.closedFolds > 0 ||
                      std::abs(support::area(mesh) - area) <= 1e-4 * (1.0 + area),
                  "a cut changed the area");
    fuzz::require(support::numBorderEdges(mesh) >= support::numBorderEdges(before) ||
                      outcome.openedLength == 0.0,
                  "a cut closed something");
    return 0;
}
