#include "support/builders.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshPoint.h"

#include <doctest/doctest.h>

using namespace koGeom;

namespace {

//  3 --- 2
//  |   / |      f on the right, g on the left
//  | /   |
//  0 --- 1
struct Square {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    TopoMeshFace f, g;

    Square() {
        for (Point const& p : {Point(0, 0, 0), Point(1, 0, 0), Point(1, 1, 0), Point(0, 1, 0)})
            v.push_back(mesh.allocVertex(p));
        f = mesh.allocTriangle(v[0], v[1], v[2]);
        g = mesh.allocTriangle(v[0], v[2], v[3]);
    }
    TopoMeshPoint at(TopoMeshFace face, Point const& p, double tolerance = 0.01) const {
        TopoMeshCoord coord;
        coord.setFromPoint(face, p);
        return TopoMeshPoint(coord, tolerance);
    }
};

}  // namespace

TEST_CASE("coordinatesGiveBackThePoint") {
    Square s;
    for (Point const& p : {Point(0.7, 0.2, 0), Point(-3, 5, 0), Point(1, 1, 0)}) {
        TopoMeshCoord coord;
        CHECK(coord.setFromPoint(s.f, p));
        CHECK(coord.face == s.f);
        CHECK(equivalent(coord.evaluate(), p, 1e-14));
        CHECK(std::abs(coord.weights[0] + coord.weights[1] + coord.weights[2] - 1.0) < 1e-14);
    }
    // Off the plane: the foot of the point. Not clamped: outside, a weight is negative.
    TopoMeshCoord coord;
    CHECK(coord.setFromPoint(s.f, Point(2, 0.5, 7)));
    CHECK(equivalent(coord.evaluate(), Point(2, 0.5, 0), 1e-14));
    CHECK(coord.weights[0] < 0.0);
}

TEST_CASE("degenerateAndNullFacesGiveNoCoordinates") {
    TopoMesh mesh;
    TopoMeshVertex const a = mesh.allocVertex(Point(0, 0, 0));
    TopoMeshVertex const b = mesh.allocVertex(Point(4, 0, 0));
    TopoMeshFace const flat = mesh.allocTriangle(a, b, mesh.allocVertex(Point(1, 0, 0)));
    TopoMeshCoord coord;
    CHECK_FALSE(coord.setFromPoint(TopoMeshFace(), Point(1, 2, 3)));
    CHECK(coord.weights[0] == 0.0);
    CHECK(coord.evaluate() == Point());
    CHECK_FALSE(coord.setFromPoint(flat, Point(3, 5, 0)));
    CHECK(equivalent(coord.evaluate(), Point(3, 0, 0), 1e-14));
}

TEST_CASE("classifiesByTheNearestCornerThenTheNearestSide") {
    Square s;
    TopoMeshPoint const onVertex = s.at(s.f, Point(0.995, 0.003, 0));
    CHECK(onVertex.kind == 0);
    CHECK(onVertex.vertex == s.v[1]);
    CHECK_FALSE(onVertex.edge);
    CHECK(onVertex.position == onVertex.coord.evaluate());
    TopoMeshPoint const onEdge = s.at(s.f, Point(0.5, 0.005, 0));
    CHECK(onEdge.kind == 1);
    CHECK(onEdge.edge == TopoMesh::findEdge(s.v[0], s.v[1]));
    CHECK_FALSE(onEdge.vertex);
    TopoMeshPoint const inside = s.at(s.f, Point(0.7, 0.2, 0));
    CHECK(inside.kind == 2);
    CHECK(inside.coord.face == s.f);
    // All within reach: the nearest corner.
    CHECK(s.at(s.f, Point(0.9, 0.2, 0), 10.0).vertex == s.v[1]);
}

TEST_CASE("boundaryIsThatOfTheElement") {
    Square s;
    CHECK(s.at(s.f, Point(0.5, 0, 0)).onBoundary());
    CHECK_FALSE(s.at(s.f, Point(0.5, 0.5, 0)).onBoundary());
    CHECK(s.at(s.f, Point(0, 0, 0)).onBoundary());
    CHECK_FALSE(s.at(s.f, Point(0.7, 0.3, 0)).onBoundary());
    TopoMesh closed;
    std::vector<TopoMeshVertex> const v = support::fill(closed, support::tetrahedron());
    CHECK_FALSE(TopoMeshPoint(v[0], closed.firstFace()).onBoundary());
}

TEST_CASE("equivalenceIsOfTheMeshElement") {
    Square s;
    TopoMeshEdge const diagonal = TopoMesh::findEdge(s.v[0], s.v[2]);
    TopoMeshPoint const here(diagonal, s.g, 0.25, 0.75);
    CHECK(here.equivalent(TopoMeshPoint(diagonal, s.g, 0.25, 0.75)));
    CHECK(here.equivalent(TopoMeshPoint(diagonal.twin(), s.f, 0.75, 0.25)));
    CHECK_FALSE(here.equivalent(TopoMeshPoint(diagonal.twin(), s.f, 0.25, 0.75)));
    CHECK_FALSE(here.equivalent(TopoMeshPoint(diagonal, s.g, 0.25 + 1e-9, 0.75 - 1e-9)));
    CHECK_FALSE(here.equivalent(TopoMeshPoint(diagonal.next(), s.g, 0.25, 0.75)));
    CHECK(TopoMeshPoint(s.v[0], s.f).equivalent(TopoMeshPoint(s.v[0], s.g)));
    CHECK_FALSE(TopoMeshPoint(s.v[0], s.f).equivalent(TopoMeshPoint(s.v[1], s.f)));
    CHECK(s.at(s.f, Point(0.7, 0.2, 0)).equivalent(s.at(s.f, Point(0.6, 0.3, 0))));
    CHECK_FALSE(s.at(s.f, Point(0.7, 0.2, 0)).equivalent(s.at(s.g, Point(0.2, 0.7, 0))));
    CHECK_FALSE(here.equivalent(TopoMeshPoint(s.v[0], s.f)));
}

