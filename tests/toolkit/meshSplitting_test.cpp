#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshSplitting.h"

#include <algorithm>
#include <array>
#include <climits>
#include <doctest/doctest.h>
#include <vector>

using koGeom::CompactMesh;
using trimora::SplitOptions;
using trimora::SplitOutcome;

namespace {

SplitOutcome splitByVertices(CompactMesh const& mesh, int maxVertices,
                             std::size_t maxParts = 100000) {
    koUtil::Progress progress;
    return trimora::splitMesh(mesh, {SplitOptions::By::Vertices, maxVertices, maxParts}, progress);
}

SplitOutcome splitByComponents(CompactMesh const& mesh, std::size_t maxParts = 100000) {
    koUtil::Progress progress;
    return trimora::splitMesh(mesh, {SplitOptions::By::Components, 0, maxParts}, progress);
}

using Corners = std::array<float, 9>;

/// All triangles by their corners' positions, sorted.
std::vector<Corners> cornersOf(std::vector<CompactMesh> const& meshes) {
    std::vector<Corners> all;
    for (CompactMesh const& mesh : meshes)
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            Corners corners{};
            auto out = corners.begin();
            for (int const v : mesh.getTriangles()[t].vertices)
                out = std::copy_n(mesh.getVerticesRaw() + 3 * v, 3, out);
            all.push_back(corners);
        }
    std::sort(all.begin(), all.end());
    return all;
}

}  // namespace

TEST_CASE("componentsComeByTheirSizeAndThenByTheirFirstTriangle") {
    CompactMesh const triangle = support::triangle();
    CompactMesh mesh = support::joined(
        support::joined(support::joined(triangle, support::cube(), 5.0f), triangle, 9.0f),
        support::meshOf({7, 7, 7}, {}));
    mesh.allocUVArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getUVs()[v].u = static_cast<float>(v);
    SplitOutcome const outcome = splitByComponents(mesh);
    REQUIRE(outcome.parts.size() == 3);
    CHECK(outcome.parts[0].getNumTriangles() == 12);
    CHECK(outcome.parts[0].getUVs()[1].u == 4.0f);
    CHECK((support::trianglesOf(outcome.parts[0]) == support::trianglesOf(support::cube())));
    CHECK((support::coordinatesOf(outcome.parts[1]) == support::coordinatesOf(triangle)));
    CHECK(outcome.parts[2].getUVs()[0].u == 11.0f);
    CHECK(outcome.sharedVertices == 0);
    CHECK(outcome.unusedVertices == 1);
}

TEST_CASE("piecesAreBoundedAndShareTheirSeams") {
    CompactMesh const sheet = support::grid(2, 1);
    SplitOutcome const two = splitByVertices(sheet, 7);
    REQUIRE(two.parts.size() == 2);
    CHECK(two.sharedVertices == 2);  // 1 and 4
    CHECK((support::trianglesOf(two.parts[1]) == std::vector<int>{0, 1, 2, 0, 2, 3}));
    CHECK(splitByVertices(sheet, INT_MAX).parts.size() == 1);
}

TEST_CASE("everyTriangleIsInOnePart") {
    for (auto const& [name, mesh] : support::zoo()) {
        if (mesh.getNumTriangles() == 0)
            continue;
        CAPTURE_BINDING(name);
        SplitOutcome const components = splitByComponents(mesh);
        CHECK(components.parts.size() == trimora::splitIntoParts(mesh).size());
        for (int const maxVertices : {4, 10, 60})
            for (SplitOutcome const& outcome : {components, splitByVertices(mesh, maxVertices)}) {
                CHECK(outcome.refusal.empty());
                CHECK((cornersOf(outcome.parts) == cornersOf({mesh})));
                int numVertices = 0;
                for (CompactMesh const& part : outcome.parts) {
                    CHECK(support::faultOf(part).empty());
                    numVertices += part.getNumVertices();
                }
                CHECK(numVertices >=
                      mesh.getNumVertices() - outcome.unusedVertices + outcome.sharedVertices);
            }
    }
}

TEST_CASE("splitsThatMakeNoSenseAreRefused") {
    CompactMesh const mesh = support::soup(support::cube());
    CHECK(splitByComponents(CompactMesh()).refusal == "holds no triangles to split");
    for (int const size : {3, 0, INT_MIN})
        CHECK(splitByVertices(mesh, size).refusal.find("room for 4") != std::string::npos);
    SplitOutcome const many = splitByComponents(mesh, 11);
    CHECK(
        many.refusal.find("has 12 parts, each for a file of its own, and the limit is 11; weld") !=
        std::string::npos);
    CHECK(many.parts.empty());
    CHECK(splitByVertices(mesh, 4, 11).refusal.find("more vertices in each") != std::string::npos);
    CHECK(splitByComponents(mesh, 12).refusal.empty());
}

TEST_CASE("aSplitThatIsCancelledHasNoParts") {
    CompactMesh const mesh = support::sphere(4);
    koUtil::Progress progress;
    double last = 0.0;
    progress.setListener([&](double value, char const*) {
        CHECK(value >= last);
        last = value;
        if (value > 0.5)
            progress.cancel();
    });
    SplitOutcome const outcome =
        trimora::splitMesh(mesh, {SplitOptions::By::Vertices, 50, 1000}, progress);
    CHECK(outcome.cancelled);
    CHECK(outcome.parts.empty());
    CHECK(last < 0.6);
}
