#include "support/TopoModificationCounter.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/repair/MeshVerify.h"
#include "trimora/topology/ExtrudeTopoFace.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <doctest/doctest.h>

using namespace koGeom;
using support::facesOf;
using support::faultOf;
using support::listOf;
using support::numOpenEdges;
using support::ringOf;

namespace {

using Faces = ko::unordered_set<TopoMeshFace>;

AffineMatrix shift(double x, double y, double z) {
    AffineMatrix matrix;
    matrix.m[9] = x;
    matrix.m[10] = y;
    matrix.m[11] = z;
    return matrix;
}

/// By the divergence theorem, each face cut from its first corner.
double volumeOf(TopoMesh const& mesh) {
    double sum = 0.0;
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        Vector const a = f.edge().origin().point().asVector();
        for (TopoMeshEdge e : ringOf(f))
            sum +=
                dot(a, cross(e.origin().point().asVector(), e.next().origin().point().asVector())) /
                6.0;
    }
    return sum;
}

int eulerNumber(TopoMesh const& mesh) {
    int numUsed = 0;
    for (TopoMeshVertex v : listOf(mesh.firstVertex()))
        numUsed += v.edge() ? 1 : 0;
    return numUsed - (mesh.numEdges() + numOpenEdges(mesh)) / 2 + mesh.numFaces();
}

bool isSound(TopoMesh& mesh) {
    return faultOf(mesh) == "" && MeshVerify()(mesh, MeshVerify::Info());
}

/// The squares of a grid: two triangles each, in the order of the grid.
struct Squares {
    TopoMesh mesh;
    std::vector<TopoMeshFace> faces;
    int numX;

    Squares(int columns, int rows) : numX(columns) {
        support::fill(mesh, support::grid(columns, rows));
        faces = listOf(mesh.firstFace());
    }
    void add(Faces& set, int x, int y) const {
        std::size_t const square = static_cast<std::size_t>(2 * (y * numX + x));
        set.insert(faces[square]);
        set.insert(faces[square + 1]);
    }
};

}  // namespace

TEST_CASE("freeFaceBecomesAClosedPrism") {
    //        5
    //      /   \        floor 0 1 2 stays as it is wound, the walls run against its rim,
    //     3 --- 4       the top runs against them
    TopoMesh mesh;
    support::fill(mesh, support::triangle());
    TopoMeshFace const floor = mesh.firstFace();
    support::TopoModificationCounter listener(mesh);
    TopoMeshFace const top = extrudeFace(mesh, floor, shift(0, 0, -2));
    CHECK(facesOf(mesh) == "0 1 2, 1 0 3 4, 2 1 4 5, 0 2 5 3, 5 4 3");
    CHECK(support::cornersOf(top) == "5 4 3");
    CHECK(mesh.contains(floor));
    CHECK(numOpenEdges(mesh) == 0);
    CHECK(eulerNumber(mesh) == 2);
    CHECK(isSound(mesh));
    CHECK(listener.types() == std::vector<int>{TopoMeshModification::Topology});
    CHECK(top.centroid().z == doctest::Approx(-2.0));
    CHECK(volumeOf(mesh) == doctest::Approx(1.0));
}

TEST_CASE("faceOfAClosedSurfaceIsReplaced") {
    TopoMesh mesh;
    support::fillQuadCube(mesh);
    TopoMeshFace const face = mesh.firstFace().nextInList();
    TopoMeshFace const top = extrudeFace(mesh, face, shift(0, 0, 3));
    CHECK_FALSE(mesh.contains(face));
    CHECK(facesOf(mesh) ==
          "0 2 3 1, 0 1 5 4, 2 6 7 3, 0 4 6 2, 1 3 7 5, 4 5 9 8, 5 7 10 9, 7 6 11 10, 6 4 8 11, "
          "8 9 10 11");
    CHECK(top.centroid() == Point(0, 0, 4));
    CHECK(isSound(mesh));
    CHECK(eulerNumber(mesh) == 2);
    CHECK(volumeOf(mesh) == doctest::Approx(8.0 + 12.0));
}

