#include "cornerSurface.h"
#include "plainCollapse.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/detail/EdgeCollapser.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
#include "trimora/topology/meshTwin.h"

#include <array>
#include <doctest/doctest.h>
#include <functional>
#include <memory>

// Edge collapse against a plain copy of itself, step by step; what it keeps of a surface; what it leaves alone.

using namespace koGeom;
using support::faultOf;
using support::listOf;
using support::stateOf;

namespace {

/// Counts the news that it sends.
struct Mesh : TopoMesh {
    void modified(TopoMeshModification& news) override {
        ++numNews;
        lastType = news.getType();
        TopoMesh::modified(news);
    }
    int numNews = 0;
    int lastType = -1;
};

std::unique_ptr<Mesh> meshOf(CompactMesh const& source) {
    auto mesh = std::make_unique<Mesh>();
    support::fill(*mesh, source);
    return mesh;
}

void reduce(TopoMesh& mesh, double fraction) {
    koUtil::Progress progress;
    meshReduceByEdgeCollapse(mesh, fraction, progress);
}

/// The fraction that makes this the target.
double fractionFor(TopoMesh const& mesh, int target) {
    return (target + 0.5) / mesh.numFaces();
}

/// Meshes alike in every number each time they are made: the zoo, as it is and with all edges paired that can be, and
/// meshes that were edited before.
struct Maker {
    std::string name;
    std::function<std::unique_ptr<Mesh>()> make;
};

std::vector<Maker> makers() {
    std::vector<Maker> list;
    for (auto const& named : support::zoo()) {
        list.push_back({named.name, [named] { return meshOf(named.mesh); }});
        list.push_back({named.name + ", paired", [named] {
                            auto mesh = meshOf(named.mesh);
                            meshTwin(*mesh);
                            return mesh;
                        }});
    }
    list.push_back(
        {"edited", [] {
             auto mesh = meshOf(support::shuffled(support::sphere(2), 5));
             support::Random random(17);
             for (int i = 0; i < 60; ++i) {
                 auto const edges = listOf(mesh->firstEdge());
                 mesh->swapEdge(
                     edges[static_cast<std::size_t>(random.index(static_cast<int>(edges.size())))]);
             }
             for (int i = 0; i < 9; ++i)
                 mesh->deleteFace(mesh->firstFace().nextInList());
             mesh->subdivideFace(mesh->firstFace(), Point(0.1, 0.2, 0.3));
             return mesh;
         }});
    return list;
}

/// Pieces, border loops, and V - E + F.
std::array<int, 3> kindOf(TopoMesh const& mesh) {
    int numLoops = 0;
    std::set<void const*> seen;
    for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
        if (e.twin() || seen.count(e.record()) != 0)
            continue;
        ++numLoops;
        for (TopoMeshEdge h = e; seen.insert(h.record()).second;) {
            h = h.next();
            while (h.twin())
                h = h.twin().next();
        }
    }
    int numPieces = 0;
    std::set<void const*> reached;
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        std::vector<TopoMeshFace> waiting = {f};
        numPieces += reached.count(f.record()) == 0;
        while (!waiting.empty()) {
            TopoMeshFace const next = waiting.back();
            waiting.pop_back();
            if (!reached.insert(next.record()).second)
                continue;
            for (TopoMeshEdge e : support::ringOf(next))
                if (e.twin())
                    waiting.push_back(e.twin().face());
        }
    }
    int const numEdges = (mesh.numEdges() + support::numOpenEdges(mesh)) / 2;
    return {numPieces, numLoops, mesh.numVertices() - numEdges + mesh.numFaces()};
}

/// True when two faces have the same three vertices.
bool hasDoubledFaces(TopoMesh const& mesh) {
    std::set<std::set<void const*>> seen;
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        std::set<void const*> corners;
        for (TopoMeshEdge e : support::ringOf(f))
            corners.insert(e.origin().record());
        if (!seen.insert(corners).second)
            return true;
    }
    return false;
}

}  // namespace

TEST_CASE("collapsesInTheOrderOfAPlainCopyBitForBit") {
    for (Maker const& maker : makers()) {
        CAPTURE(maker.name);
        for (double const fraction : {0.0, 0.1, 0.5, 0.8, 1.0}) {
            CAPTURE(fraction);
            auto const expected = maker.make();
            int const target = std::max(1, static_cast<int>(expected->numFaces() * fraction));
            plain::Collapse plainly(*expected);
            while (expected->numFaces() > target && plainly.step()) {
            }
            auto const mesh = maker.make();
            reduce(*mesh, fraction);
            CHECK(faultOf(*mesh) == "");
            CHECK(stateOf(*mesh) == stateOf(*expected));
        }
    }
}

