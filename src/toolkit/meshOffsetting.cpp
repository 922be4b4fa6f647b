// The library makes surface and shell at a diagonal of 1. What comes back is put over the surface's own coordinates: these stay
// as they were, and each copy goes as far along the way that the library found as was asked for.

#include "toolkit/meshOffsetting.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"
#include "toolkit/surfaceFault.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/measure/MeshOffset.h"
#include "trimora/repair/meshReverseWinding.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koGeom::MeshVertex;
using koLinear::Point;
using koLinear::Vector;

constexpr double mostDiagonals = 1000.0;
constexpr double nearness = 1e-6;  // of the diagonal: ten times what floats resolve
constexpr int pointsPerVoxel = 8;
constexpr int pollInterval = 1000;
// Of the time on a mesh of 100 thousand triangles.
constexpr double shareOfFirstCheck = 0.25;
constexpr double shareOfOffset = 0.3;
constexpr double shareOfDistances = 0.1;

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

MeshVertex narrowed(Point const& p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

bool isFinite(MeshVertex const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

Point middleOf(CompactMesh const& mesh) {
    Point low = pointOf(mesh, 0);
    Point high = low;
    for (int v = 1; v < mesh.getNumVertices(); ++v) {
        Point const p = pointOf(mesh, v);
        low.set(std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z));
        high.set(std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z));
    }
    return low + (high - low) * 0.5;
}

/// The mesh moved to the origin and brought to a diagonal of 1.
CompactMesh atUnitSize(CompactMesh const& mesh, double diagonal) {
    CompactMesh unit(mesh);
    Point const middle = middleOf(mesh);
    for (int v = 0; v < unit.getNumVertices(); ++v)
        unit.getVertices()[v] = narrowed(Point() + (pointOf(mesh, v) - middle) / diagonal);
    return unit;
}

class Offsetting {
public:
    Offsetting(CompactMesh& mesh, OffsetOptions const& options, koUtil::Progress& progress)
        : mesh_(mesh), options_(options), progress_(progress), source_(bareCopy(mesh)) {}

    OffsetOutcome run();

private:
    bool isFit();
    bool isFitDistance();
    CheckResult check(CompactMesh const& mesh, double share);
    bool offset();
    bool placeCopies(koGeom::Array<int> const& sourceMap, koGeom::Array<int> const& copyMap);
    void measure(koGeom::Octree const& octree, koGeom::OctreeTris const& octreeTris,
                 std::vector<Point> const& copies);
    bool keepShell(koGeom::Array<int> const& sourceMap);
    bool refuse(std::string const& text) {
        outcome_.refusal = text;
        return false;
    }

    CompactMesh& mesh_;
    OffsetOptions const& options_;
    koUtil::Progress& progress_;
    CompactMesh source_;  // without vertices that no triangle uses
    double diagonal_ = 0.0;
    CompactMesh unit_;
    koGeom::SimpleMeshCache cache_;  // of the unit mesh
    CompactMesh result_;
    OffsetOutcome outcome_;
};

OffsetOutcome Offsetting::run() {
    removeUnusedVertices(source_);
    if (!isFit())
        return std::move(outcome_);
    progress_.setCaption("checking the mesh as it is");
    outcome_.before = check(source_, shareOfFirstCheck);
    progress_.setCaption("offsetting");
    if (!progress_.cancelled() && offset()) {
        progress_.setCaption("checking the result");
        outcome_.after = check(result_, 1.0 - shareOfFirstCheck - shareOfOffset - shareOfDistances);
    }
    outcome_.cancelled = progress_.cancelled();
    if (!outcome_.cancelled && outcome_.refusal.empty())
        outcome_.dropped = replaceMesh(mesh_, result_);
    return std::move(outcome_);
}

bool Offsetting::isFit() {
    if (source_.getNumTriangles() == 0)
        return refuse("holds no triangles to offset");
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(source_, adjTris);
    koGeom::BitVector all(source_.getNumTriangles());
    all.setAllBits();
    SurfaceFault const fault = faultOfSurface(source_, adjTris, all);
    outcome_.problemPoint = fault.place;
    outcome_.isNonfinite = fault.isNonfinite;
    if (fault)
        return refuse(fault.text + "; only an oriented manifold has a shell");
    diagonal_ = diagonalOf(source_);
    return isFitDistance();
}

bool Offsetting::isFitDistance() {
    double const distance = std::abs(options_.distance);
    if (!(diagonal_ > 0.0))
        return refuse("has no size");
    if (std::isnan(distance))
        return refuse("the distance is no number");
    if (distance == 0.0)
        return refuse("the distance is 0");
    return distance <= mostDiagonals * diagonal_ ||
           refuse("the distance is more than a thousand diagonals of the mesh; take less");
}

CheckResult Offsetting::check(CompactMesh const& mesh, double share) {
    CheckOptions options;
    options.testIntersections = options_.testIntersections;
    koUtil::Progress child;
    progress_.subPhase(share, child);
    return checkMesh(mesh, options, child);
}

