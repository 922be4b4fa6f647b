#include "trimora/assembly/meshSubsetFromEdge.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

// A sheet of quads, numU x numV vertices; closed in u when `ring` is set. Vertex (i, j) has number
// j numU + i.
struct QuadSheet {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> vertices;
    int numU;

    QuadSheet(int sizeU, int numV, bool ring) : numU(sizeU) {
        for (int j = 0; j < numV; ++j) {
            for (int i = 0; i < numU; ++i)
                vertices.push_back(mesh.allocVertex(Point(i, j, 0)));
        }
        for (int j = 0; j + 1 < numV; ++j) {
            for (int i = 0; i + (ring ? 0 : 1) < numU; ++i)
                mesh.allocQuad(at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1));
        }
    }
    TopoMeshVertex at(int i, int j) const {
        return vertices[static_cast<std::size_t>(j * numU + i % numU)];
    }
    TopoMeshEdge edge(int i, int j) const { return TopoMesh::findEdge(at(i, j), at(i + 1, j)); }
};

std::vector<double> originsOf(ko::vector<TopoMeshEdge> const& edges) {
    std::vector<double> xs;
    for (TopoMeshEdge const edge : edges)
        xs.push_back(edge.origin().point().x);
    return xs;
}

}  // namespace

TEST_CASE("aRingOfQuadsGivesAClosedLoop") {
    QuadSheet const sheet(6, 3, true);
    ko::vector<TopoMeshEdge> loop;
    bool open = true;
    meshSubsetFromEdge(sheet.mesh, sheet.edge(2, 1), loop, open);
    CHECK_FALSE(open);
    CHECK(originsOf(loop) == std::vector<double>{2, 3, 4, 5, 0, 1});
}

TEST_CASE("anOpenLoopRunsBothWaysToTheBorder") {
    QuadSheet const sheet(7, 3, false);
    ko::vector<TopoMeshEdge> loop;
    bool open = false;
    meshSubsetFromEdge(sheet.mesh, sheet.edge(3, 1), loop, open);
    CHECK(open);
    CHECK(originsOf(loop) == std::vector<double>{0, 1, 2, 3, 4, 5});
    for (std::size_t k = 0; k + 1 < loop.size(); ++k)
        CHECK(loop[k].next().origin() == loop[k + 1].origin());
}

TEST_CASE("loopsEndAtTwoHundredEdges") {
    for (bool const ring : {true, false}) {
        QuadSheet const sheet(300, 3, ring);
        ko::vector<TopoMeshEdge> loop;
        bool open = false;
        meshSubsetFromEdge(sheet.mesh, sheet.edge(250, 1), loop, open);
        CHECK(open);
        CHECK(loop.size() == 200);
    }
}

TEST_CASE("irregularEndsAndNullEdgesStopTheWalk") {
    QuadSheet const sheet(4, 2, false);
    ko::vector<TopoMeshEdge> loop;
    bool open = false;
    meshSubsetFromEdge(sheet.mesh, sheet.edge(1, 0), loop, open);
    CHECK(open);
    CHECK(loop.size() == 1);
    loop.clear();
    open = false;
    meshSubsetFromEdge(sheet.mesh, TopoMeshEdge(), loop, open);
    CHECK(open);
    CHECK(loop.empty());
}

//   3   2   1       a border vertex m whose four triangles leave it four half-edges; nothing lies below
//     \ | /
//   4---m---0
TEST_CASE("aMissingFaceIsSharedWithNothing") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> rim;
    for (int i = 0; i < 5; ++i)
        rim.push_back(mesh.allocVertex(Point(i, 0, 0)));
    TopoMeshVertex const m = mesh.allocVertex(Point(9, 0, 0));
    for (std::size_t i = 0; i < 4; ++i)
        mesh.allocTriangle(m, rim[i], rim[i + 1]);
    auto const loopOf = [&mesh](TopoMeshVertex from, TopoMeshVertex to) {
        ko::vector<TopoMeshEdge> loop;
        bool open = false;
        meshSubsetFromEdge(mesh, TopoMesh::findEdge(from, to), loop, open);
        CHECK(open);
        std::vector<double> xs = originsOf(loop);
        xs.push_back(loop.back().next().origin().point().x);
        return xs;
    };
    CHECK(loopOf(rim[4], m) == std::vector<double>{4, 9, 0});
    // Backward the edge straight on is the border's, which has no twin to come along.
    CHECK(loopOf(m, rim[3]) == std::vector<double>{9, 3});
}
