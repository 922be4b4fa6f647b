#include "support/builders.h"
#include "support/oracles.h"
#include "toolkit/meshInvariants.h"

#include "trimora/connectivity/meshComputeNormals.h"

#include <doctest/doctest.h>
#include <functional>
#include <limits>

using koGeom::CompactMesh;
using koGeom::MeshModification;
using trimora::censusOf;
using trimora::checkInvariants;
using trimora::Expectation;
using trimora::InvariantDepth;
using trimora::MeshState;
using trimora::stateOf;
using trimora::SurfaceCensus;

namespace {

std::string faultAfter(CompactMesh mesh, std::function<void(CompactMesh&)> const& edit,
                       Expectation const& expected = {}) {
    MeshState const before = stateOf(mesh, InvariantDepth::Surface);
    edit(mesh);
    return checkInvariants(before, mesh, expected).text;
}

void send(CompactMesh& mesh, MeshModification::Type type) {
    MeshModification modification(&mesh, type, nullptr);
    mesh.modified(modification);
}

}  // namespace

TEST_CASE("countsAQuadOfTwoTriangles") {
    // 2 --- 3
    // |  \  |     4 is not used
    // 0 --- 1
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 5, 5, 5}, {0, 1, 2, 1, 3, 2});
    SurfaceCensus const census = censusOf(mesh);
    CHECK(census.faces == 2);
    CHECK(census.usedVertices == 4);
    CHECK(census.edges == 5);
    CHECK(census.openEdges == 4);
    CHECK(census.eulerNumber() == 1);
    CHECK(census.components == 1);
    CHECK(census.loops == 1);
    CHECK(census.isOriented());
}

TEST_CASE("countsPolygonsWhereThereAreNoTriangles") {
    CompactMesh mesh = support::cube();
    mesh.resizeTriangleArray(0);
    mesh.polys = koGeom::MeshSequence(ko::vector<ko::vector<int>>{
        {0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}});
    SurfaceCensus const census = censusOf(mesh);
    CHECK(census.faces == 6);
    CHECK(census.edges == 12);
    CHECK(census.openEdges == 0);
    CHECK(census.eulerNumber() == 2);
    CHECK(census.isOriented());
    CHECK(census.loops == 0);
}

TEST_CASE("countsKnownSurfaces") {
    CHECK(censusOf(support::torus(12, 8)).eulerNumber() == 0);
    CHECK(censusOf(support::sphere(2)).eulerNumber() == 2);
    SurfaceCensus const strip = censusOf(support::moebius(9));
    CHECK(strip.isManifold());
    CHECK_FALSE(strip.isOriented());
    CHECK(strip.eulerNumber() == 0);
    SurfaceCensus const tie = censusOf(support::bowTie());
    CHECK(tie.pinchedVertices == 1);
    CHECK(tie.components == 1);
    CHECK_FALSE(tie.isManifold());
    CHECK(censusOf(support::threeOnAnEdge()).nonManifoldEdges == 1);
    SurfaceCensus const two =
        censusOf(support::joined(support::grid(2, 2), support::grid(2, 2), 5.0f));
    CHECK(two.components == 2);
    CHECK(two.loops == 2);
}

TEST_CASE("countsAsTheOraclesDo") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        if (named.name == "degenerate triangles" || named.name.find("lattice") != std::string::npos)
            continue;  // sides from a vertex to itself are edges there
        SurfaceCensus const census = censusOf(named.mesh);
        CHECK(census.eulerNumber() == support::eulerNumber(named.mesh));
        CHECK(census.components == support::numComponents(named.mesh));
        CHECK(census.openEdges == support::numBorderEdges(named.mesh));
    }
}

TEST_CASE("tellsNoLoopsWhereBordersTouch") {
    // 0 --- 1          two triangles that share the vertex 1 alone: two edges leave it
    //   \  / \  .
    //    2   3-4
    CompactMesh const mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, -1, 0, 1, -1, 0, 2, -1, 0}, {0, 2, 1, 1, 3, 4});
    CHECK_FALSE(censusOf(mesh).loops.has_value());
}

TEST_CASE("seesWhatAnEditBroke") {
    CompactMesh const mesh = support::sphere(1);
    auto const nothing = [](CompactMesh&) {};
    CHECK(faultAfter(mesh, nothing).empty());
    CHECK(
        faultAfter(mesh, [](CompactMesh& m) {
            m.getTriangles()[5][1] = -1;
        }).find("triangle 5 names vertex -1, and the vertices have the numbers 0 to 17, at ") == 0);
    CHECK(faultAfter(mesh, [](CompactMesh& m) {
              m.getTriangles()[5][1] = 18;
          }).find("triangle 5 names vertex 18") == 0);
    CHECK(faultAfter(mesh, [](CompactMesh& m) { m.getSelectedVertices().count = 3; }) ==
          "the selection of vertices says that it has 3, and 0 bits are set");
    CHECK(faultAfter(mesh, [](CompactMesh& m) {
              m.getVertices()[4].y = std::numeric_limits<float>::quiet_NaN();
          }) == "vertex 4 is NaN or infinite now");
    CHECK(faultAfter(mesh, [](CompactMesh& m) {
              m.allocUVArray();
              m.getUVs()[2].u = std::numeric_limits<float>::infinity();
          }) == "a vertex set holds NaN or infinite values now");
    CHECK(faultAfter(mesh, [](CompactMesh& m) {
              m.polys.resize(3, 1);
              m.polys.lengths[0] = 4;
          }) == "the lengths of each polygon add up to 4, and there are 3 points");
    CHECK(faultAfter(mesh, [](CompactMesh& m) {
              m.polys.resize(3, 2);
              m.polys.lengths[0] = 4;
              m.polys.lengths[1] = -1;
          }) == "polygon 1 has the length -1");
}

