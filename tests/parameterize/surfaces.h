#pragma once

#include "support/builders.h"
#include "support/oracles.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cmath>
#include <functional>
#include <numbers>
#include <set>
#include <utility>
#include <vector>

/// Surfaces to be cut open and laid flat.
namespace surfaces {

/// The triangles without any of the given vertices; vertices without triangles go.
inline koGeom::CompactMesh pierced(koGeom::CompactMesh const& mesh, std::set<int> const& out) {
    std::vector<int> newNumber(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& triangle = mesh.getTriangles()[t];
        if (out.contains(triangle[0]) || out.contains(triangle[1]) || out.contains(triangle[2]))
            continue;
        for (int const v : triangle.vertices) {
            int& number = newNumber[static_cast<std::size_t>(v)];
            if (number < 0) {
                number = static_cast<int>(coordinates.size() / 3);
                float const* const p = mesh.getVerticesRaw() + 3 * v;
                coordinates.insert(coordinates.end(), p, p + 3);
            }
            triangles.push_back(number);
        }
    }
    return support::meshOf(coordinates, triangles);
}

/// Positions through a map.
inline koGeom::CompactMesh mapped(koGeom::CompactMesh mesh,
                                  std::function<koGeom::Point(koGeom::Point const&)> const& map) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::Point const p = map(mesh.getVertices()[v].asPoint());
        double const xyz[] = {p.x, p.y, p.z};
        mesh.getVertices()[v].set(xyz);
    }
    return mesh;
}

/// A grid of `size` by `size` squares with holes: the vertices given by column and row are taken out.
inline koGeom::CompactMesh holedGrid(int size, std::vector<std::pair<int, int>> const& holes) {
    std::set<int> out;
    for (auto const& [x, y] : holes)
        out.insert(y * (size + 1) + x);
    return pierced(support::grid(size, size), out);
}

/// Two sheets back to back, a handle for each of the holes (at most three): closed, of that genus.
inline koGeom::CompactMesh pillow(int genus) {
    std::vector<std::pair<int, int>> out = {{3, 3}, {9, 4}, {6, 9}};
    out.resize(static_cast<std::size_t>(genus));
    out.insert(out.end(), {{12, 0}, {0, 12}});  // else their diagonals lie in both sheets
    koGeom::CompactMesh const sheet = holedGrid(12, out);
    std::set<int> border;
    for (auto const& [edge, triangles] : support::edgeTable(sheet))
        if (triangles.size() == 1)
            border.insert(edge.begin(), edge.end());
    std::vector<float> coordinates = support::coordinatesOf(sheet);
    std::vector<int> triangles = support::trianglesOf(sheet), below;
    for (int v = 0; v < sheet.getNumVertices(); ++v) {
        below.push_back(border.contains(v) ? v : static_cast<int>(coordinates.size() / 3));
        koGeom::MeshVertex const p = sheet.getVertices()[v];
        if (below.back() != v)
            coordinates.insert(coordinates.end(), {p.x, p.y, -1.0f});
    }
    for (std::size_t i = 0, count = triangles.size(); i < count; i += 3)
        for (std::size_t const corner : {0u, 2u, 1u})
            triangles.push_back(below[static_cast<std::size_t>(triangles[i + corner])]);
    return support::meshOf(coordinates, triangles);
}

/// A ring of `count` vertices between two poles, which are the first two.
inline koGeom::CompactMesh bipyramid(int count) {
    std::vector<float> coordinates = {0, 0, 1, 0, 0, -1};
    std::vector<int> triangles;
    for (int i = 0; i < count; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / count;
        int const a = 2 + i, b = 2 + (i + 1) % count;
        coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(angle)),
                                               static_cast<float>(std::sin(angle)), 0.0f});
        triangles.insert(triangles.end(), {0, a, b, 1, b, a});
    }
    return support::meshOf(coordinates, triangles);
}

}  // namespace surfaces
