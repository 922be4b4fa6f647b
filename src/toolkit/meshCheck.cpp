// The report behind `trimora check`: every test of the library over one mesh, with the first offenders of each. The tests
// run in the order of their cost, the intersection test last.

#include "toolkit/meshCheck.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/borderLoops.h"
#include "toolkit/detail/vertexEdges.h"
#include "toolkit/meshTidying.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshFindAnglesLessThan.h"
#include "trimora/repair/meshManifold.h"

#include <algorithm>
#include <array>
#include <deque>
#include <utility>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koGeom::MeshAdjTris;

// Of the time on a smooth surface of 1.6 million triangles: what goes before the intersections, and these step by step.
constexpr double shareOfTests = 0.25;
constexpr double shareOfWeld = 0.05;
constexpr double shareOfOctree = 0.1;
constexpr double shareOfOctreeTris = 0.2;
constexpr double shareOfCuts = 0.4;

class MeshChecker {
public:
    MeshChecker(CompactMesh const& mesh, CheckOptions const& options, koUtil::Progress& progress)
        : mesh_(mesh), options_(options), progress_(progress) {}

    CheckResult run();

private:
    void countElements();
    void countEdges(MeshAdjTris const& adjTris);
    void testTriangles();
    void testManifold(MeshAdjTris const& adjTris);
    void testOrientation(MeshAdjTris const& adjTris);
    std::vector<std::pair<int, int>> edgesRunTwiceAlike(MeshAdjTris const& adjTris) const;
    void testFolds(MeshAdjTris const& adjTris);
    void testIntersections();
    void conclude();

    std::array<float, 3> positionOf(int vertex) const;
    Offence triangleOffence(int triangle) const;
    void note(char const* defect, std::vector<Offence> first);
    template <class Numbers>
    void noteTriangles(char const* defect, Numbers const& numbers);
    template <class Edges>
    void noteEdges(char const* defect, Edges const& edges);

    CompactMesh const& mesh_;
    CheckOptions const& options_;
    koUtil::Progress& progress_;
    koGeom::SimpleMeshCache cache_;
    CheckResult result_;
};

CheckResult MeshChecker::run() {
    progress_.setCaption("checking the triangles");
    countElements();
    ko::Reference<MeshAdjTris> const adjTris = cache_.getAdjTris(mesh_);
    using Test = void (MeshChecker::*)(MeshAdjTris const&);
    constexpr std::array<Test, 4> tests = {&MeshChecker::countEdges, &MeshChecker::testManifold,
                                           &MeshChecker::testOrientation, &MeshChecker::testFolds};
    testTriangles();
    double const step = (options_.testIntersections ? shareOfTests : 1.0) / (tests.size() + 1);
    double done = 0.0;
    for (Test const test : tests) {
        progress_.set(done += step);
        if (progress_.cancelled())
            break;
        (this->*test)(*adjTris);
    }
    if (options_.testIntersections && !progress_.cancelled())
        testIntersections();
    conclude();
    return std::move(result_);
}

void MeshChecker::countElements() {
    result_.vertices = mesh_.getNumVertices();
    result_.triangles = mesh_.getNumTriangles();
    result_.coincidentVertices = numCoincidentVertices(mesh_);
}

void MeshChecker::countEdges(MeshAdjTris const& adjTris) {
    result_.components = koGeom::meshComponents(mesh_, adjTris, nullptr);
    result_.boundaries = numBorders(mesh_, adjTris, *cache_.getBoundaries(mesh_));
    for (int v = 0; v < result_.vertices; ++v)
        result_.unusedVertices += adjTris.numTris(v) == 0 ? 1 : 0;
    int numEdges = 0;
    forEachEdge(mesh_, adjTris, [&](int, int, std::ptrdiff_t numUses) {
        ++numEdges;
        result_.boundaryEdges += numUses == 1 ? 1 : 0;
    });
    result_.eulerCharacteristic =
        result_.vertices - result_.unusedVertices - numEdges + result_.triangles;
    result_.closed = result_.triangles > 0 && result_.boundaryEdges == 0;
}

void MeshChecker::testTriangles() {
    koGeom::MeshDuplicateTrisResult found;
    koGeom::meshDuplicateTris(mesh_, found);
    result_.duplicateTriangles = static_cast<int>(found.duplicates.size());
    result_.degenerateTriangles =
        static_cast<int>(found.topoDegenerate.size() + found.geomDegenerate.size());
    std::vector<int> duplicates(found.duplicates.begin(), found.duplicates.end());
    std::sort(duplicates.begin(), duplicates.end());
    noteTriangles("duplicateTriangles", duplicates);
    std::vector<int> degenerate(found.topoDegenerate.begin(), found.topoDegenerate.end());
    degenerate.insert(degenerate.end(), found.geomDegenerate.begin(), found.geomDegenerate.end());
    noteTriangles("degenerateTriangles", degenerate);
}

void MeshChecker::testManifold(MeshAdjTris const& adjTris) {
    koGeom::MeshManifoldResult found;
    koGeom::meshManifold(mesh_, adjTris, found);
    result_.nonManifoldEdges = static_cast<int>(found.badEdgeAdj.size());
    noteEdges("nonManifoldEdges", found.badEdgeAdj);
    if (result_.nonManifoldEdges > 0)
        return;
    BitVector const& badVertices = found;
    std::vector<Offence> first;
    for (int v = 0; v < result_.vertices && first.size() < options_.mostOffences; ++v) {
        if (badVertices.isBitSet(v) != 0)
            first.push_back({{v}, positionOf(v)});
    }
    result_.nonManifoldVertices = badVertices.count;
    note("nonManifoldVertices", std::move(first));
}

