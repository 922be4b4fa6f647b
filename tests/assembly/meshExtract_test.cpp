#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/meshExtract.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/MeshSubset.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

MeshSubset subsetOf(std::vector<int> const& vertices, std::vector<int> const& triangles) {
    return MeshSubset(static_cast<int>(vertices.size()), vertices.data(),
                      static_cast<int>(triangles.size()), triangles.data());
}

}  // namespace

//   2---3
//   | / |      grid(1, 1): triangles (0 1 3) and (0 3 2)
//   0---1
TEST_CASE("verticesAndTrianglesComeInTheSubsetsOrder") {
    CompactMesh const source = support::grid(1, 1);
    CompactMesh target = support::cube();
    meshExtract(target, source, subsetOf({3, 0, 2}, {1}));
    CHECK(support::trianglesOf(target) == std::vector<int>{1, 0, 2});
    CHECK(support::coordinatesOf(target) == std::vector<float>{1, 1, 0, 0, 0, 0, 0, 1, 0});
}

TEST_CASE("aCornerOutsideTheSubsetBecomesMinusOne") {
    CompactMesh const source = support::grid(1, 1);
    CompactMesh target;
    meshExtract(target, source, subsetOf({0, 3}, {0, 1}));
    CHECK(support::trianglesOf(target) == std::vector<int>{0, -1, 1, 0, 1, -1});
}

TEST_CASE("setsOfEveryDimensionTravelAndForeignOnesGo") {
    CompactMesh source = support::grid(1, 1);
    for (int dimension = 1; dimension <= 4; ++dimension) {
        koString::CString name;
        name.format("set%d", dimension);
        MeshAttributes& set = *source.allocAttributes(name, dimension);
        set.setStoreable(dimension != 2);
        for (int i = 0; i < 4 * dimension; ++i)
            set.asFloat()[i] = static_cast<float>(100 * dimension + i);
    }
    CompactMesh target = support::triangle();
    target.allocUVArray();
    target.allocAttributes("set2", 4);
    target.resizeLineArray(1);
    target.resizeTriStripArrays(3, 1);

    support::ModificationCounter counter(target);
    meshExtract(target, source, subsetOf({2, 1}, {}));
    CHECK(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Topology);
    CHECK(target.getNumAttributes() == 5);
    for (int dimension = 1; dimension <= 4; ++dimension) {
        koString::CString name;
        name.format("set%d", dimension);
        MeshAttributes const& set = *target.getAttributes(name);
        REQUIRE(set.dimension == dimension);
        CHECK(set.isStoreable() == (dimension != 2));
        for (int c = 0; c < dimension; ++c) {
            CHECK(set.asFloat()[c] == static_cast<float>(100 * dimension + 2 * dimension + c));
            CHECK(set.asFloat()[dimension + c] ==
                  static_cast<float>(100 * dimension + dimension + c));
        }
    }
    CHECK(target.getUVs() == nullptr);
    CHECK(target.getNumLines() == 0);
    CHECK(target.getNumTriStrips() == 0);
}

TEST_CASE("theSelectionFormTakesSetBitsInAscendingOrder") {
    CompactMesh source = support::grid(1, 1);
    source.getSelectedVertices().resize(500);
    int const vertices[] = {3, 2, 0, 480};
    source.getSelectedVertices().setBits(4, vertices);
    source.getSelectedTriangles().resize(2);
    source.getSelectedTriangles().setBit(1);
    CompactMesh target;
    meshExtract(target, source);
    CHECK(target.getNumVertices() == 3);
    CHECK(support::trianglesOf(target) == std::vector<int>{0, 2, 1});
    CHECK(target.getSelectedVertices().size == 0);
}

TEST_CASE("aMeshMayBeExtractedFromItself") {
    CompactMesh mesh = support::grid(1, 1);
    meshExtract(mesh, mesh, subsetOf({3, 2, 0}, {1}));
    CHECK(support::trianglesOf(mesh) == std::vector<int>{2, 0, 1});
    CHECK(mesh.getVertices()[0].x == 1.0f);
}

TEST_CASE("messagesNameTheCountsOfBothMeshes") {
    support::DebugCapture capture;
    CompactMesh target;
    meshExtract(target, support::grid(1, 1), subsetOf({0, 1, 3}, {0}));
    std::string const expected = "MeshExtract:  extracting 3(4) vertices, 1(2) triangles\n"
                                 "  copied triangles: ";
    CHECK(capture.text().substr(0, expected.size()) == expected);
}

TEST_CASE("extractingEverythingCopiesTheSurface") {
    for (support::NamedMesh const& named : support::zoo()) {
        CompactMesh source = named.mesh;
        source.getSelectedVertices().resize(source.getNumVertices());
        source.getSelectedVertices().setAllBits();
        source.getSelectedTriangles().resize(source.getNumTriangles());
        source.getSelectedTriangles().setAllBits();
        CompactMesh target = support::cube();
        meshExtract(target, source);
        INFO(named.name);
        CHECK(support::trianglesOf(target) == support::trianglesOf(source));
        CHECK(support::coordinatesOf(target) == support::coordinatesOf(source));
    }
}
