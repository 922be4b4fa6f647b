#include "support/builders.h"
#include "support/captureBinding.h"
#include "tables.h"

#include "trimora/connectivity/meshSingleSourceShortestPath.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

constexpr double unreached = std::numeric_limits<double>::max();

std::vector<double> distancesFrom(int source, CompactMesh const& mesh) {
    tables::VertexTables const of(mesh);
    Array<double> distances;
    Array<int> predecessors;
    meshSingleSourceShortestPath(mesh, of.vertices, source, distances, predecessors);
    CHECK(std::vector<int>(predecessors.begin(), predecessors.end()) ==
          std::vector<int>(static_cast<std::size_t>(mesh.getNumVertices()), -1));
    return {distances.begin(), distances.end()};
}

/// Relaxes all edges until nothing changes.
std::vector<double> relaxAll(int source, CompactMesh const& mesh) {
    std::vector<double> distances(static_cast<std::size_t>(mesh.getNumVertices()), unreached);
    distances[static_cast<std::size_t>(source)] = 0.0;
    bool changed = true;
    while (changed) {
        changed = false;
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            for (int const a : mesh.getTriangles()[t].vertices)
                for (int const b : mesh.getTriangles()[t].vertices) {
                    double const length =
                        distance(mesh.getVertices()[a].asPoint(), mesh.getVertices()[b].asPoint());
                    double& far = distances[static_cast<std::size_t>(b)];
                    if (far > length + distances[static_cast<std::size_t>(a)]) {
                        far = length + distances[static_cast<std::size_t>(a)];
                        changed = true;
                    }
                }
    }
    return distances;
}

}  // namespace

// 3---4---5
// | / | / |
// 0---1---2
TEST_CASE("distancesRunAlongEdges") {
    double const diagonal = std::sqrt(2.0);
    CHECK(distancesFrom(0, support::grid(2, 1)) ==
          std::vector<double>{0.0, 1.0, 2.0, 1.0, diagonal, 1.0 + diagonal});
    CHECK(distancesFrom(3, support::grid(2, 1)) ==
          std::vector<double>{1.0, 2.0, 3.0, 0.0, 1.0, 2.0});
}

TEST_CASE("otherIslandsStayUnreached") {
    CompactMesh const mesh = support::joined(support::triangle(), support::triangle());
    std::vector<double> const distances = distancesFrom(1, mesh);
    CHECK(distances[1] == 0.0);
    for (std::size_t v = 3; v < 6; ++v)
        CHECK(distances[v] == unreached);
    CHECK(distancesFrom(0, CompactMesh()).empty());
    CHECK(distancesFrom(-1, mesh) == std::vector<double>(6, unreached));
    CHECK(distancesFrom(6, mesh) == std::vector<double>(6, unreached));
}

TEST_CASE("distancesOfTheZooAgreeWithRelaxation") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (int source = 0; source < mesh.getNumVertices(); source += 37)
            CHECK(distancesFrom(source, mesh) == relaxAll(source, mesh));
    }
}

TEST_CASE("verticesWithoutPlaceAreNeverReached") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const infinity = std::numeric_limits<float>::infinity();
    std::vector<float> const coordinates{0, 0, 0, 1, 0, 0, nan, 0, 0, infinity, 0, 0};
    CHECK(distancesFrom(0, support::meshOf(coordinates, {0, 1, 2, 0, 3, 1})) ==
          std::vector<double>{0.0, 1.0, unreached, unreached});
}
