// From measures and findings of the library to colors on a surface, with the words of the key.

#include "toolkit/surfacePaint.h"

#include "toolkit/detail/vertexEdges.h"
#include "toolkit/meshCounts.h"
#include "toolkit/surfaceFault.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/measure/meshCurvature.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;

constexpr int mostNamedComponents = 8;
enum DefectSwatch : int { Intersecting, Folded, BoundaryEdge, NonManifoldEdge };

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// The least size that this part of the finite values does not exceed; 1 where all are 0 or there are none.
double sizeOfMost(std::vector<float> const& values, double part) {
    std::vector<float> sizes;
    for (float const value : values)
        if (std::isfinite(value))
            sizes.push_back(std::abs(value));
    if (sizes.empty())
        return 1.0;
    double const count = std::ceil(part * static_cast<double>(sizes.size()));  // 1 or more
    auto const place = sizes.begin() + static_cast<std::ptrdiff_t>(count) - 1;
    std::nth_element(sizes.begin(), place, sizes.end());
    float const most = *place > 0.0f ? *place : *std::max_element(sizes.begin(), sizes.end());
    return most > 0.0f ? most : 1.0;
}

SurfacePaint paintValues(std::string title, std::vector<float> values, double part, bool isSigned) {
    SurfacePaint paint;
    paint.title = std::move(title);
    paint.isSigned = isSigned;
    paint.high = sizeOfMost(values, part);
    paint.low = isSigned ? -paint.high : 0.0;
    paint.isZero = !values.empty() && std::all_of(values.begin(), values.end(),
                                                  [](float value) { return value == 0.0f; });
    std::int64_t numMissing = 0;
    for (float& value : values) {
        if (std::isfinite(value))
            continue;
        value = std::numeric_limits<float>::quiet_NaN();
        ++numMissing;
    }
    if (numMissing > 0)
        paint.asides.push_back({ColorMap::diverging().at(std::numeric_limits<double>::quiet_NaN()),
                                "none at " + countInWords(numMissing, "vertex", "vertices")});
    paint.values = std::move(values);
    return paint;
}

void paintTrianglesOnEdge(CompactMesh const& mesh, MeshAdjTris const& adjTris, int from, int to,
                          std::uint8_t kind, std::vector<std::uint8_t>& kinds) {
    for (int i = 0; i < adjTris.numTris(from); ++i) {
        int const triangle = adjTris.triIndices(from)[i];
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
        bool const hasEnd = corners[0] == to || corners[1] == to || corners[2] == to;
        if (hasEnd && kinds[at(triangle)] == SurfacePaint::unpainted)
            kinds[at(triangle)] = kind;
    }
}

std::string counted(std::int64_t count, char const* one, char const* many) {
    return countInWords(count, one, many);
}

void markEdges(CompactMesh const& mesh, MeshAdjTris const& adjTris, SurfacePaint& paint) {
    std::int64_t numOpen = 0;
    std::int64_t numCrowded = 0;
    forEachEdge(mesh, adjTris, [&](int from, int to, std::ptrdiff_t numTriangles) {
        if (numTriangles == 2)
            return;
        paint.edges.push_back({from, to, numTriangles == 1 ? BoundaryEdge : NonManifoldEdge});
        ++(numTriangles == 1 ? numOpen : numCrowded);
    });
    paint.swatches[BoundaryEdge].label = counted(numOpen, "boundary edge", "boundary edges");
    paint.swatches[NonManifoldEdge].label =
        counted(numCrowded, "non-manifold edge", "non-manifold edges");
}

void paintFindings(CompactMesh const& mesh, MeshAdjTris const& adjTris, CheckResult const& found,
                   SurfacePaint& paint) {
    for (CheckResult::Offences const& offences : found.offences)
        for (Offence const& offence : offences.first)
            if (offences.defect == "intersectingTriangles")
                paint.kinds[at(offence.elements[0])] = Intersecting;
    for (CheckResult::Offences const& offences : found.offences)
        for (Offence const& offence : offences.first)
            if (offences.defect == "foldedEdges")
                paintTrianglesOnEdge(mesh, adjTris, offence.elements[0], offence.elements[1],
                                     Folded, paint.kinds);
    paint.swatches[Intersecting].label =
        found.intersectingTriangles ? counted(*found.intersectingTriangles, "intersecting triangle",
                                              "intersecting triangles")
                                    : "intersections not tested";
    paint.swatches[Folded].label = counted(found.foldedEdges, "folded edge", "folded edges");
}

/// What a picture does not show of the findings, and what it shows besides.
void addAsides(CheckResult const& found, SurfacePaint& paint) {
    auto const tell = [&paint](int count, char const* one, char const* many) {
        if (count > 0)
            paint.asides.push_back({std::nullopt, counted(count, one, many)});
    };
    tell(found.duplicateTriangles, "duplicate triangle, not marked",
         "duplicate triangles, not marked");
    tell(found.degenerateTriangles, "degenerate triangle, not marked",
         "degenerate triangles, not marked");
    tell(found.nonManifoldVertices.value_or(0), "non-manifold vertex, not marked",
         "non-manifold vertices, not marked");
    paint.asides.push_back({backColor, "seen from behind"});
}

}  // namespace