TEST_CASE("faceOnTheRimIsReplacedToo") {
    // One edge with a twin is enough.
    TopoMesh mesh;
    support::fill(mesh, support::grid(1, 1));
    TopoMeshFace const top = extrudeFace(mesh, mesh.firstFace(), shift(0, 0, 1));
    CHECK(mesh.numFaces() == 1 + 3 + 1);
    CHECK(top.numVertices() == 3);
    CHECK(isSound(mesh));
    CHECK(numOpenEdges(mesh) == 4);
}

TEST_CASE("extrudeFaceRefusesWhatIsNoFaceOfTheMesh") {
    TopoMesh mesh;
    support::fill(mesh, support::cube());
    TopoMeshFace const stale = mesh.firstFace();
    mesh.deleteFace(stale);
    TopoMesh other;
    support::fill(other, support::triangle());
    std::vector<void const*> const before = support::digestOf(mesh);
    support::TopoModificationCounter listener(mesh);
    for (TopoMeshFace const face : {stale, TopoMeshFace(), other.firstFace()})
        CHECK_FALSE(extrudeFace(mesh, face, shift(0, 0, 1)));
    CHECK(support::digestOf(mesh) == before);
    CHECK(listener.total() == 0);
}

TEST_CASE("expandRegionWalksTheBorderInTheDirectionOfTheFaces") {
    Squares squares(4, 4);
    Faces faces, region;
    squares.add(faces, 1, 1);
    squares.add(faces, 2, 1);
    squares.add(faces, 1, 2);
    ko::vector<TopoMeshEdge> border;
    CHECK(expandRegion(squares.mesh, faces, region, border));
    CHECK(region == faces);
    CHECK(border.size() == 8);
    for (std::size_t i = 0; i < border.size(); ++i) {
        CHECK(faces.count(border[i].face()) == 1);
        CHECK(faces.count(border[i].twin().face()) == 0);
        CHECK(border[i].next().origin() == border[(i + 1) % border.size()].origin());
    }
    // The border is appended to.
    CHECK(expandRegion(squares.mesh, faces, region, border));
    CHECK(border.size() == 16);
}

TEST_CASE("expandRegionReachesOneConnectedPart") {
    Squares squares(5, 1);
    Faces faces, region;
    squares.add(faces, 0, 0);
    faces.insert(squares.faces[8]);
    ko::vector<TopoMeshEdge> border;
    CHECK_FALSE(expandRegion(squares.mesh, faces, region, border));
    CHECK((region.size() == 1 || region.size() == 2));
    CHECK(region.count(*faces.begin()) == 1);
    CHECK(border.size() == region.size() + 2);

    TopoMesh two;
    support::fill(two, support::joined(support::triangle(), support::triangle(), 5.0f));
    Faces const both = {two.firstFace(), two.firstFace().nextInList()};
    border.clear();
    CHECK_FALSE(expandRegion(two, both, region, border));
    CHECK(region.size() == 1);
    CHECK(border.size() == 3);
}

TEST_CASE("expandRegionOfAClosedSurfaceHasNoBorder") {
    TopoMesh mesh;
    support::fill(mesh, support::torus(6, 5));
    std::vector<TopoMeshFace> const list = listOf(mesh.firstFace());
    Faces const faces(list.begin(), list.end());
    Faces region;
    ko::vector<TopoMeshEdge> border;
    CHECK(expandRegion(mesh, faces, region, border));
    CHECK(region.size() == 60);
    CHECK(border.empty());

    CHECK(expandRegion(mesh, Faces(), region, border));
    CHECK(region.empty());
    Faces const withNull = {list[0], TopoMeshFace()};
    region.insert(list[0]);
    CHECK_FALSE(expandRegion(mesh, withNull, region, border));
    CHECK(region.empty());
    CHECK(border.empty());
}