void MeshChecker::testOrientation(MeshAdjTris const& adjTris) {
    result_.oriented = koGeom::meshOriented(mesh_, adjTris);
    if (!result_.oriented)
        noteEdges("oriented", edgesRunTwiceAlike(adjTris));
}

// Of two triangles wound alike, one runs their edge forward and the other back: the corners that come next after a
// vertex tell which edges are run the same way twice.
std::vector<std::pair<int, int>> MeshChecker::edgesRunTwiceAlike(MeshAdjTris const& adjTris) const {
    std::vector<std::pair<int, int>> edges;
    std::vector<int> nextCorners;
    for (int v = 0; v < result_.vertices && edges.size() < options_.mostOffences; ++v) {
        nextCorners.clear();
        forEachEdgeAround(v, adjTris, mesh_.getTrianglesRaw(), [&](int from, int to) {
            if (from == v && to != v)
                nextCorners.push_back(to);
        });
        forEachRun(nextCorners, [&](int corner, std::ptrdiff_t numUses) {
            if (numUses > 1)
                edges.emplace_back(v, corner);
        });
    }
    return edges;
}

void MeshChecker::testFolds(MeshAdjTris const& adjTris) {
    koGeom::MeshDihedralAnglesResult found;
    koGeom::meshFindAnglesLessThan(mesh_, adjTris, options_.foldAngle, found);
    result_.foldedEdges = static_cast<int>(found.edges.size());
    noteEdges("foldedEdges", found.edges);
}

void MeshChecker::testIntersections() {
    progress_.setCaption("checking intersections");
    double done = shareOfTests;
    progress_.set(done);
    CompactMesh welded = bareCopy(mesh_);  // normals would keep apart what lies at one place
    koUtil::Progress unwatched;
    koGeom::meshCompact(welded, unwatched);
    progress_.set(done += shareOfWeld);

    koGeom::SimpleMeshCache cache;
    ko::Reference<koGeom::Octree> const octree = cache.getOctree(welded, -1);
    progress_.set(done += shareOfOctree);
    ko::Reference<koGeom::OctreeTris> const octreeTris = cache.getOctreeTris(welded);
    progress_.set(done + shareOfOctreeTris);
    std::deque<koGeom::MeshIntersectPair> pairs;
    koUtil::Progress child;
    progress_.subPhase(shareOfCuts, child);
    koGeom::MeshIntersect(welded, *octree, *octreeTris).selfIntersect(child, pairs);

    BitVector cutting(result_.triangles);
    for (koGeom::MeshIntersectPair const& pair : pairs)
        cutting.setBit(pair.start.triangle);
    result_.intersectingTriangles = cutting.count;
    std::vector<Offence> first;
    for (int t = 0; t < result_.triangles && first.size() < options_.mostOffences; ++t) {
        if (cutting.isBitSet(t) != 0)
            first.push_back(triangleOffence(t));
    }
    note("intersectingTriangles", std::move(first));
}

void MeshChecker::conclude() {
    result_.cancelled = progress_.cancelled();
    result_.clean = result_.duplicateTriangles == 0 && result_.degenerateTriangles == 0 &&
                    result_.nonManifoldEdges == 0 && result_.nonManifoldVertices.value_or(0) == 0 &&
                    result_.oriented && result_.intersectingTriangles.value_or(0) == 0 &&
                    result_.foldedEdges == 0 && !result_.cancelled;
    progress_.set(1.0);
}

std::array<float, 3> MeshChecker::positionOf(int vertex) const {
    float const* const p = mesh_.getVerticesRaw() + 3 * static_cast<std::ptrdiff_t>(vertex);
    return {p[0], p[1], p[2]};
}

Offence MeshChecker::triangleOffence(int triangle) const {
    return {{triangle},
            positionOf(mesh_.getTrianglesRaw()[3 * static_cast<std::ptrdiff_t>(triangle)])};
}

void MeshChecker::note(char const* defect, std::vector<Offence> first) {
    if (!first.empty())
        result_.offences.push_back({defect, std::move(first)});
}

template <class Numbers>
void MeshChecker::noteTriangles(char const* defect, Numbers const& numbers) {
    std::vector<Offence> first;
    for (std::size_t i = 0; i < std::min(numbers.size(), options_.mostOffences); ++i)
        first.push_back(triangleOffence(numbers[i]));
    note(defect, std::move(first));
}

template <class Edges>
void MeshChecker::noteEdges(char const* defect, Edges const& edges) {
    std::vector<Offence> first;
    for (auto const& [a, b] : edges) {
        if (first.size() == options_.mostOffences)
            break;
        first.push_back({{a, b}, positionOf(a)});
    }
    note(defect, std::move(first));
}

}  // namespace

int numCoincidentVertices(CompactMesh const& mesh) {
    CompactMesh welded(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr, nullptr);
    koUtil::Progress unwatched;
    koGeom::meshCompact(welded, unwatched);
    return mesh.getNumVertices() - welded.getNumVertices();
}

CheckResult checkMesh(CompactMesh const& mesh, CheckOptions const& options,
                      koUtil::Progress& progress) {
    CheckResult refused;
    if (isRefused(refused, mesh))
        return refused;
    return MeshChecker(mesh, options, progress).run();
}

}  // namespace trimora
