#include "bridges.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "support/topoBuilders.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>
#include <doctest/doctest.h>
#include <functional>
#include <map>
#include <set>

using namespace koGeom;
using bridges::bitsOf;
using bridges::tableOf;
using support::faultOf;
using support::listOf;

namespace {

std::vector<int> numbersIn(Array<int> const& array) {
    return {array.begin(), array.end()};
}

void select(CompactMesh& mesh, MeshAdjTris const& adjTris, std::vector<int> const& triangles) {
    MeshSelect selection(mesh, adjTris);
    selection.getSelectedVertices().resize(mesh.getNumVertices());
    selection.getSelectedTriangles().resize(mesh.getNumTriangles());
    selection.getSelectedTriangles().setBits(static_cast<int>(triangles.size()), triangles.data());
    selection.selectVerticesFromTriangles();
}

std::vector<int> allTriangles(CompactMesh const& mesh) {
    std::vector<int> all;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        all.push_back(t);
    return all;
}

std::vector<int> randomRegion(CompactMesh const& mesh, double share, std::uint64_t seed) {
    support::Random random(seed);
    std::vector<int> region;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (random.real(0.0, 1.0) < share)
            region.push_back(t);
    return region;
}

/// What an edit may use: the bridge, the mesh behind it, and a place to note the vertices that it tells as removed.
struct Editing {
    MeshModifyRep& rep;
    TopoMesh& topo;
    std::set<int> removed;  // old numbers

    void remove(TopoMeshVertex v, int oldNumber) {
        rep.removeVertex(v);
        removed.insert(oldNumber);
    }
};

using Edit = std::function<void(Editing&)>;

/// A merge by tables of everything, and the check of the real one against it.
class MergeCheck {
public:
    MergeCheck(CompactMesh const& source, std::vector<int> const& region,
               bool withAllVertices = false)
        : mesh(source) {
        adjTris_ = tableOf(mesh);
        select(mesh, adjTris_, region);
        if (withAllVertices)
            mesh.getSelectedVertices().setAllBits();
        inRegion_.insert(region.begin(), region.end());
        old_ = mesh;
    }

    void run(Edit const& edit) {
        MeshModifyRep rep(mesh, adjTris_);
        Editing editing = {rep, rep.extract(), {}};
        for (int v = 0; v < old_.getNumVertices(); ++v)
            if (TopoMeshVertex const handle = rep.getTopoMeshVertex(v))
                entries_.emplace(handle, v);
        edit(editing);
        CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(old_));
        if (!inRegion_.empty() && editing.topo.numFaces() == 0 &&
            static_cast<int>(inRegion_.size()) == old_.getNumTriangles())
            return;  // nothing is left: a case of its own
        mergePlainly(editing);

        support::ModificationCounter counter(mesh);
        rep.merge(vertexMap, &topoMap);
        CHECK(counter.total() == (inRegion_.empty() ? 0 : 1));
        CHECK(mesh.getSelectedTriangles().count == 0);
        CHECK(mesh.getSelectedVertices().count == 0);
        CHECK(faultOf(mesh) == "");
        CHECK(support::coordinatesOf(mesh) == coordinates_);
        CHECK(support::trianglesOf(mesh) == triangles_);
        CHECK(numbersIn(vertexMap) == table_);
        CHECK(topoMap.size == static_cast<int>(entries_.size()));
        for (auto const& [handle, number] : entries_)
            CHECK(topoMap.find(handle) == number);
    }

    CompactMesh mesh;
    Array<int> vertexMap;
    ArrayMap<TopoMeshVertex, int> topoMap;

private:
    using Entries = std::map<TopoMeshVertex, int, ko::less<TopoMeshVertex>>;

