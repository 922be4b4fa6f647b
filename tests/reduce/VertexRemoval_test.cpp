#include "reduction.h"
#include "support/TemporaryFolder.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/planar/fit.h"
#include "trimora/reduce/detail/HoleFill.h"
#include "trimora/reduce/detail/VertexRemoval.h"
#include "trimora/reduce/detail/reduceDebug.h"
#include "trimora/reduce/detail/vertexFlatness.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/meshTwin.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;
using detail::TrianglePoints;

namespace {

using Triples = std::multiset<std::array<std::array<double, 3>, 3>>;

/// Rotated to the least corner first, as support::positionTriples does.
std::array<std::array<double, 3>, 3> tripleOf(TrianglePoints const& corners) {
    std::array<std::array<double, 3>, 3> triple;
    for (std::size_t k = 0; k < 3; ++k)
        triple[k] = {corners[k].x, corners[k].y, corners[k].z};
    std::rotate(triple.begin(), std::min_element(triple.begin(), triple.end()), triple.end());
    return triple;
}

Triples triplesOf(TopoMesh const& mesh) {
    Triples triples;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const e = f.edge();
        triples.insert(
            tripleOf({e.origin().point(), e.next().origin().point(), e.prev().origin().point()}));
    }
    return triples;
}

/// A whole mesh in half-edge form, ready for removals.
struct Opened {
    explicit Opened(CompactMesh& mesh) : adjTris(adjTrisOf(mesh)), bridge(mesh, adjTris) {}

    static MeshAdjTris adjTrisOf(CompactMesh& mesh) {
        mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
        mesh.getSelectedTriangles().setAllBits();
        mesh.getSelectedVertices().resize(mesh.getNumVertices());
        mesh.getSelectedVertices().setAllBits();
        MeshAdjTris table;
        meshAdjTris(mesh, table);
        return table;
    }

    MeshAdjTris adjTris;
    MeshModifyRep bridge;
    TopoMesh& topo = bridge.extract();
    detail::VertexRemoval removal{topo, bridge};
};

/// A removal without any short cut: ten rounds of improvement whether they change anything or not.
class PlainRemoval {
public:
    int lastRound = 0;  // that changed anything

    explicit PlainRemoval(TopoMesh& mesh) : mesh_(mesh) {}

    bool remove(TopoMeshVertex vertex) {
        std::vector<TopoMeshEdge> swapped;
        int valence = vertex.valence();
        for (TopoMeshEdgeVertexIterator i = {vertex, vertex.edge(), 1}; i.edge && valence > 3;) {
            TopoMeshEdge const edge = i.edge;
            i.next();
            if (trySwap(edge, &MeshEdgeSwapper::preventFoldover)) {
                --valence;
                swapped.push_back(edge);
            }
        }
        if (valence != 3) {
            for (std::size_t i = swapped.size(); i > 0; --i)
                mesh_.swapEdge(swapped[i - 1]);
            return false;
        }
        mesh_.deleteVertex(vertex);
        for (int round = 1; round <= 10; ++round)
            for (TopoMeshEdge const edge : swapped)
                if (trySwap(edge, &MeshEdgeSwapper::minimizeOppositeAngleSum))
                    lastRound = round;
        return true;
    }

private:
    bool trySwap(TopoMeshEdge edge, void (*criterion)(TopoMeshEdge, bool&)) {
        bool veto = false;
        criterion(edge, veto);
        return !veto && mesh_.swapEdge(edge);
    }

    TopoMesh& mesh_;
};

/// A fan of that many triangles round vertex 0, its rim far from any circle and out of any plane.
CompactMesh roughFan(int valence, double unevenness, support::Random& random) {
    std::vector<float> coordinates = {0.0f, 0.0f, 0.0f};
    std::vector<int> triangles;
    for (int i = 0; i < valence; ++i) {
        double const angle = 2.0 * 3.14159265358979 * i / valence;
        double const radius = random.real(1.0 - unevenness, 1.0);
        coordinates.insert(coordinates.end(), {static_cast<float>(radius * std::cos(angle)),
                                               static_cast<float>(radius * std::sin(angle)),
                                               static_cast<float>(random.real(0.0, 0.1))});
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % valence});
    }
    return support::meshOf(coordinates, triangles);
}

std::vector<double> flatnessOf(CompactMesh const& mesh) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);
    std::vector<double> flatness(static_cast<std::size_t>(mesh.getNumVertices()));
    detail::vertexFlatness(mesh, adjVertices, flatness.data());
    return flatness;
}

}  // namespace

