#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

namespace fuzz {

/// Aborts, which the fuzzer reports.
inline void require(bool holds, char const* what) {
    if (holds)
        return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}

inline bool isInRange(int const* indices, int count, int numVertices) {
    for (int i = 0; i < count; ++i) {
        if (indices[i] < 0 || indices[i] >= numVertices)
            return false;
    }
    return true;
}

/// Every index of the mesh is in range.
inline void requireValid(koGeom::CompactMesh const& mesh) {
    int const numVertices = mesh.getNumVertices();
    require(isInRange(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles(), numVertices),
            "a triangle's index is out of range");
    require(isInRange(mesh.polys.points.data(), mesh.polys.getNumPoints(), numVertices),
            "a polygon's index is out of range");
}

/// The fuzzer's input as numbers; zeros behind its end.
class Bytes {
public:
    Bytes(std::uint8_t const* data, std::size_t size) : at_(data), left_(size) {}

    std::size_t left() const { return left_; }
    int next() {
        if (left_ == 0)
            return 0;
        --left_;
        return *at_++;
    }
    int next16() { return next() | next() << 8; }
    /// 0 to count - 1; count at most 65536.
    int index(int count) { return (count > 256 ? next16() : next()) % count; }

private:
    std::uint8_t const* at_;
    std::size_t left_;
};

constexpr int maxVertices = 48;
constexpr int maxTriangles = 150;

/// A mesh on a lattice of ten values in each axis, so that coincidence and degeneracy are common: a count of vertices,
/// two bytes a vertex, three a triangle until `reserved` bytes are left. `isHard`: the ten values are those that break
/// arithmetic.
inline koGeom::CompactMesh latticeMesh(Bytes& bytes, bool isHard = false,
                                       std::size_t reserved = 0) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    float const easy[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    float const hard[] = {0.0f,      -0.0f,  1.0f,  std::nanf(""), infinity,
                          -infinity, 1e-40f, 3e38f, -3e38f,        1e-20f};
    float const* const values = isHard ? hard : easy;
    std::vector<koGeom::MeshVertex> vertices(
        static_cast<std::size_t>(1 + bytes.index(maxVertices)));
    for (koGeom::MeshVertex& vertex : vertices) {
        int const place = bytes.index(1000);
        vertex.x = values[place % 10];
        vertex.y = values[place / 10 % 10];
        vertex.z = values[place / 100];
    }
    int const numVertices = static_cast<int>(vertices.size());
    std::vector<koGeom::MeshTriangle> triangles;
    while (bytes.left() >= reserved + 3 && triangles.size() < maxTriangles) {
        koGeom::MeshTriangle& triangle = triangles.emplace_back();
        for (int k = 0; k < 3; ++k)
            triangle[k] = bytes.index(numVertices);
    }
    koGeom::CompactMesh mesh(numVertices, vertices.data(), nullptr, nullptr, nullptr);
    mesh.resizeTriangleArray(static_cast<int>(triangles.size()));
    std::copy(triangles.begin(), triangles.end(), mesh.getTriangles());
    return mesh;
}

}  // namespace fuzz
