#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <doctest/doctest.h>
#include <set>
#include <type_traits>

// Building a half-edge mesh, its lists, handles and queries. The edits are in TopoMeshEdits_test.cpp.

using namespace koGeom;
using support::facesOf;
using support::faultOf;
using support::fill;
using support::listOf;
using support::numOpenEdges;

namespace {

struct Listener {
    std::vector<int> types;
    void hear(EntityModification& news) {
        types.push_back(static_cast<TopoMeshModification&>(news).getType());
    }
};

}  // namespace

// 3 --- 2
// |   / |
// | /   |
// 0 --- 1
TEST_CASE("allocationFindsTwinsThatRunTheOtherWay") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    for (Point const& p : {Point(0, 0, 0), Point(1, 0, 0), Point(1, 1, 0), Point(0, 1, 0)})
        v.push_back(mesh.allocVertex(p));
    TopoMeshFace const f = mesh.allocTriangle(v[0], v[1], v[2]);
    TopoMeshFace const g = mesh.allocTriangle(v[0], v[2], v[3]);
    CHECK(facesOf(mesh) == "0 1 2, 0 2 3");
    CHECK(mesh.numVertices() == 4);
    CHECK(mesh.numEdges() == 6);
    CHECK(mesh.numFaces() == 2);
    TopoMeshEdge const diagonal = TopoMesh::findEdge(v[0], v[2]);
    CHECK(diagonal.face() == g);
    CHECK(diagonal.twin() == TopoMesh::findEdge(v[2], v[0]));
    CHECK(diagonal.twin().face() == f);
    CHECK(numOpenEdges(mesh) == 4);
    // On the boundary one direction alone exists.
    CHECK(TopoMesh::findEdge(v[0], v[1]));
    CHECK_FALSE(TopoMesh::findEdge(v[1], v[0]));
    CHECK_FALSE(TopoMesh::findEdge(v[1], v[3]));
    CHECK(faultOf(mesh) == "");

    CHECK(v[0].valence() == 2);
    CHECK(v[1].valence() == 1);
    CHECK(v[0].onBoundary());
    CHECK(v[1].adjacent(v[2]) == f);
    CHECK_FALSE(v[1].adjacent(v[3]));
    CHECK(g.adjacent(v[3]).origin() == v[3]);
    CHECK_FALSE(g.adjacent(v[1]));
    CHECK(g.numVertices() == 3);
    CHECK(equivalent(g.centroid(), Point(1.0 / 3, 2.0 / 3, 0), 1e-15));
}

TEST_CASE("allocationFindsTwinsBetweenLooseFans") {
    // The faces of a closed mesh in any order: at first every vertex is a heap of fans that nothing links.
    for (int seed = 1; seed <= 5; ++seed) {
        TopoMesh mesh;
        fill(mesh, support::shuffled(support::torus(9, 7), static_cast<std::uint64_t>(seed)));
        CHECK(numOpenEdges(mesh) == 0);
        CHECK(faultOf(mesh) == "");
    }
}