// After each single collapse: the same mesh as the plain copy has, so that each edge holds the cost that it stands in the
// plain set with; and in the shipped set each edge once, with that cost.
TEST_CASE("holdsEachEdgeOnceWithItsCostAfterEveryCollapse") {
    for (Maker const& maker : makers()) {
        CAPTURE(maker.name);
        auto const expected = maker.make();
        if (expected->numFaces() > 200)
            continue;
        plain::Collapse plainly(*expected);
        auto const stepped = maker.make();
        EdgeCollapser collapser(*stepped);
        do {
            int const target = expected->numFaces();
            auto const mesh = maker.make();
            reduce(*mesh, target > 0 ? fractionFor(*mesh, target) : 0.0);
            REQUIRE(stateOf(*mesh) == stateOf(*expected));

            std::multiset<double> costs;
            std::set<EdgeCollapser::Index> held;
            collapser.queue().forEach([&](CollapseQueue::Entry const& entry) {
                costs.insert(entry.cost);
                REQUIRE(held.insert(entry.halfEdge).second);
                REQUIRE(held.count(collapser.links().twin(entry.halfEdge)) == 0);
            });
            std::multiset<double> expectedCosts;
            for (auto const& [cost, e] : plainly.entries()) {
                expectedCosts.insert(cost);
                REQUIRE(e.blind(0).asDouble() == cost);
                bool const isCurrent =
                    cost == plain::Collapse::refused || cost == plain::Collapse::plainCost(e);
                REQUIRE(isCurrent);
            }
            REQUIRE(costs == expectedCosts);
            std::size_t const numEdges =
                static_cast<std::size_t>(expected->numEdges() + support::numOpenEdges(*expected)) /
                2;
            REQUIRE(held.size() == numEdges);
            REQUIRE(collapser.numFaces() == target);
        } while (plainly.step() && collapser.collapseNext());
        CHECK_FALSE(collapser.collapseNext());
    }
}

// Of surfaces without a fault, small and at all stages of a reduction: an edge is refused exactly when the corners of the
// faces alone would tell of a surface of another kind.
TEST_CASE("anEdgeMayGoIfAndOnlyIfTheSurfaceStaysOfItsKind") {
    std::vector<support::NamedMesh> meshes = support::manifoldZoo();
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        double const keep = 0.6 + 0.01 * static_cast<double>(seed % 40);
        meshes.push_back({"holed grid", support::holed(support::grid(5, 4), keep, seed)});
        meshes.push_back({"holed ball", support::holed(support::sphere(1), keep, seed)});
        meshes.push_back({"holed torus", support::holed(support::torus(5, 4), keep, seed)});
    }
    int numAllowed = 0;
    int numRefused = 0;
    for (auto const& named : meshes) {
        if (named.mesh.getNumTriangles() > 200)
            continue;
        for (double fraction = 1.0; fraction > 0.05; fraction *= 0.8) {
            CAPTURE(named.name);
            CAPTURE(fraction);
            auto const mesh = meshOf(named.mesh);
            reduce(*mesh, fraction);
            EdgeCollapser const collapser(*mesh);
            TopoMeshTriangles const& links = collapser.links();
            std::vector<corners::Corners> faces;
            for (EdgeCollapser::Index h = 0; h < links.numHalfEdges(); h += 4)
                faces.push_back({links.origin(h), links.origin(h + 1), links.origin(h + 2)});
            auto const kind = corners::kindOf(faces);
            if (kind[0] < 0)
                break;
            collapser.queue().forEach([&](CollapseQueue::Entry const& entry) {
                auto const a = links.origin(entry.halfEdge);
                auto const b = links.end(entry.halfEdge);
                bool const stays = corners::kindOf(corners::collapsed(faces, a, b)) == kind;
                CHECK((entry.cost < plain::Collapse::refused) == stays);
                ++(stays ? numAllowed : numRefused);
            });
        }
    }
    CHECK(numAllowed > 2000);
    CHECK(numRefused > 500);
}

