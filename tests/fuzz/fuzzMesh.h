#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
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

/// A height field over at most 9 x 9 squares: two bytes for its size, one for a height on each vertex, with single triangles
/// left out where the byte after them is below 32. Mostly manifold, and large enough for something to be reduced or cut.
inline koGeom::CompactMesh gridMesh(Bytes& bytes) {
    int const numX = 1 + bytes.index(9);
    int const numY = 1 + bytes.index(9);
    std::vector<koGeom::MeshVertex> vertices;
    for (int j = 0; j <= numY; ++j)
        for (int i = 0; i <= numX; ++i)
            vertices.push_back({float(i), float(j), 0.125f * float(bytes.index(16))});
    std::vector<int> triangles;
    for (int j = 0; j < numY; ++j)
        for (int i = 0; i < numX; ++i) {
            int const a = j * (numX + 1) + i;
            int const d = a + numX + 1;
            int const choice = bytes.next();
            if (choice >= 32 || choice % 2 == 0)
                triangles.insert(triangles.end(), {a, a + 1, d + 1});
            if (choice >= 32 || choice % 2 == 1)
                triangles.insert(triangles.end(), {a, d + 1, d});
        }
    koGeom::CompactMesh mesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr,
                             nullptr);
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

/// The same vertices and triangles, bit for bit.
inline bool isSame(koGeom::CompactMesh const& a, koGeom::CompactMesh const& b) {
    auto const areSame = [](void const* first, void const* second, std::size_t numBytes) {
        return numBytes == 0 || std::memcmp(first, second, numBytes) == 0;
    };
    return a.getNumVertices() == b.getNumVertices() && a.getNumTriangles() == b.getNumTriangles() &&
           areSame(a.getVertices(), b.getVertices(),
                   sizeof(koGeom::MeshVertex) * static_cast<std::size_t>(a.getNumVertices())) &&
           areSame(a.getTriangles(), b.getTriangles(),
                   sizeof(koGeom::MeshTriangle) * static_cast<std::size_t>(a.getNumTriangles()));
}

/// Of an operation that has the mesh edited: a refusal leaves it as it was, a result has indices in range.
inline void requireRefusedOrValid(koGeom::CompactMesh const& before,
                                  koGeom::CompactMesh const& after, std::string const& refusal) {
    requireValid(after);
    require(refusal.empty() || isSame(before, after), "a refusal that changed something");
}

}  // namespace fuzz
