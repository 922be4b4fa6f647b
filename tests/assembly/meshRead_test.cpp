// meshRead and meshWrite, of both kinds of mesh.

#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/assembly/meshRead.h"
#include "trimora/assembly/meshWrite.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <string>
#include <vector>

using namespace koGeom;
using support::coordinatesOf;
using support::nameOf;
using support::trianglesOf;
using Ints = std::vector<int>;
using Floats = std::vector<float>;

namespace {

template <class Mesh>
std::string written(Mesh& mesh) {
    support::TemporaryFolder const folder;
    meshWrite(mesh, nameOf(folder.path("a.txt")));
    return folder.read("a.txt");
}

CompactMesh meshFrom(std::string const& text) {
    CompactMesh mesh;
    detail::readPlainText(mesh, text);
    CHECK(support::faultOf(mesh) == "");
    return mesh;
}

/// Corners of all faces, each from its first edge, and -1 behind each.
Ints ringsOf(TopoMesh const& mesh) {
    Ints rings;
    std::vector<TopoMeshVertex> vertices;
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
        vertices.push_back(v);
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge e = f.edge();
        for (int i = 0; i < f.numVertices(); ++i, e = e.next())
            rings.push_back(static_cast<int>(
                std::find(vertices.begin(), vertices.end(), e.origin()) - vertices.begin()));
        rings.push_back(-1);
    }
    return rings;
}

std::string const square = "4 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n";

}  // namespace

TEST_CASE("writesThePlainFormat") {
    CompactMesh const mesh = support::meshOf(
        {0, -0.0f, 0.1f, 1.0f / 3, 16777216, 1e-20f, 1e20f, 3.4028235e38f, 5}, {2, 1, 0});
    CHECK(written(mesh) == "3 1\n0 -0 0.1000000015\n0.3333333433 16777216 9.999999683e-21\n"
                           "1.00000002e+20 3.402823466e+38 5\n3 2 1 0\n");
}

TEST_CASE("floatsAndTrianglesComeBackFromThePlainFormat") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        CompactMesh const back = meshFrom(written(named.mesh));
        CHECK(coordinatesOf(back) == coordinatesOf(named.mesh));
        CHECK(trianglesOf(back) == trianglesOf(named.mesh));
    }
    support::Random random(3);
    Floats all;
    for (int i = 0; i < 30000; ++i)
        all.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random.next())));
    CompactMesh const mesh = support::meshOf(all, {});
    Floats const back = coordinatesOf(meshFrom(written(mesh)));
    REQUIRE(back.size() == all.size());
    for (std::size_t i = 0; i < all.size(); ++i)
        CHECK((back[i] == all[i] || (std::isnan(back[i]) && std::isnan(all[i]))));
}

TEST_CASE("anyWhiteSpaceSeparatesTheNumbersAndACountIsIgnored") {
    CompactMesh const mesh = meshFrom("  3\t1\r\n0 0\n0 1 0 0\v0 inf -0x\n9 0 1 2");
    CHECK(mesh.getNumVertices() == 3);
    // The "-0" was read, the x behind it is where the file goes wrong.
    CHECK(coordinatesOf(mesh) ==
          Floats{0, 0, 0, 1, 0, 0, 0, std::numeric_limits<float>::infinity(), 0});
    CHECK(trianglesOf(mesh) == Ints{0, 0, 0});
    CHECK(trianglesOf(meshFrom(square + "9 0 1 2 0 1 3 2")) == Ints{0, 1, 2, 1, 3, 2});
}

TEST_CASE("whatIsNotReadIsZero") {
    CompactMesh const shortVertices = meshFrom("3 1\n1 2 3\n4 5 6\n7 x y z w\n");
    CHECK(coordinatesOf(shortVertices) == Floats{1, 2, 3, 4, 5, 6, 7, 0, 0});
    CHECK(trianglesOf(shortVertices) == Ints{0, 0, 0});
    for (std::string const last : {"3 0 1 4", "3 0 1 -1", "3 0 1", "", "3 0 1 99999999999", "x"}) {
        CAPTURE(last);
        CHECK(trianglesOf(meshFrom(square + "3 0 1 2\n" + last)) == Ints{0, 1, 2, 0, 0, 0});
    }
    CHECK(meshFrom("0 2\n3 0 0 0\n3 0 0 0\n").getNumTriangles() == 0);
}

TEST_CASE("refusesImpossibleCounts") {
    for (std::string const text :
         {"", "x", "3", "-1 0\n", "0 -1\n", "1000000000 0\n0 0 0\n", "0 1000000000\n",
          "99999999999 0\n", "2147483647 2147483647\n"}) {
        CAPTURE(text);
        CompactMesh mesh = support::cube();
        detail::readPlainText(mesh, text);
        CHECK(trianglesOf(mesh) == trianglesOf(support::cube()));
        TopoMesh topoMesh;
        detail::readPlainText(topoMesh, text);
        CHECK(topoMesh.numVertices() == 0);
    }
}

