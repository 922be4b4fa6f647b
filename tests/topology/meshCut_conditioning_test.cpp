#include "surfaceCuts.h"

#include "trimora/topology/detail/ConditionMesh.h"

#include <doctest/doctest.h>

using namespace koGeom;
using namespace curves;

namespace {

/// The boundary vertices of a bare cut that the cut has made, and their neighbours inside: what the conditioning works on.
ko::set<TopoMeshVertex> besideTheCut(TopoMesh& mesh,
                                     ko::set<TopoMeshVertex> const& formerBoundary) {
    ko::set<TopoMeshVertex> found;
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
        if (v.onBoundary() && formerBoundary.count(v) == 0)
            found.insert(v);
    ko::set<TopoMeshVertex> const boundary = found;
    for (TopoMeshVertex v : boundary)
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
            for (TopoMeshVertex const near : {i.edge.next().origin(), i.edge.prev().origin()})
                if (!near.onBoundary())
                    found.insert(near);
    return found;
}

}  // namespace

TEST_CASE("conditioningLeavesNoSliverThatItCouldTake") {
    for (std::uint64_t seed = 0; seed < 12; ++seed) {
        support::Random random(seed);
        Surface surface(support::grid(12, 12));
        ko::set<TopoMeshVertex> boundary;
        for (TopoMeshVertex v : surface.vertices)
            if (v.onBoundary())
                boundary.insert(v);
        Cut cut(surface,
                {surface.straight({0.0, random.real(1.0, 11.0)}, {12.0, random.real(1.0, 11.0)}),
                 surface.straight({random.real(1.0, 11.0), 0.0}, {random.real(1.0, 11.0), 12.0})});
        REQUIRE(cut.result);
        int const numFaces = surface.mesh.numFaces();
        detail::ConditionMesh conditioner(surface.mesh, besideTheCut(surface.mesh, boundary),
                                          tolerance);
        int const numPasses = conditioner.run();
        CHECK(numPasses <= 5);
        CHECK(faultAfterCut(surface.mesh) == "");
        CHECK(surface.mesh.numFaces() < numFaces);
        CHECK(Shape(surface.mesh).area == doctest::Approx(144.0).epsilon(1e-6));
        CHECK(Shape(surface.mesh).components == 4);
        if (numPasses == detail::ConditionMesh::maxPasses)
            continue;
        for (TopoMeshVertex v : conditioner.getVertices())
            if (conditioner.canGo(v))
                CHECK_FALSE(conditioner.remove(v));
    }
}

TEST_CASE("tellsOfEachVertexJustBeforeItGoes") {
    struct Listener {
        TopoMesh& mesh;
        std::vector<TopoMeshVertex> told;
        void removed(TopoMeshVertex v) {
            CHECK(mesh.contains(v));
            told.push_back(v);
        }
    };
    Surface surface(support::grid(8, 8));
    Listener listener{surface.mesh, {}};
    koRTB::SignalArg<TopoMeshVertex> signal;
    signal.addCallback(new koRTB::FunctionArgMember(&listener, &Listener::removed));
    Curves all;
    MeshCurveTopology::convert(all, surface.straight({0.0, 3.03}, {8.0, 5.02}), tolerance);
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(meshCut(surface.mesh, topology, &signal));
    CHECK_FALSE(listener.told.empty());
    for (TopoMeshVertex v : listener.told)
        CHECK_FALSE(surface.mesh.contains(v));
}

TEST_CASE("aRemovalThatFailsPutsEverySwapBack") {
    // Rough ground: most vertices resist, after some swaps.
    Surface surface(support::terrain(10, 10, 3));
    ko::set<TopoMeshVertex> const all(surface.vertices.begin(), surface.vertices.end());
    detail::ConditionMesh conditioner(surface.mesh, all, 10.0);
    int numFailed = 0;
    for (TopoMeshVertex v : surface.vertices) {
        if (!surface.mesh.contains(v))
            continue;
        auto const before = support::digestOf(surface.mesh, false);
        if (conditioner.remove(v))
            CHECK(faultAfterCut(surface.mesh, false) == "");
        else if (++numFailed < 40)
            CHECK(support::digestOf(surface.mesh, false) == before);
    }
    CHECK(numFailed > 5);
}

//     d --- c         the quadrilateral's diagonals exist already, round the back: its corners are joined to a new vertex
//     | \ / |
//     | / \ |
//     a --- b
TEST_CASE("triangulationAvoidsDiagonalsThatExistElsewhere") {
    auto const build = [](TopoMesh& mesh, int numDiagonals) {
        std::vector<TopoMeshVertex> v;
        for (Point const& p : {Point(0, 0, 0), Point(1, 0, 0), Point(1, 1, 0), Point(0, 1, 0),
                               Point(0.5, 0.5, -1), Point(0.5, 0.4, -2)})
            v.push_back(mesh.allocVertex(p));
        TopoMeshFace const face = mesh.allocQuad(v[0], v[1], v[2], v[3]);
        mesh.allocTriangle(v[0], v[2], v[4]);
        if (numDiagonals == 2)
            mesh.allocTriangle(v[1], v[3], v[5]);
        return face;
    };
    TopoMesh one;
    detail::triangulateFace(one, build(one, 1));
    CHECK(support::facesOf(one) == "0 1 3, 0 2 4, 3 1 2");
    TopoMesh both;
    detail::triangulateFace(both, build(both, 2));
    CHECK(both.numVertices() == 7);
    CHECK(both.numFaces() == 6);
    for (TopoMeshFace f = both.firstFace(); f; f = f.nextInList())
        CHECK(f.numVertices() == 3);
}

TEST_CASE("triangulatesPolygonsOfAnySize") {
    for (int const sides : {4, 5, 30, 301, 900}) {
        CAPTURE(sides);
        TopoMesh mesh;
        support::fillPolygon(mesh, sides);
        // A star, so that not every corner is an ear.
        int i = 0;
        for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
            if (i++ % 2 == 1)
                mesh.setPoint(v, combine(0.6, v.point(), 0.4, Point()));
        auto const corners = support::listOf(mesh.firstVertex());
        double expected = 0.0;
        for (std::size_t k = 0; k < corners.size(); ++k)
            expected += 0.5 * cross(corners[k].point().asVector(),
                                    corners[(k + 1) % corners.size()].point().asVector())
                                  .z;
        detail::triangulateFace(mesh, mesh.firstFace());
        CHECK(mesh.numVertices() == sides);
        CHECK(mesh.numFaces() == sides - 2);
        CHECK(faultAfterCut(mesh) == "");
        CHECK(Shape(mesh).area == doctest::Approx(expected).epsilon(1e-9));
    }
}