TEST_CASE("expandRegionEndsWhereTwinsRunTheSameWay") {
    // Every mesh of the zoo, turned over here and there and completed: any subset of its faces.
    support::Random random(31);
    for (support::NamedMesh const& named : support::zoo()) {
        INFO(named.name);
        TopoMesh mesh;
        CompactMesh const source = support::flipped(named.mesh, 0.3, 7);
        support::fill(mesh, source);
        meshTwin(mesh);
        Faces faces, region;
        for (TopoMeshFace f : listOf(mesh.firstFace()))
            if (random.index(3) > 0)
                faces.insert(f);
        ko::vector<TopoMeshEdge> border;
        expandRegion(mesh, faces, region, border);
        CHECK(region.size() <= faces.size());
        bool allBorder = true;
        for (TopoMeshEdge e : border)
            allBorder = allBorder && region.count(e.face()) == 1 &&
                        (!e.twin() || region.count(e.twin().face()) == 0);
        CHECK(allBorder);
        std::sort(border.begin(), border.end(), ko::less<TopoMeshEdge>());
        CHECK(std::adjacent_find(border.begin(), border.end()) == border.end());
    }
}

TEST_CASE("regionWithinASurfaceIsLiftedOnWalls") {
    // 3 x 3 squares, the middle one and the one to its right.
    Squares squares(3, 3);
    TopoMesh& mesh = squares.mesh;
    Faces faces, result = {squares.faces[0]};
    squares.add(faces, 1, 1);
    squares.add(faces, 2, 1);
    Faces const old = faces;
    support::TopoModificationCounter listener(mesh);
    support::DebugCapture capture;
    ExtrudeTopoFace extrude(mesh);
    extrude(faces, result, shift(0, 0, 2));
    CHECK(faces.empty());
    CHECK(result.size() == 4);
    for (TopoMeshFace f : result)
        CHECK(f.centroid().z == 2.0);
    for (TopoMeshFace f : old)
        CHECK_FALSE(mesh.contains(f));
    CHECK(mesh.numFaces() == 18 + 6);
    CHECK(isSound(mesh));
    CHECK(eulerNumber(mesh) == 1);
    CHECK(listener.types() == std::vector<int>{TopoMeshModification::Topology});
    CHECK(capture.text().find("meshTwin: 22 vertices: ") == 0);

    // The same object again, on the faces that it made: to a tower of two floors.
    extrude(result, faces, shift(0, 0, 2));
    CHECK(result.empty());
    CHECK(faces.size() == 4);
    CHECK(isSound(mesh));
    CHECK(listener.types() ==
          std::vector<int>{TopoMeshModification::Topology, TopoMeshModification::Topology});
}

TEST_CASE("closedSurfaceStaysClosedAndSwallowsTheWalls") {
    TopoMesh mesh;
    support::fill(mesh, support::sphere(3));
    double const volume = volumeOf(mesh);
    Faces faces, result;
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        if (f.centroid().z > 0.5)
            faces.insert(f);
    double area = 0.0;  // of the cap, seen from above
    for (TopoMeshFace f : faces) {
        Point const a = f.edge().origin().point();
        area += 0.5 *
                cross(f.edge().next().origin().point() - a, f.edge().prev().origin().point() - a).z;
    }
    int const numInner = [&] {
        int count = 0;
        for (TopoMeshVertex v : listOf(mesh.firstVertex())) {
            bool inner = v.edge().record() != nullptr;
            for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
                inner = inner && faces.count(i.edge.face()) == 1;
            count += inner ? 1 : 0;
        }
        return count;
    }();
    ExtrudeTopoFace extrude(mesh);
    ExtrudeTopoFace shared(extrude);
    shared(faces, result, shift(0, 0, 1));
    CHECK(isSound(mesh));
    CHECK(numOpenEdges(mesh) == 0);
    CHECK(eulerNumber(mesh) == 2);
    CHECK(volumeOf(mesh) == doctest::Approx(volume + area).epsilon(1e-9));
    // What the cap stood on stays, without edges.
    int numIsolated = 0;
    for (TopoMeshVertex v : listOf(mesh.firstVertex()))
        numIsolated += v.edge() ? 0 : 1;
    CHECK(numIsolated == numInner);
    CHECK(numInner > 0);
}

