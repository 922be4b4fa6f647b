// The region that is handed to the cut holds the triangles at the curves and some rings round them: what the cut changes
// lies well inside, so that the rim, which the rest of the mesh uses, stays as it is.

#include "toolkit/meshCutting.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/triangleArea.h"
#include "toolkit/meshTidying.h"
#include "toolkit/surfaceFault.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/repair/meshFindAnglesLessThan.h"
#include "trimora/topology/meshCut.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::CompactMeshCutResult;
using koGeom::MeshAdjTris;
using koGeom::MeshCoord;
using koLinear::Point;

constexpr double relativeTolerance = 1e-6;  // far above the rounding of floats, far below triangles
// The conditioning reaches two rings from the cut, its swaps one further.
constexpr int numRings = 5;
// In tolerances. A border changes its length by less than this when points come to lie on it, and a curve that opens
// anything opens more.
constexpr double leastOpened = 10.0;
// Degrees: creases that differ by less are one to the swaps beside the new border.
constexpr double closedAngle = 2.5;
// By which weights of a point may leave its triangle.
constexpr double weightSlack = 1e-6;
// Of the time: the triangles at the curves and round them, and the cut.
constexpr double shareOfRegion = 0.3;
constexpr double shareOfCut = 0.4;

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

double areaOf(CompactMesh const& mesh) {
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        sum += finiteAreaOf(mesh, t);
    return sum;
}

/// The size of a part of a mesh: its area, and how long the edges are that one triangle of it has alone.
struct RegionSize {
    double area = 0.0;
    double rim = 0.0;
};

RegionSize sizeOf(CompactMesh const& mesh, std::vector<int> const& triangles) {
    RegionSize size;
    std::vector<std::pair<int, int>> edges;
    for (int const t : triangles) {
        size.area += finiteAreaOf(mesh, t);
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k)
            edges.push_back(std::minmax({corners[k], corners[(k + 1) % 3]}));
    }
    std::sort(edges.begin(), edges.end());
    for (auto edge = edges.begin(); edge != edges.end();) {
        auto const end = std::upper_bound(edge, edges.end(), *edge);
        if (end - edge == 1)
            size.rim += distance(pointOf(mesh, edge->first), pointOf(mesh, edge->second));
        edge = end;
    }
    return size;
}

std::vector<int> selectedTriangles(CompactMesh const& mesh) {
    std::vector<int> list;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (mesh.getSelectedTriangles().isBitSet(t) != 0)
            list.push_back(t);
    }
    return list;
}

/// The vertices of triangles, ascending.
std::vector<int> cornersOf(CompactMesh const& mesh, std::vector<int> const& triangles) {
    std::vector<int> list;
    for (int const t : triangles)
        list.insert(list.end(), mesh.getTriangles()[t].vertices,
                    mesh.getTriangles()[t].vertices + 3);
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    return list;
}

// A region that was replaced comes back behind the triangles that stayed.
std::vector<int> trianglesFrom(CompactMesh const& mesh, int first) {
    std::vector<int> list(static_cast<std::size_t>(std::max(0, mesh.getNumTriangles() - first)));
    std::iota(list.begin(), list.end(), first);
    return list;
}

double lengthOf(CompactMesh const& mesh, SurfaceCurves const& curves) {
    double sum = 0.0;
    for (auto const& curve : curves) {
        for (std::size_t i = 1; i < curve.size(); ++i)
            sum += distance(curve[i - 1].evaluate(mesh.getVertices(), mesh.getTriangles()),
                            curve[i].evaluate(mesh.getVertices(), mesh.getTriangles()));
    }
    return sum;
}

CutOutcome refused(std::string const& why) {
    CutOutcome outcome;
    outcome.refusal = why;
    return outcome;
}

CutOutcome refused(SurfaceFault const& fault) {
    CutOutcome outcome =
        refused(fault.text + ", near the curves; " +
                (fault.isNonfinite ? "leave such triangles out first" : "repair the mesh first"));
    outcome.problemPoint = fault.place;
    outcome.isNonfinite = fault.isNonfinite;
    return outcome;
}

/// Refused for the curves, where they have the place.
CutOutcome refusedAt(std::string const& what, Point const& place, std::string const& advice) {
    CutOutcome outcome = refused(what + " at " + positionInWords(place) + "; " + advice);
    outcome.problemPoint = {place.x, place.y, place.z};
    outcome.isOfCurves = true;
    return outcome;
}

