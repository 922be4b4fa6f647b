// A lattice mesh flattened, by the toolkit or by the library alone: a refusal leaves it as it was, and a map is finite, in the
// unit square, over triangles that are where they were.

#include "fuzzMesh.h"
#include "support/builders.h"
#include "toolkit/meshFlattening.h"

#include "trimora/parameterize/reparameterizeMesh.h"

#include <cmath>
#include <cstring>
#include <vector>

using koGeom::CompactMesh;

namespace {

std::vector<float> cornerPositions(CompactMesh const& mesh) {
    std::vector<float> positions;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        koGeom::MeshVertex const& p = mesh.getVertices()[mesh.getTrianglesRaw()[i]];
        positions.insert(positions.end(), {p.x, p.y, p.z});
    }
    return positions;
}

bool areSame(std::vector<float> const& a, std::vector<float> const& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

void requireInSquare(koGeom::MeshUV const& uv) {
    fuzz::require(uv.u >= 0.0f && uv.u <= 1.0f && uv.v >= 0.0f && uv.v <= 1.0f,
                  "a place outside the unit square");
}

void flattenByToolkit(CompactMesh& mesh, trimora::FlattenOptions const& options) {
    CompactMesh const before = mesh;
    koUtil::Progress progress;
    auto const outcome = trimora::flattenMesh(mesh, options, progress);
    fuzz::requireValid(mesh);
    fuzz::require(areSame(cornerPositions(mesh), cornerPositions(before)), "a triangle has moved");
    if (!outcome.refusal.empty()) {
        fuzz::require(mesh.getUVs() == nullptr &&
                          mesh.getNumVertices() == before.getNumVertices() &&
                          support::trianglesOf(mesh) == support::trianglesOf(before),
                      "a refusal that changed something");
        return;
    }
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        requireInSquare(mesh.getUVs()[v]);
    for (koGeom::MeshUV const& uv : outcome.corners)
        requireInSquare(uv);
    for (trimora::MapDistortion const& chart :
         trimora::measureMaps(mesh, trimora::cornersOf(mesh).corners, outcome.chartOf,
                              static_cast<int>(outcome.charts.size()))
             .ofGroups)
        fuzz::require(std::isfinite(chart.mean) &&
                          (chart.measuredTriangles == 0 || chart.largest >= 1.0),
                      "a distortion that is none");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    CompactMesh mesh = fuzz::latticeMesh(bytes, (flags & 1) != 0);
    if ((flags & 2) != 0) {
        koGeom::reparameterizeMesh flattener(mesh);
        bool const isDone = mesh.getNumTriangles() > 0 && flattener.flatten();
        fuzz::require(isDone == (mesh.getUVs() != nullptr), "coordinates of a refusal");
        fuzz::requireValid(mesh);
        return 0;
    }
    trimora::FlattenOptions options;
    options.each = (flags & 4) == 0;
    options.seams = (flags & 8) != 0 ? trimora::SeamForm::Keep : trimora::SeamForm::Split;
    flattenByToolkit(mesh, options);
    return 0;
}