TEST_CASE("alikeRunningEdgesStayApartUntilTheyAreMadeTwins") {
    TopoMesh mesh;
    TopoMeshVertex const a = mesh.allocVertex(Point(0, 0, 0));
    TopoMeshVertex const b = mesh.allocVertex(Point(1, 0, 0));
    TopoMeshFace const f = mesh.allocTriangle(a, b, mesh.allocVertex(Point(0, 1, 0)));
    TopoMeshFace const g = mesh.allocTriangle(a, b, mesh.allocVertex(Point(0, -1, 0)));
    CHECK_FALSE(f.edge().twin());
    CHECK(mesh.canSetTwins(f.edge(), g.edge()));
    mesh.setTwins(f.edge(), g.edge());
    CHECK(f.edge().twin() == g.edge());
    CHECK(faultOf(mesh) == "");
    // Walks take such a twin for none, and so do the edits.
    CHECK(a.valence() == 2);
    int visited = 0;
    for (TopoMeshEdgeVertexIterator i = {a, a.edge(), 1}; i.edge; i.next())
        ++visited;
    CHECK(visited == 1);
    CHECK_FALSE(mesh.swapEdge(f.edge()));
    CHECK_FALSE(mesh.deleteEdge(f.edge()));
    CHECK_FALSE(mesh.collapseEdge(f.edge()));
    // Cutting it cuts both sides, piece by piece.
    TopoMeshVertex const m = mesh.subdivideEdge(f.edge(), Point(0.5, 0, 0));
    CHECK(f.edge().twin() == g.edge());
    CHECK(f.edge().next().twin() == g.edge().next());
    CHECK(m.valence() == 2);
    CHECK(faultOf(mesh) == "");
    // New twins leave the former ones without.
    CHECK_FALSE(mesh.canSetTwins(f.edge(), f.edge()));
    CHECK_FALSE(mesh.canSetTwins(f.edge(), f.edge().next()));
}

TEST_CASE("setTwinsReleasesFormerTwins") {
    TopoMesh mesh;
    fill(mesh, support::threeOnAnEdge());
    std::vector<TopoMeshEdge> onEdge;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        if (e.origin().record()->number + e.next().origin().record()->number == 1)
            onEdge.push_back(e);
    REQUIRE(onEdge.size() == 3);
    mesh.setTwins(onEdge[0], onEdge[1]);
    mesh.setTwins(onEdge[1], onEdge[2]);
    CHECK_FALSE(onEdge[0].twin());
    CHECK(onEdge[2].twin() == onEdge[1]);
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("degenerateFacesCanBeBuiltAndWalked") {
    TopoMesh mesh;
    TopoMeshVertex const a = mesh.allocVertex(Point(0, 0, 0));
    TopoMeshVertex const b = mesh.allocVertex(Point(1, 0, 0));
    TopoMeshFace const f = mesh.allocTriangle(a, a, b);
    TopoMeshFace const g = mesh.allocTriangle(a, b, a);
    CHECK(f.numVertices() == 3);
    CHECK(g.numVertices() == 3);
    CHECK(faultOf(mesh) == "");
    for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
        CHECK_FALSE(mesh.swapEdge(e));
        CHECK_FALSE(mesh.collapseEdge(e));
    }
    for (TopoMeshVertex v : {a, b}) {
        int visited = 0;
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge && visited < 100; i.next())
            ++visited;
        CHECK(visited <= v.valence());
    }
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("nullHandlesAndShortRingsGiveNoFace") {
    TopoMesh mesh;
    TopoMesh other;
    TopoMeshVertex const a = mesh.allocVertex(Point());
    TopoMeshVertex const b = mesh.allocVertex(Point(1, 0, 0));
    TopoMeshVertex const stranger = other.allocVertex(Point(0, 1, 0));
    CHECK_FALSE(mesh.allocTriangle(a, b, TopoMeshVertex()));
    CHECK_FALSE(mesh.allocQuad(a, b, TopoMeshVertex(), a));
    CHECK_FALSE(mesh.allocFace({a, b}));
    CHECK_FALSE(mesh.allocFace({}));
    CHECK_FALSE(mesh.allocTriangle(a, b, stranger));
    CHECK(mesh.numFaces() == 0);
    CHECK(mesh.numEdges() == 0);
    CHECK_FALSE(a.edge());
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("nullHandlesAnswerEverythingWithNothing") {
    TopoMeshVertex const v;
    TopoMeshEdge const e;
    TopoMeshFace const f;
    CHECK(v.point() == Point());
    CHECK_FALSE(v.edge());
    CHECK(v.valence() == 0);
    CHECK_FALSE(v.onBoundary());
    CHECK_FALSE(v.adjacent(v));
    CHECK_FALSE(v.nextInList());
    CHECK_FALSE(e.twin().next().prev().origin().edge().face().edge());
    CHECK_FALSE(e.nextInList());
    CHECK(f.numVertices() == 0);
    CHECK(f.centroid() == Point());
    CHECK_FALSE(f.adjacent(v));
    CHECK_FALSE(TopoMesh::findEdge(v, v));
    v.blind(0) = 7;
    CHECK(v.blind(0).asInt() == 0);
}

TEST_CASE("listsKeepTheOrderOfCreationOverDeletions") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> vertices;
    for (int i = 0; i < 2000; ++i)
        vertices.push_back(mesh.allocVertex(Point(i, 0, 0)));
    // The walk reads the link before the element goes.
    for (TopoMeshVertex v = mesh.firstVertex(); v;) {
        TopoMeshVertex const following = v.nextInList();
        if (v.record()->number % 3 != 0 || v.record()->number < 900)
            mesh.deleteVertex(v);
        v = following;
    }
    std::vector<TopoMeshVertex> const left = listOf(mesh.firstVertex());
    CHECK(mesh.numVertices() == static_cast<int>(left.size()));
    CHECK(left.front() == vertices[900]);
    CHECK(left.back() == vertices[1998]);
    CHECK(faultOf(mesh) == "");
    // Deleted all the same, then appended at the end, at a place of its own.
    for (TopoMeshVertex v : left)
        mesh.deleteVertex(v);
    CHECK(mesh.numVertices() == 0);
    CHECK_FALSE(mesh.firstVertex());
    TopoMeshVertex const late = mesh.allocVertex(Point());
    CHECK(mesh.firstVertex() == late);
    CHECK(late.record()->number == 2000);
    for (TopoMeshVertex v : vertices)
        CHECK_FALSE(late == v);
}