void shareScale(std::vector<SurfacePaint>& paints) {
    double high = 0.0;
    for (SurfacePaint const& paint : paints)
        high = paint.isZero ? high : std::max(high, paint.high);
    bool const isZero = !(high > 0.0);
    for (SurfacePaint& paint : paints) {
        if (paint.values.empty() || isZero)
            continue;
        paint.high = high;
        paint.low = paint.isSigned ? -high : 0.0;
        paint.isZero = false;
    }
}

SurfacePaint paintCurvature(CompactMesh const& original) {
    requireSoundMesh(original);
    CompactMesh mesh(original);
    std::vector<float> values(at(mesh.getNumVertices()));
    koGeom::SimpleMeshCache cache;
    if (mesh.getNormals() == nullptr)
        koGeom::meshComputeNormals(mesh);
    if (!values.empty())
        koGeom::meshCurvature(mesh, *cache.getAdjTris(mesh), *cache.getAdjVertices(mesh),
                              koGeom::AffineMatrixFlt::Identity, koGeom::MeanCurvature,
                              values.data());
    return paintValues("mean curvature", std::move(values), 0.95, true);
}

SurfacePaint paintDeviation(std::vector<float> values) {
    return paintValues("deviation", std::move(values), 0.99, true);
}

SurfacePaint paintDistance(std::vector<float> values) {
    for (float& value : values)
        value = std::abs(value);
    return paintValues("distance", std::move(values), 0.99, false);
}

SurfacePaint paintComponents(CompactMesh const& mesh) {
    requireSoundMesh(mesh);
    SurfacePaint paint;
    koGeom::SimpleMeshCache cache;
    koGeom::Array<int> componentOf;
    int const numComponents = koGeom::meshComponents(mesh, *cache.getAdjTris(mesh), &componentOf);
    paint.title = countInWords(numComponents, "component");
    std::vector<std::int64_t> sizes(at(numComponents), 0);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        ++sizes[at(componentOf[mesh.getTriangles()[t][0]])];
    std::vector<int> bySize(sizes.size());
    std::iota(bySize.begin(), bySize.end(), 0);
    std::stable_sort(bySize.begin(), bySize.end(),
                     [&sizes](int a, int b) { return sizes[at(a)] > sizes[at(b)]; });
    std::vector<std::uint8_t> colors(sizes.size());
    for (std::size_t rank = 0; rank < bySize.size(); ++rank)
        colors[at(bySize[rank])] = static_cast<std::uint8_t>(rank % numDistinctColors);
    paint.kinds.resize(at(mesh.getNumTriangles()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        paint.kinds[at(t)] = colors[at(componentOf[mesh.getTriangles()[t][0]])];
    for (int i = 0; i < std::min(numComponents, numDistinctColors); ++i)
        paint.swatches.push_back(
            {distinctColor(i),
             i < mostNamedComponents
                 ? std::to_string(i + 1) + ": " + countInWords(sizes[at(bySize[at(i)])], "triangle")
                 : std::string()});
    if (numComponents > mostNamedComponents)
        paint.asides.push_back(
            {std::nullopt, std::to_string(numComponents - mostNamedComponents) + " more" +
                               (numComponents > numDistinctColors ? "; colors come again" : "")});
    return paint;
}

SurfacePaint paintSelection(CompactMesh const& mesh, koGeom::BitVector const& selection) {
    SurfacePaint paint;
    paint.title = "selection";
    paint.kinds.assign(at(mesh.getNumTriangles()), SurfacePaint::unpainted);
    std::int64_t count = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (selection.isBitSet(t) != 0) {
            paint.kinds[at(t)] = 0;
            ++count;
        }
    paint.swatches.push_back(
        {fromOklab(oklabOf(0.74, 0.15, 62.0)), countInWords(count, "triangle")});
    return paint;
}

SurfacePaint paintDefects(CompactMesh const& mesh, CheckResult const& found) {
    requireSoundMesh(mesh);
    SurfacePaint paint;
    paint.title = found.clean ? "no defects" : "defects";
    paint.swatches = {{fromOklab(oklabOf(0.58, 0.21, 27.0)), {}},
                      {fromOklab(oklabOf(0.76, 0.15, 75.0)), {}},
                      {fromOklab(oklabOf(0.52, 0.18, 258.0)), {}, true},
                      {fromOklab(oklabOf(0.58, 0.25, 330.0)), {}, true}};
    paint.kinds.assign(at(mesh.getNumTriangles()), SurfacePaint::unpainted);
    koGeom::SimpleMeshCache cache;
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    paintFindings(mesh, *adjTris, found, paint);
    markEdges(mesh, *adjTris, paint);
    addAsides(found, paint);
    return paint;
}

}  // namespace trimora
