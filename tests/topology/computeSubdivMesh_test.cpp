#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/computeSubdivMesh.h"
#include "trimora/topology/meshTwin.h"

#include <cmath>
#include <doctest/doctest.h>
#include <memory>
#include <set>

using namespace koGeom;
using support::facesOf;
using support::faultOf;
using support::listOf;
using support::numOpenEdges;

namespace {

std::unique_ptr<TopoMesh> subdivided(TopoMesh& mesh) {
    return std::unique_ptr<TopoMesh>(computeSubdivMesh(mesh));
}

bool haveEqualLeaving(TopoMesh const& a, TopoMesh const& b) {
    auto const number = [](auto const* record) {
        return record != nullptr ? record->number + 1 : 0;
    };
    TopoMeshEdge e = a.firstEdge();
    TopoMeshEdge f = b.firstEdge();
    for (; e && f; e = e.nextInList(), f = f.nextInList())
        if (number(e.record()->nextLeaving) != number(f.record()->nextLeaving) ||
            number(e.record()->prevLeaving) != number(f.record()->prevLeaving) ||
            number(e.origin().record()->edge) != number(f.origin().record()->edge) ||
            number(e.origin().record()->firstLeaving) != number(f.origin().record()->firstLeaving))
            return false;
    return !e && !f;
}

/// The step as its rules read, one element after the other, on maps and the mesh's own allocation. Where fans touch or twins
/// run alike a boundary vertex may not have one neighbour on each side; its place in the result is noted then.
std::unique_ptr<TopoMesh> subdividedByTheRules(TopoMesh& mesh,
                                               std::set<std::size_t>* unclear = nullptr) {
    auto result = std::make_unique<TopoMesh>();
    ko::map<TopoMeshFace, TopoMeshVertex> facePoint;
    ko::map<TopoMeshEdge, TopoMeshVertex> edgePoint;
    ko::map<TopoMeshVertex, TopoMeshVertex> vertexPoint;
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        facePoint[f] = result->allocVertex(f.centroid());
    for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
        if (edgePoint.count(e) != 0)
            continue;
        Vector const ends = e.origin().point().asVector() + e.next().origin().point().asVector();
        Point point = (0.5 * ends).asPoint();
        if (e.twin())
            point = (0.25 * (ends + facePoint[e.face()].point().asVector() +
                             facePoint[e.twin().face()].point().asVector()))
                        .asPoint();
        edgePoint[e] = result->allocVertex(point);
        if (e.twin())
            edgePoint[e.twin()] = edgePoint[e];
    }
    for (TopoMeshVertex v : listOf(mesh.firstVertex())) {
        Vector const p = v.point().asVector();
        Vector q, r, faceSum, edgeSum;
        double n = 0.0;
        int numFound = 0;
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next(), n += 1.0) {
            Vector const end = i.edge.next().origin().point().asVector();
            if (!i.edge.twin())
                r = end;
            else if (!i.edge.prev().twin())
                q = i.edge.prev().origin().point().asVector();
            numFound += !i.edge.twin() + (i.edge.twin() && !i.edge.prev().twin());
            edgeSum += 0.5 * (p + end);
            faceSum += facePoint[i.edge.face()].point().asVector();
        }
        Vector moved = p;
        if (v.onBoundary() && v.valence() > 1)
            moved = 0.125 * q + 0.125 * r + 0.75 * p;
        else if (!v.onBoundary() && n > 0.0)
            moved = (faceSum / n + 2.0 * edgeSum / n + (n - 3.0) * p) / n;
        vertexPoint[v] = result->allocVertex(moved.asPoint());
        if (unclear != nullptr && v.onBoundary() && v.valence() > 1 && numFound != 2)
            unclear->insert(vertexPoint[v].record()->number);
    }
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        for (TopoMeshEdge e : support::ringOf(f))
            result->allocQuad(facePoint[f], edgePoint[e], vertexPoint[e.next().origin()],
                              edgePoint[e.next()]);
    meshTwin(*result);
    return result;
}

bool haveEqualPoints(TopoMesh const& a, TopoMesh const& b, double tolerance,
                     std::set<std::size_t> const& unclear = {}) {
    TopoMeshVertex v = a.firstVertex();
    TopoMeshVertex w = b.firstVertex();
    for (; v && w; v = v.nextInList(), w = w.nextInList())
        if (unclear.count(w.record()->number) == 0 && !equivalent(v.point(), w.point(), tolerance))
            return false;
    return !v && !w;
}

