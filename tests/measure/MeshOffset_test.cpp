#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/oracles.h"
#include "support/topoBuilders.h"
#include "tube.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/triNormal.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/measure/MeshOffset.h"
#include "trimora/measure/detail/OffsetShell.h"
#include "trimora/measure/detail/SwapRepetition.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <set>
#include <vector>

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
        double const size = std::max({1.0, std::abs(source.x), std::abs(source.y),
                                      std::abs(source.z), std::abs(offset.distance)});
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

/// The same by the plainest means: sets and sweeps over everything, one face at a time.
class SlowOffset {
public:
    CompactMesh result;
    std::vector<int> offsetMap;

    explicit SlowOffset(Offset const& offset) : result(offset.mesh), mesh_(offset.mesh) {
        BitVector triangles(mesh_.getNumTriangles());
        BitVector vertices(mesh_.getNumVertices());
        triangles.setAllBits();
        vertices.setAllBits();
        MeshModifyRep rep(result, triangles, vertices, *offset.adjTris);
        TopoMesh& topo = rep.extract();
        build(rep, topo, offset);
        cleanUp(rep, topo, offset);
        Array<int> numbers;
        ArrayMap<TopoMeshVertex, int> copies;
        rep.merge(numbers, &copies);
        for (std::size_t v = 0; v < copies_.size(); ++v)
            offsetMap.push_back(isAlive_[v] ? copies.find(copies_[v]) : -1);
    }

private:
    static Normal normalOf(TopoMeshFace face) {
        TopoMeshEdge const edge = face.edge();
        return triNormal(edge.origin().point(), edge.next().origin().point(),
                         edge.prev().origin().point());
    }
    static std::vector<TopoMeshEdge> edgesAround(TopoMeshVertex v) {
        std::vector<TopoMeshEdge> edges;
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
            edges.push_back(i.edge);
        return edges;
    }