bool isOnVertex(MeshCoord const& coord) {
    return std::count(coord.weights, coord.weights + 3, 0.0) == 2;
}

/// The triangles that hold a place. Exact zeros tell what it lies on.
std::vector<int> trianglesAt(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                             MeshCoord const& coord) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[coord.triangle];
    std::vector<int> ends;
    for (int k = 0; k < 3; ++k) {
        if (coord.weights[k] != 0.0)
            ends.push_back(corners[k]);
    }
    if (ends.empty() || ends.size() == 3)
        return {coord.triangle};
    std::vector<int> found;
    int const* const around = adjTris.triIndices(ends[0]);
    for (int i = 0; i < adjTris.numTris(ends[0]); ++i) {
        int const* const others = mesh.getTriangles()[around[i]].vertices;
        if (std::find(others, others + 3, ends.back()) != others + 3)
            found.push_back(around[i]);
    }
    return found;
}

/// The triangle with the most points of the curves, and how many: its polygon gets three corners more.
std::pair<int, int> fullestTriangle(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                    SurfaceCurves const& curves) {
    std::vector<int> counts(static_cast<std::size_t>(mesh.getNumTriangles()), 0);
    for (auto const& curve : curves) {
        for (MeshCoord const& coord : curve) {
            if (isOnVertex(coord))
                continue;  // a corner anyway
            for (int const t : trianglesAt(mesh, adjTris, coord))
                ++counts[static_cast<std::size_t>(t)];
        }
    }
    auto const fullest = std::max_element(counts.begin(), counts.end());
    return {static_cast<int>(fullest - counts.begin()), fullest != counts.end() ? *fullest : 0};
}

void selectRegion(CompactMesh& mesh, MeshAdjTris const& adjTris, SurfaceCurves const& curves,
                  double tolerance) {
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    koGeom::MeshSelect select(mesh, adjTris);
    for (auto const& curve : curves)
        select.selectAffectedTriangles(curve, tolerance);
    for (int i = 0; i < numRings; ++i)
        select.selectTrianglesRecursive(true);
    select.selectVerticesFromTriangles();
}

bool isOnBorder(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshCoord const& coord) {
    std::vector<int> const around = trianglesAt(mesh, adjTris, coord);
    if (!isOnVertex(coord))
        return around.size() == 1 && std::count(coord.weights, coord.weights + 3, 0.0) == 1;
    auto const corner = std::max_element(coord.weights, coord.weights + 3) - coord.weights;
    int const v = mesh.getTriangles()[coord.triangle].vertices[corner];
    std::vector<int> others;  // twice each, but for those along the border
    for (int const t : around) {
        for (int const w : mesh.getTriangles()[t].vertices) {
            if (w != v)
                others.push_back(w);
        }
    }
    std::sort(others.begin(), others.end());
    return std::any_of(others.begin(), others.end(), [&others](int w) {
        auto const [first, last] = std::equal_range(others.begin(), others.end(), w);
        return last - first == 1;
    });
}

/// The first end of a curve that lies inside the surface, where nothing leads on.
Point endInside(CompactMesh const& mesh, MeshAdjTris const& adjTris, SurfaceCurves const& curves) {
    auto const placeOf = [&mesh](MeshCoord const& coord) {
        return coord.evaluate(mesh.getVertices(), mesh.getTriangles());
    };
    for (auto const& curve : curves) {
        if (curve.empty() || placeOf(curve.front()) == placeOf(curve.back()))
            continue;
        for (MeshCoord const& end : {curve.front(), curve.back()}) {
            if (!isOnBorder(mesh, adjTris, end))
                return placeOf(end);
        }
    }
    auto const drawn = std::find_if(curves.begin(), curves.end(),
                                    [](auto const& curve) { return !curve.empty(); });
    return drawn != curves.end() ? placeOf(drawn->front()) : Point();
}

// The problem point in the mesh's own size.
CutOutcome outcomeOf(CompactMeshCutResult const& result, Point const& place, Point const& end) {
    switch (result.getStatus()) {
    case CompactMeshCutResult::CutSuccess:
        return {};
    case CompactMeshCutResult::CutEndInFace:
        return refusedAt("a curve ends inside a triangle", place,
                         "let it run on to the border, to another curve or back to its start");
    case CompactMeshCutResult::CutNoCurves:
        break;
    case CompactMeshCutResult::CutInsideFace:
        return refusedAt("a piece of curve stays inside one triangle, or three curves cross one "
                         "another in it,",
                         place, "subdivide the mesh there first, or move the curve");
    case CompactMeshCutResult::CutNothingLeft:
        return refusedAt("nothing is left to cut along, since the curves end inside the surface, "
                         "the first",
                         end, "let them run from border to border, or back to their first point");
    }
    CutOutcome outcome = refused("a curve has fewer than 2 points");
    outcome.isOfCurves = true;
    return outcome;
}