TEST_CASE("handlesOfDeletedElementsAreRefused") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> const v = fill(mesh, support::tetrahedron());
    TopoMeshFace const f = mesh.firstFace();
    TopoMeshEdge const e = f.edge();
    mesh.deleteFace(f);
    std::vector<void const*> const before = support::digestOf(mesh);
    CHECK_FALSE(mesh.contains(f));
    CHECK_FALSE(mesh.contains(e));
    mesh.deleteFace(f);
    CHECK_FALSE(mesh.subdivideFace(f, Point()));
    CHECK_FALSE(mesh.subdivideEdge(e, Point()));
    CHECK_FALSE(mesh.swapEdge(e));
    CHECK_FALSE(mesh.collapseEdge(e));
    CHECK_FALSE(mesh.contractEdge(e));
    CHECK_FALSE(mesh.deleteEdge(e));
    CHECK_FALSE(mesh.splitVertex(v[0], e));
    mesh.splitVertex(e, e);
    mesh.splitEdge(e);
    mesh.mergeVertices(e, e);
    mesh.setTwins(e, mesh.firstEdge());
    CHECK(support::digestOf(mesh) == before);
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("handlesOfAnotherMeshAreRefused") {
    TopoMesh mesh;
    TopoMesh other;
    fill(mesh, support::cube());
    fill(other, support::cube());
    std::vector<void const*> const before = support::digestOf(other);
    CHECK_FALSE(mesh.swapEdge(other.firstEdge()));
    CHECK_FALSE(mesh.subdivideFace(other.firstFace(), Point()));
    CHECK_FALSE(mesh.deleteVertex(other.firstVertex()));
    mesh.deleteFace(other.firstFace());
    mesh.setPoint(other.firstVertex(), Point(9, 9, 9));
    CHECK(other.firstVertex().point() == Point(0, 0, 0));
    CHECK(support::digestOf(other) == before);
    CHECK(mesh.numFaces() == 12);
}