TEST_CASE("seesWhatIsOutOfDate") {
    CompactMesh mesh = support::sphere(1);
    float low = 0.0f;
    float high = 0.0f;
    mesh.getAttributes(0)->getRange(0, low, high);  // kept from now on
    CHECK(faultAfter(mesh, [](CompactMesh& m) { m.getVertices()[0].x = 7.0f; }) ==
          "the range that is kept of the set 'vertices' is out of date");
    CHECK(faultAfter(mesh, [](CompactMesh& m) {
              m.getVertices()[0].x = 7.0f;
              m.getAttributes(0)->invalidateRange();
          }).empty());
    CHECK(faultAfter(support::sphere(1), [](CompactMesh& m) {
              m.resizeTriStripArrays(6, 2);
              m.triStrips.lengths[0] = 3;
              m.triStrips.lengths[1] = 3;
              static_cast<void>(m.triStrips.getOffsets());
              m.triStrips.lengths[0] = 2;
              m.triStrips.lengths[1] = 4;
          }) == "the places that are kept of runs are out of date");
    CompactMesh withNormals = support::sphere(1);
    koGeom::meshComputeNormals(withNormals);
    CHECK(faultAfter(withNormals, [](CompactMesh& m) {
              m.getVertices()[0].x += 0.5f;
              m.getAttributes(0)->invalidateRange();
          }) == "the computed normals are out of date");
}

TEST_CASE("holdsAnEditToItsPrediction") {
    CompactMesh const mesh = support::sphere(1);
    MeshState const before = stateOf(mesh, InvariantDepth::Surface);
    Expectation expected = Expectation::ofKeptTopology(before);
    auto const removeOne = [](CompactMesh& m) { m.resizeTriangleArray(m.getNumTriangles() - 1); };
    CHECK(faultAfter(mesh, removeOne, expected) ==
          "the Euler number is 1, and 2 was to be expected");
    CHECK(faultAfter(
              mesh,
              [](CompactMesh& m) { std::swap(m.getTriangles()[0][0], m.getTriangles()[0][1]); },
              expected) == "an oriented surface has come out as none");
    expected = {};
    expected.triangles = 32;
    CHECK(faultAfter(mesh, removeOne, expected) ==
          "the triangles are 31, and 32 were to be expected");
    expected = {};
    expected.sameFaces = true;
    CHECK(faultAfter(mesh, removeOne, expected) == "faces have changed that were to stay");
    expected = {};
    expected.samePositions = true;
    CHECK(faultAfter(
              mesh, [](CompactMesh& m) { m.getVertices()[0].x = 1.5f; }, expected) ==
          "vertices have moved that were to stay");
    expected = {};
    expected.loops = 0;
    CHECK(faultAfter(mesh, removeOne, expected) == "the borders are 1, and 0 were to be expected");
}

TEST_CASE("wantsOneNoticeOfAChangeAndNoneOfNoChange") {
    CompactMesh mesh = support::sphere(1);
    auto const faultWith = [&mesh](int times, bool change) {
        CompactMesh copy(mesh);
        MeshState const before = stateOf(copy, InvariantDepth::Arrays);
        trimora::NoticeRecorder const recorder(copy);
        if (change)
            copy.getVertices()[0].x = 2.0f;
        for (int i = 0; i < times; ++i)
            send(copy, MeshModification::Geometry);
        Expectation expected;
        expected.notices = recorder.count();
        return checkInvariants(before, copy, expected).text;
    };
    CHECK(faultWith(0, false).empty());
    CHECK(faultWith(1, true).empty());
    CHECK(faultWith(0, true) == "the mesh has changed and sent no notice");
    CHECK(faultWith(1, false) == "the mesh has sent a notice and not changed");
    CHECK(faultWith(2, true) == "one edit has sent 2 notices");
}

TEST_CASE("noticesEveryKindOfChange") {
    CompactMesh const mesh = support::sphere(1);
    MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
    std::vector<std::function<void(CompactMesh&)>> const changes = {
        [](CompactMesh& m) { m.getVertices()[17].z = -0.25f; },
        [](CompactMesh& m) { std::swap(m.getTriangles()[0], m.getTriangles()[31]); },
        [](CompactMesh& m) { m.resizeVertexArray(19); },
        [](CompactMesh& m) { m.allocUVArray(); },
        [](CompactMesh& m) { m.allocAttributes("heat", 1); },
        [](CompactMesh& m) {
            m.getSelectedTriangles().resize(32);
            m.getSelectedTriangles().setBit(31);
        },
        [](CompactMesh& m) { m.resizeLineArray(1); },
        [](CompactMesh& m) { m.allocTriangleNormalArray(); },
        [](CompactMesh& m) { m.polys.resize(0, 1); }};
    for (auto const& change : changes) {
        CompactMesh copy(mesh);
        change(copy);
        CHECK_FALSE(before.isSameAs(stateOf(copy, InvariantDepth::Arrays)));
    }
    CompactMesh roomForNone(mesh);  // a selection of nothing is none, whatever its size
    roomForNone.getSelectedTriangles().resize(64);
    CHECK(before.isSameAs(stateOf(roomForNone, InvariantDepth::Arrays)));
}
