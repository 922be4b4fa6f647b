#include "toolkit/meshCounts.h"

#include "toolkit/detail/borderLoops.h"
#include "toolkit/surfaceFault.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshArea.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/connectivity/meshComponents.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;

bool isFinite(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

}  // namespace

MeshCounts countMesh(CompactMesh const& mesh) {
    requireSoundMesh(mesh);
    koGeom::SimpleMeshCache cache;
    MeshCounts counts;
    counts.vertices = mesh.getNumVertices();
    counts.triangles = mesh.getNumTriangles();
    counts.components = koGeom::meshComponents(mesh, *cache.getAdjTris(mesh), nullptr);
    counts.boundaries = numBorders(mesh, *cache.getAdjTris(mesh), *cache.getBoundaries(mesh));
    return counts;
}

double diagonalOf(CompactMesh const& mesh) {
    Point low(HUGE_VAL, HUGE_VAL, HUGE_VAL);
    Point high(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        Point const p = pointOf(mesh, v);
        if (!isFinite(p))
            continue;
        low.set(std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z));
        high.set(std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z));
    }
    return low.x <= high.x ? distance(low, high) : 0.0;
}

void boxOfVertices(CompactMesh const& mesh, double low[3], double high[3]) {
    requireSoundMesh(mesh);
    koGeom::meshBoundingBox(mesh, low, high);
}

double surfaceArea(CompactMesh const& mesh) {
    requireSoundMesh(mesh);
    return koGeom::meshArea(mesh, koGeom::MeshChannelVertices);
}

int numNonfiniteVertices(CompactMesh const& mesh) {
    int count = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        count += isFinite(pointOf(mesh, v)) ? 0 : 1;
    return count;
}

std::string positionInWords(Point const& position) {
    char text[96];
    std::snprintf(text, sizeof text, "%.6g %.6g %.6g", position.x, position.y, position.z);
    return text;
}

std::string countInWords(std::int64_t count, std::string const& singular,
                         std::string const& plural) {
    bool const isOne = count == 1;
    return std::to_string(count) + " " +
           (isOne            ? singular
            : plural.empty() ? singular + "s"
                             : plural);
}

std::string bytesInWords(double bytes) {
    char const* const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    int unit = 0;
    for (; bytes >= 1024.0 && unit < 4; ++unit)
        bytes /= 1024.0;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

}  // namespace trimora