TEST_CASE("findsAFaceThatHoldsBothPoints") {
    Square s;
    TopoMeshEdge const diagonal = TopoMesh::findEdge(s.v[0], s.v[2]);
    TopoMeshPoint inF = s.at(s.f, Point(0.7, 0.2, 0));
    TopoMeshPoint inG = s.at(s.g, Point(0.2, 0.7, 0));
    TopoMeshPoint onDiagonal(diagonal, s.g, 0.5, 0.5);
    TopoMeshPoint atOne(s.v[1], s.f);
    TopoMeshPoint atThree(s.v[3], s.g);
    CHECK_FALSE(inF.adjacent(inG));
    CHECK(inF.adjacent(onDiagonal) == s.f);
    CHECK(onDiagonal.adjacent(inF) == s.f);
    CHECK(onDiagonal.adjacent(inG) == s.g);
    CHECK(onDiagonal.adjacent(atOne) == s.f);
    CHECK(atOne.adjacent(onDiagonal) == s.f);
    CHECK_FALSE(atOne.adjacent(atThree));
    CHECK_FALSE(atThree.adjacent(inF));
    TopoMeshPoint atZero(s.v[0], s.f);
    CHECK(atZero.adjacent(atThree) == s.g);
    CHECK(atZero.adjacent(atOne) == s.f);
}

TEST_CASE("edgeWeightsGoWithTheEdgesEnds") {
    Square s;
    TopoMeshEdge const diagonal = TopoMesh::findEdge(s.v[0], s.v[2]);
    double origin = 0.0;
    double end = 0.0;
    // The face may lie on either side of the edge.
    for (TopoMeshFace face : {s.f, s.g}) {
        TopoMeshPoint p(diagonal, face, 0.3, 0.7);
        p.getEdgeWeights(origin, end);
        CHECK(origin == 0.3);
        CHECK(end == 0.7);
        CHECK(equivalent(p.position, Point(0.7, 0.7, 0), 1e-15));
        CHECK(equivalent(p.coord.evaluate(), p.position, 1e-15));
    }
    // A rest in the third corner is left out.
    s.at(s.f, Point(0.25, 0.002, 0)).getEdgeWeights(origin, end);
    CHECK(origin + end == doctest::Approx(1.0).epsilon(1e-15));
    CHECK(end == doctest::Approx(0.25).epsilon(0.01));
    TopoMeshPoint(s.v[0], s.f).getEdgeWeights(origin, end);
    CHECK(origin == 0.0);
    CHECK(end == 0.0);
}

TEST_CASE("worksInPolygonsAndWithoutAFace") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = support::fillPolygon(mesh, 6);
    TopoMeshFace const hexagon = mesh.firstFace();
    TopoMeshEdge const e = TopoMesh::findEdge(v[4], v[5]);
    double origin = 0.0;
    double end = 0.0;
    TopoMeshPoint(e, hexagon, 0.2, 0.8).getEdgeWeights(origin, end);
    CHECK(origin == doctest::Approx(0.2));
    CHECK(end == doctest::Approx(0.8));
    TopoMeshPoint atFive(v[5], hexagon);
    CHECK(atFive.position == v[5].point());
    TopoMeshPoint atTwo(v[2], hexagon);
    CHECK(atFive.adjacent(atTwo) == hexagon);

    TopoMeshPoint nowhere(TopoMeshCoord(), 0.1);
    CHECK(nowhere.kind == 2);
    CHECK_FALSE(nowhere.onBoundary());
    CHECK_FALSE(nowhere.adjacent(nowhere));
    CHECK_FALSE(TopoMeshPoint(TopoMeshVertex(), TopoMeshFace()).adjacent(atTwo));
    TopoMeshPoint(TopoMeshEdge(), TopoMeshFace(), 0.5, 0.5).getEdgeWeights(origin, end);
    CHECK(origin == 0.0);
    TopoMeshPoint(e, TopoMeshFace(), 0.5, 0.5).getEdgeWeights(origin, end);
    CHECK(origin == doctest::Approx(0.5));
}

TEST_CASE("assignmentReachesAllWhoHoldThePoint") {
    Square s;
    ko::Reference<TopoMeshPoint> const first = new TopoMeshPoint(s.v[0], s.f);
    ko::Reference<TopoMeshPoint> const second = first;
    *first = TopoMeshPoint(s.v[2], s.g);
    CHECK(second->vertex == s.v[2]);
    CHECK(second->refCount() == 2);
}
