#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/constructSubdividedOctahedron.h"

#include <cmath>
#include <doctest/doctest.h>
#include <memory>

using namespace koGeom;
using support::facesOf;
using support::faultOf;
using support::listOf;
using support::numOpenEdges;

namespace {

ParamPlane tilted() {
    ParamPlane frame;
    frame.origin = Point(1, 2, 3);
    frame.normal = Vector(0, 0.6, 0.8).normalized();
    frame.uAxis = Normal::xAxis;
    frame.vAxis = cross(frame.normal, frame.uAxis).normalized();
    return frame;
}

std::unique_ptr<TopoMesh> sphere(int levels, double radius) {
    return std::unique_ptr<TopoMesh>(constructSubdividedOctahedron(tilted(), levels, radius));
}

bool allLieOn(TopoMesh const& mesh, Point const& center, double radius) {
    for (TopoMeshVertex v : listOf(mesh.firstVertex()))
        if (std::abs(distance(v.point(), center) - radius) > 1e-13 * radius)
            return false;
    return true;
}

}  // namespace

TEST_CASE("levelZeroAndBelowGiveTheOctahedron") {
    for (int levels : {0, -3}) {
        auto const mesh = sphere(levels, 2.5);
        CHECK(facesOf(*mesh) == "2 4 0, 4 3 0, 3 5 0, 5 2 0, 4 2 1, 2 5 1, 5 3 1, 3 4 1");
        CHECK(allLieOn(*mesh, Point(1, 2, 3), 2.5));
        CHECK(equivalent(mesh->firstVertex().point(), Point(1, 3.5, 5), 1e-15));
        CHECK(numOpenEdges(*mesh) == 0);
        CHECK(faultOf(*mesh) == "");
    }
}

TEST_CASE("eachLevelQuartersIntoQuadsOnTheSphere") {
    int expected = 24;
    for (int levels = 1; levels <= 4; ++levels, expected *= 4) {
        auto const mesh = sphere(levels, 2.5);
        CHECK(mesh->numFaces() == expected);
        CHECK(mesh->numVertices() == expected + 2);
        CHECK(mesh->numEdges() == 4 * expected);
        CHECK(numOpenEdges(*mesh) == 0);
        CHECK(allLieOn(*mesh, Point(1, 2, 3), 2.5));
        bool quads = true;
        bool outward = true;
        for (TopoMeshFace f : listOf(mesh->firstFace())) {
            quads = quads && f.numVertices() == 4;
            TopoMeshEdge const e = f.edge();
            Vector const normal = cross(e.next().origin().point() - e.origin().point(),
                                        e.prev().origin().point() - e.origin().point());
            outward = outward && dot(normal, f.centroid() - Point(1, 2, 3)) > 0.0;
        }
        CHECK(quads);
        CHECK(outward);
        CHECK(faultOf(*mesh) == "");
    }
}

TEST_CASE("firstLevelHasTheMiddlesOfFacesAndEdgesAndTheOldCorners") {
    auto const mesh = sphere(1, 1.0);
    std::vector<TopoMeshVertex> const v = listOf(mesh->firstVertex());
    // Corners keep their four neighbours; middles of faces have three, of edges four.
    for (std::size_t i = 0; i < v.size(); ++i)
        CHECK(v[i].valence() == (i >= 6 && i < 14 ? 3 : 4));
    double const third = 1.0 / std::sqrt(3.0);
    Vector const diagonal =
        third * (Vector(tilted().uAxis) + Vector(tilted().vAxis) + Vector(tilted().normal));
    CHECK(equivalent(v[6].point(), Point(1, 2, 3) + diagonal, 1e-14));
}