    /// All that the half-edge mesh has is appended, but for the rim; then the old region goes, and numbers close up.
    void mergePlainly(Editing const& editing) {
        for (auto entry = entries_.begin(); entry != entries_.end();)
            entry = editing.removed.count(entry->second) != 0 ? entries_.erase(entry) : ++entry;
        Entries const before = entries_;
        for (auto entry = entries_.begin(); entry != entries_.end();)
            entry = isOwned(entry->second) ? entries_.erase(entry) : ++entry;
        int numVertices = old_.getNumVertices();
        for (TopoMeshVertex v : listOf(editing.topo.firstVertex()))
            numVertices += entries_.emplace(v, numVertices).second ? 1 : 0;

        std::vector<float> places = support::coordinatesOf(old_);
        places.resize(3 * static_cast<std::size_t>(numVertices));
        for (auto const& [v, number] : entries_) {
            Point const p = v.point();
            for (std::size_t k = 0; k < 3; ++k)
                places[3 * static_cast<std::size_t>(number) + k] = static_cast<float>((&p.x)[k]);
        }
        std::vector<int> corners;
        for (int t = 0; t < old_.getNumTriangles(); ++t)
            if (inRegion_.count(t) == 0)
                for (int const corner : old_.getTriangles()[t].vertices)
                    corners.push_back(corner);
        for (TopoMeshFace f : listOf(editing.topo.firstFace()))
            for (TopoMeshEdge e : {f.edge(), f.edge().next(), f.edge().next().next()})
                corners.push_back(entries_.at(e.origin()));

        std::set<int> const used(corners.begin(), corners.end());
        int numLeft = 0;
        for (int v = 0; v < numVertices; ++v) {
            bool const isSelected =
                v < old_.getNumVertices() && old_.getSelectedVertices().isBitSet(v) != 0;
            bool const goes = !inRegion_.empty() && isSelected && used.count(v) == 0;
            table_.push_back(goes ? -1 : numLeft++);
            if (!goes)
                coordinates_.insert(coordinates_.end(), places.begin() + 3 * v,
                                    places.begin() + 3 * v + 3);
        }
        for (int const corner : corners)
            triangles_.push_back(table_[static_cast<std::size_t>(corner)]);
        std::vector<int> const closing = table_;
        for (TopoMeshVertex v : listOf(editing.topo.firstVertex()))
            if (auto const old = before.find(v); old != before.end())
                if (int& number = table_[static_cast<std::size_t>(old->second)]; number == -1)
                    number = closing[static_cast<std::size_t>(entries_.at(v))];
        for (auto& [v, number] : entries_)
            number = closing[static_cast<std::size_t>(number)];
    }
    /// Without a triangle in the region nothing is renumbered.
    bool isOwned(int v) const {
        bool owned = !inRegion_.empty();
        for (int t = 0; t < old_.getNumTriangles(); ++t)
            for (int const corner : old_.getTriangles()[t].vertices)
                owned = owned && (corner != v || inRegion_.count(t) != 0);
        return owned;
    }

    CompactMesh old_;
    MeshAdjTris adjTris_;
    std::set<int> inRegion_;
    Entries entries_;  // of handles that have a number
    // What must come out.
    std::vector<float> coordinates_;
    std::vector<int> triangles_;
    std::vector<int> table_;
};

std::vector<std::vector<int>> regionsOf(CompactMesh const& mesh) {
    std::vector<std::vector<int>> regions = {{}, allTriangles(mesh)};
    if (mesh.getNumTriangles() > 0)
        regions.push_back({mesh.getNumTriangles() / 2});
    for (double const share : {0.05, 0.3, 0.7, 0.95})
        regions.push_back(randomRegion(mesh, share, 17));
    return regions;
}

/// Runs an edit for all sorts of regions of all sorts of meshes.
void checkOver(std::vector<support::NamedMesh> const& meshes, Edit const& edit) {
    for (support::NamedMesh const& named : meshes)
        for (std::vector<int> const& region : regionsOf(named.mesh)) {
            CAPTURE(named.name);
            CAPTURE(region.size());
            MergeCheck(named.mesh, region).run(edit);
        }
}

/// Cuts corners off until the face is a triangle.
void triangulate(TopoMesh& topo, TopoMeshFace f) {
    while (f.numVertices() > 3)
        if (!topo.subdivideFace(f, f.edge().origin(), f.edge().next().next().origin()))
            return;
}

}  // namespace

