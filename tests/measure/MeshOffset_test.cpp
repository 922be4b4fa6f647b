#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/oracles.h"
#include "tube.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/measure/MeshOffset.h"
#include "trimora/topology/MeshConvertRep.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <memory>
#include <numbers>

using namespace koGeom;

namespace {

using MeshPtr = std::unique_ptr<CompactMesh>;

/// A mesh with its tables, and what is made of it by a handle that shares its work with another one.
struct Offset {
    CompactMesh const& mesh;
    double const distance;
    SimpleMeshCache cache;
    ko::Reference<Octree> const octree = cache.getOctree(mesh, 8);
    ko::Reference<MeshBoundaries> const boundaries = cache.getBoundaries(mesh);
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    MeshOffset const owner{mesh, *octree, *boundaries, *adjTris, distance};
    MeshOffset offset{owner};
    Array<int> sourceMap;
    Array<int> offsetMap;
    MeshPtr both{offset.calculate(sourceMap, offsetMap)};

    Offset(CompactMesh const& source, double d) : mesh(source), distance(d) {}

    MeshPtr shell() { return MeshPtr(offset.calculate(false)); }
    int numRemoved() const {
        return static_cast<int>(std::count(offsetMap.begin(), offsetMap.end(), -1));
    }
    Point copyOf(int v) const { return both->getVertices()[offsetMap[v]].asPoint(); }
};

/// Directed edges that are there twice or more.
int numRepeatedEdges(CompactMesh const& mesh) {
    std::map<std::pair<int, int>, int> uses;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
            ++uses[{mesh.getTriangles()[t][k], mesh.getTriangles()[t][(k + 1) % 3]}];
    int count = 0;
    for (auto const& [edge, times] : uses)
        count += times > 1;
    return count;
}

void checkHalfEdges(CompactMesh const& mesh) {
    SimpleMeshCache cache;
    BitVector triangles(mesh.getNumTriangles());
    BitVector vertices(mesh.getNumVertices());
    triangles.setAllBits();
    vertices.setAllBits();
    MeshConvertRep rep(mesh, triangles, vertices, *cache.getAdjTris(mesh));
    CHECK(support::faultOf(rep.extract()) == "");
}

/// What holds for every offset: sound meshes, maps that are right, the surface as it was, copies at their distance.
void checkOffset(Offset const& offset) {
    CompactMesh const& mesh = offset.mesh;
    CompactMesh const& both = *offset.both;
    CHECK(support::faultOf(both) == "");
    int const numVertices = mesh.getNumVertices();
    REQUIRE(offset.sourceMap.size() == numVertices);
    REQUIRE(offset.offsetMap.size() == numVertices);
    CHECK(both.getNumVertices() == 2 * numVertices - offset.numRemoved());
    CHECK((numVertices == 0 || both.getNormalsComputed()));

    std::vector<char> isUsed(static_cast<std::size_t>(both.getNumVertices()));
    int numMisplaced = 0;
    for (int v = 0; v < numVertices; ++v) {
        Point const source = mesh.getVertices()[v].asPoint();
        isUsed.at(static_cast<std::size_t>(offset.sourceMap[v])) = 1;
        numMisplaced += both.getVertices()[offset.sourceMap[v]].asPoint() != source;
        if (offset.offsetMap[v] < 0)
            continue;
        isUsed.at(static_cast<std::size_t>(offset.offsetMap[v])) = 1;
        double const size = std::abs(source.x) + std::abs(source.y) + std::abs(source.z) +
                            std::abs(offset.distance) + 1.0;
        numMisplaced += std::abs(koLinear::distance(offset.copyOf(v), source) -
                                 std::abs(offset.distance)) > 1e-6 * size;
    }
    CHECK(numMisplaced == 0);
    CHECK(std::count(isUsed.begin(), isUsed.end(), 0) == 0);

    // The surface's triangles come first, as they were.
    auto const triangles = support::trianglesOf(mesh);
    auto const all = support::trianglesOf(both);
    REQUIRE(all.size() >= triangles.size());
    CHECK(std::equal(triangles.begin(), triangles.end(), all.begin()));
}

/// And what holds further for an oriented manifold surface: one closed wall.
void checkWall(Offset const& offset) {
    checkOffset(offset);
    CHECK(support::numBorderEdges(*offset.both) == 0);
    CHECK(numRepeatedEdges(*offset.both) == 0);
    checkHalfEdges(*offset.both);
}

/// The other calls tell the same: both again, and the part that is off the surface.
void checkForms(Offset& offset) {
    CompactMesh const& both = *offset.both;
    MeshPtr const again(offset.offset.calculate(true));
    CHECK(again->getNumVertices() == both.getNumVertices());
    CHECK(support::trianglesOf(*again) == support::trianglesOf(both));

    std::vector<int> kept;
    int const numSources = offset.mesh.getNumVertices();
    for (int t = 0; t < both.getNumTriangles(); ++t) {
        MeshTriangle const& triangle = both.getTriangles()[t];
        if (triangle[0] >= numSources && triangle[1] >= numSources && triangle[2] >= numSources)
            kept.insert(kept.end(), {triangle[0], triangle[1], triangle[2]});
    }
    MeshPtr const shell = offset.shell();
    CHECK(support::faultOf(*shell) == "");
    CHECK(support::positionTriples(*shell) ==
          support::positionTriples(support::meshOf(support::coordinatesOf(both), kept)));
}

float diagonalOf(CompactMesh const& mesh) {
    BoundingBox box;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex const& p = mesh.getVertices()[v];
        box.extend(PointFlt(p.x, p.y, p.z));
    }
    return std::hypot(box.max(0) - box.min(0), box.max(1) - box.min(1), box.max(2) - box.min(2));
}