TEST_CASE("setsOfHandlesAreOrderedByCreation") {
    TopoMesh mesh;
    fill(mesh, support::sphere(2));
    ko::set<TopoMeshEdge> edges;
    ko::unordered_set<TopoMeshFace> faces;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        edges.insert(e);
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        faces.insert(f);
    CHECK(std::vector<TopoMeshEdge>(edges.begin(), edges.end()) == listOf(mesh.firstEdge()));
    CHECK(faces.size() == 128);
    CHECK(ko::less<TopoMeshVertex>()(TopoMeshVertex(), mesh.firstVertex()));
    CHECK_FALSE(ko::less<TopoMeshVertex>()(mesh.firstVertex(), mesh.firstVertex()));
    CHECK(ko::hash<TopoMeshVertex>()(TopoMeshVertex()) == 0);

    ko::map<TopoMeshEntity, int> entities;
    entities[mesh.firstFace()] = 2;
    entities[mesh.firstVertex()] = 0;
    entities[mesh.firstEdge()] = 1;
    int expected = 0;
    for (auto const& [entity, value] : entities) {
        CHECK(value == expected);
        CHECK(entity.kind == expected++);
    }
    TopoMeshEntity const entity = mesh.firstEdge();
    CHECK(entity.asEdge() == mesh.firstEdge());
    CHECK_FALSE(entity.asVertex());
    CHECK_FALSE(entity.asFace());
    CHECK(ko::hash<TopoMeshEntity>()(entity) == ko::hash<TopoMeshEntity>()(mesh.firstEdge()));
    static_assert(sizeof(TopoMeshEdge) == sizeof(void*) &&
                  std::is_trivially_copyable_v<TopoMeshEdge>);
}

TEST_CASE("blindDataIsKeptPerRecordAndSlot") {
    TopoMesh mesh;
    fill(mesh, support::grid(30, 30));
    for (TopoMeshVertex v : listOf(mesh.firstVertex()))
        for (int slot = 0; slot < 17; ++slot)
            v.blind(slot) = v.record()->number + 0.5 * slot;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        e.blind(1) = e.record()->number % 2 == 0;
    mesh.allocVertex(Point());
    bool kept = true;
    for (TopoMeshVertex v : listOf(mesh.firstVertex()))
        for (int slot = 0; slot < 17 && v.edge(); ++slot)
            kept = kept && v.blind(slot).asDouble() == v.record()->number + 0.5 * slot;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        kept = kept && e.blind(0) == BlindData() &&
               e.blind(1).asBool() == (e.record()->number % 2 == 0);
    CHECK(kept);
    // Outside its slots a record keeps nothing.
    mesh.firstFace().blind(2) = 5;
    mesh.firstFace().blind(-1) = 5;
    CHECK(mesh.firstFace().blind(0).asInt() == 0);
    CHECK(BlindData(-7).asInt() == -7);
    CHECK(BlindData(2147483647).asInt() == 2147483647);
    CHECK(BlindData(1e300).asInt() == 2147483647);
    CHECK(BlindData(0.0 / 0.0).asInt() == 0);
    CHECK(BlindData(true).asBool());
}

TEST_CASE("observersHearOfEachModification") {
    TopoMesh mesh;
    Listener listener;
    auto* const connection = mesh.modificationSignal().addCallback(
        new koRTB::FunctionArgMember<EntityModification&, Listener>(&listener, &Listener::hear));
    TopoMeshModification moved(&mesh, TopoMeshModification::Geometry);
    TopoMeshModification changed(mesh, static_cast<TopoMeshModification::Type>(1));
    CHECK(moved.getEntity() == &mesh);
    mesh.modified(moved);
    mesh.modified(changed);
    CHECK(listener.types == std::vector<int>{0, 1});
    connection->disconnect();
}