//   6---7---8      grid(2, 2): square s holds triangles 2s (lower right) and 2s + 1. The region is the lower row: 3, 4 and 5
//   | / | / |      are its rim, 0, 1 and 2 belong to it alone.
//   3---4---5
//   | / | / |
//   0---1---2
TEST_CASE("anUntouchedRegionComesBackAtTheEnd") {
    CompactMesh mesh = support::grid(2, 2);
    MeshAdjTris const adjTris = tableOf(mesh);
    select(mesh, adjTris, {0, 1, 2, 3});
    MeshModifyRep rep(mesh, adjTris);
    TopoMesh& topo = rep.extract();
    CHECK(support::facesOf(topo) == "0 1 4, 0 4 3, 1 2 5, 1 5 4");

    Array<int> vertexMap;
    ArrayMap<TopoMeshVertex, int> topoMap;
    support::DebugCapture debug;
    rep.merge(vertexMap, &topoMap);

    // Owned: 0, 1, 2, which are appended as 9, 10, 11 and close up to 6, 7, 8; the rim moves down by 3.
    CHECK(numbersIn(vertexMap) == std::vector<int>{6, 7, 8, 0, 1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(support::trianglesOf(mesh) == std::vector<int>{0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 4,  //
                                                         6, 7, 1, 6, 1, 0, 7, 8, 2, 7, 2, 1});
    CHECK(topoMap.size == 6);
    CHECK(topoMap.find(topo.firstVertex()) == 6);
    CHECK_FALSE(rep.getTopoMeshVertex(0));  // renumbered
    CHECK(rep.getTopoMeshVertex(3));
    CHECK(debug.text().find("meshDeleteSelected:  vertices 6(12)  triangles 4(12)\n") == 0);
    CHECK(debug.text().find("\nMeshModifyRep::merge(): 0.0") != std::string::npos);
}

TEST_CASE("nothingDoneGivesTheSameSurface") {
    for (support::NamedMesh const& named : support::zoo())
        for (std::vector<int> const& region : regionsOf(named.mesh))
            for (bool const withAllVertices : {false, true}) {
                CAPTURE(named.name);
                CAPTURE(withAllVertices);
                MergeCheck check(named.mesh, region, withAllVertices);
                check.run([](Editing&) {});
                CHECK(support::positionTriples(check.mesh) == support::positionTriples(named.mesh));
                CHECK(check.mesh.getNumVertices() == named.mesh.getNumVertices());
                for (int v = 0; v < named.mesh.getNumVertices(); ++v)
                    CHECK(check.mesh.getVertices()[check.vertexMap[v]].asPoint() ==
                          named.mesh.getVertices()[v].asPoint());
            }
}

TEST_CASE("movedVerticesTakeTheOutsideAlong") {
    Edit const moveAll = [](Editing& editing) {
        for (TopoMeshVertex v : listOf(editing.topo.firstVertex()))
            editing.topo.setPoint(v, v.point() + Vector(0.1, -0.2, 3.0));
    };
    checkOver(support::zoo(), moveAll);

    CompactMesh const source = support::terrain(12, 12, 5);
    MergeCheck check(source, randomRegion(source, 0.3, 1));
    CompactMesh expected = check.mesh;
    for (int v = 0; v < expected.getNumVertices(); ++v)
        if (expected.getSelectedVertices().isBitSet(v)) {
            Point const moved = expected.getVertices()[v].asPoint() + Vector(0.1, -0.2, 3.0);
            expected.getVertices()[v].set(&moved.x);
        }
    check.run(moveAll);
    CHECK(support::positionTriples(check.mesh) == support::positionTriples(expected));
}

TEST_CASE("removedVerticesHaveNoSuccessor") {
    int numRemoved = 0;
    for (bool const tellFirst : {true, false})
        checkOver(support::zoo(), [&numRemoved, tellFirst](Editing& editing) {
            for (int v = 0; v < 200; v += 3) {
                TopoMeshVertex const vertex = editing.rep.getTopoMeshVertex(v);
                if (!vertex || vertex.onBoundary() || !editing.topo.canDeleteVertex(vertex))
                    continue;
                if (tellFirst)
                    editing.remove(vertex, v);
                TopoMeshFace const f = editing.topo.deleteVertex(vertex);
                if (!tellFirst)
                    editing.remove(vertex, v);
                triangulate(editing.topo, f);
                ++numRemoved;
            }
            CHECK(faultOf(editing.topo) == "");
        });
    CHECK(numRemoved > 300);
}

TEST_CASE("swapsBesideTheRimComeBack") {
    int numSwaps = 0;
    checkOver(support::zoo(), [&numSwaps](Editing& editing) {
        for (TopoMeshEdge e : listOf(editing.topo.firstEdge()))
            if (!e.next().twin())
                numSwaps += editing.topo.swapEdge(e);
    });
    CHECK(numSwaps > 1000);
}

TEST_CASE("newAndDeletedFacesComeBack") {
    checkOver(support::zoo(), [](Editing& editing) {
        int i = 0;
        for (TopoMeshFace f : listOf(editing.topo.firstFace()))
            switch (i++ % 3) {
            case 0:
                editing.topo.deleteFace(f);
                break;
            case 1:
                editing.topo.subdivideFace(f, f.centroid());
                break;
            default:
                break;
            }
    });
}

TEST_CASE("theRimKeepsItsTextureCoordinates") {
    CompactMesh source = support::grid(2, 2);
    source.allocUVArray();
    source.allocNormalArray();
    source.allocAttributes("heat", 1);
    for (int v = 0; v < 9; ++v)
        source.getUVs()[v] = {static_cast<float>(v + 1), 0.5f};
    MergeCheck check(source, {0, 1, 2, 3});
    check.run([](Editing&) {});

    REQUIRE(check.mesh.getUVs() != nullptr);
    for (int rim : {3, 4, 5})
        CHECK(check.mesh.getUVs()[check.vertexMap[rim]].u == static_cast<float>(rim + 1));
    for (int owned : {0, 1, 2})
        CHECK(check.mesh.getUVs()[check.vertexMap[owned]].u == 0.0f);
    CHECK(check.mesh.getNormals() == nullptr);
    CHECK(check.mesh.getAttributes("heat") == nullptr);
}

TEST_CASE("ofALargerFaceTheFirstThreeCornersAreWritten") {
    CompactMesh mesh = support::grid(2, 1);
    MeshAdjTris const adjTris = tableOf(mesh);
    select(mesh, adjTris, {0, 1});
    MeshModifyRep rep(mesh, adjTris);
    TopoMesh& topo = rep.extract();
    REQUIRE(
        topo.deleteEdge(TopoMesh::findEdge(rep.getTopoMeshVertex(0), rep.getTopoMeshVertex(4))));
    std::string const corners = support::facesOf(topo);
    REQUIRE(corners.size() == 7);
    ArrayMap<TopoMeshVertex, int> topoMap;
    Array<int> vertexMap;
    rep.merge(vertexMap, &topoMap);
    REQUIRE(mesh.getNumTriangles() == 3);
    TopoMeshEdge e = topo.firstFace().edge();
    for (int i = 0; i < 3; ++i, e = e.next())
        CHECK(mesh.getTriangles()[2][i] == topoMap.find(e.origin()));
}

TEST_CASE("aVertexThatIsToldButKeptComesBackAsANewOne") {
    CompactMesh mesh = support::octahedron();
    MeshAdjTris const adjTris = tableOf(mesh);
    select(mesh, adjTris, allTriangles(mesh));
    MeshModifyRep rep(mesh, adjTris);
    TopoMesh& topo = rep.extract();
    TopoMesh other;
    rep.removeVertex(other.allocVertex(Point()));
    rep.removeVertex(TopoMeshVertex());
    rep.removeVertex(topo.allocVertex(Point(7, 7, 7)));  // not in the region
    CHECK(rep.getTopoMeshVertex(0));
    rep.removeVertex(rep.getTopoMeshVertex(2));
    rep.removeVertex(support::listOf(topo.firstVertex())[2]);
    CHECK_FALSE(rep.getTopoMeshVertex(2));

    Array<int> vertexMap;
    ArrayMap<TopoMeshVertex, int> topoMap;
    rep.merge(vertexMap, &topoMap);
    CHECK(mesh.getNumVertices() == 7);
    CHECK(numbersIn(vertexMap) == std::vector<int>{0, 1, -1, 3, 4, 5, 0, 1, 2, 3, 4, 5, 6});
    CHECK(topoMap.find(support::listOf(topo.firstVertex())[2]) == 2);
    CHECK(mesh.getVertices()[6].x == 7.0f);
}

TEST_CASE("aRimVertexDeletedWithoutAWordStaysForTheOutside") {
    CompactMesh mesh = support::grid(2, 2);
    MeshAdjTris const adjTris = tableOf(mesh);
    select(mesh, adjTris, {3});  // 1, 5, 4
    MeshModifyRep rep(mesh, adjTris);
    TopoMesh& topo = rep.extract();
    TopoMeshVertex const v = rep.getTopoMeshVertex(5);
    topo.deleteFace(topo.firstFace());
    topo.deleteVertex(v);
    REQUIRE_FALSE(topo.contains(v));
    Array<int> vertexMap;
    ArrayMap<TopoMeshVertex, int> topoMap;
    rep.merge(vertexMap, &topoMap);
    CHECK(mesh.getNumTriangles() == 7);
    CHECK(mesh.getNumVertices() == 9);
    CHECK(topoMap.find(v) == 5);
    CHECK(faultOf(mesh) == "");
}

TEST_CASE("aMeshWithoutAFaceLeftIsEmpty") {
    CompactMesh mesh = support::cube();
    MeshAdjTris const adjTris = tableOf(mesh);
    select(mesh, adjTris, allTriangles(mesh));
    MeshModifyRep rep(mesh, adjTris);
    TopoMesh& topo = rep.extract();
    for (TopoMeshFace f : support::listOf(topo.firstFace()))
        topo.deleteFace(f);
    Array<int> vertexMap;
    ArrayMap<TopoMeshVertex, int> topoMap;
    support::ModificationCounter counter(mesh);
    rep.merge(vertexMap, &topoMap);
    CHECK(mesh.getNumVertices() == 0);
    CHECK(mesh.getNumTriangles() == 0);
    CHECK(counter.total() == 1);
    CHECK(numbersIn(vertexMap) == std::vector<int>(16, -1));
    CHECK(topoMap.size == 8);
    CHECK(topoMap.find(topo.firstVertex()) == -1);
}

TEST_CASE("withoutTrianglesInTheRegionNothingIsDeleted") {
    CompactMesh const source = support::grid(2, 2);
    Array<int> vertexMap;
    ArrayMap<TopoMeshVertex, int> topoMap;
    for (int change = 0; change < 3; ++change) {
        CAPTURE(change);
        CompactMesh mesh = source;
        MeshAdjTris const adjTris = tableOf(mesh);
        BitVector vertices(9);
        vertices.setBit(4);
        MeshModifyRep rep(mesh, BitVector(8), vertices, adjTris);
        TopoMesh& topo = rep.extract();
        TopoMeshVertex const center = topo.firstVertex();
        if (change == 1)
            topo.setPoint(center, Point(1, 1, 5));
        TopoMeshVertex const far = change == 2 ? topo.allocVertex(Point(9, 0, 0)) : center;
        if (change == 2)
            topo.allocTriangle(center, far, topo.allocVertex(Point(0, 9, 0)));

        support::ModificationCounter counter(mesh);
        rep.merge(vertexMap, &topoMap);
        CHECK(counter.total() == (change == 0 ? 0 : 1));
        CHECK(mesh.getSelectedVertices().count == 0);
        CHECK(mesh.getNumVertices() == (change == 2 ? 11 : 9));
        CHECK(mesh.getNumTriangles() == (change == 2 ? 9 : 8));
        CHECK(mesh.getVertices()[4].z == (change == 1 ? 5.0f : 0.0f));
        CHECK(topoMap.find(center) == 4);
        CHECK(topoMap.find(far) == (change == 2 ? 9 : 4));
        for (int v = 0; v < vertexMap.size(); ++v)
            CHECK(vertexMap[v] == v);
        if (change > 0)
            CHECK(counter.type(0) ==
                  (change == 1 ? MeshModification::Geometry : MeshModification::Topology));
    }
    // An isolated vertex is no reason to be renumbered either.
    CompactMesh alone = support::meshOf({1, 2, 3}, {});
    MeshAdjTris const adjTris = tableOf(alone);
    BitVector vertices(1);
    vertices.setBit(0);
    MeshModifyRep rep(alone, BitVector(), vertices, adjTris);
    rep.extract();
    rep.merge();
    CHECK(alone.getNumVertices() == 1);
}

// The region is square 0; when the merge comes, square 3 is selected in the mesh.
TEST_CASE("whatElseIsSelectedAtTheMergeIsForgottenAndStays") {
    for (bool const hasRegion : {true, false}) {
        CompactMesh mesh = support::grid(2, 2);
        MeshAdjTris const adjTris = tableOf(mesh);
        std::vector<int> const none;
        BitVector const triangles = bitsOf(8, hasRegion ? std::vector<int>{0, 1} : none);
        BitVector const vertices = bitsOf(9, hasRegion ? std::vector<int>{0, 1, 3, 4} : none);
        MeshModifyRep rep(mesh, triangles, vertices, adjTris);
        rep.extract();
        CHECK(mesh.getSelectedTriangles().count == 0);
        select(mesh, adjTris, {6, 7});
        Array<int> vertexMap;
        rep.merge(vertexMap, nullptr);
        CHECK(mesh.getSelectedTriangles().count == 0);
        CHECK(mesh.getSelectedVertices().count == 0);
        CHECK(faultOf(mesh) == "");
        CHECK(mesh.getNumTriangles() == 8);
        std::vector<int> const renumbered = {8, 0, 1, 2, 3, 4, 5, 6, 7, 8};
        CHECK(numbersIn(vertexMap) ==
              (hasRegion ? renumbered : std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
    }
}

TEST_CASE("aTableOfASmallerOrLargerMeshIsSurvived") {
    for (CompactMesh const& other : {CompactMesh(), support::grid(1, 1), support::grid(9, 9)}) {
        CompactMesh mesh = support::grid(2, 2);
        select(mesh, tableOf(mesh), {0, 1, 2, 3});
        MeshAdjTris const adjTris = tableOf(other);
        MeshModifyRep rep(mesh, adjTris);
        rep.extract();
        rep.merge();
        CHECK(faultOf(mesh) == "");
        CHECK(support::positionTriples(mesh) == support::positionTriples(support::grid(2, 2)));
    }
}

TEST_CASE("aMergeOutOfOrderIsRefused") {
    CompactMesh mesh = support::grid(2, 2);
    MeshAdjTris const adjTris = tableOf(mesh);
    select(mesh, adjTris, {0, 1});
    support::ModificationCounter counter(mesh);
    Array<int> vertexMap(3);
    ArrayMap<TopoMeshVertex, int> topoMap;

    MeshModifyRep early(mesh, adjTris);
    early.merge(vertexMap, &topoMap);
    CHECK(counter.total() == 0);
    MeshModifyRep late(mesh, adjTris);
    late.extract();

    MeshModifyRep rep(mesh, adjTris);
    rep.extract();
    rep.merge();
    CHECK(counter.total() == 1);
    rep.merge(vertexMap, &topoMap);
    CHECK(counter.total() == 1);
    CHECK(vertexMap.size() == 3);

    // Since late was extracted, three vertices or a triangle have gone: either is enough.
    REQUIRE(mesh.getNumTriangles() == 8);
    mesh.resizeVertexArray(8);
    late.merge();
    mesh.resizeVertexArray(9);
    mesh.resizeTriangleArray(7);
    late.merge();
    CHECK(counter.total() == 1);
    CHECK(mesh.getNumTriangles() == 7);
}
