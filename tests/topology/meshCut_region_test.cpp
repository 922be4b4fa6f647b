#include "surfaceCuts.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"

#include <algorithm>
#include <doctest/doctest.h>

using namespace koGeom;
using namespace curves;

namespace {

/// A flat array mesh with a table, cut in a region.
struct ArrayCut {
    CompactMesh mesh;
    MeshAdjTris adj;

    explicit ArrayCut(CompactMesh const& source) : mesh(source) { meshAdjTris(mesh, adj); }

    void selectAll() {
        mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
        mesh.getSelectedTriangles().setAllBits();
        MeshSelect(mesh, adj).selectVerticesFromTriangles();
    }
    std::deque<MeshCoord> straight(Point2 const& a, Point2 const& b) const {
        Surface const surface(mesh);
        std::deque<MeshCoord> coords;
        for (TopoMeshCoord const& coord : surface.straight(a, b))
            coords.push_back({static_cast<int>(coord.face.record()->number), coord.weights[0],
                              coord.weights[1], coord.weights[2]});
        return coords;
    }
};

}  // namespace

TEST_CASE("cutsTheSelectedRegionOfAnArrayMesh") {
    ArrayCut cut(support::grid(8, 8));
    cut.selectAll();
    support::ModificationCounter counter(cut.mesh);
    CompactMeshCutResult const result =
        meshCut(cut.mesh, cut.adj, {cut.straight({0.0, 3.3}, {8.0, 4.6})}, tolerance);
    CHECK(result);
    CHECK(result.getStatus() == CompactMeshCutResult::CutSuccess);
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Topology);
    CHECK(support::faultOf(cut.mesh) == "");
    CHECK(support::numComponents(cut.mesh) == 2);
    CHECK(support::area(cut.mesh) == doctest::Approx(64.0).epsilon(1e-6));
    CHECK(cut.mesh.getSelectedTriangles().count == 0);

    SUBCASE("and leaves the rest alone") {
        ArrayCut part(support::grid(8, 8));
        BitVector& selected = part.mesh.getSelectedTriangles();
        selected.resize(part.mesh.getNumTriangles());
        for (int t = 0; t < 128; ++t)
            if (t % 16 >= 4 && t % 16 < 12)
                selected.setBit(t);
        MeshSelect(part.mesh, part.adj).selectVerticesFromTriangles();
        auto const before = support::positionTriples(part.mesh);
        // Closed, well inside the region.
        std::deque<MeshCoord> ring = part.straight({3.2, 3.1}, {4.9, 3.3});
        for (auto const& side :
             {part.straight({4.9, 3.3}, {4.1, 4.8}), part.straight({4.1, 4.8}, {3.2, 3.1})})
            ring.insert(ring.end(), side.begin() + 1, side.end());
        CHECK(meshCut(part.mesh, part.adj, {ring}, tolerance));
        CHECK(support::faultOf(part.mesh) == "");
        CHECK(support::numComponents(part.mesh) == 2);
        CHECK(support::area(part.mesh) == doctest::Approx(64.0).epsilon(1e-6));
        auto const after = support::positionTriples(part.mesh);
        int numKept = 0;
        for (auto const& triple : before)
            numKept += static_cast<int>(after.count(triple));
        CHECK(numKept >= 64);
        CHECK(support::numBorderEdges(part.mesh) > 32);
    }
}

TEST_CASE("anArrayMeshThatCannotBeCutStaysAsItWas") {
    ArrayCut cut(support::grid(2, 2));
    cut.selectAll();
    support::ModificationCounter counter(cut.mesh);
    auto const before = support::trianglesOf(cut.mesh);
    auto const status = [&](std::deque<std::deque<MeshCoord>> const& lines) {
        CompactMeshCutResult const result = meshCut(cut.mesh, cut.adj, lines, tolerance);
        CHECK(support::trianglesOf(cut.mesh) == before);
        CHECK(counter.total() == 0);
        return result;
    };
    CHECK(status({}).getStatus() == CompactMeshCutResult::CutNothingLeft);
    CHECK(status({{}}).getStatus() == CompactMeshCutResult::CutNothingLeft);
    CHECK(status({{MeshCoord(0, 0.2, 0.3, 0.5)}}).getStatus() ==
          CompactMeshCutResult::CutNothingLeft);
    // Led on to the rim on both sides, and trimmed where that is an inner edge.
    CHECK(status({{MeshCoord(2, 0.3, 0.4, 0.3), MeshCoord(2, 0.35, 0.35, 0.3)}}).getStatus() ==
          CompactMeshCutResult::CutNothingLeft);
    CompactMeshCutResult const loop =
        status({{MeshCoord(0, 0.6, 0.2, 0.2), MeshCoord(0, 0.2, 0.6, 0.2),
                 MeshCoord(0, 0.2, 0.2, 0.6), MeshCoord(0, 0.6, 0.2, 0.2)}});
    CHECK(loop.getStatus() == CompactMeshCutResult::CutInsideFace);
    CHECK(equivalent(loop.getProblemPoint(), Point(2.0 / 3.0, 1.0 / 3.0, 0.0), 1e-12));
    // Nothing selected: every coordinate is outside.
    cut.mesh.getSelectedTriangles().clearBits();
    cut.mesh.getSelectedVertices().clearBits();
    CHECK(status({cut.straight({0.0, 0.4}, {2.0, 0.6})}).getStatus() ==
          CompactMeshCutResult::CutNothingLeft);
}

TEST_CASE("anyCurveThroughAnyRegionLeavesTheRestInPlace") {
    // Regions grown from a triangle, curves that may leave them: a result or no trace, and all triangles outside stay.
    int numCut = 0;
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        CAPTURE(seed);
        support::Random random(seed);
        CompactMesh const meshes[] = {support::grid(7, 7), support::sphere(2),
                                      support::torus(10, 6)};
        ArrayCut cut(meshes[seed % 3]);
        BitVector& selected = cut.mesh.getSelectedTriangles();
        selected.resize(cut.mesh.getNumTriangles());
        selected.setBit(random.index(cut.mesh.getNumTriangles()));
        MeshSelect select(cut.mesh, cut.adj);
        for (int ring = 1 + random.index(4); ring > 0; --ring)
            select.selectTrianglesRecursive(true);
        select.selectVerticesFromTriangles();

        Surface const surface(cut.mesh);
        std::deque<std::deque<MeshCoord>> lines;
        for (int i = 1 + random.index(3); i > 0; --i) {
            lines.emplace_back();
            for (TopoMeshCoord const& coord :
                 curves::randomWalk(surface, random, false, 1 + random.index(8))) {
                int const triangle = static_cast<int>(coord.face.record()->number);
                if (selected.isBitSet(triangle))
                    lines.back().push_back(
                        {triangle, coord.weights[0], coord.weights[1], coord.weights[2]});
            }
        }
        CompactMesh rest(cut.mesh);
        MeshDeleteSelected{rest}();
        auto const outside = support::positionTriples(rest);
        auto const before = support::positionTriples(cut.mesh);
        auto const numBefore = cut.mesh.getNumVertices();
        CompactMeshCutResult const result = meshCut(cut.mesh, cut.adj, lines, tolerance);
        auto const after = support::positionTriples(cut.mesh);
        CHECK(support::faultOf(cut.mesh) == "");
        if (result) {
            ++numCut;
            CHECK(std::includes(after.begin(), after.end(), outside.begin(), outside.end()));
            CHECK(cut.mesh.getSelectedTriangles().count == 0);
        } else {
            CHECK(after == before);
            CHECK(cut.mesh.getNumVertices() == numBefore);
        }
    }
    CHECK(numCut > 40);
}
