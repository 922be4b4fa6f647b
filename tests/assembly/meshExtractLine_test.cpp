#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/meshExtractLine.h"
#include "trimora/contract/koGeom/MeshCurve.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

std::vector<int> linesOf(CompactMesh const& mesh) {
    std::vector<int> lines;
    for (int i = 0; i < mesh.getNumLines(); ++i)
        lines.insert(lines.end(), {mesh.getLines()[i][0], mesh.getLines()[i][1]});
    return lines;
}

std::vector<int> stripPointsOf(CompactMesh const& mesh) {
    return {mesh.getLineStripPoints(), mesh.getLineStripPoints() + mesh.getNumLineStripPoints()};
}

std::vector<float> xOf(CompactMesh const& mesh) {
    std::vector<float> xs;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        xs.push_back(mesh.getVertices()[v].x);
    return xs;
}

}  // namespace

TEST_CASE("aClosedCurveGetsALineBackToItsStartButNoStripPoint") {
    CompactMesh const mesh = support::triangle();
    std::deque<MeshCoord> const points = {
        {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0.5, 0.5}, {0, 0, 0, 1}};
    for (bool const closed : {true, false}) {
        MeshCurve const curve(points, closed);
        ko::Reference<CompactMesh> const line = meshExtractLine(mesh, curve);
        std::vector<int> expected = {0, 1, 1, 2, 2, 3};
        if (closed)
            expected.insert(expected.end(), {3, 0});
        CHECK(linesOf(*line) == expected);
        CHECK(stripPointsOf(*line) == std::vector<int>{0, 1, 2, 3});
        CHECK(line->getNumLineStrips() == 1);
        CHECK(line->getVertices()[2].asPoint() ==
              points[2].evaluate(mesh.getVertices(), mesh.getTriangles()));
        CHECK(support::faultOf(*line) == "");
    }
}

TEST_CASE("anEmptyCurveGivesAnEmptyMesh") {
    for (bool const closed : {true, false}) {
        ko::Reference<CompactMesh> const line =
            meshExtractLine(support::triangle(), MeshCurve({}, closed));
        CHECK(line->getNumVertices() == 0);
        CHECK(line->getNumLines() == 0);
        CHECK(line->getNumLineStrips() == 0);
    }
}

TEST_CASE("aVertexMetTwiceIsStoredOnceInTheOrderMet") {
    CompactMesh const mesh = support::grid(3, 0);
    MeshSequence const sequence(ko::vector<ko::vector<int>>{{0, 1}, {3, 1, 3, 2}, {}});
    ko::Reference<CompactMesh> const open = meshExtractLine(mesh, sequence, 1, false);
    CHECK(xOf(*open) == std::vector<float>{3, 1, 2});
    CHECK(stripPointsOf(*open) == std::vector<int>{0, 1, 0, 2});
    CHECK(linesOf(*open) == std::vector<int>{0, 1, 1, 0, 0, 2});
    ko::Reference<CompactMesh> const closed = meshExtractLine(mesh, sequence, 1, true);
    CHECK(linesOf(*closed) == std::vector<int>{0, 1, 1, 0, 0, 2, 2, 0});

    CHECK(meshExtractLine(mesh, sequence, 2, true)->getNumLines() == 0);
    CHECK(meshExtractLine(mesh, sequence, 3, true)->getNumVertices() == 0);
    CHECK(meshExtractLine(mesh, sequence, -1, true)->getNumVertices() == 0);
}

TEST_CASE("allRunsShareTheirVertices") {
    CompactMesh const mesh = support::grid(3, 0);
    MeshSequence const sequence(ko::vector<ko::vector<int>>{{2, 1}, {}, {1, 3, 2}, {0}});
    ko::Reference<CompactMesh> const lines = meshExtractLines(mesh, sequence, true);
    CHECK(xOf(*lines) == std::vector<float>{2, 1, 3, 0});
    CHECK(lines->getNumLineStrips() == 4);
    CHECK(stripPointsOf(*lines) == std::vector<int>{0, 1, 1, 2, 0, 3});
    CHECK(linesOf(*lines) == std::vector<int>{0, 1, 1, 0, 1, 2, 2, 0, 0, 1, 3, 3});
    CHECK(lines->getLineStripStarts()[2] - lines->getLineStripPoints() == 2);
    CHECK(meshExtractLines(mesh, sequence, false)->getNumLines() == 3);
}
