#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <doctest/doctest.h>
#include <memory>

// Each edit on small meshes, by hand: what comes of it, which handles stay, and what is refused. Faces are written as the
// numbers of their corners, from the first edge on, in the order of the list.

using namespace koGeom;
using support::cornersOf;
using support::digestOf;
using support::facesOf;
using support::faultOf;
using support::fill;
using support::listOf;
using support::numOpenEdges;

namespace {

struct Mesh : TopoMesh {
    std::vector<TopoMeshVertex> v;

    TopoMeshEdge edge(std::size_t a, std::size_t b) const { return findEdge(v[a], v[b]); }
};

std::unique_ptr<Mesh> meshOf(CompactMesh const& source) {
    auto mesh = std::make_unique<Mesh>();
    mesh->v = fill(*mesh, source);
    return mesh;
}

/// 6 --- 7 --- 8
/// |   / |   / |     0 1 4, 0 4 3, 1 2 5, 1 5 4, 3 4 7, 3 7 6, 4 5 8, 4 8 7
/// | /   | /   |
/// 3 --- 4 --- 5
/// |   / |   / |
/// | /   | /   |
/// 0 --- 1 --- 2
std::unique_ptr<Mesh> grid22() {
    return meshOf(support::grid(2, 2));
}

std::unique_ptr<Mesh> quadCube() {
    auto mesh = std::make_unique<Mesh>();
    mesh->v = support::fillQuadCube(*mesh);
    return mesh;
}

std::unique_ptr<Mesh> polygon(int sides) {
    auto mesh = std::make_unique<Mesh>();
    mesh->v = support::fillPolygon(*mesh, sides);
    return mesh;
}

/// Runs an edit that must be refused.
template <typename Edit>
bool leavesAsItWas(Mesh& mesh, Edit edit) {
    std::vector<void const*> const before = digestOf(mesh);
    edit();
    return digestOf(mesh) == before && faultOf(mesh).empty();
}

int euler(TopoMesh const& mesh) {
    return mesh.numVertices() - (mesh.numEdges() + numOpenEdges(mesh)) / 2 + mesh.numFaces();
}

}  // namespace