TEST_SUITE("VertexRemoval") {

    //    3 --- 2         3 --- 2
    //    | \ / |         |   / |       The short diagonal of the diamond wins, whichever was left by the swap.
    //    |  4  |    ->   |  /  |
    //    | / \ |         | /   |
    //    0 --- 1         0 --- 1
    TEST_CASE("fillsAHoleOfFourAlongTheShorterDiagonal") {
        for (int turn = 0; turn < 4; ++turn) {
            CAPTURE(turn);
            std::vector<int> fan;
            for (int i = 0; i < 4; ++i) {
                int const k = (i + turn) % 4;
                fan.insert(fan.end(), {k, (k + 1) % 4, 4});
            }
            CompactMesh mesh =
                support::meshOf({-1, -1, 0, 2, -2, 0, 1, 1, 0, -2, 2, 0, 0.2f, 0.1f, 0}, fan);
            Opened opened(mesh);
            REQUIRE(opened.removal.remove(opened.bridge.getTopoMeshVertex(4)));
            CHECK(support::faultOf(opened.topo).empty());
            CHECK(opened.topo.numVertices() == 4);
            Triples const expected = {
                tripleOf({Point(-1, -1, 0), Point(2, -2, 0), Point(1, 1, 0)}),
                tripleOf({Point(-1, -1, 0), Point(1, 1, 0), Point(-2, 2, 0)})};
            CHECK(triplesOf(opened.topo) == expected);
        }
    }

    TEST_CASE("fillIsWhatTakesThePlaceOfTheFan") {
        for (auto& named : support::manifoldZoo()) {
            CompactMesh& mesh = named.mesh;
            for (int v = 0; v < mesh.getNumVertices(); ++v) {
                CAPTURE(named.name);
                CAPTURE(v);
                Opened opened(mesh);
                TopoMeshVertex const vertex = opened.bridge.getTopoMeshVertex(v);
                Triples expected = triplesOf(opened.topo);
                for (TopoMeshEdgeVertexIterator i = {vertex, vertex.edge(), 1}; i.edge; i.next())
                    expected.erase(
                        expected.find(tripleOf({vertex.point(), i.edge.next().origin().point(),
                                                i.edge.prev().origin().point()})));
                Triples const before = triplesOf(opened.topo);
                bool const onBoundary = vertex.onBoundary();
                if (!opened.removal.remove(vertex)) {
                    CHECK(triplesOf(opened.topo) == before);
                    continue;
                }
                CHECK_FALSE(onBoundary);
                for (TrianglePoints const& triangle : opened.removal.fill())
                    expected.insert(tripleOf(triangle));
                CHECK(triplesOf(opened.topo) == expected);
                CHECK(support::faultOf(opened.topo).empty());
                CHECK(detail::hasSoundTriangles(opened.topo) == (named.name != "tetrahedron"));
            }
        }
    }

    TEST_CASE("improvesTheFillInTenRounds") {
        support::Random random(8);
        std::map<int, int> numByLastRound;
        for (int turn = 0; turn < 600; ++turn) {
            CAPTURE(turn);
            int const valence = turn % 20 == 7 ? 200 : 4 + turn % (turn % 5 == 0 ? 90 : 30);
            CompactMesh mesh = roughFan(valence, 0.3 * (turn % 4), random);
            Opened opened(mesh);
            Opened plainly(mesh);
            PlainRemoval plain(plainly.topo);
            bool const expected = plain.remove(plainly.bridge.getTopoMeshVertex(0));
            REQUIRE(opened.removal.remove(opened.bridge.getTopoMeshVertex(0)) == expected);
            REQUIRE(support::stateOf(opened.topo) == support::stateOf(plainly.topo));
            numByLastRound[expected ? plain.lastRound : -1] += 1;
        }
        for (int const round : {-1, 0, 1, 5, 9, 10})
            CHECK(numByLastRound[round] > 0);
    }

    TEST_CASE("undoingEveryRemovalRestoresConnectivity") {
        std::vector<support::NamedMesh> meshes = support::zoo();
        meshes.push_back({"rough", support::terrain(30, 30, 4)});
        // A fan whose ring has a further triangle on each edge: more than one half-edge runs between the ring's vertices.
        meshes.push_back({"finned", support::meshOf({0, 0, 1, 2, 0, 0,  -1, 2,  0, -1, -2, 0,
                                                     3, 3, 2, 3, 3, -2, 3,  -3, 2, 3,  -3, -2},
                                                    {0, 1, 2, 1, 3, 6, 0, 2, 3, 0, 3,
                                                     1, 1, 2, 4, 2, 1, 5, 1, 3, 7})});
        for (auto& named : meshes) {
            CompactMesh& mesh = named.mesh;
            CAPTURE(named.name);
            Opened opened(mesh);
            Triples const before = triplesOf(opened.topo);
            int const numVertices = opened.topo.numVertices();
            std::string const fault = support::faultOf(opened.topo);
            for (int v = 0; v < numVertices; ++v) {
                CAPTURE(v);
                if (opened.removal.remove(opened.bridge.getTopoMeshVertex(v)))
                    opened.removal.undo();
                if (numVertices < 200)
                    REQUIRE(triplesOf(opened.topo) == before);
            }
            CHECK(triplesOf(opened.topo) == before);
            CHECK(opened.topo.numVertices() == numVertices);
            CHECK(support::faultOf(opened.topo) == fault);
            // Joined as before, not only lying there: no edge has lost its twin.
            TopoMesh fresh;
            support::fill(fresh, mesh);
            meshTwin(fresh);
            CHECK(support::numOpenEdges(opened.topo) == support::numOpenEdges(fresh));
        }
    }

    TEST_CASE("nearnessIsThatOfTheNearestPointOfAnyTriangle") {
        support::Random random(17);
        int numNear = 0;
        int const numCases = 20000;
        for (int i = 0; i < numCases; ++i) {
            double const offset = i % 3 == 0 ? 0.0 : i % 3 == 1 ? 1e4 : 1e12;
            auto const corner = [&] {
                return Point(offset + random.index(5), random.index(5) - offset, random.index(5));
            };
            ko::vector<TrianglePoints> triangles;
            for (int k = random.index(4); k > 0; --k)
                triangles.push_back({corner(), corner(), corner()});
            Point const p = corner() + Vector(0.0, 0.0, random.real(-1.0, 1.0) * (i % 2));
            double const tolerance = random.index(4) * random.real(0.0, 1.0);
            bool expected = false;
            for (TrianglePoints const& t : triangles) {
                MeshCoordBase coord;
                coord.projectBase(p, t[0], t[1], t[2]);
                expected |= distance2(coord.evaluateBase(t.data()), p) <= tolerance * tolerance;
            }
            detail::HoleFill fill(tolerance);
            fill.assign(triangles);
            REQUIRE(fill.isNear(p) == expected);
            numNear += expected;
        }
        CHECK(numNear > numCases / 10);
        CHECK(numNear < numCases * 9 / 10);
    }
}