namespace {

/// All links of two half-edges of two meshes, those to what leaves the same vertex among them.
bool haveEqualLinks(TopoMeshEdge a, TopoMeshEdge b) {
    auto const number = [](auto const* record) {
        return record != nullptr ? record->number + 1 : 0;
    };
    auto const* const p = a.record();
    auto const* const q = b.record();
    return number(p) == number(q) && number(p->origin) == number(q->origin) &&
           number(p->next) == number(q->next) && number(p->prev) == number(q->prev) &&
           number(p->twin) == number(q->twin) && number(p->face) == number(q->face) &&
           number(p->nextLeaving) == number(q->nextLeaving) &&
           number(p->prevLeaving) == number(q->prevLeaving) &&
           number(p->origin->edge) == number(q->origin->edge) &&
           number(p->origin->firstLeaving) == number(q->origin->firstLeaving) &&
           p->origin->position == q->origin->position;
}

}  // namespace

TEST_CASE("buildingInBulkEqualsOneByOne") {
    for (support::NamedMesh const& named : support::zoo()) {
        INFO(named.name);
        CompactMesh const& source = named.mesh;
        TopoMesh oneByOne;
        fill(oneByOne, source);
        TopoMesh inBulk;
        std::vector<Point> points;
        for (int i = 0; i < source.getNumVertices(); ++i)
            points.push_back(Point(source.getVerticesRaw()[3 * i],
                                   source.getVerticesRaw()[3 * i + 1],
                                   source.getVerticesRaw()[3 * i + 2]));
        TopoMeshFace const first =
            inBulk.allocFaces(source.getNumVertices(), points.data(), source.getNumTriangles(), 3,
                              source.getTrianglesRaw());
        CHECK(static_cast<bool>(first) == (source.getNumTriangles() > 0));
        if (!first)
            continue;
        CHECK(faultOf(inBulk) == "");
        CHECK(facesOf(inBulk) == facesOf(oneByOne));
        std::vector<TopoMeshEdge> const a = listOf(oneByOne.firstEdge());
        std::vector<TopoMeshEdge> const b = listOf(inBulk.firstEdge());
        bool same = a.size() == b.size();
        for (std::size_t i = 0; same && i < a.size(); ++i)
            same = haveEqualLinks(a[i], b[i]);
        CHECK(same);
    }
}

// Many enough for the pool; single allocations before and after, so that blocks are begun and left in their middle.
TEST_CASE("buildingInBulkDoesNotDependOnThreadsAndGoesOnWithWhatWasThere") {
    CompactMesh const source = support::sphere(6);
    REQUIRE(source.getNumTriangles() > 10000);
    std::vector<Point> points;
    for (int i = 0; i < source.getNumVertices(); ++i)
        points.push_back(source.getVertices()[i].asPoint());
    TopoMesh oneByOne;
    support::fillPolygon(oneByOne, 300);
    fill(oneByOne, source);
    support::fillPolygon(oneByOne, 5);
    fill(oneByOne, support::tetrahedron());
    support::withPools([&](int) {
        TopoMesh mesh;
        support::fillPolygon(mesh, 300);
        mesh.allocFaces(source.getNumVertices(), points.data(), source.getNumTriangles(), 3,
                        source.getTrianglesRaw());
        support::fillPolygon(mesh, 5);
        fill(mesh, support::tetrahedron());
        CHECK(faultOf(mesh) == "");
        CHECK(facesOf(mesh) == facesOf(oneByOne));
        TopoMeshEdge a = oneByOne.firstEdge();
        TopoMeshEdge b = mesh.firstEdge();
        while (a && b && haveEqualLinks(a, b)) {
            a = a.nextInList();
            b = b.nextInList();
        }
        CHECK(!a);
        CHECK(!b);
    });
}