TEST_CASE("anyMatrixMovesEachCornerOnce") {
    // A quarter turn about z, x doubled before it, a shear of z along x, and a shift: (x, y, z) -> (-y + 1, 2 x + 2, z + x + 3).
    AffineMatrix matrix(shift(1, 2, 3));
    double const linear[9] = {0, 2, 1, -1, 0, 0, 0, 0, 1};
    std::copy(linear, linear + 9, matrix.m);
    auto const image = [](Point const& p) { return Point(-p.y + 1, 2 * p.x + 2, p.z + p.x + 3); };

    TopoMesh one;
    support::fill(one, support::triangle());
    std::vector<Point> expected;
    for (TopoMeshVertex v : listOf(one.firstVertex()))
        expected.push_back(image(v.point()));
    extrudeFace(one, one.firstFace(), matrix);
    std::vector<TopoMeshVertex> const vertices = listOf(one.firstVertex());
    REQUIRE(vertices.size() == 6);
    for (std::size_t i = 0; i < 3; ++i)
        CHECK(vertices[i + 3].point() == expected[i]);

    // Of a set: copies in the order in which the old vertices were made, however the set is filled or hashed, once each.
    std::string faces[2];
    for (int const turn : {0, 1}) {
        Squares squares(3, 3);
        Faces set, result;
        std::vector<std::pair<int, int>> cells{{1, 1}, {2, 1}, {1, 2}};
        if (turn == 1)
            std::reverse(cells.begin(), cells.end());
        set.reserve(turn == 0 ? 1 : 1000);
        for (auto const& [x, y] : cells)
            squares.add(set, x, y);
        std::vector<TopoMeshVertex> const old = listOf(squares.mesh.firstVertex());
        ko::set<TopoMeshVertex> used;
        for (TopoMeshFace f : set)
            for (TopoMeshEdge e : ringOf(f))
                used.insert(e.origin());
        ExtrudeTopoFace extrude(squares.mesh);
        extrude(set, result, matrix);
        std::vector<TopoMeshVertex> const all = listOf(squares.mesh.firstVertex());
        REQUIRE(all.size() == old.size() + used.size());
        std::size_t next = old.size();
        for (TopoMeshVertex v : old)
            if (used.count(v) == 1)
                CHECK(all[next++].point() == image(v.point()));
        faces[turn] = facesOf(squares.mesh);
    }
    // Walls begin where the border is met first, which the caller's set decides; the lifted faces do not depend on it.
    CHECK(faces[0].substr(0, faces[0].size() / 2) == faces[1].substr(0, faces[1].size() / 2));
}

TEST_CASE("freeRegionKeepsItsFloorWithWallsThatRunAlike") {
    Squares squares(2, 1);
    TopoMesh& mesh = squares.mesh;
    Faces faces(squares.faces.begin(), squares.faces.end());
    Faces const before = faces;
    Faces result;
    support::TopoModificationCounter listener(mesh);
    ExtrudeTopoFace extrude(mesh);
    extrude(faces, result, shift(0, 0, 1));
    CHECK(faces == before);
    CHECK(result.size() == 4);
    CHECK(mesh.numFaces() == 4 + 4 + 6);
    CHECK(mesh.numVertices() == 12);
    CHECK(faultOf(mesh) == "");
    CHECK(listener.types() == std::vector<int>{TopoMeshModification::Topology});
    // Closed, but the floor's rim and its walls run the same way.
    CHECK(numOpenEdges(mesh) == 0);
    int numAlike = 0;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        numAlike += e.twin().origin() == e.origin() ? 1 : 0;
    CHECK(numAlike == 2 * 6);
    MeshVerify::Info info;
    CHECK_FALSE(MeshVerify()(mesh, info));
    info.checkDirectedEdges = info.checkVertexFans = info.checkVertexEdges = false;
    CHECK(MeshVerify()(mesh, info));
    info = MeshVerify::Info();
    info.checkCorners = info.checkFaceRings = info.checkVertexFans = info.checkVertexEdges = false;
    CHECK_FALSE(MeshVerify()(mesh, info));
}