TEST_SUITE("vertexFlatness") {

    // A pyramid of height h over a regular polygon: the mean of all points is h / (k + 1) up, and level.
    TEST_CASE("apexOfAPyramidIsAsHighAsItStandsAboveTheMean") {
        for (int k : {3, 4, 6, 9}) {
            CAPTURE(k);
            std::vector<float> coordinates = {0.0f, 0.0f, 0.5f};
            std::vector<int> triangles;
            for (int i = 0; i < k; ++i) {
                double const angle = 2.0 * 3.14159265358979 * i / k;
                coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(angle)),
                                                       static_cast<float>(std::sin(angle)), 0.0f});
                triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % k});
            }
            std::vector<double> const flatness =
                flatnessOf(support::meshOf(coordinates, triangles));
            CHECK(flatness[0] == doctest::Approx(0.5 * k / (k + 1)));
        }
    }

    TEST_CASE("isTheFarthestOfVertexAndNeighboursFromTheirPlane") {
        for (auto const& named : support::zoo()) {
            CompactMesh const& mesh = named.mesh;
            CAPTURE(named.name);
            MeshAdjTris adjTris;
            meshAdjTris(mesh, adjTris);
            MeshAdjVertices adjVertices;
            meshAdjVertices(mesh, adjTris, adjVertices);
            std::vector<double> expected;
            for (int v = 0; v < mesh.getNumVertices(); ++v) {
                std::vector<Point> points;
                for (int i = 0; i < adjVertices.numNeighbours(v); ++i)
                    points.push_back(mesh.getVertices()[adjVertices.neighbours(v)[i]].asPoint());
                points.push_back(mesh.getVertices()[v].asPoint());
                Plane plane;
                fit(static_cast<int>(points.size()), points.data(), plane);
                double farthest = 0.0;
                for (Point const& p : points)
                    farthest = std::max(farthest, std::abs(dot(p - plane.origin, plane.normal)));
                expected.push_back(points.size() < 4 ? 1.7976931348623157e308 : farthest);
            }
            support::withPools([&](int) { CHECK(flatnessOf(mesh) == expected); });
        }
    }

    TEST_CASE("isTheLargestDoubleWhereAPositionIsNotFinite") {
        CompactMesh mesh = support::grid(4, 4);
        mesh.getVertices()[12].x = std::numeric_limits<float>::quiet_NaN();
        std::vector<double> const flatness = flatnessOf(mesh);
        CHECK(flatness[12] == std::numeric_limits<double>::max());
        CHECK(flatness[13] == std::numeric_limits<double>::max());
        CHECK(flatness[9] == 0.0);
    }
}

TEST_SUITE("reduceDebug") {

    TEST_CASE("dumpListsVerticesThenFacesByNumber") {
        TopoMesh mesh;
        support::fill(mesh, support::meshOf({0, 0, 0, 1, 0, 0, 0.5f, 2, 0, 3, 3, -1}, {0, 1, 2}));
        support::TemporaryFolder const folder;
        detail::dumpTopoMesh(mesh, folder.path("dump.txt").c_str());
        CHECK(folder.read("dump.txt") ==
              "v 0.000000000000000 0.000000000000000 0.000000000000000 \n"
              "v 1.000000000000000 0.000000000000000 0.000000000000000 \n"
              "v 0.500000000000000 2.000000000000000 0.000000000000000 \n"
              "v 3.000000000000000 3.000000000000000 -1.000000000000000 \n"
              "f 1 2 3 \n");
        detail::dumpTopoMesh(mesh, folder.path("missing/dump.txt").c_str());
    }
}
