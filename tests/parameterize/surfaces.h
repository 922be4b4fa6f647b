#pragma once

#include "support/builders.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cmath>
#include <functional>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

/// Surfaces to be cut open and laid flat.
namespace surfaces {

/// The triangles for which `stays` holds; all vertices, unless those without triangles are to go.
inline koGeom::CompactMesh filtered(koGeom::CompactMesh const& mesh,
                                    std::function<bool(koGeom::MeshTriangle const&)> const& stays) {
    std::vector<int> newNumber(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (!stays(mesh.getTriangles()[t]))
            continue;
        for (int const v : mesh.getTriangles()[t].vertices) {
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

/// The mesh without the triangles of the given vertices.
inline koGeom::CompactMesh pierced(koGeom::CompactMesh const& mesh, std::vector<int> const& out) {
    return filtered(mesh, [&out](koGeom::MeshTriangle const& triangle) {
        for (int const v : triangle.vertices)
            for (int const gone : out)
                if (v == gone)
                    return false;
        return true;
    });
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

/// The surface of unit cubes laid out as in the drawing, '#' for a cube: a plate with a handle for each hole.
inline koGeom::CompactMesh plate(std::vector<std::string> const& rows) {
    int const sizeX = static_cast<int>(rows[0].size());
    int const sizeY = static_cast<int>(rows.size());
    auto const isSolid = [&](int x, int y, int z) {
        return z == 0 && x >= 0 && x < sizeX && y >= 0 && y < sizeY &&
               rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == '#';
    };
    std::vector<float> coordinates;
    for (int z = 0; z < 2; ++z)
        for (int y = 0; y <= sizeY; ++y)
            for (int x = 0; x <= sizeX; ++x)
                coordinates.insert(coordinates.end(), {static_cast<float>(x), static_cast<float>(y),
                                                       static_cast<float>(z)});
    std::vector<int> triangles;
    auto const corner = [&](int x, int y, int z) {
        return (z * (sizeY + 1) + y) * (sizeX + 1) + x;
    };
    auto const quad = [&](int a, int b, int c, int d) {
        triangles.insert(triangles.end(), {a, b, c, a, c, d});
    };
    for (int y = 0; y < sizeY; ++y)
        for (int x = 0; x < sizeX; ++x) {
            if (!isSolid(x, y, 0))
                continue;
            int const low[] = {corner(x, y, 0), corner(x + 1, y, 0), corner(x + 1, y + 1, 0),
                               corner(x, y + 1, 0)};
            int const high[] = {corner(x, y, 1), corner(x + 1, y, 1), corner(x + 1, y + 1, 1),
                                corner(x, y + 1, 1)};
            quad(low[3], low[2], low[1], low[0]);
            quad(high[0], high[1], high[2], high[3]);
            int const beside[][2] = {{0, -1}, {1, 0}, {0, 1}, {-1, 0}};
            for (int side = 0; side < 4; ++side)
                if (!isSolid(x + beside[side][0], y + beside[side][1], 0))
                    quad(low[side], low[(side + 1) % 4], high[(side + 1) % 4], high[side]);
        }
    return filtered(support::meshOf(coordinates, triangles),
                    [](koGeom::MeshTriangle const&) { return true; });
}

/// A unit sphere of meridians and parallels: both poles have `numMeridians` triangles.
inline koGeom::CompactMesh globe(int numMeridians, int numParallels) {
    std::vector<float> coordinates = {0.0f, 0.0f, -1.0f};
    std::vector<int> triangles;
    int const north = numMeridians * numParallels + 1;
    for (int row = 1; row <= numParallels; ++row)
        for (int i = 0; i < numMeridians; ++i) {
            double const u = 2.0 * std::numbers::pi * i / numMeridians;
            double const v = std::numbers::pi * (row / (numParallels + 1.0) - 0.5);
            coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(u) * std::cos(v)),
                                                   static_cast<float>(std::sin(u) * std::cos(v)),
                                                   static_cast<float>(std::sin(v))});
            int const a = (row - 1) * numMeridians + 1 + i;
            int const b = (row - 1) * numMeridians + 1 + (i + 1) % numMeridians;
            if (row == 1)
                triangles.insert(triangles.end(), {0, b, a});
            if (row == numParallels)
                triangles.insert(triangles.end(), {north, a, b});
            else
                triangles.insert(triangles.end(),
                                 {a, b, b + numMeridians, a, b + numMeridians, a + numMeridians});
        }
    coordinates.insert(coordinates.end(), {0.0f, 0.0f, 1.0f});
    return support::meshOf(coordinates, triangles);
}

inline koGeom::CompactMesh genusThree() {
    return plate({"#######", "#.#.#.#", "#######"});
}

/// A grid of `size` by `size` squares with holes: the inner vertices given by column and row are taken out.
inline koGeom::CompactMesh holedGrid(int size, std::vector<std::pair<int, int>> const& holes) {
    std::vector<int> out;
    for (auto const& [x, y] : holes)
        out.push_back(y * (size + 1) + x);
    return pierced(support::grid(size, size), out);
}

}  // namespace surfaces