bool haveEqualTwins(TopoMesh const& a, TopoMesh const& b) {
    TopoMeshEdge e = a.firstEdge();
    TopoMeshEdge f = b.firstEdge();
    ko::hash<TopoMeshEdge> const number;
    for (; e && f; e = e.nextInList(), f = f.nextInList())
        if (number(e.twin()) != number(f.twin()))
            return false;
    return !e && !f;
}

Point pointAt(TopoMesh const& mesh, int place) {
    return listOf(mesh.firstVertex())[static_cast<std::size_t>(place)].point();
}

}  // namespace

//        2                 vertices: 0 the middle, 1 2 3 the middles of the sides, 4 5 6 the corners
//       / \                .
//      /   \               .
//     0 --- 1              .
TEST_CASE("aTriangleBecomesThreeQuadsAndKeepsItsCorners") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    for (Point const& p : {Point(0, 0, 0), Point(6, 0, 0), Point(0, 6, 3)})
        v.push_back(mesh.allocVertex(p));
    mesh.allocTriangle(v[0], v[1], v[2]);
    auto const result = subdivided(mesh);
    CHECK(facesOf(*result) == "0 1 5 2, 0 2 6 3, 0 3 4 1");
    CHECK(pointAt(*result, 0) == Point(2, 2, 1));
    CHECK(pointAt(*result, 1) == Point(3, 0, 0));
    CHECK(pointAt(*result, 2) == Point(3, 3, 1.5));
    CHECK(pointAt(*result, 4) == Point(0, 0, 0));
    CHECK(pointAt(*result, 6) == Point(0, 6, 3));
    CHECK(numOpenEdges(*result) == 6);
    CHECK(faultOf(*result) == "");
    CHECK(mesh.numFaces() == 1);
}

TEST_CASE("aCubeOfQuadsBecomesTwentyFourWithTheKnownPoints") {
    TopoMesh cube;
    support::fillQuadCube(cube);
    auto const result = subdivided(cube);
    CHECK(result->numVertices() == 26);
    CHECK(result->numFaces() == 24);
    CHECK(numOpenEdges(*result) == 0);
    CHECK(faultOf(*result) == "");
    // Side 2: face points at distance 1 on the axes, edge points at 3/4 3/4 0, corners at 5/9.
    CHECK(pointAt(*result, 0) == Point(0, 0, -1));
    for (int i = 6; i < 18; ++i) {
        Point const p = pointAt(*result, i);
        CHECK(std::abs(p.x) + std::abs(p.y) + std::abs(p.z) == 1.5);
        CHECK(std::abs(p.x * p.y * p.z) == 0.0);
    }
    for (int i = 18; i < 26; ++i) {
        Point const p = pointAt(*result, i);
        for (double c : {p.x, p.y, p.z})
            CHECK(std::abs(std::abs(c) - 5.0 / 9.0) < 1e-15);
    }
}

TEST_CASE("aBoundaryFollowsTheSplineRule") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = support::fill(mesh, support::grid(3, 3));
    mesh.setPoint(v[1], Point(1, -1, 0));
    auto const result = subdivided(mesh);
    // Vertex points come last, in the order of the source's. 1 lies between 0 and 2 on the boundary.
    int const first = result->numVertices() - 16;
    CHECK(pointAt(*result, first + 1) == Point(0.125 * 0 + 0.125 * 2 + 0.75 * 1, -0.75, 0));
    // 3 has one face and stays; 0, with two faces, is drawn in.
    CHECK(pointAt(*result, first + 3) == Point(3, 0, 0));
    CHECK(pointAt(*result, first + 0) == Point(0.125, 0, 0) + Vector(0, 0.125 * -1 + 0.125 * 1, 0));
    CHECK(numOpenEdges(*result) == 24);
}

TEST_CASE("flatGridsStayFlatAndInnerRegularVerticesStay") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 25; ++i)
        v.push_back(mesh.allocVertex(Point(i % 5, i / 5, 2)));
    for (std::size_t j = 0; j < 4; ++j)
        for (std::size_t i = 0; i < 4; ++i)
            mesh.allocQuad(v[5 * j + i], v[5 * j + i + 1], v[5 * j + i + 6], v[5 * j + i + 5]);
    auto const result = subdivided(mesh);
    for (TopoMeshVertex w : listOf(result->firstVertex()))
        CHECK(w.point().z == 2.0);
    CHECK(pointAt(*result, result->numVertices() - 25 + 12) == Point(2, 2, 2));
    CHECK(result->numFaces() == 64);
}

