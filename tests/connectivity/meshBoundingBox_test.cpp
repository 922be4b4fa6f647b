#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "tables.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/connectivity/meshTriBoundingBox.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/BoundingBox.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

BoundingBox boxOf(std::vector<int> const& vertices, CompactMesh const& mesh) {
    BoundingBox box;
    for (int const v : vertices)
        box.extend(mesh.getVertices()[v].asPointFlt());
    return box;
}

BoundingBox boxOf(float const (&bounds)[6]) {
    BoundingBox box;
    std::copy(bounds, bounds + 6, box.bounds);
    return box;
}

}  // namespace

TEST_CASE("boxIsTheTightestOneOnAnyNumberOfThreads") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        std::vector<int> all;
        std::vector<int> odd;
        BitVector selection(mesh.getNumVertices());
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            all.push_back(v);
            if (v % 7 == 3) {
                odd.push_back(v);
                selection.setBit(v);
            }
        }
        support::withPools([&, &surface = mesh](int) {
            BoundingBox box;
            meshBoundingBox(surface, box);
            CHECK(box == boxOf(all, surface));
            meshBoundingBox(surface, &selection, box);
            CHECK(box == boxOf(odd, surface));
            meshBoundingBox(surface, nullptr, box);
            CHECK(box == boxOf(all, surface));
        });
    }
}

TEST_CASE("nothingSelectedGivesTheInvalidBox") {
    BitVector const none(4);
    BitVector const tooShort;
    for (BitVector const* const selection : {&none, &tooShort}) {
        BoundingBox box;
        box.zero();
        meshBoundingBox(support::tetrahedron(), selection, box);
        for (int axis = 0; axis < 3; ++axis) {
            CHECK(std::bit_cast<std::uint32_t>(box.min(axis)) == 0x7F7FFFFFu);
            CHECK(std::bit_cast<std::uint32_t>(box.max(axis)) == 0xFF7FFFFFu);
        }
    }
}

TEST_CASE("boxWidensToDoubles") {
    double minimum[3];
    double maximum[3];
    meshBoundingBox(support::meshOf({0.1f, 2, 3, -1, 5, 0.3f}, {}), minimum, maximum);
    CHECK(minimum[0] == -1.0);
    CHECK(minimum[2] == double{0.3f});
    CHECK(maximum[0] == double{0.1f});
    CHECK(maximum[1] == 5.0);
}

TEST_CASE("coordinatesThatAreNoNumbersArePassedOverOnAnyNumberOfThreads") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    // x is NaN everywhere, y in the first half
    CompactMesh const mesh = support::meshOf({nan, nan, 1, nan, nan, 2, nan, 3, 4, nan, 5, 6}, {});
    support::withPools([&](int) {
        BoundingBox box;
        meshBoundingBox(mesh, box);
        float const huge = std::numeric_limits<float>::max();
        CHECK(box == boxOf({huge, 3, 1, -huge, 5, 6}));
    });
}

TEST_CASE("boxOfAnArrangementBoundsTheTurnedBoxes") {
    CompactMesh const mesh = support::cube();
    AffineMatrixFlt turned;  // by 45 degrees about z
    float const half = 0.70710678f;
    turned.m[0] = half, turned.m[1] = half, turned.m[3] = -half, turned.m[4] = half;
    AffineMatrixFlt shifted;
    shifted.m[9] = 10.0f;

    support::DebugCapture capture;
    BoundingBox box;
    arrangementBoundingBox({{turned, &mesh}, {shifted, &mesh}}, box);
    CHECK(equivalent(box, boxOf({-half, 0, 0, 11, 2 * half, 1}), 1e-5f));
    CHECK(capture.text().find("meshBoundingBox: 8 vertices  0.") == 0);
    CHECK(capture.text().find("arrangementBoundingBox: 2 meshes  0.") != std::string::npos);

    arrangementBoundingBox({}, box);
    CHECK(box == BoundingBox());
}

TEST_CASE("triangleBoxesHoldTheirCorners") {
    CompactMesh const mesh = support::shuffled(support::sphere(2), 3);
    int const count = mesh.getNumTriangles();
    std::vector<BoundingBox> boxes(static_cast<std::size_t>(count));
    meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), count, boxes.data());
    for (int t = 0; t < count; ++t) {
        MeshTriangle const& triangle = mesh.getTriangles()[t];
        BoundingBox box;
        meshTriBoundingBox(mesh.getVertices(), triangle, box);
        CHECK(box == boxOf({triangle[0], triangle[1], triangle[2]}, mesh));
        CHECK(boxes[static_cast<std::size_t>(t)] == box);
    }

    support::DebugCapture capture;
    meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), 0, nullptr);
    meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), -2, nullptr);
    CHECK(capture.text().starts_with("meshTriBoundingBoxes: 0 triangles, 0."));
    CHECK(capture.text().find("meshTriBoundingBoxes: -2 triangles, 0.") != std::string::npos);
}

TEST_CASE("neighbourBoxesHoldAllTrianglesAroundTheVertex") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        tables::VertexTables const of(mesh);
        std::vector<BoundingBox> boxes(static_cast<std::size_t>(mesh.getNumVertices()));
        meshComputeNeighbourBBoxes(mesh, of.tris, boxes.data());
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            std::vector<int> vertices(of.vertices.neighbours(v),
                                      of.vertices.neighbours(v) + of.vertices.numNeighbours(v));
            if (of.tris.numTris(v) > 0)
                vertices.push_back(v);
            CHECK(boxes[static_cast<std::size_t>(v)] == boxOf(vertices, mesh));
        }
    }
}