// Blocks that are left with room, blocks without a living record, and lists that begin late.
TEST_CASE("listsStayWholeAroundManySmallBulksAndDeletions") {
    Point const points[3] = {Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0)};
    std::vector<Point> many(500, Point(1, 2, 3));
    std::vector<int> corners;
    for (int i = 0; i + 2 < 500; ++i)
        corners.insert(corners.end(), {i, i + 1, i + 2});
    int const one[3] = {0, 1, 2};
    TopoMesh mesh;
    support::Random random(5);
    int expected = 0;
    for (int round = 0; round < 300; ++round) {
        int const kind = random.index(4);
        int const numFaces = kind == 0 ? 498 : 1 + random.index(20);
        if (kind < 2)
            mesh.allocFaces(500, many.data(), numFaces, 3, corners.data());
        else if (kind == 2)
            mesh.allocFaces(3, points, 1, 3, one);
        else
            support::fillPolygon(mesh, 3);
        expected += kind < 2 ? numFaces : 1;
        if (random.index(5) == 0)
            for (TopoMeshFace f = mesh.firstFace(); f && random.index(300) != 0;
                 f = mesh.firstFace(), --expected)
                mesh.deleteFace(f);
        CHECK(static_cast<int>(listOf(mesh.firstFace()).size()) == expected);
        CHECK(mesh.numEdges() == 3 * expected);
        CHECK(static_cast<int>(listOf(mesh.firstEdge()).size()) == mesh.numEdges());
        CHECK(static_cast<int>(listOf(mesh.firstVertex()).size()) == mesh.numVertices());
    }
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("bulkBuildingRefusesWhatDoesNotFit") {
    Point const points[4] = {Point(0, 0, 0), Point(1, 0, 0), Point(1, 1, 0), Point(0, 1, 0)};
    int const corners[6] = {0, 1, 2, 0, 2, 3};
    int const outside[6] = {0, 1, 2, 0, 2, 4};
    int const twins[6] = {-1, -1, 3, 2, -1, -1};
    int const oneSided[6] = {-1, -1, 3, -1, -1, -1};
    int const elsewhere[6] = {-1, 3, -1, 1, -1, -1};
    int const far[6] = {-1, -1, 17, -1, -1, -1};
    TopoMesh mesh;
    CHECK_FALSE(mesh.allocFaces(4, points, 2, 3, outside));
    CHECK_FALSE(mesh.allocFaces(4, points, 0, 3, corners));
    CHECK_FALSE(mesh.allocFaces(4, points, 3, 2, corners));
    for (int const* bad : {oneSided, elsewhere, far})
        CHECK_FALSE(mesh.allocFaces(4, points, 2, 3, corners, bad));
    CHECK(mesh.numVertices() == 0);
    // It appends: what was there stays, new corners count from the new points.
    std::vector<TopoMeshVertex> const before = support::fillPolygon(mesh, 5);
    TopoMeshFace const f = mesh.allocFaces(4, points, 2, 3, corners, twins);
    CHECK(facesOf(mesh) == "0 1 2 3 4, 5 6 7, 5 7 8");
    CHECK(f.edge().prev().twin() == f.nextInList().edge());
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("manyFacesOnOneVertexCostNoMoreThanTheirNumber") {
    // Quadratic work here would take minutes.
    int const count = 200000;
    for (bool reversed : {false, true}) {
        TopoMesh mesh;
        std::vector<TopoMeshVertex> rim;
        TopoMeshVertex const hub = mesh.allocVertex(Point());
        for (int i = 0; i < count; ++i)
            rim.push_back(mesh.allocVertex(Point(i, 1, 0)));
        // Every other triangle first: the hub is in 100 000 loose pieces before they meet.
        for (int start : {0, 1})
            for (std::size_t i = static_cast<std::size_t>(start); i + 1 < rim.size(); i += 2)
                mesh.allocTriangle(hub, rim[reversed ? i + 1 : i], rim[reversed ? i : i + 1]);
        CHECK(numOpenEdges(mesh) == count + 1);
        CHECK(hub.valence() == count - 1);
        int numSwapped = 0;
        for (std::size_t i = 1; i + 1 < rim.size(); i += 2)
            numSwapped += mesh.swapEdge(TopoMesh::findEdge(rim[i], hub));
        CHECK(numSwapped == count / 2 - 1);
        for (TopoMeshFace f = mesh.firstFace(); f; f = mesh.firstFace())
            mesh.deleteFace(f);
        CHECK(mesh.numEdges() == 0);
    }
}