TEST_CASE("isolatedVerticesKeepTheirPositions") {
    TopoMesh mesh;
    support::fill(mesh, support::tetrahedron());
    mesh.allocVertex(Point(7, 8, 9));
    auto const result = subdivided(mesh);
    CHECK(pointAt(*result, result->numVertices() - 1) == Point(7, 8, 9));
    TopoMesh points;
    points.allocVertex(Point(1, 2, 3));
    auto const alone = subdivided(points);
    CHECK(alone->numVertices() == 1);
    CHECK(alone->firstVertex().point() == Point(1, 2, 3));
    TopoMesh nothing;
    CHECK(subdivided(nothing)->numVertices() == 0);
}

TEST_CASE("equalsTheRulesElementByElement") {
    // Clean meshes take the road of known neighbours, broken ones (moebius, fins, flipped faces) that of the search.
    for (support::NamedMesh const& named : support::zoo()) {
        INFO(named.name);
        CompactMesh const& source = named.mesh;
        TopoMesh mesh;
        support::fill(mesh, source);
        meshTwin(mesh);
        auto const result = subdivided(mesh);
        std::set<std::size_t> unclear;
        auto const expected = subdividedByTheRules(mesh, &unclear);
        CHECK(facesOf(*result) == facesOf(*expected));
        CHECK(haveEqualTwins(*result, *expected));
        CHECK(haveEqualLeaving(*result, *expected));
        CHECK(faultOf(*result) == "");
        CHECK(haveEqualPoints(*result, *expected, 1e-12, unclear));
    }
}

TEST_CASE("resultDoesNotDependOnTheThreads") {
    TopoMesh mesh;
    support::fill(mesh, support::terrain(70, 70, 3));
    auto const expected = subdividedByTheRules(mesh);
    REQUIRE(expected->numFaces() > 10000);
    std::unique_ptr<TopoMesh> first;
    support::withPools([&](int) {
        auto result = subdivided(mesh);
        CHECK(facesOf(*result) == facesOf(*expected));
        CHECK(haveEqualTwins(*result, *expected));
        CHECK(faultOf(*result) == "");
        CHECK(haveEqualPoints(*result, *expected, 1e-12));
        if (first)
            CHECK(haveEqualPoints(*result, *first, 0.0));
        else
            first = std::move(result);
    });
}

TEST_CASE("worksOnPolygonsAndAfterDeletions") {
    TopoMesh mesh;
    support::fill(mesh, support::sphere(2));
    support::Random random(11);
    for (int i = 0; i < 60; ++i) {
        std::vector<TopoMeshEdge> const edges = listOf(mesh.firstEdge());
        TopoMeshEdge const e =
            edges[static_cast<std::size_t>(random.index(static_cast<int>(edges.size())))];
        if (i % 3 == 0)
            mesh.collapseEdge(e);
        else if (e.origin().valence() > 3 && e.next().origin().valence() > 3)
            mesh.deleteEdge(e);
    }
    mesh.deleteFace(mesh.firstFace().nextInList());
    int corners = 0;
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        corners += f.numVertices();
    auto const result = subdivided(mesh);
    CHECK(result->numFaces() == corners);
    CHECK(facesOf(*result) == facesOf(*subdividedByTheRules(mesh)));
    CHECK(haveEqualTwins(*result, *subdividedByTheRules(mesh)));
    CHECK(haveEqualLeaving(*result, *subdividedByTheRules(mesh)));
    CHECK(haveEqualPoints(*result, *subdividedByTheRules(mesh), 1e-13));
    CHECK(faultOf(*result) == "");
    CHECK(facesOf(*subdivided(*result)) == facesOf(*subdividedByTheRules(*result)));
}

TEST_CASE("repeatedStepsOnACubeConvergeByAQuarterAStep") {
    // Exact counts: 6 x 4^k quads. The middle of a face is the nearest point to the middle of the body; where all is
    // regular, as it is there, a cubic spline's control points close in on the surface with the square of the width.
    auto mesh = std::make_unique<TopoMesh>();
    support::fillQuadCube(*mesh);
    int expected = 6;
    double last = 1.0;
    double lastChange = 0.0;
    for (int k = 0; k < 6; ++k) {
        mesh = subdivided(*mesh);
        expected *= 4;
        CHECK(mesh->numFaces() == expected);
        CHECK(mesh->numVertices() == expected + 2);
        double least = 10.0;
        for (TopoMeshVertex v : listOf(mesh->firstVertex()))
            least = std::min(least, distance(v.point(), Point()));
        double const change = last - least;
        if (k >= 3)
            CHECK(change / lastChange == doctest::Approx(0.25).epsilon(0.01));
        last = least;
        lastChange = change;
    }
}