    void build(MeshModifyRep& rep, TopoMesh& topo, Offset const& offset) {
        std::vector<TopoMeshVertex> sources;
        for (int v = 0; v < mesh_.getNumVertices(); ++v) {
            sources.push_back(rep.getTopoMeshVertex(v));
            std::vector<TopoMeshEdge> const edges = edgesAround(sources.back());
            Vector sum;
            for (TopoMeshEdge const edge : edges)
                if (edge.twin()) {
                    Normal const left = normalOf(edge.face()), right = normalOf(edge.twin().face());
                    sum += angle(left, right) * Vector(left);
                    sum += angle(left, right) * Vector(right);
                }
            Vector const normal = sum.length() > 1e-12 ? Vector(Normal(sum))
                                  : edges.empty()      ? Vector::zAxis
                                                       : Vector(normalOf(edges[0].face()));
            normals_.push_back(VectorFlt(normal));
            copies_.push_back(topo.allocVertex(sources.back().point() - offset.distance * normal));
        }
        auto const at = [](std::vector<TopoMeshVertex> const& all, int v) {
            return all[static_cast<std::size_t>(v)];
        };
        for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
            MeshTriangle const& corners = mesh_.getTriangles()[t];
            topo.allocTriangle(at(copies_, corners[2]), at(copies_, corners[1]),
                               at(copies_, corners[0]));
        }
        for (int b = 0; b < offset.boundaries->size(); ++b)
            for (int k = 0; k < offset.boundaries->getLength(b); ++k) {
                int const i = offset.boundaries->getStart(b)[k];
                int const j =
                    offset.boundaries->getStart(b)[(k + 1) % offset.boundaries->getLength(b)];
                border_.insert(at(sources, i));
                topo.allocTriangle(at(sources, j), at(sources, i), at(copies_, i));
                topo.allocTriangle(at(copies_, i), at(copies_, j), at(sources, j));
            }
        meshTwin(topo);
    }

    void cleanUp(MeshModifyRep& rep, TopoMesh& topo, Offset const& offset) {
        isAlive_.assign(copies_.size(), 1);
        std::vector<char> isPending(copies_.size(), 1);
        bool hasRemoved = false;
        for (std::size_t v = 0; v < copies_.size(); ++v) {
            double const nearest2 = meshClosestVertex2(mesh_, *offset.octree, copies_[v].point());
            if (offset.distance * offset.distance - nearest2 > 1e-12 && remove(rep, topo, v)) {
                isPending[v] = 0;
                hasRemoved = true;
            }
        }
        while (hasRemoved) {
            hasRemoved = false;
            for (std::size_t v = 0; v < copies_.size(); ++v)
                if (isPending[v] && isFolded(v)) {
                    isPending[v] = 0;
                    hasRemoved = remove(rep, topo, v) || hasRemoved;
                }
        }
    }

    bool isFolded(std::size_t v) const {
        for (TopoMeshEdge const edge : edgesAround(copies_[v])) {
            TopoMeshEdge const first = edge.face().edge();
            if (border_.count(first.origin()) + border_.count(first.next().origin()) +
                    border_.count(first.prev().origin()) ==
                0)
                if (dot(normalOf(edge.face()), normals_[v]) > 0.0)
                    return true;
        }
        return false;
    }

    bool remove(MeshModifyRep& rep, TopoMesh& topo, std::size_t v) {
        std::deque<TopoMeshEdge> queue;
        int valence = copies_[v].valence();
        for (TopoMeshEdge const edge : edgesAround(copies_[v]))
            if (valence >= 4 && edge.twin() && topo.swapEdge(edge)) {
                queue.push_back(edge);
                --valence;
            }
        if (valence != 3)
            return false;
        rep.removeVertex(copies_[v]);
        topo.deleteVertex(copies_[v]);
        isAlive_[v] = 0;
        std::set<TopoMeshEdge, ko::less<TopoMeshEdge>> const swapped(queue.begin(), queue.end());
        for (; !queue.empty(); queue.pop_front()) {
            TopoMeshEdge const edge = queue.front();
            bool veto = !edge.twin();
            MeshEdgeSwapper::minimizeOppositeAngleSum(edge, veto);
            if (veto || !topo.swapEdge(edge))
                continue;
            for (TopoMeshEdge const beside :
                 {edge.next(), edge.prev(), edge.twin().next(), edge.twin().prev()})
                if (swapped.count(beside) > 0)
                    queue.push_back(beside);
        }
        return true;
    }

    CompactMesh const& mesh_;
    std::vector<TopoMeshVertex> copies_;
    std::vector<Vector> normals_;  // narrowed to floats
    std::vector<char> isAlive_;
    std::set<TopoMeshVertex, ko::less<TopoMeshVertex>> border_;
};

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

TEST_CASE("theHalfEdgesAreSoundAfterEveryRemoval") {
    for (support::NamedMesh const& named : support::zoo()) {
        CompactMesh const& mesh = named.mesh;
        if (mesh.getNumVertices() == 0)
            continue;
        CAPTURE(named.name);
        SimpleMeshCache cache;
        BitVector triangles(mesh.getNumTriangles());
        BitVector vertices(mesh.getNumVertices());
        triangles.setAllBits();
        vertices.setAllBits();
        CompactMesh copy(mesh);
        MeshModifyRep rep(copy, triangles, vertices, *cache.getAdjTris(mesh));
        TopoMesh& topo = rep.extract();
        detail::OffsetShell shell(mesh, rep, topo, 0.1);
        shell.build(*cache.getBoundaries(mesh));
        int numRemoved = 0;
        for (std::size_t v = 0; v < static_cast<std::size_t>(mesh.getNumVertices()); ++v) {
            bool const isRemoved = shell.remove(v);
            CHECK(isRemoved == !shell.copyOf(v));
            numRemoved += isRemoved;
            CHECK(support::faultOf(topo) == "");
        }
        for (TopoMeshFace face = topo.firstFace(); face; face = face.nextInList())
            CHECK(face.edge().next().next().next() == face.edge());
        Array<int> numbers;
        rep.merge(numbers, nullptr);
        CHECK(copy.getNumVertices() == 2 * mesh.getNumVertices() - numRemoved);
    }
}