/// Whether two edges of a triangle run the same way: it has no area, and no edit can follow its surface.
bool hasNullCorner(CompactMesh const& mesh, int triangle) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
    for (int k = 0; k < 3; ++k) {
        Point const corner = pointOf(mesh, corners[k]);
        koLinear::Normal const toNext(pointOf(mesh, corners[(k + 1) % 3]) - corner);
        koLinear::Normal const toPrevious(pointOf(mesh, corners[(k + 2) % 3]) - corner);
        if (std::abs(dot(toNext, toPrevious) - 1.0) <= koLinear::epsilonTol)
            return true;
    }
    return false;
}

/// The triangles without area in a list, as many as there are, and the first one's centre.
struct NullTriangles {
    int count = 0;
    Point place;
};

NullTriangles nullTriangles(CompactMesh const& mesh, std::vector<int> const& triangles) {
    NullTriangles found;
    for (int const t : triangles) {
        if (!hasNullCorner(mesh, t))
            continue;
        if (found.count++ == 0)
            found.place = MeshCoord(t, 1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0)
                              .evaluate(mesh.getVertices(), mesh.getTriangles());
    }
    return found;
}

/// The triangles as a mesh of their own.
CompactMesh extracted(CompactMesh const& mesh, std::vector<int> const& triangles) {
    std::vector<int> vertices = cornersOf(mesh, triangles);
    CompactMesh part;
    koGeom::meshExtract(part, mesh,
                        koGeom::MeshSubset(static_cast<int>(vertices.size()), vertices.data(),
                                           static_cast<int>(triangles.size()), triangles.data()));
    return part;
}

/// Vertices of the first mesh that the second one has no longer. What stays is not moved; each place counts as often as it has
/// vertices, since parts that hang on by a place alone have a vertex of their own there.
int numGone(CompactMesh const& before, CompactMesh const& after) {
    auto const places = [](CompactMesh const& mesh) {
        std::vector<std::array<float, 3>> list;
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            koGeom::MeshVertex const& p = mesh.getVertices()[v];
            list.push_back({p.x, p.y, p.z});
        }
        std::sort(list.begin(), list.end());
        return list;
    };
    std::vector<std::array<float, 3>> const there = places(after);
    std::vector<std::array<float, 3>> const all = places(before);
    std::vector<std::array<float, 3>> gone;
    std::set_difference(all.begin(), all.end(), there.begin(), there.end(),
                        std::back_inserter(gone));
    return static_cast<int>(gone.size());
}

/// Edges whose two triangles lie back to back. Swaps that keep every crease as it is keep such a one too, and cover another area.
int numClosedFolds(CompactMesh const& mesh) {
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::MeshDihedralAnglesResult folds;
    koGeom::meshFindAnglesLessThan(mesh, adjTris, closedAngle, folds);
    return static_cast<int>(folds.edges.size());
}

/// Compares what the cut left with the region that was there, and puts it in place where it opened something.
CutOutcome concluded(CompactMesh& mesh, CompactMesh& edited, std::vector<int> const& region,
                     SurfaceCurves const& curves, double tolerance) {
    int const numKept = mesh.getNumTriangles() - static_cast<int>(region.size());
    std::vector<int> const newRegion = trianglesFrom(edited, numKept);
    RegionSize const before = sizeOf(mesh, region);
    RegionSize const after = sizeOf(edited, newRegion);
    double const opened = 0.5 * (after.rim - before.rim);  // both sides of a cut are border
    CutOutcome outcome;
    outcome.areaBefore = outcome.areaAfter = areaOf(mesh);
    outcome.curveLength = lengthOf(mesh, curves);
    if (opened <= leastOpened * tolerance)
        return outcome;
    int const flatBefore = nullTriangles(mesh, region).count;
    NullTriangles const flat = nullTriangles(edited, newRegion);
    // Those that were there come out in pieces where a curve crosses them: no fault of the curve.
    if (flat.count > 0 && flatBefore == 0)
        return refusedAt(countInWords(flat.count, "triangle") + " without area would be left",
                         flat.place,
                         "curves lie on one another there, or nearly: draw each stretch once, or "
                         "move the plane a little");
    outcome.addedNullTriangles = std::max(0, flat.count - flatBefore);
    outcome.openedLength = opened;
    outcome.areaAfter += after.area - before.area;
    outcome.regionBefore = extracted(mesh, region);
    outcome.regionAfter = extracted(edited, newRegion);
    outcome.removedVertices = numGone(outcome.regionBefore, outcome.regionAfter);
    outcome.closedFolds = numClosedFolds(outcome.regionBefore);
    outcome.dropped = replaceMesh(mesh, edited);
    return outcome;
}

}  // namespace