/// The mesh brought to a diagonal of 1.
CompactMesh atUnitSize(CompactMesh const& source) {
    CompactMesh mesh(source);
    float const scale = 1.0f / diagonalOf(source);
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= scale;
    return mesh;
}

/// How many copies are still nearer to a vertex of the surface than they should be.
int numTooNear(Offset const& offset) {
    int count = 0;
    for (int v = 0; v < offset.mesh.getNumVertices(); ++v) {
        if (offset.offsetMap[v] < 0)
            continue;
        bool isNear = false;
        for (int w = 0; w < offset.mesh.getNumVertices() && !isNear; ++w)
            isNear = koLinear::distance(offset.copyOf(v), offset.mesh.getVertices()[w].asPoint()) <
                     std::abs(offset.distance) - 1e-6;
        count += isNear;
    }
    return count;
}

}  // namespace

TEST_CASE("aTriangleBecomesAPrism") {
    //     2                 5
    //     | \      above    | \        the copies 3, 4, 5 lie 0.5 below
    //     0 - 1             3 - 4
    CompactMesh const mesh = support::triangle();
    Offset offset(mesh, 0.5);
    checkWall(offset);
    checkForms(offset);
    CHECK(support::trianglesOf(*offset.both) ==
          std::vector<int>{0, 1, 2, 5, 4, 3, 1, 0, 3, 3, 4, 1, 2, 1, 4, 4, 5, 2, 0, 2, 5, 5, 3, 0});
    CHECK(offset.copyOf(1).z == -0.5);
    CHECK(support::trianglesOf(*offset.shell()) == std::vector<int>{2, 1, 0});
    CHECK(support::volume(*offset.both) == doctest::Approx(0.25));
    CHECK(support::volume(*Offset(mesh, -0.5).both) == doctest::Approx(-0.25));
}

TEST_CASE("planesSpheresTubesAndCubesMoveAsTheirFormulasSay") {
    CompactMesh const plane = support::grid(6, 4);
    CompactMesh const sphere = support::sphere(4);
    CompactMesh const straight = support::tube(64, 10);
    CompactMesh const cube = support::cube();
    for (double const distance : {0.1, -0.1}) {
        Offset const ofPlane(plane, distance);
        checkWall(ofPlane);
        CHECK(support::volume(*ofPlane.both) == doctest::Approx(24.0 * distance));
        for (int v = 0; v < plane.getNumVertices(); ++v)
            CHECK(ofPlane.copyOf(v).z == doctest::Approx(-distance));

        Offset const ofSphere(sphere, distance);
        checkWall(ofSphere);
        CHECK(ofSphere.numRemoved() == 0);
        for (int v = 0; v < sphere.getNumVertices(); ++v)
            CHECK(ofSphere.copyOf(v).asVector().length() ==
                  doctest::Approx(1.0 - distance).epsilon(1e-3));

        Offset const ofTube(straight, distance);
        checkWall(ofTube);
        for (int v = 0; v < straight.getNumVertices(); ++v) {
            Point const p = ofTube.copyOf(v);
            CHECK(std::hypot(p.x, p.y) == doctest::Approx(1.0 - distance).epsilon(2e-3));
        }

        // Each corner of a cube moves along its diagonal: three creases of 90 degrees, flat diagonals without weight.
        Offset const ofCube(cube, distance);
        checkWall(ofCube);
        for (int v = 0; v < 8; ++v) {
            Vector const inward = Point(0.5, 0.5, 0.5) - cube.getVertices()[v].asPoint();
            Point const place =
                cube.getVertices()[v].asPoint() + inward * (distance / inward.length());
            CHECK(koLinear::distance(ofCube.copyOf(v), place) < 2e-7);
        }
    }
}