bool Offsetting::offset() {
    koOS::StopWatch watch;
    watch.start();
    unit_ = atUnitSize(source_, diagonal_);
    auto const adjTris = cache_.getAdjTris(unit_);
    auto const octree = cache_.getOctree(unit_, pointsPerVoxel);
    auto const boundaries = cache_.getBoundaries(unit_);
    koGeom::MeshOffset offset(unit_, *octree, *boundaries, *adjTris, options_.distance / diagonal_);
    koGeom::Array<int> sourceMap;
    koGeom::Array<int> copyMap;
    result_ = bareCopy(*std::unique_ptr<CompactMesh>(offset.calculate(sourceMap, copyMap)));
    outcome_.seconds = watch.clear();
    progress_.set(shareOfFirstCheck + shareOfOffset);

    std::vector<Point> copies;
    for (int const copy : copyMap)
        if (copy >= 0)
            copies.push_back(pointOf(result_, copy));
    outcome_.copies = source_.getNumVertices();
    outcome_.removed = outcome_.copies - static_cast<int>(copies.size());
    measure(*octree, *cache_.getOctreeTris(unit_), copies);
    if (progress_.cancelled() || !placeCopies(sourceMap, copyMap))
        return false;
    if (options_.shellOnly)
        return keepShell(sourceMap);
    if (options_.distance < 0.0)
        koGeom::meshReverseWinding(result_, false);
    return true;
}

void Offsetting::measure(koGeom::Octree const& octree, koGeom::OctreeTris const& octreeTris,
                         std::vector<Point> const& copies) {
    koUtil::Progress child;
    progress_.subPhase(shareOfDistances, child);
    double const asked = std::abs(options_.distance) / diagonal_;
    koGeom::MeshClosestPoint closest(unit_, octree, octreeTris);
    double nearest = copies.empty() ? 0.0 : std::numeric_limits<double>::max();
    for (std::size_t i = 0; i < copies.size(); ++i) {
        if (i % pollInterval == 0) {
            child.set(static_cast<double>(i) / static_cast<double>(copies.size()));
            if (child.cancelled())
                return;
        }
        double const distance = closest.compute(copies[i], nullptr);
        nearest = std::min(nearest, distance);
        outcome_.nearer += distance < asked - nearness ? 1 : 0;
    }
    outcome_.nearest = nearest * diagonal_;
}

bool Offsetting::placeCopies(koGeom::Array<int> const& sourceMap,
                             koGeom::Array<int> const& copyMap) {
    MeshVertex* const vertices = result_.getVertices();
    for (int v = 0; v < source_.getNumVertices(); ++v) {
        MeshVertex const own = source_.getVertices()[v];
        vertices[sourceMap[v]] = own;
        if (copyMap[v] < 0)
            continue;
        Vector const way = pointOf(result_, copyMap[v]) - pointOf(unit_, v);
        double const length = way.length();
        double const factor = length > 0.0 ? std::abs(options_.distance) / length : 0.0;
        MeshVertex const copy = narrowed(own.asPoint() + way * factor);
        if (!isFinite(copy))
            return refuse(
                "the shell leaves the range of floats, 3.4e38; scale the mesh down first");
        if (copy.x == own.x && copy.y == own.y && copy.z == own.z)
            return refuse(
                "the distance is lost in the rounding of coordinates of this size; take more");
        vertices[copyMap[v]] = copy;
    }
    return true;
}

/// Leaves what has no corner on the surface.
bool Offsetting::keepShell(koGeom::Array<int> const& sourceMap) {
    std::vector<char> isSource(static_cast<std::size_t>(result_.getNumVertices()), 0);
    for (int const v : sourceMap)
        isSource[static_cast<std::size_t>(v)] = 1;
    std::vector<int> corners;
    for (int t = 0; t < result_.getNumTriangles(); ++t) {
        MeshTriangle const& triangle = result_.getTriangles()[t];
        bool const isApart = std::none_of(triangle.vertices, triangle.vertices + 3, [&](int v) {
            return isSource[static_cast<std::size_t>(v)] != 0;
        });
        if (isApart)
            corners.insert(corners.end(), {triangle[0], triangle[2], triangle[1]});
    }
    if (corners.empty())
        return refuse("nothing is left of the shell at this distance; take less");
    result_.copyTriangles(static_cast<int>(corners.size() / 3), corners.data());
    removeUnusedVertices(result_);
    return true;
}

/// What is there beyond the share that comes from the surface, once or with a copy.
int beyond(int before, int after, bool shellOnly) {
    return std::max(after - (shellOnly ? before : 2 * before), 0);
}

/// Where no copy went, the wall is the surface twice, joined along its borders; and the shell is the surface once.
Expectation predict(MeshState const& before, OffsetOutcome const& outcome) {
    if (outcome.cancelled || outcome.removed > 0 || !before.census)
        return {};
    if (outcome.shellOnly)
        return Expectation::ofKeptTopology(before);
    Expectation expected;
    expected.eulerNumber = 2 * before.census->eulerNumber();
    expected.loops = 0;
    return expected;
}

}  // namespace

int OffsetOutcome::newFolds() const {
    return beyond(before.foldedEdges, after.foldedEdges, shellOnly);
}

int OffsetOutcome::newIntersections() const {
    return beyond(before.intersectingTriangles.value_or(0), after.intersectingTriangles.value_or(0),
                  shellOnly);
}

OffsetOutcome offsetMesh(CompactMesh& mesh, OffsetOptions const& options,
                         koUtil::Progress& progress) {
    return editChecked(
        mesh,
        [&](CompactMesh& work) {
            OffsetOutcome outcome = Offsetting(work, options, progress).run();
            outcome.shellOnly = options.shellOnly;
            return outcome;
        },
        predict);
}

}  // namespace trimora
