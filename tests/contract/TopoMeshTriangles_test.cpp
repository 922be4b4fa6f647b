#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshTriangles.h"

#include <doctest/doctest.h>
#include <map>

using namespace koGeom;
using support::faultOf;
using support::listOf;
using support::stateOf;

namespace {

/// The number of each half-edge, by its creation number.
std::map<std::uint32_t, TopoMeshTriangles::Index> numbersOf(TopoMesh const& mesh) {
    std::map<std::uint32_t, TopoMeshTriangles::Index> numbers;
    TopoMeshTriangles::Index face = 0;
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        TopoMeshTriangles::Index k = 0;
        for (TopoMeshEdge e : support::ringOf(f))
            numbers[e.record()->number] = 4 * face + k++;
        ++face;
    }
    return numbers;
}

}  // namespace

// Edges drawn at random collapse in one mesh and in the numbers of another one; what the first refuses is left out. In some
// runs faces are deleted first, so that creation numbers have gaps.
TEST_CASE("collapsesInNumbersAreThoseOfTheMesh") {
    for (auto const& named : support::zoo()) {
        for (std::uint64_t seed = 0; seed < 4; ++seed) {
            CAPTURE(named.name);
            CAPTURE(seed);
            TopoMesh mesh;
            TopoMesh copy;
            for (TopoMesh* each : {&mesh, &copy}) {
                support::fill(*each, named.mesh);
                for (int i = 0; i < static_cast<int>(seed); ++i)
                    each->deleteFace(each->firstFace().nextInList());
            }
            REQUIRE(TopoMeshTriangles::canHold(copy));
            auto const numbers = numbersOf(copy);
            TopoMeshTriangles links(copy);
            support::Random random(seed);
            for (int i = 0; i < 3 * mesh.numFaces() / 2 && mesh.numEdges() > 0; ++i) {
                auto const edges = listOf(mesh.firstEdge());
                TopoMeshEdge const e =
                    edges[static_cast<std::size_t>(random.index(static_cast<int>(edges.size())))];
                std::uint32_t const number = e.record()->number;
                if (!mesh.collapseEdge(e))
                    continue;
                links.collapse(numbers.at(number));
                REQUIRE(links.numFaces() == mesh.numFaces());
            }
            links.store();
            CHECK(stateOf(copy) == stateOf(mesh));
            CHECK(faultOf(copy) == "");

            // Later edits find the mesh as it was left.
            for (TopoMesh* each : {&mesh, &copy}) {
                each->subdivideFace(each->firstFace(), Point(1, 2, 3));
                each->swapEdge(each->firstEdge());
                each->deleteVertex(each->firstVertex());
            }
            CHECK(stateOf(copy) == stateOf(mesh));
            CHECK(faultOf(copy) == "");
        }
    }
}

TEST_CASE("triangleLinksTellWhatIsPlain") {
    auto const linksOf = [](TopoMesh& mesh, CompactMesh const& source) {
        support::fill(mesh, source);
        return TopoMeshTriangles(mesh);
    };
    TopoMesh ball, bow, strip, cube;
    CHECK(linksOf(ball, support::sphere(1)).hasSingleFans());
    CHECK(TopoMeshTriangles(ball).isOriented());
    CHECK_FALSE(linksOf(bow, support::bowTie()).hasSingleFans());
    CHECK(TopoMeshTriangles(bow).isOriented());

    support::fill(strip, support::moebius(5));
    for (TopoMeshEdge e : listOf(strip.firstEdge()))
        for (TopoMeshEdge h : listOf(strip.firstEdge()))
            if (h != e && !e.twin() && !h.twin() && strip.canSetTwins(e, h))
                strip.setTwins(e, h);
    CHECK_FALSE(TopoMeshTriangles(strip).isOriented());

    support::fillQuadCube(cube);
    CHECK_FALSE(TopoMeshTriangles::canHold(cube));
}
