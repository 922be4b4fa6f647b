#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "tables.h"

#include "trimora/connectivity/meshComponents.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <doctest/doctest.h>

using namespace koGeom;

namespace {

std::vector<int> componentsOf(CompactMesh const& mesh, int& count) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    Array<int> components;
    count = meshComponents(mesh, adjTris, &components);
    CHECK(meshComponents(mesh, adjTris, nullptr) == count);
    return {components.begin(), components.end()};
}

/// A flood from each triangle in turn.
std::vector<int> flood(CompactMesh const& mesh) {
    std::vector<int> components(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    tables::VertexTables const of(mesh);
    int count = 0;
    for (int const first : support::trianglesOf(mesh)) {
        if (components[static_cast<std::size_t>(first)] >= 0)
            continue;
        std::vector<int> waiting{first};
        while (!waiting.empty()) {
            int const v = waiting.back();
            waiting.pop_back();
            if (components[static_cast<std::size_t>(v)] >= 0)
                continue;
            components[static_cast<std::size_t>(v)] = count;
            for (int i = 0; i < of.vertices.numNeighbours(v); ++i)
                waiting.push_back(of.vertices.neighbours(v)[i]);
        }
        ++count;
    }
    return components;
}

}  // namespace

TEST_CASE("trianglesThatTouchAtAVertexAreOneComponent") {
    int count = 0;
    CHECK(componentsOf(support::meshOf(std::vector<float>(15), {0, 1, 2, 0, 3, 4}), count) ==
          std::vector<int>{0, 0, 0, 0, 0});
    CHECK(count == 1);
}

TEST_CASE("componentsAreNumberedByTheirLowestTriangleAndUnusedVerticesByNone") {
    int count = 0;
    CHECK(
        componentsOf(support::meshOf(std::vector<float>(27), {6, 7, 8, 3, 1, 2, 5, 5, 5, 8, 7, 0}),
                     count) == std::vector<int>{0, 1, 1, 1, -1, 2, 0, 0, 0});
    CHECK(count == 3);
    CHECK(componentsOf(CompactMesh(), count).empty());
    CHECK(count == 0);
}

TEST_CASE("componentsOfTheZooAgreeWithAFlood") {
    for (auto const& [name, mesh] : tables::zooAndLargeMeshes()) {
        CAPTURE_BINDING(name);
        int count = 0;
        CHECK(componentsOf(mesh, count) == flood(mesh));
        CHECK(count == support::numComponents(mesh));
    }
}

TEST_CASE("componentsSayHowManyThereAre") {
    MeshAdjTris adjTris;
    CompactMesh const mesh = support::joined(support::triangle(), support::triangle());
    meshAdjTris(mesh, adjTris);
    support::DebugCapture capture;
    meshComponents(mesh, adjTris, nullptr);
    CHECK(capture.text().starts_with("meshComponents(): 2 triangles\n   2 components: 0."));
}

TEST_CASE("facesOfAHalfEdgeMeshAreConnectedThroughEdgesOnly") {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 6; ++i)
        v.push_back(mesh.allocVertex(Point(i, 0.5 * i * i, 0)));
    CHECK(meshComponents(mesh) == 0);
    mesh.allocTriangle(v[0], v[1], v[2]);
    mesh.allocTriangle(v[0], v[3], v[4]);
    CHECK(meshComponents(mesh) == 2);  // two fans on one vertex
    mesh.allocTriangle(v[0], v[2], v[3]);
    CHECK(meshComponents(mesh) == 1);
    mesh.allocTriangle(v[4], v[5], v[1]);
    CHECK(meshComponents(mesh) == 2);
}