TEST_CASE("keepsPiecesBordersAndGenus") {
    auto meshes = support::manifoldZoo();
    meshes.push_back({"moved torus", support::shuffled(support::torus(20, 12), 3)});
    meshes.push_back({"holed", support::holed(support::grid(14, 14), 0.9, 5)});
    for (auto const& named : meshes) {
        CAPTURE(named.name);
        for (double const fraction : {0.0, 0.05, 0.2, 0.5, 0.9}) {
            auto const mesh = meshOf(named.mesh);
            for (TopoMeshVertex v : listOf(mesh->firstVertex()))
                if (!v.edge())
                    mesh->deleteVertex(v);
            auto const kind = kindOf(*mesh);
            int const numBefore = mesh->numFaces();
            bool const hadSingleFans = TopoMeshTriangles(*mesh).hasSingleFans();
            REQUIRE(TopoMeshTriangles(*mesh).isOriented());
            reduce(*mesh, fraction);
            CHECK(kindOf(*mesh) == kind);
            CHECK(TopoMeshTriangles(*mesh).isOriented());
            CHECK(TopoMeshTriangles(*mesh).hasSingleFans() == hadSingleFans);
            CHECK(faultOf(*mesh) == "");
            CHECK_FALSE(hasDoubledFaces(*mesh));
            bool const isRoomy = fraction >= 0.2 && kind[1] <= kind[0];
            if (isRoomy)
                CHECK(mesh->numFaces() <= std::max(numBefore * fraction, 4.0 * kind[0]));
        }
    }
}

TEST_CASE("takesASphereDownToATetrahedronAndNoFurther") {
    for (int const target : {5, 4, 3, 0}) {
        auto const mesh = meshOf(support::sphere(3));
        reduce(*mesh, fractionFor(*mesh, target));
        CHECK(mesh->numFaces() == 4);
        CHECK(mesh->numVertices() == 4);
    }
    auto const two = meshOf(support::joined(support::sphere(2), support::sphere(1), 3.0f));
    reduce(*two, 0.0);
    CHECK(two->numFaces() == 8);
    auto const solid = meshOf(support::tetrahedron());
    reduce(*solid, 0.0);
    CHECK(solid->numFaces() == 4);
    CHECK(solid->numNews == 0);
}

// 2 --- 3      Both edges beside 1 2 would fold up with 0 and 3 at their tips. A piece of two faces becomes one of one face,
// | \   |      and that one stays.
// |   \ |
// 0 --- 1
TEST_CASE("leavesOneFaceOfEveryPiece") {
    auto const square = meshOf(support::grid(1, 1));
    reduce(*square, 0.0);
    CHECK(square->numFaces() == 1);
    CHECK(square->numVertices() == 3);
    auto const two = meshOf(support::joined(support::triangle(), support::triangle(), 5.0f));
    reduce(*two, 0.0);
    CHECK(two->numFaces() == 2);
    CHECK(two->numNews == 0);
}

// Walls on the border make leaving the square dear and moving within the plane free: of 128 faces the corners are left.
TEST_CASE("keepsThePlaceAndTheBorderOfAFlatSquare") {
    auto const mesh = meshOf(support::grid(8, 8));
    reduce(*mesh, fractionFor(*mesh, 2));
    REQUIRE(mesh->numFaces() == 2);
    std::set<std::array<long, 3>> corners;
    for (TopoMeshVertex v : listOf(mesh->firstVertex())) {
        Point const p = v.point();
        std::array<long, 3> const nearest = {std::lround(p.x), std::lround(p.y), std::lround(p.z)};
        CHECK(distance(p, Point(static_cast<double>(nearest[0]), static_cast<double>(nearest[1]),
                                static_cast<double>(nearest[2]))) < 1e-6);
        corners.insert(nearest);
    }
    CHECK(corners == std::set<std::array<long, 3>>{{0, 0, 0}, {8, 0, 0}, {0, 8, 0}, {8, 8, 0}});
}

TEST_CASE("keepsTheShapeOfACube") {
    // Every vertex lies in three planes or fewer, and the corners of the cube are where three meet.
    auto mesh = std::make_unique<Mesh>();
    CompactMesh fine = support::cube();
    support::fill(*mesh, fine);
    for (int round = 0; round < 3; ++round)
        for (TopoMeshFace f : listOf(mesh->firstFace()))
            mesh->subdivideFace(f, f.centroid());
    reduce(*mesh, fractionFor(*mesh, 12));
    REQUIRE(mesh->numVertices() == 8);
    for (TopoMeshVertex v : listOf(mesh->firstVertex()))
        for (double const value : {v.point().x, v.point().y, v.point().z})
            CHECK(std::min(std::abs(value), std::abs(value - 1.0)) < 1e-9);
}

TEST_CASE("leavesMeshesWithLargerFacesAlone") {
    Mesh mesh;
    support::fillQuadCube(mesh);
    mesh.subdivideFace(mesh.firstFace(), Point(0, 0, -1));
    TopoMeshVertex const v = mesh.firstVertex();
    v.blind(3) = BlindData(5.0);
    auto const before = stateOf(mesh);
    reduce(mesh, 0.1);
    CHECK(stateOf(mesh) == before);
    CHECK(mesh.numNews == 0);
}