TEST_CASE("aFaceIsSplitAtAPointIntoOneTriangleASide") {
    auto const mesh = polygon(4);
    TopoMeshFace const f = mesh->firstFace();
    std::vector<TopoMeshEdge> const ring = support::ringOf(f);
    TopoMeshVertex const c = mesh->subdivideFace(f, Point(0.1, 0.2, 0.3));
    CHECK(facesOf(*mesh) == "0 1 4, 1 2 4, 2 3 4, 3 0 4");
    CHECK(c.point() == Point(0.1, 0.2, 0.3));
    CHECK(c.valence() == 4);
    CHECK_FALSE(c.onBoundary());
    CHECK(mesh->firstFace() == f);
    CHECK(ring[2] == mesh->edge(2, 3));
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("aFaceIsSplitAcrossBetweenTwoCorners") {
    //   2 -- 1
    //  /      \        from 4 to 1: the result's face f has 1 2 3 4, the new one 4 5 0 1
    // 3        0
    //  \      /
    //   4 -- 5
    auto const mesh = polygon(6);
    TopoMeshFace const f = mesh->firstFace();
    TopoMeshEdge const e = mesh->subdivideFace(f, mesh->v[4], mesh->v[1]);
    CHECK(e == mesh->edge(4, 1));
    CHECK(e.face() == f);
    // The first edge went to the new face: its successor that is still there takes its place.
    CHECK(facesOf(*mesh) == "1 2 3 4, 1 4 5 0");
    TopoMeshEdge const g = mesh->subdivideFace(f, mesh->v[2], mesh->v[4]);
    CHECK(g.face() == f);
    CHECK(facesOf(*mesh) == "1 2 4, 1 4 5 0, 4 2 3");
    CHECK(faultOf(*mesh) == "");
    // Neighbours, one corner twice, and strangers are refused.
    CHECK(
        leavesAsItWas(*mesh, [&] { CHECK_FALSE(mesh->subdivideFace(f, mesh->v[1], mesh->v[2])); }));
    CHECK(
        leavesAsItWas(*mesh, [&] { CHECK_FALSE(mesh->subdivideFace(f, mesh->v[2], mesh->v[2])); }));
    CHECK(
        leavesAsItWas(*mesh, [&] { CHECK_FALSE(mesh->subdivideFace(f, mesh->v[0], mesh->v[2])); }));
    CHECK(leavesAsItWas(
        *mesh, [&] { CHECK_FALSE(mesh->subdivideFace(f, TopoMeshVertex(), mesh->v[2])); }));
}

TEST_CASE("aChainRunsAcrossAFaceAndBackOnTheOtherSide") {
    auto const mesh = polygon(4);
    TopoMeshFace const f = mesh->firstFace();
    ko::vector<Point> const points = {Point(-0.5, 0, 0), Point(0.5, 0, 0)};
    CHECK(mesh->subdivideFace(f, mesh->v[2], mesh->v[0], points) == f);
    CHECK(facesOf(*mesh) == "0 1 2 4 5, 0 5 4 2 3");
    // f starts on the chain at the first vertex, and walks the points in order.
    TopoMeshEdge e = f.adjacent(mesh->v[2]);
    CHECK(e.next().origin().point() == points[0]);
    CHECK(e.next().next().origin().point() == points[1]);
    CHECK(faultOf(*mesh) == "");

    // Beside a side, once there is a point; that side's own face is the one left over.
    auto const other = polygon(4);
    CHECK(other->subdivideFace(other->firstFace(), other->v[0], other->v[1], {Point()}) ==
          other->firstFace());
    CHECK(facesOf(*other) == "1 2 3 0 4, 1 4 0");
    // Without points it is the plain edge.
    TopoMeshVertex const middle = other->edge(1, 2).prev().origin();
    CHECK(other->subdivideFace(other->firstFace(), middle, other->v[2], {}) == other->firstFace());
    CHECK(facesOf(*other) == "2 3 0 4, 1 4 0, 2 4 1");
    CHECK(faultOf(*other) == "");
}

TEST_CASE("aClosedChainTakesTheFaceInsideOrOutsideByItsTurn") {
    // A loop from corner 0 back to it: counterclockwise, f is the loop; clockwise, what surrounds it.
    Point const low(0.5, -0.2, 0);
    Point const high(0.5, 0.2, 0);
    auto const inside = polygon(4);
    TopoMeshFace const f = inside->firstFace();
    CHECK(inside->subdivideFace(f, inside->v[0], inside->v[0], {high, low}) == f);
    CHECK(facesOf(*inside) == "0 4 5, 0 5 4 0 1 2 3");
    CHECK(faultOf(*inside) == "");
    auto const outside = polygon(4);
    TopoMeshFace const g = outside->firstFace();
    CHECK(outside->subdivideFace(g, outside->v[0], outside->v[0], {low, high}) == g);
    CHECK(facesOf(*outside) == "0 1 2 3 0 4 5, 0 5 4");
    CHECK(faultOf(*outside) == "");
    // One point gives no face of three sides.
    CHECK(leavesAsItWas(*outside, [&] {
        CHECK_FALSE(outside->subdivideFace(g, outside->v[1], outside->v[1], {low}));
    }));
}

TEST_CASE("anEdgeIsSplitOnBothSidesInStep") {
    auto const mesh = grid22();
    TopoMeshEdge const e = mesh->edge(0, 4);
    TopoMeshEdge const t = e.twin();
    TopoMeshVertex const m = mesh->subdivideEdge(e, Point(0.5, 0.5, 0));
    CHECK(e.origin() == mesh->v[0]);
    CHECK(e.next().origin() == m);
    CHECK(e.next().next().origin() == mesh->v[4]);
    CHECK(t.origin() == mesh->v[4]);
    CHECK(t.next().origin() == m);
    CHECK(t.twin() == e.next());
    CHECK(e.twin() == t.next());
    CHECK(cornersOf(e.face()) == "0 9 4 3");
    CHECK(cornersOf(t.face()) == "0 1 4 9");
    CHECK(m.valence() == 2);
    CHECK(faultOf(*mesh) == "");

    // Nearer points come later: the handle stays at its origin.
    TopoMeshVertex const nearer = mesh->subdivideEdge(e, Point(0.25, 0.25, 0));
    CHECK(e.next().origin() == nearer);
    TopoMeshVertex const onBoundary = mesh->subdivideEdge(mesh->edge(0, 1), Point(0.5, 0, 0));
    CHECK(onBoundary.valence() == 1);
    CHECK(onBoundary.onBoundary());
    CHECK(faultOf(*mesh) == "");
}

// A strip of two squares, 0 1 2 below and 3 4 5 above, cut down the middle.
TEST_CASE("splittingAnEdgeBetweenBoundaryVerticesPartsTheSurface") {
    auto const mesh = meshOf(support::grid(2, 1));
    TopoMeshEdge const e = mesh->edge(1, 4);
    TopoMeshEdge const t = e.twin();
    REQUIRE(mesh->canSplitEdge(e));
    mesh->splitEdge(e);
    // e's side, on the left, keeps 1 and 4; the other one gets copies of them.
    CHECK(facesOf(*mesh) == "0 1 4, 0 4 3, 6 2 5, 6 5 7");
    CHECK_FALSE(e.twin());
    CHECK_FALSE(t.twin());
    CHECK(t.origin().point() == mesh->v[4].point());
    CHECK(mesh->numVertices() == 8);
    CHECK(faultOf(*mesh) == "");
    CHECK(leavesAsItWas(*mesh, [&] { mesh->splitEdge(e); }));

    auto const grid = grid22();
    CHECK(leavesAsItWas(*grid, [&] { grid->splitEdge(grid->edge(1, 4)); }));
    CHECK(leavesAsItWas(*grid, [&] { grid->splitEdge(TopoMeshEdge()); }));
}

TEST_CASE("splittingABoundaryVertexOpensTheEdgeFromThere") {
    auto const mesh = grid22();
    TopoMeshEdge const e = mesh->edge(1, 4);
    TopoMeshVertex const copy = mesh->splitVertex(mesh->v[1], e);
    REQUIRE(copy);
    CHECK(copy.point() == mesh->v[1].point());
    CHECK(facesOf(*mesh) == "0 1 4, 0 4 3, 9 2 5, 9 5 4, 3 4 7, 3 7 6, 4 5 8, 4 8 7");
    CHECK_FALSE(e.twin());
    CHECK(mesh->v[4].onBoundary());
    CHECK(mesh->v[4].valence() == 6);
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");
    // And on from there, across: now both ends are on the boundary, and the surface falls apart.
    TopoMeshEdge const further = mesh->edge(4, 7);
    CHECK_FALSE(mesh->splitVertex(mesh->v[4], further));
    mesh->splitEdge(further);
    CHECK(euler(*mesh) == 2);
    CHECK(faultOf(*mesh) == "");

    auto const other = grid22();
    CHECK(leavesAsItWas(*other,
                        [&] { CHECK_FALSE(other->splitVertex(other->v[4], other->edge(4, 1))); }));
    CHECK(leavesAsItWas(*other,
                        [&] { CHECK_FALSE(other->splitVertex(other->v[0], other->edge(1, 4))); }));
    CHECK(leavesAsItWas(*other,
                        [&] { CHECK_FALSE(other->splitVertex(other->v[0], other->edge(0, 1))); }));
}

TEST_CASE("splittingAnInnerVertexOpensASlit") {
    auto const mesh = meshOf(support::octahedron());
    TopoMeshEdge a;
    TopoMeshEdge b;
    // Any two edges in a row across a vertex: each enters a different side.
    for (TopoMeshEdge e : listOf(mesh->firstEdge())) {
        a = e;
        b = e.next().twin().next();
        if (mesh->canSplitVertex(a, b))
            break;
    }
    REQUIRE(mesh->canSplitVertex(a, b));
    TopoMeshVertex const v = b.origin();
    TopoMeshEdge const ta = a.twin();
    TopoMeshEdge const tb = b.twin();
    mesh->splitVertex(a, b);
    CHECK(mesh->numVertices() == 7);
    CHECK(numOpenEdges(*mesh) == 4);
    CHECK(a.next().origin() == v);
    CHECK(b.origin() == v);
    CHECK(ta.origin() != v);
    CHECK(tb.next().origin() == ta.origin());
    CHECK(ta.origin().point() == v.point());
    CHECK(ta.origin().valence() + v.valence() == 4);
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");
    // Its ends are on the boundary now.
    CHECK_FALSE(mesh->canSplitVertex(a, a.next()));
    auto const grid = grid22();
    CHECK(leavesAsItWas(*grid, [&] { grid->splitVertex(grid->edge(1, 4), grid->edge(4, 7)); }));
}

TEST_CASE("aSwapJoinsTheOppositeVerticesAndASecondOneUndoesIt") {
    auto const mesh = grid22();
    TopoMeshEdge const e = mesh->edge(0, 4);
    TopoMeshFace const f = e.face();
    TopoMeshFace const g = e.twin().face();
    std::vector<void const*> const links = digestOf(*mesh, false);
    REQUIRE(mesh->swapEdge(e));
    CHECK(mesh->edge(1, 3) == (e.origin() == mesh->v[1] ? e : e.twin()));
    CHECK(e.face() == f);
    CHECK(e.twin().face() == g);
    CHECK_FALSE(mesh->edge(0, 4));
    CHECK(mesh->v[0].valence() == 1);
    CHECK(mesh->v[4].valence() == 5);
    CHECK(faultOf(*mesh) == "");
    REQUIRE(mesh->swapEdge(e));
    CHECK(digestOf(*mesh, false) == links);
    CHECK(e.origin() == mesh->v[0]);
}

TEST_CASE("aSwapMovesOnTheOwnEdgeAsTheIteratorGoes") {
    auto const mesh = grid22();
    TopoMeshVertex const v = mesh->v[4];
    TopoMeshEdgeVertexIterator i = {v, v.edge(), 1};
    i.next();
    REQUIRE(mesh->swapEdge(v.edge()));
    CHECK(v.edge() == i.edge);
}

TEST_CASE("swapsAreRefusedWhereTheyWouldSpoilTheMesh") {
    // On the boundary; in a tetrahedron, whose opposite vertices are joined; beside a quad; between a pillow's two sides.
    auto const grid = grid22();
    CHECK(leavesAsItWas(*grid, [&] { CHECK_FALSE(grid->swapEdge(grid->edge(0, 1))); }));
    auto const solid = meshOf(support::tetrahedron());
    for (TopoMeshEdge e : listOf(solid->firstEdge()))
        CHECK(leavesAsItWas(*solid, [&] { CHECK_FALSE(solid->swapEdge(e)); }));
    auto const cube = quadCube();
    CHECK(leavesAsItWas(*cube, [&] { CHECK_FALSE(cube->swapEdge(cube->firstEdge())); }));
    auto const pillow = polygon(3);
    pillow->allocTriangle(pillow->v[0], pillow->v[2], pillow->v[1]);
    CHECK(leavesAsItWas(*pillow, [&] { CHECK_FALSE(pillow->swapEdge(pillow->firstEdge())); }));
    CHECK(leavesAsItWas(*pillow, [&] { CHECK_FALSE(pillow->swapEdge(TopoMeshEdge())); }));
}

TEST_CASE("aCollapseFoldsTheTrianglesUpAndKeepsTheOrigin") {
    auto const mesh = meshOf(support::grid(3, 3));
    // 5 and 6 are inside; 0 1 2 3 / 4 5 6 7 / 8 9 10 11 / 12 13 14 15.
    TopoMeshEdge const e = mesh->edge(5, 10);
    TopoMeshEdge const outer = mesh->edge(10, 9).twin();
    TopoMeshEdge const inner = mesh->edge(9, 5).twin();
    CHECK(mesh->collapseEdge(e) == mesh->v[5]);
    CHECK_FALSE(mesh->contains(mesh->v[10]));
    CHECK(mesh->numVertices() == 15);
    CHECK(mesh->numFaces() == 16);
    CHECK(mesh->v[5].point() == Point(1, 1, 0));
    CHECK(mesh->v[5].valence() == 8);
    CHECK(outer.twin() == inner);
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("aCollapseShortensLargerFaces") {
    auto const cube = quadCube();
    CHECK(cube->collapseEdge(cube->edge(0, 1)) == cube->v[0]);
    CHECK(cube->numFaces() == 6);
    CHECK(cube->numEdges() == 22);
    CHECK(euler(*cube) == 2);
    CHECK(faultOf(*cube) == "");
}

TEST_CASE("contractingTakesBoundaryEdgesAlone") {
    auto const mesh = grid22();
    CHECK_FALSE(mesh->contractEdge(mesh->edge(1, 4)));
    CHECK(mesh->contractEdge(mesh->edge(1, 2)) == mesh->v[1]);
    CHECK(mesh->numFaces() == 7);
    CHECK(mesh->v[1].onBoundary());
    CHECK(mesh->edge(1, 5));
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("aCollapseThatPinchesOrDoublesIsRefused") {
    auto const strip = meshOf(support::grid(2, 1));
    // Both ends on the boundary, surface on both sides.
    CHECK(leavesAsItWas(*strip, [&] { CHECK_FALSE(strip->collapseEdge(strip->edge(1, 4))); }));
    // An ear on one side may go, with its tip: nothing is left there to touch.
    CHECK(strip->collapseEdge(strip->edge(1, 5)) == strip->v[1]);
    CHECK(faultOf(*strip) == "");
    CHECK_FALSE(strip->contains(strip->v[2]));
    CHECK(strip->numVertices() == 4);

    // A third vertex joined to both ends would be joined twice: round a triangular tube.
    auto const tube = meshOf(support::torus(3, 8));
    int numRefused = 0;
    for (TopoMeshEdge e : listOf(tube->firstEdge()))
        numRefused += !tube->canCollapseEdge(e);
    CHECK(numRefused > 0);
    for (int i = 0; i < 40; ++i)
        for (TopoMeshEdge e = tube->firstEdge(); e; e = e.nextInList())
            if (tube->collapseEdge(e))
                break;
    CHECK(faultOf(*tube) == "");
    CHECK(euler(*tube) == 0);
}

TEST_CASE("closedSurfacesCollapseDownToNothing") {
    auto const solid = meshOf(support::sphere(1));
    while (solid->numFaces() > 0) {
        bool any = false;
        for (TopoMeshEdge e = solid->firstEdge(); e && !any; e = e.nextInList())
            any = static_cast<bool>(solid->collapseEdge(e));
        REQUIRE(any);
        REQUIRE(faultOf(*solid) == "");
        if (solid->numFaces() > 0)
            REQUIRE(euler(*solid) == 2);
    }
    // The last pillow folds up to its edge's survivor.
    CHECK(solid->numVertices() == 1);
    CHECK(solid->numEdges() == 0);
}

//  3 - 4 - 5      Two strips whose edges 4 3, 5 4 run against 0' 1', 1' 2' of the other one: sewn from left to right
//  |   |   |
//  0 - 1 - 2
TEST_CASE("mergingSewsASeamVertexByVertex") {
    auto const mesh =
        meshOf(support::joined(support::grid(2, 1), support::grid(2, 1), 0.0f, 1.0f, 0.0f));
    CHECK(mesh->numVertices() == 12);
    REQUIRE(mesh->canMergeVertices(mesh->edge(4, 3), mesh->edge(6, 7)));
    mesh->mergeVertices(mesh->edge(4, 3), mesh->edge(6, 7));
    CHECK(mesh->numVertices() == 10);
    CHECK_FALSE(mesh->contains(mesh->v[6]));
    CHECK_FALSE(mesh->contains(mesh->v[7]));
    CHECK(mesh->edge(4, 3).twin() == mesh->edge(3, 4));
    // 4 is shared now, so that only the far ends become one.
    mesh->mergeVertices(mesh->edge(5, 4), mesh->edge(4, 8));
    CHECK(mesh->numVertices() == 9);
    CHECK_FALSE(mesh->v[4].onBoundary());
    CHECK(mesh->v[4].valence() == 6);
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("mergingWithBothEndsInCommonMergesNoVertex") {
    auto const mesh = polygon(3);
    TopoMeshFace const back = mesh->allocTriangle(mesh->v[0], mesh->v[2], mesh->v[1]);
    TopoMeshEdge const e = mesh->firstEdge();
    TopoMeshEdge const t = e.twin();
    mesh->deleteFace(back);
    TopoMeshFace const again = mesh->allocTriangle(mesh->v[0], mesh->v[2], mesh->v[1]);
    CHECK(e.twin() != t);
    // Parted by hand through a third edge on the same two vertices.
    TopoMeshEdge const third =
        mesh->allocTriangle(mesh->v[1], mesh->v[0], mesh->allocVertex(Point(0, 0, 1))).edge();
    mesh->setTwins(e, third);
    TopoMeshEdge const open = again.edge().next().next();
    CHECK_FALSE(open.twin());
    int const numVertices = mesh->numVertices();
    mesh->deleteFace(third.face());
    mesh->mergeVertices(e, open);
    CHECK(e.twin() == open);
    CHECK(mesh->numVertices() == numVertices);
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("mergingRefusesWhatWouldFoldAFace") {
    auto const mesh = meshOf(support::grid(2, 1));
    // Two sides of one triangle, the same edge twice, an inner edge, null.
    CHECK(leavesAsItWas(*mesh, [&] { mesh->mergeVertices(mesh->edge(1, 2), mesh->edge(2, 5)); }));
    CHECK(leavesAsItWas(*mesh, [&] { mesh->mergeVertices(mesh->edge(1, 2), mesh->edge(1, 2)); }));
    CHECK(leavesAsItWas(*mesh, [&] { mesh->mergeVertices(mesh->edge(1, 4), mesh->edge(2, 5)); }));
    CHECK(leavesAsItWas(*mesh, [&] { mesh->mergeVertices(TopoMeshEdge(), mesh->edge(2, 5)); }));
}

TEST_CASE("deletingAnInnerVertexLeavesTheRingRoundIt") {
    auto const mesh = grid22();
    TopoMeshFace const f = mesh->v[4].edge().face();
    TopoMeshEdge const ringEdge = mesh->edge(0, 1);
    CHECK(mesh->deleteVertex(mesh->v[4]) == f);
    CHECK(mesh->numFaces() == 3);
    CHECK(cornersOf(f) == "0 1 5 8 7 3");
    CHECK(f.edge() == ringEdge);
    CHECK(mesh->numVertices() == 8);
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");

    auto const cube = quadCube();
    CHECK(cube->deleteVertex(cube->v[7]).numVertices() == 6);
    CHECK(cube->numFaces() == 4);
    CHECK(euler(*cube) == 2);
    CHECK(faultOf(*cube) == "");
}

TEST_CASE("aVertexPutIntoAFaceAndDeletedLeavesTheFace") {
    auto const mesh = polygon(3);
    TopoMeshFace const f = mesh->firstFace();
    TopoMeshVertex const c = mesh->subdivideFace(f, Point());
    TopoMeshFace const left = mesh->deleteVertex(c);
    CHECK(facesOf(*mesh).size() == 5);
    CHECK(left.numVertices() == 3);
    CHECK(mesh->numEdges() == 3);
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("deletingABoundaryVertexClosesTheFaceWithoutATwin") {
    auto const mesh = grid22();
    TopoMeshFace const f = mesh->deleteVertex(mesh->v[3]);
    // 0 1 4 and 3 4 7 6's part stay outside; the union of 0 4 3, 3 4 7, 3 7 6 gets the new side 6 0.
    CHECK(cornersOf(f) == "0 4 7 6");
    TopoMeshEdge const closing = mesh->edge(6, 0);
    CHECK(closing.face() == f);
    CHECK_FALSE(closing.twin());
    CHECK(euler(*mesh) == 1);
    CHECK(faultOf(*mesh) == "");
}

TEST_CASE("aBoundaryVertexOfOneFaceTakesItAlong") {
    auto const mesh = grid22();
    TopoMeshFace const f = mesh->v[2].edge().face();
    CHECK(mesh->v[2].valence() == 1);
    CHECK_FALSE(mesh->deleteVertex(mesh->v[2]));
    CHECK_FALSE(mesh->contains(f));
    CHECK_FALSE(mesh->edge(5, 1).twin());
    CHECK(mesh->numVertices() == 8);
    CHECK(faultOf(*mesh) == "");
    // A face of any size goes, and its other vertices stay; an isolated one just goes.
    auto const lone = polygon(5);
    CHECK_FALSE(lone->deleteVertex(lone->v[0]));
    CHECK(lone->numFaces() == 0);
    CHECK(lone->numEdges() == 0);
    CHECK(lone->numVertices() == 4);
    CHECK_FALSE(lone->deleteVertex(lone->v[1]));
    CHECK(lone->numVertices() == 3);
    CHECK(faultOf(*lone) == "");
}

TEST_CASE("verticesThatHoldMoreThanOneFanOrRingStay") {
    auto const touching = meshOf(support::bowTie());
    for (TopoMeshVertex v : touching->v)
        if (v.valence() == 6)
            CHECK(leavesAsItWas(*touching, [&] { CHECK_FALSE(touching->deleteVertex(v)); }));
    // Two faces with two edges in common: a ring of two sides would be left.
    auto const pillow = polygon(3);
    pillow->allocTriangle(pillow->v[0], pillow->v[2], pillow->v[1]);
    CHECK(leavesAsItWas(*pillow, [&] { CHECK_FALSE(pillow->deleteVertex(pillow->v[0])); }));
    CHECK(leavesAsItWas(*pillow, [&] { CHECK_FALSE(pillow->deleteVertex(TopoMeshVertex())); }));
}

TEST_CASE("deletingAnEdgeUnitesItsFaces") {
    auto const mesh = grid22();
    TopoMeshEdge const e = mesh->edge(0, 4);
    TopoMeshFace const f = e.face();
    TopoMeshFace const g = e.twin().face();
    REQUIRE(mesh->deleteEdge(e));
    CHECK(cornersOf(f) == "4 3 0 1");
    CHECK_FALSE(mesh->contains(g));
    CHECK_FALSE(mesh->contains(e));
    CHECK(mesh->numEdges() == 22);
    CHECK(faultOf(*mesh) == "");
    CHECK(leavesAsItWas(*mesh, [&] { CHECK_FALSE(mesh->deleteEdge(mesh->edge(0, 1))); }));
}

TEST_CASE("anEdgeWithOneFaceOnBothSidesStays") {
    // A pillow without one of its three edges: the two others hang in the one face that is left.
    auto const pillow = polygon(3);
    pillow->allocTriangle(pillow->v[0], pillow->v[2], pillow->v[1]);
    REQUIRE(pillow->deleteEdge(pillow->edge(0, 1)));
    CHECK(facesOf(*pillow) == "1 2 0 2");
    CHECK(faultOf(*pillow) == "");
    for (TopoMeshEdge e : listOf(pillow->firstEdge()))
        CHECK(leavesAsItWas(*pillow, [&] { CHECK_FALSE(pillow->deleteEdge(e)); }));
    // Such a face can still be split, and its hanging edges cut.
    CHECK(pillow->subdivideEdge(pillow->edge(1, 2), Point()));
    CHECK(pillow->subdivideFace(pillow->firstFace(), Point()));
    CHECK(faultOf(*pillow) == "");
}

TEST_CASE("deletingAFaceOpensItsNeighbours") {
    auto const mesh = grid22();
    TopoMeshEdge const neighbour = mesh->edge(4, 0).twin();
    mesh->deleteFace(mesh->edge(4, 0).face());
    CHECK_FALSE(neighbour.twin());
    CHECK(mesh->numVertices() == 9);
    CHECK(mesh->numEdges() == 21);
    CHECK(mesh->v[4].onBoundary());
    CHECK(faultOf(*mesh) == "");
    for (TopoMeshFace f = mesh->firstFace(); f; f = mesh->firstFace())
        mesh->deleteFace(f);
    CHECK(mesh->numEdges() == 0);
    CHECK_FALSE(mesh->v[0].edge());
    CHECK(faultOf(*mesh) == "");
}
