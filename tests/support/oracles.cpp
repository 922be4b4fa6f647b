#include "support/oracles.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace support {

using koGeom::CompactMesh;

std::map<Edge, std::vector<int>> edgeTable(CompactMesh const& mesh) {
    std::map<Edge, std::vector<int>> table;
    int const* const triangles = mesh.getTrianglesRaw();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int k = 0; k < 3; ++k) {
            auto const [low, high] =
                std::minmax(triangles[3 * t + k], triangles[3 * t + (k + 1) % 3]);
            table[Edge{low, high}].push_back(t);
        }
    }
    return table;
}

int numComponents(CompactMesh const& mesh) {
    std::vector<int> group(static_cast<std::size_t>(mesh.getNumVertices()));
    std::iota(group.begin(), group.end(), 0);
    auto const rootOf = [&group](int v) {
        while (group[static_cast<std::size_t>(v)] != v)
            v = group[static_cast<std::size_t>(v)];
        return v;
    };
    int const* const triangles = mesh.getTrianglesRaw();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int k = 1; k < 3; ++k)
            group[static_cast<std::size_t>(rootOf(triangles[3 * t + k]))] =
                rootOf(triangles[3 * t]);
    }
    std::set<int> roots;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        roots.insert(rootOf(triangles[3 * t]));
    return static_cast<int>(roots.size());
}

int eulerNumber(CompactMesh const& mesh) {
    int const* const triangles = mesh.getTrianglesRaw();
    std::set<int> const used(triangles, triangles + 3 * mesh.getNumTriangles());
    return static_cast<int>(used.size()) - static_cast<int>(edgeTable(mesh).size()) +
           mesh.getNumTriangles();
}

int numBorderEdges(CompactMesh const& mesh) {
    auto const table = edgeTable(mesh);
    return static_cast<int>(std::count_if(
        table.begin(), table.end(), [](auto const& entry) { return entry.second.size() == 1; }));
}

namespace {

using Triple = std::array<double, 3>;

Triple cornerOf(CompactMesh const& mesh, int triangle, int corner) {
    float const* const p =
        mesh.getVerticesRaw() + 3 * mesh.getTrianglesRaw()[3 * triangle + corner];
    return {p[0], p[1], p[2]};
}

Triple crossed(Triple const& a, Triple const& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dotted(Triple const& a, Triple const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Triple between(Triple const& from, Triple const& to) {
    return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
}

}  // namespace

double volume(CompactMesh const& mesh) {
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        sum +=
            dotted(cornerOf(mesh, t, 0), crossed(cornerOf(mesh, t, 1), cornerOf(mesh, t, 2))) / 6.0;
    return sum;
}

double area(CompactMesh const& mesh) {
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Triple const a = cornerOf(mesh, t, 0);
        Triple const normal =
            crossed(between(a, cornerOf(mesh, t, 1)), between(a, cornerOf(mesh, t, 2)));
        sum += 0.5 * std::sqrt(dotted(normal, normal));
    }
    return sum;
}

std::multiset<std::array<std::array<float, 3>, 3>> positionTriples(CompactMesh const& mesh) {
    std::multiset<std::array<std::array<float, 3>, 3>> triples;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        std::array<std::array<float, 3>, 3> corners;
        for (int k = 0; k < 3; ++k)
            std::copy_n(mesh.getVerticesRaw() + 3 * mesh.getTrianglesRaw()[3 * t + k], 3,
                        corners[static_cast<std::size_t>(k)].begin());
        auto least = corners;
        for (int k = 1; k < 3; ++k) {
            std::rotate(corners.begin(), corners.begin() + 1, corners.end());
            least = std::min(least, corners);
        }
        triples.insert(least);
    }
    return triples;
}

}  // namespace support