double cutTolerance(CompactMesh const& mesh) {
    return relativeTolerance * diagonalOf(mesh);
}

namespace {

/// Whether the weights are those of a place on the triangle, but for rounding.
bool isOnTriangle(MeshCoord const& coord) {
    double const* const w = coord.weights;
    return std::min({w[0], w[1], w[2]}) >= -weightSlack &&
           std::fabs(w[0] + w[1] + w[2] - 1.0) <= weightSlack;
}

/// Points that lie on no triangle, or nowhere on theirs.
std::string faultOf(CompactMesh const& mesh, SurfaceCurves const& curves, double tolerance) {
    if (!(tolerance >= 0.0 && std::isfinite(tolerance)))
        return "the tolerance has to be a length, not below 0";
    if (curves.empty())
        return "there is no curve to cut along";
    for (auto const& curve : curves) {
        for (MeshCoord const& coord : curve) {
            if (coord.triangle < 0 || coord.triangle >= mesh.getNumTriangles())
                return "a curve has a point on triangle " + std::to_string(coord.triangle) +
                       ", and there are " + std::to_string(mesh.getNumTriangles());
            if (!isOnTriangle(coord))
                return "a curve has a point that lies nowhere on its triangle, " +
                       std::to_string(coord.triangle);
        }
    }
    return {};
}

CutOutcome cut(CompactMesh& mesh, SurfaceCurves const& curves, double tolerance,
               koUtil::Progress& progress) {
    if (std::string const fault = faultOf(mesh, curves, tolerance); !fault.empty()) {
        CutOutcome outcome = refused(fault);
        outcome.isOfCurves = !curves.empty();
        return outcome;
    }
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    auto const [triangle, count] = fullestTriangle(mesh, adjTris, curves);
    if (count + 3 > maxPolygonCorners)
        return refusedAt(
            "the curves have " + std::to_string(count) + " points in one triangle, " +
                std::to_string(maxPolygonCorners - 3) + " at most,",
            MeshCoord(triangle, 1.0, 0.0, 0.0).evaluate(mesh.getVertices(), mesh.getTriangles()),
            "thin the curve out or subdivide the mesh there first");
    if (progress.cancelled())
        return cancelledOutcome<CutOutcome>();

    CompactMesh edited = bareCopy(mesh);
    selectRegion(edited, adjTris, curves, tolerance);
    if (SurfaceFault const fault = faultOfSurface(edited, adjTris, edited.getSelectedTriangles()))
        return refused(fault);
    progress.set(shareOfRegion);
    if (progress.cancelled())
        return cancelledOutcome<CutOutcome>();

    std::vector<int> const region = selectedTriangles(edited);
    double const scale = unitScale(diagonalOf(mesh));
    scaleVertices(edited, scale);
    auto const result = koGeom::meshCut(edited, adjTris, curves, scale * tolerance);
    scaleVertices(edited, 1.0 / scale);
    Point place = result.getProblemPoint();
    place.set(place.x / scale, place.y / scale, place.z / scale);
    if (CutOutcome refusal = outcomeOf(result, place, endInside(mesh, adjTris, curves));
        !refusal.refusal.empty())
        return refusal;
    progress.set(shareOfRegion + shareOfCut);
    if (progress.cancelled())
        return cancelledOutcome<CutOutcome>();

    return concluded(mesh, edited, region, curves, tolerance);
}

Expectation predict(MeshState const&, CutOutcome const& outcome) {
    Expectation expected;
    expected.keepsOrientation = true;
    expected.samePositions = outcome.openedLength <= 0.0;
    expected.sameFaces = outcome.openedLength <= 0.0;
    return expected;
}

}  // namespace

CutOutcome cutMesh(CompactMesh& mesh, SurfaceCurves const& curves, double tolerance,
                   koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return cut(work, curves, tolerance, progress); }, predict,
        &progress);
}

}  // namespace trimora