TEST_CASE("aFileThatCannotBeOpenedChangesNothing") {
    support::TemporaryFolder const folder;
    CompactMesh mesh = support::cube();
    support::ModificationCounter const counter(mesh);
    meshRead(mesh, nameOf(folder.path("absent")));
    meshRead(mesh, nameOf(folder.path()));
    CHECK(mesh.getNumTriangles() == 12);
    TopoMesh topoMesh;
    meshRead(topoMesh, nameOf(folder.path("absent")));
    CHECK(topoMesh.numVertices() == 0);
    meshWrite(mesh, nameOf(folder.path("absent/a")));
    meshWrite(topoMesh, nameOf(folder.path("absent/a")));
    CHECK(folder.size() == 0);

    meshRead(mesh, nameOf(folder.write("a", "3 1\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n")));
    CHECK(mesh.getNumTriangles() == 1);
    CHECK(counter.total() == 0);
}

//   3---2---5      a quad and two triangles
//   |   |  /|
//   |   | / |
//   0---1---4
TEST_CASE("facesOfAnySizeGoThroughATopoMesh") {
    std::string const head = "6 3\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n2 0 0\n2 ";
    std::string const tail = " 0\n4 0 1 2 3\n3 1 5 2\n3 1 4 5\n";
    TopoMesh mesh;
    detail::readPlainText(mesh, head + "1.0000000001" + tail);
    CHECK(support::faultOf(mesh) == "");
    CHECK(ringsOf(mesh) == Ints{0, 1, 2, 3, -1, 1, 5, 2, -1, 1, 4, 5, -1});
    CHECK(TopoMesh::findEdge(mesh.firstVertex().nextInList(),
                             mesh.firstVertex().nextInList().nextInList())
              .twin());
    CHECK(written(mesh) == head + "1" + tail);

    detail::readPlainText(mesh, "3 1\n0 0 1\n1 0 1\n0 1 1\n3 0 1 2\n");
    CHECK(mesh.numVertices() == 9);
    CHECK(ringsOf(mesh) == Ints{0, 1, 2, 3, -1, 1, 5, 2, -1, 1, 4, 5, -1, 6, 7, 8, -1});
}

TEST_CASE("triangleFilesAreOneFormatForBothMeshes") {
    CompactMesh const sphere = support::sphere(2);
    std::string const text = written(sphere);
    TopoMesh mesh;
    detail::readPlainText(mesh, text);
    CHECK(support::faultOf(mesh) == "");
    CHECK(written(mesh) == text);
}

TEST_CASE("readingATopoMeshTellsOnceMoreThanItsTwins") {
    TopoMesh mesh;
    int numSignals = 0;
    struct Listener {
        int& count;
        void hear(EntityModification&) { ++count; }
    } listener{numSignals};
    mesh.modificationSignal().addCallback(
        new koRTB::FunctionArgMember<EntityModification&, Listener>(&listener, &Listener::hear));

    // Wound alike on the shared edge: allocation finds no twin there, the completion does.
    detail::readPlainText(mesh, square + "3 0 1 2\n3 1 2 3\n");
    CHECK(numSignals == 2);
    CHECK(support::faultOf(mesh) == "");
    detail::readPlainText(mesh, "x");
    CHECK(numSignals == 2);
}

TEST_CASE("aTopoMeshStopsAtABadFaceAndKeepsTheOnesBefore") {
    for (std::string const last :
         {"3 0 1 4", "-3 0 1 2", "99999999 0 1 2", "3 0 1", "x", "3 0 -1 2"}) {
        CAPTURE(last);
        TopoMesh mesh;
        detail::readPlainText(mesh, square + "3 0 1 2\n" + last);
        CHECK(ringsOf(mesh) == Ints{0, 1, 2, -1});
        CHECK(support::faultOf(mesh) == "");
    }
    TopoMesh mesh;
    detail::readPlainText(mesh, "4 4\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0\n2 0 1\n3 0 1 1\n3 0 1 2\n");
    CHECK(ringsOf(mesh) == Ints{0, 1, 1, -1, 0, 1, 2, -1});
    CHECK(support::faultOf(mesh) == "");
}

TEST_CASE("anyBytesLeaveValidMeshesOfBothKinds") {
    std::string const alphabet = " \n0123456789-+.exin";
    support::Random random(11);
    for (int round = 0; round < 1000; ++round) {
        std::string const text =
            support::damaged(square + "3 0 1 2\n3 1 3 2\n", alphabet, 5, random);
        CAPTURE(text);
        REQUIRE(support::faultOf(meshFrom(text)) == "");
        TopoMesh mesh;
        detail::readPlainText(mesh, text);
        REQUIRE(support::faultOf(mesh) == "");
    }
}
