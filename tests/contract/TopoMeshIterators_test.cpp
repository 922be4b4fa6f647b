#include "support/builders.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMeshIterators.h"

#include <doctest/doctest.h>

// Walks round vertices and along boundaries, on small meshes by hand. That every vertex of every mesh is covered is part
// of the random edits.

using namespace koGeom;
using support::fill;

namespace {

int end(TopoMeshEdge e) {
    return e ? static_cast<int>(e.next().origin().record()->number) : -1;
}

int start(TopoMeshEdge e) {
    return e ? static_cast<int>(e.origin().record()->number) : -1;
}

std::vector<int> around(TopoMeshVertex v) {
    std::vector<int> ends;
    TopoMeshEdgeVertexIterator i;
    for (i.reset(v); i.edge; i.next())
        ends.push_back(end(i.edge));
    return ends;
}

}  // namespace

// 6 --- 7 --- 8
// |   / |   / |      grid(2, 2): 4 is inside, all others on the boundary
// | /   | /   |
// 3 --- 4 --- 5
// |   / |   / |
// | /   | /   |
// 0 --- 1 --- 2
TEST_CASE("goesRoundAVertexFromItsOwnEdgeCounterclockwise") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::grid(2, 2));
    CHECK(around(v[4]) == std::vector<int>{0, 1, 5, 8, 7, 3});
    // On the boundary it comes back to the own edge and goes on clockwise.
    CHECK(end(v[3].edge()) == 0);
    CHECK(around(v[3]) == std::vector<int>{0, 4, 7});
    CHECK(around(v[8]) == std::vector<int>{4, 7});
    CHECK(around(v[2]) == std::vector<int>{5});
    CHECK(around(mesh.allocVertex(Point())).empty());
    CHECK(around(TopoMeshVertex()).empty());
    // The fields filled by hand, as algorithms do.
    TopoMeshEdgeVertexIterator i = {v[4], v[4].edge(), 1};
    i.next();
    CHECK(end(i.edge) == 1);
}

TEST_CASE("survivesSwapsOfTheEdgeJustPassed") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::grid(2, 2));
    int numVisited = 0;
    for (TopoMeshEdgeVertexIterator i = {v[4], v[4].edge(), 1}; i.edge;) {
        TopoMeshEdge const e = i.edge;
        i.next();
        ++numVisited;
        mesh.swapEdge(e);
    }
    CHECK(numVisited == 6);
    CHECK(v[4].valence() == 3);
}

TEST_CASE("staysInOneOfTwoFansThatTouch") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::bowTie());
    for (TopoMeshVertex vertex : v) {
        bool const shared = vertex.valence() == 6;
        CHECK(around(vertex).size() == 3);
        CHECK((shared || vertex.valence() == 3));
    }
}

TEST_CASE("endsWhenItBeganOutsideTheOwnFan") {
    TopoMesh mesh;
    for (TopoMeshVertex vertex : fill(mesh, support::bowTie())) {
        for (TopoMeshEdge e : support::listOf(mesh.firstEdge())) {
            if (e.origin() != vertex)
                continue;
            int steps = 0;
            for (TopoMeshEdgeVertexIterator i = {vertex, e, 1}; i.edge; i.next())
                ++steps;
            CHECK(steps <= mesh.numEdges() + 1);
        }
    }
}

TEST_CASE("walksTheBoundaryBothWays") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::grid(2, 2));
    for (bool forward : {true, false}) {
        TopoMeshBoundaryIterator i;
        i.reset(v[1], forward);
        CHECK(start(i.edge) == 1);
        std::vector<int> ends;
        for (int k = 0; k < 9; ++k)
            ends.push_back(end(i.nextEdge()));
        CHECK(ends == std::vector<int>{2, 5, 8, 7, 6, 3, 0, 1, 2});
    }
    TopoMeshBoundaryIterator i;
    i.reset(v[1], true);
    TopoMeshEdge const leaving = i.edge;
    TopoMeshEdge const arriving = i.prevEdge();
    CHECK(start(arriving) == 0);
    CHECK(end(arriving) == 1);
    CHECK(i.edge == leaving);
    std::vector<int> starts;
    for (int k = 0; k < 8; ++k)
        starts.push_back(start(i.prevEdge()));
    CHECK(starts == std::vector<int>{3, 6, 7, 8, 5, 2, 1, 0});
}

TEST_CASE("turnsRoundOnTheBoundaryWithoutSkipping") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::grid(2, 2));
    TopoMeshBoundaryIterator i;
    i.reset(v[1], true);
    CHECK(end(i.nextEdge()) == 2);
    CHECK(end(i.nextEdge()) == 5);
    CHECK(end(i.prevEdge()) == 2);
    CHECK(end(i.prevEdge()) == 1);
    CHECK(end(i.nextEdge()) == 2);
}

TEST_CASE("namesTheBoundaryEdgesOfAVertex") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::grid(2, 2));
    TopoMeshEdge previous;
    TopoMeshEdge next;
    TopoMeshBoundaryIterator::getPrevNextEdges(v[5], previous, next);
    CHECK(start(previous) == 2);
    CHECK(end(next) == 8);
    TopoMeshBoundaryIterator::getPrevNextEdges(v[4], previous, next);
    CHECK_FALSE(previous);
    CHECK_FALSE(next);
    TopoMeshBoundaryIterator::getPrevNextEdges(TopoMeshVertex(), previous, next);
    CHECK_FALSE(next);
    TopoMeshBoundaryIterator i;
    i.reset(v[4], true);
    CHECK_FALSE(i.nextEdge());
    CHECK_FALSE(i.prevEdge());
}

// Two squares that share a corner only: the loop through it stays with its square.
TEST_CASE("boundaryLoopsStayWithTheirFan") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 7; ++i)
        v.push_back(mesh.allocVertex(Point(i, 0, 0)));
    mesh.allocQuad(v[0], v[1], v[2], v[3]);
    mesh.allocQuad(v[0], v[4], v[5], v[6]);
    TopoMeshBoundaryIterator i;
    i.reset(v[4], true);
    std::vector<int> ends;
    for (int k = 0; k < 4; ++k)
        ends.push_back(end(i.nextEdge()));
    CHECK(ends == std::vector<int>{5, 6, 0, 4});
}