// The selection is no part of the surface: a selected one gives the same, with nothing selected.
TEST_CASE("selectionsPlayNoPart") {
    CompactMesh const plain = atUnitSize(support::terrain(9, 9, 4));
    CompactMesh selected = plain;
    selected.getSelectedVertices().resize(selected.getNumVertices());
    selected.getSelectedTriangles().resize(selected.getNumTriangles());
    for (int i = 0; i < 40; ++i) {
        selected.getSelectedVertices().setBit(2 * i);
        selected.getSelectedTriangles().setBit(3 * i);
    }
    Offset expected(plain, 0.05);
    Offset offset(selected, 0.05);
    for (bool const both : {true, false}) {
        MeshPtr const a(offset.offset.calculate(both)), b(expected.offset.calculate(both));
        CHECK(support::coordinatesOf(*a) == support::coordinatesOf(*b));
        CHECK(support::trianglesOf(*a) == support::trianglesOf(*b));
        CHECK(a->getNormalsComputed());
        CHECK(a->getSelectedVertices().count == 0);
        CHECK(a->getSelectedTriangles().count == 0);
    }
}

TEST_CASE("offsetsAreThoseOfTheSlowWayToTheLastBit") {
    std::vector<support::NamedMesh> meshes = support::manifoldZoo();
    for (std::uint64_t seed = 0; seed < 4; ++seed)
        meshes.push_back({"waves", support::shuffled(support::terrain(25, 20, seed), seed)});
    int numRemoved = 0;
    for (support::NamedMesh const& named : meshes)
        for (double const distance : {0.1, 0.3, 1.0, -0.5, -2.0}) {
            if (named.mesh.getNumVertices() == 0)
                continue;
            CAPTURE(named.name);
            CAPTURE(distance);
            Offset const offset(named.mesh, distance);
            SlowOffset const slow(offset);
            CHECK(support::coordinatesOf(*offset.both) == support::coordinatesOf(slow.result));
            CHECK(support::trianglesOf(*offset.both) == support::trianglesOf(slow.result));
            CHECK(std::equal(slow.offsetMap.begin(), slow.offsetMap.end(), offset.offsetMap.begin(),
                             offset.offsetMap.end()));
            numRemoved += offset.numRemoved();
        }
    CHECK(numRemoved > 200);
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

// Swaps of one edge bring its ends back; of edges that are swapped once each no state comes twice.
TEST_CASE("swapsThatGoRoundInACircleAreNoticed") {
    TopoMesh square, ball;
    support::fill(square, support::grid(1, 1));
    support::fill(ball, support::sphere(3));
    meshTwin(square);
    meshTwin(ball);

    std::vector<TopoMeshEdge> diagonal;
    for (TopoMeshFace const face : support::listOf(square.firstFace()))
        for (TopoMeshEdge const edge : support::ringOf(face))
            if (diagonal.empty() && edge.twin())
                diagonal.push_back(edge);
    REQUIRE(diagonal.size() == 1);
    detail::SwapRepetition circle(diagonal);
    int numSwaps = 0;
    bool isReached = false;
    while (!isReached && numSwaps < 1000) {
        REQUIRE(square.swapEdge(diagonal.front()));
        isReached = circle.isReached();
        ++numSwaps;
    }
    CHECK(isReached);
    CHECK(numSwaps > 64);
    CHECK(numSwaps <= 128);

    std::vector<TopoMeshEdge> edges;
    for (TopoMeshFace const face : support::listOf(ball.firstFace()))
        edges.push_back(face.edge());
    detail::SwapRepetition straight(edges);
    std::set<void const*> done;
    numSwaps = 0;
    for (TopoMeshEdge const edge : edges)
        if (done.count(edge.twin().record()) == 0 && ball.swapEdge(edge)) {
            done.insert(edge.record());
            ++numSwaps;
            REQUIRE_FALSE(straight.isReached());
        }
    CHECK(numSwaps > 130);
}