TEST_CASE("onlyOneBorderLoopGetsWalls") {
    // A frame of 8 squares round a hole, free: one of its loops stays open.
    Squares squares(3, 3);
    TopoMesh& mesh = squares.mesh;
    mesh.deleteFace(squares.faces[8]);
    mesh.deleteFace(squares.faces[9]);
    std::vector<TopoMeshFace> const list = listOf(mesh.firstFace());
    Faces faces(list.begin(), list.end()), result;
    ExtrudeTopoFace extrude(mesh);
    extrude(faces, result, shift(0, 0, 1));
    int const numWalls = mesh.numFaces() - 32;
    CHECK((numWalls == 12 || numWalls == 4));
    CHECK(numOpenEdges(mesh) == 2 * (16 - numWalls));
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("closedSurfaceWithoutBorderIsCopied") {
    TopoMesh mesh;
    support::fill(mesh, support::cube());
    std::vector<TopoMeshFace> const list = listOf(mesh.firstFace());
    Faces faces(list.begin(), list.end()), result;
    support::TopoModificationCounter listener(mesh);
    ExtrudeTopoFace extrude(mesh);
    extrude(faces, result, shift(5, 0, 0));
    CHECK(faces.size() == 12);
    CHECK(result.size() == 12);
    CHECK(isSound(mesh));
    CHECK(volumeOf(mesh) == doctest::Approx(2.0));
    CHECK(listener.types() == std::vector<int>{TopoMeshModification::Topology});
}

TEST_CASE("extrusionOfNothingChangesNothing") {
    TopoMesh mesh;
    support::fill(mesh, support::cube());
    TopoMeshFace const stale = mesh.firstFace();
    mesh.deleteFace(stale);
    std::vector<void const*> const before = support::digestOf(mesh);
    support::TopoModificationCounter listener(mesh);
    ExtrudeTopoFace extrude(mesh);
    for (Faces faces : {Faces(), Faces{stale, mesh.firstFace()}, Faces{TopoMeshFace()}}) {
        Faces result = {mesh.firstFace()};
        extrude(faces, result, shift(0, 0, 1));
        CHECK(result.empty());
    }
    CHECK(support::digestOf(mesh) == before);
    CHECK(listener.total() == 0);
}

TEST_CASE("anySubsetOfTheZooIsExtrudedSoundly") {
    support::Random random(41);
    for (support::NamedMesh const& named : support::zoo()) {
        INFO(named.name);
        CompactMesh const& source = named.mesh;
        TopoMesh mesh;
        support::fill(mesh, source);
        meshTwin(mesh);
        Faces faces, result;
        for (TopoMeshFace f : listOf(mesh.firstFace()))
            if (random.index(2) == 0)
                faces.insert(f);
        std::size_t const count = faces.size();
        ExtrudeTopoFace extrude(mesh);
        extrude(faces, result, shift(0, 0, 1));
        CHECK(result.size() == count);
        CHECK(faultOf(mesh) == "");
        if (mesh.firstFace()) {
            extrudeFace(mesh, mesh.firstFace(), shift(1, 0, 0));
            CHECK(faultOf(mesh) == "");
        }
    }
}