TEST_CASE("copiesThatAreTooNearAreRemovedWithoutAGap") {
    // A plane with a sharp pit: the copies of its walls meet in the middle, or cross below.
    CompactMesh pit = support::grid(12, 12);
    for (int v = 0; v < pit.getNumVertices(); ++v) {
        MeshVertex& p = pit.getVertices()[v];
        p.z = -3.0f * std::max(0.0f, 3.0f - std::hypot(p.x - 6.0f, p.y - 6.0f));
    }
    for (double const distance : {-1.0, -1.5, 1.5}) {
        CAPTURE(distance);
        Offset offset(pit, distance);
        checkWall(offset);
        checkForms(offset);
        CHECK(offset.numRemoved() > 0);
        CHECK(numTooNear(offset) == 0);
    }
}

TEST_CASE("theApexOfAFlatSpikeLeavesOneTriangle") {
    // The apex 0, 0.25 above its base: its copy, deep below, is nearer to the base than to the apex.
    CompactMesh const spike = support::meshOf({0.3f, 0.3f, 0.25f, 0, 0, 0, 1, 0, 0, 0, 1, 0},
                                              {0, 1, 2, 0, 2, 3, 0, 3, 1});
    Offset const offset(spike, 1.7);
    checkWall(offset);
    CHECK(offset.offsetMap[0] == -1);
}

TEST_CASE("anApexWithManyEdgesGoesInShortTime") {
    int const numRim = 3000;
    std::vector<float> coordinates = {0, 0, 0.25f};
    std::vector<int> triangles;
    for (int i = 0; i < numRim; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / numRim;
        coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(angle)),
                                               static_cast<float>(std::sin(angle)), 0.0f});
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % numRim});
    }
    CompactMesh const cone = support::meshOf(coordinates, triangles);
    Offset const offset(cone, 2.5);
    checkWall(offset);
    CHECK(offset.offsetMap[0] == -1);
}

TEST_CASE("manifoldMeshesGetClosedWalls") {
    for (support::NamedMesh const& named : support::manifoldZoo())
        for (double const fraction : {0.005, 0.02, 0.05, -0.02, -0.3, 0.3}) {
            CAPTURE(named.name);
            CAPTURE(fraction);
            CompactMesh const mesh =
                named.mesh.getNumVertices() > 0 ? atUnitSize(named.mesh) : named.mesh;
            Offset offset(mesh, fraction);
            checkWall(offset);
            checkForms(offset);
        }
}

TEST_CASE("brokenMeshesGiveSoundOnes") {
    for (support::NamedMesh const& named : support::zoo())
        for (double const distance : {0.3, -0.3, 0.0, 100.0}) {
            CAPTURE(named.name);
            checkOffset(Offset(named.mesh, distance));
        }
    for (std::uint64_t seed = 0; seed < 40; ++seed) {
        CAPTURE(seed);
        CompactMesh const mesh = support::latticeSoup(60, 90, seed);
        checkOffset(Offset(mesh, 1.5));
        for (double const distance : {std::numeric_limits<double>::infinity(), std::nan("")})
            CHECK(support::faultOf(*Offset(mesh, distance).shell()) == "");
    }
}

TEST_CASE("realMeshesKeepTheirDistance") {
    for (char const* const name : {"stanford_bunny.obj", "fandisk.obj"}) {
        koString::IString const path(support::corpusFile(name).c_str(), koString::Encoding::Native);
        CompactMesh source;
        if (!meshReadObj(source, koOS::Filename(path)))
            continue;
        CompactMesh const mesh = atUnitSize(source);
        for (double const fraction : {0.005, 0.02, 0.05, -0.005, -0.02, -0.05}) {
            CAPTURE(fraction);
            Offset const offset(mesh, fraction);
            checkOffset(offset);
            CHECK(support::numBorderEdges(*offset.both) == 0);
        }
    }
}

TEST_CASE("anEmptyMeshAndOneWithoutTrianglesAreNoTrouble") {
    CompactMesh const nothing;
    checkOffset(Offset(nothing, 1.0));

    CompactMesh const cloud = support::meshOf({0, 0, 0, 5, 0, 0}, {});
    CHECK(support::coordinatesOf(*Offset(cloud, 1.0).both) ==
          std::vector<float>{0, 0, 0, 5, 0, 0, 0, 0, -1, 5, 0, -1});
}