TEST_CASE("tellsOfAChangeOnceAndOnlyThen") {
    auto const mesh = meshOf(support::sphere(2));
    reduce(*mesh, 1.0);
    CHECK(mesh->numNews == 0);
    CHECK(mesh->firstEdge().blind(1).asBool());
    reduce(*mesh, 0.5);
    CHECK(mesh->numNews == 1);
    CHECK(mesh->lastType == TopoMeshModification::Topology);
    CHECK(mesh->numFaces() == 64);

    Mesh empty;
    reduce(empty, 0.5);
    empty.allocVertex(Point(1, 2, 3));
    reduce(empty, 0.5);
    CHECK(empty.numVertices() == 1);
    CHECK(empty.numNews == 0);
}

TEST_CASE("takesAnyFraction") {
    auto const facesLeft = [](double fraction) {
        auto const mesh = meshOf(support::sphere(1));
        reduce(*mesh, fraction);
        CHECK(faultOf(*mesh) == "");
        return mesh->numFaces();
    };
    double const infinity = std::numeric_limits<double>::infinity();
    CHECK(facesLeft(-3.0) == 4);
    CHECK(facesLeft(-infinity) == 4);
    CHECK(facesLeft(7.0) == 32);
    CHECK(facesLeft(1e300) == 32);
    CHECK(facesLeft(infinity) == 32);
    CHECK(facesLeft(std::nan("")) == 32);
    // 32 * 0.34 = 10.88: the last pair goes too, as 12 is above 10.
    CHECK(facesLeft(0.34) == 10);
}

TEST_CASE("neverLooksAtTheProgress") {
    auto const mesh = meshOf(support::sphere(2));
    koUtil::Progress progress;
    int numCalls = 0;
    progress.setListener([&](double, char const*) { ++numCalls; });
    progress.cancel();
    numCalls = 0;
    meshReduceByEdgeCollapse(*mesh, 0.25, progress);
    CHECK(mesh->numFaces() == 32);
    CHECK(numCalls == 0);
    CHECK(progress.getValue() == 0.0);
}

TEST_CASE("survivesAnyCoordinates") {
    double const infinity = std::numeric_limits<double>::infinity();
    std::vector<double> const odd = {0.0,    -0.0,  1.0,      1e308,     -1e200,
                                     1e-310, 1e154, infinity, -infinity, std::nan("")};
    for (std::uint64_t seed = 0; seed < 40; ++seed) {
        auto const make = [&] {
            auto mesh = meshOf(seed % 2 == 0 ? support::sphere(1) : support::terrain(6, 5, seed));
            support::Random random(seed);
            int const numOdd = 1 + random.index(8);
            auto const vertices = listOf(mesh->firstVertex());
            auto const any = [&] {
                return odd[static_cast<std::size_t>(random.index(static_cast<int>(odd.size())))];
            };
            for (int i = 0; i < numOdd; ++i) {
                auto const v = vertices[static_cast<std::size_t>(
                    random.index(static_cast<int>(vertices.size())))];
                Point const p(any(), any(), any());
                mesh->setPoint(v, p);
            }
            return mesh;
        };
        CAPTURE(seed);
        auto const expected = make();
        plain::Collapse plainly(*expected);
        while (expected->numFaces() > 6 && plainly.step()) {
        }
        auto const mesh = make();
        reduce(*mesh, fractionFor(*mesh, 6));
        CHECK(faultOf(*mesh) == "");
        CHECK(stateOf(*mesh) == stateOf(*expected));
    }
}

// Large enough for the pool to find the first costs.
TEST_CASE("doesNotDependOnTheNumberOfThreads") {
    CompactMesh const source = support::torus(90, 60);
    auto const expected = meshOf(source);
    plain::Collapse plainly(*expected);
    while (expected->numFaces() > 10000)
        plainly.step();
    support::withPools([&](int numThreads) {
        CAPTURE(numThreads);
        auto const mesh = meshOf(source);
        reduce(*mesh, fractionFor(*mesh, 10000));
        CHECK(stateOf(*mesh) == stateOf(*expected));
    });
}

// Its neighbours are too many for a list.
TEST_CASE("aHubOfThousandsGoesThrough") {
    Mesh mesh;
    constexpr int numSpokes = 4000;
    TopoMeshVertex const hub = mesh.allocVertex(Point(0, 0, 1));
    std::vector<TopoMeshVertex> rim;
    for (int i = 0; i < numSpokes; ++i) {
        double const angle = 6.283185307179586 * i / numSpokes;
        rim.push_back(mesh.allocVertex(Point(std::cos(angle), std::sin(angle), 0)));
    }
    for (std::size_t i = 0; i < rim.size(); ++i)
        mesh.allocTriangle(hub, rim[i], rim[(i + 1) % rim.size()]);
    reduce(mesh, 0.01);
    CHECK(mesh.numFaces() == 40);
    CHECK(faultOf(mesh) == "");
}
