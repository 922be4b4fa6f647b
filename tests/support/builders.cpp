#include "support/builders.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
#include <utility>

namespace support {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koGeom::MeshVertex;

std::uint64_t Random::next() {
    state_ += 0x9E3779B97F4A7C15ull;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

int Random::index(int count) {
    return static_cast<int>(next() % static_cast<std::uint64_t>(count));
}

double Random::real(double low, double high) {
    return low + (high - low) * static_cast<double>(next() >> 11) * 0x1.0p-53;
}

std::string damaged(std::string text, std::string const& alphabet, int maxEdits, Random& random) {
    auto const place = [&random](std::string const& in) {
        return static_cast<std::size_t>(random.index(static_cast<int>(in.size())));
    };
    for (int edits = 1 + random.index(maxEdits); edits > 0 && !text.empty(); --edits) {
        std::size_t const at = place(text);
        char const c = random.index(20) == 0 ? static_cast<char>(1 + random.index(255))
                                             : alphabet[place(alphabet)];
        if (random.index(3) == 0)
            text.erase(at, 1);
        else if (random.index(2) == 0)
            text.insert(at, 1, c);
        else
            text[at] = c;
    }
    return text;
}

CompactMesh meshOf(std::vector<float> const& coordinates, std::vector<int> const& triangles) {
    CompactMesh mesh(static_cast<int>(coordinates.size() / 3), nullptr, nullptr, nullptr, nullptr);
    if (!coordinates.empty())
        std::copy(coordinates.begin(), coordinates.end(), mesh.getVerticesRaw());
    if (!triangles.empty())
        mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    return mesh;
}

std::vector<int> trianglesOf(CompactMesh const& mesh) {
    if (mesh.getNumTriangles() == 0)
        return {};
    return {mesh.getTrianglesRaw(), mesh.getTrianglesRaw() + 3 * mesh.getNumTriangles()};
}

std::vector<float> coordinatesOf(CompactMesh const& mesh) {
    if (mesh.getNumVertices() == 0)
        return {};
    return {mesh.getVerticesRaw(), mesh.getVerticesRaw() + 3 * mesh.getNumVertices()};
}

CompactMesh grid(int numX, int numY) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int j = 0; j <= numY; ++j) {
        for (int i = 0; i <= numX; ++i)
            coordinates.insert(coordinates.end(),
                               {static_cast<float>(i), static_cast<float>(j), 0.0f});
    }
    for (int j = 0; j < numY; ++j) {
        for (int i = 0; i < numX; ++i) {
            int const a = j * (numX + 1) + i;
            int const b = a + 1;
            int const c = a + numX + 1;
            int const d = c + 1;
            triangles.insert(triangles.end(), {a, b, d, a, d, c});
        }
    }
    return meshOf(coordinates, triangles);
}

CompactMesh triangle() {
    return meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
}

CompactMesh tetrahedron() {
    return meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}, {0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3});
}

CompactMesh cube() {
    return meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1},
                  {0, 2, 3, 0, 3, 1, 4, 5, 7, 4, 7, 6, 0, 1, 5, 0, 5, 4,
                   2, 6, 7, 2, 7, 3, 0, 4, 6, 0, 6, 2, 1, 3, 7, 1, 7, 5});
}

CompactMesh octahedron() {
    return meshOf({1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 1, 0, 0, -1},
                  {0, 2, 4, 2, 1, 4, 1, 3, 4, 3, 0, 4, 2, 0, 5, 1, 2, 5, 3, 1, 5, 0, 3, 5});
}

CompactMesh sphere(int levels) {
    CompactMesh const start = octahedron();
    std::vector<std::array<double, 3>> points;
    for (int v = 0; v < start.getNumVertices(); ++v) {
        MeshVertex const& p = start.getVertices()[v];
        points.push_back({p.x, p.y, p.z});
    }
    std::vector<int> triangles = trianglesOf(start);
    for (int level = 0; level < levels; ++level) {
        std::map<std::pair<int, int>, int> middles;
        auto const middle = [&](int a, int b) {
            auto const [found, isNew] =
                middles.try_emplace(std::minmax(a, b), static_cast<int>(points.size()));
            if (isNew) {
                auto const pa = points[static_cast<std::size_t>(a)];
                auto const pb = points[static_cast<std::size_t>(b)];
                std::array<double, 3> sum{pa[0] + pb[0], pa[1] + pb[1], pa[2] + pb[2]};
                double const length =
                    std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
                points.push_back({sum[0] / length, sum[1] / length, sum[2] / length});
            }
            return found->second;
        };
        std::vector<int> split;
        for (std::size_t t = 0; t < triangles.size(); t += 3) {
            int const a = triangles[t], b = triangles[t + 1], c = triangles[t + 2];
            int const ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
            split.insert(split.end(), {a, ab, ca, ab, b, bc, ca, bc, c, ab, bc, ca});
        }
        triangles = std::move(split);
    }
    std::vector<float> coordinates;
    for (auto const& p : points) {
        for (double const x : p)
            coordinates.push_back(static_cast<float>(x));
    }
    return meshOf(coordinates, triangles);
}

CompactMesh torus(int numU, int numV, double majorRadius, double minorRadius) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    double const full = 2.0 * std::numbers::pi;
    for (int i = 0; i < numU; ++i) {
        double const u = full * i / numU;
        for (int j = 0; j < numV; ++j) {
            double const v = full * j / numV;
            double const r = majorRadius + minorRadius * std::cos(v);
            coordinates.insert(coordinates.end(), {static_cast<float>(r * std::cos(u)),
                                                   static_cast<float>(r * std::sin(u)),
                                                   static_cast<float>(minorRadius * std::sin(v))});
        }
    }
    for (int i = 0; i < numU; ++i) {
        for (int j = 0; j < numV; ++j) {
            int const nextI = (i + 1) % numU, nextJ = (j + 1) % numV;
            int const a = i * numV + j, b = nextI * numV + j, c = nextI * numV + nextJ,
                      d = i * numV + nextJ;
            triangles.insert(triangles.end(), {a, b, c, a, c, d});
        }
    }
    return meshOf(coordinates, triangles);
}

CompactMesh moebius(int numSteps) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < numSteps; ++i) {
        double const u = 2.0 * std::numbers::pi * i / numSteps;
        for (double const side : {-0.3, 0.3}) {
            double const r = 1.0 + side * std::cos(u / 2);
            coordinates.insert(coordinates.end(), {static_cast<float>(r * std::cos(u)),
                                                   static_cast<float>(r * std::sin(u)),
                                                   static_cast<float>(side * std::sin(u / 2))});
        }
    }
    for (int i = 0; i < numSteps; ++i) {
        bool const last = i + 1 == numSteps;
        int const a = 2 * i, b = a + 1;
        int const c = last ? 1 : a + 2,
                  d = last ? 0 : a + 3;  // the last step joins with its sides exchanged
        triangles.insert(triangles.end(), {a, c, d, a, d, b});
    }
    return meshOf(coordinates, triangles);
}

CompactMesh bowTie() {
    return meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, -1, 0, 0, 0, -1, 0, 0, 0, -1},
                  {0, 2, 1, 0, 1, 3, 1, 2, 3, 2, 0, 3, 0, 4, 5, 0, 6, 4, 4, 6, 5, 5, 6, 0});
}

CompactMesh threeOnAnEdge() {
    return meshOf({0, 0, 0, 0, 0, 1, 1, 0, 0, -1, 1, 0, -1, -1, 0}, {0, 1, 2, 1, 0, 3, 0, 1, 4});
}

CompactMesh terrain(int numX, int numY, std::uint64_t seed) {
    CompactMesh mesh = grid(numX, numY);
    Random random(seed);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        p.z = static_cast<float>(2.0 * std::sin(0.3 * p.x) * std::cos(0.2 * p.y) +
                                 random.real(-0.1, 0.1));
    }
    return mesh;
}

CompactMesh soup(CompactMesh const& mesh) {
    std::vector<float> coordinates;
    std::vector<int> triangles = trianglesOf(mesh);
    for (int const v : triangles) {
        float const* const p = mesh.getVerticesRaw() + 3 * v;
        coordinates.insert(coordinates.end(), p, p + 3);
    }
    std::iota(triangles.begin(), triangles.end(), 0);
    return meshOf(coordinates, triangles);
}

namespace {

std::vector<int> permutation(int count, Random& random) {
    std::vector<int> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 0);
    for (int i = count - 1; i > 0; --i)
        std::swap(order[static_cast<std::size_t>(i)],
                  order[static_cast<std::size_t>(random.index(i + 1))]);
    return order;
}

}  // namespace

CompactMesh shuffled(CompactMesh const& mesh, std::uint64_t seed) {
    Random random(seed);
    std::vector<int> const newVertex = permutation(mesh.getNumVertices(), random);
    std::vector<int> const newTriangle = permutation(mesh.getNumTriangles(), random);
    std::vector<float> const oldCoordinates = coordinatesOf(mesh);
    std::vector<int> const oldTriangles = trianglesOf(mesh);
    std::vector<float> coordinates(oldCoordinates.size());
    std::vector<int> triangles(oldTriangles.size());
    for (std::size_t v = 0; v < newVertex.size(); ++v)
        std::copy_n(&oldCoordinates[3 * v], 3,
                    &coordinates[3 * static_cast<std::size_t>(newVertex[v])]);
    for (std::size_t t = 0; t < newTriangle.size(); ++t) {
        std::size_t const turn = static_cast<std::size_t>(random.index(3));
        for (std::size_t k = 0; k < 3; ++k) {
            auto const oldVertex = static_cast<std::size_t>(oldTriangles[3 * t + (k + turn) % 3]);
            triangles[3 * static_cast<std::size_t>(newTriangle[t]) + k] = newVertex[oldVertex];
        }
    }
    return meshOf(coordinates, triangles);
}

CompactMesh holed(CompactMesh const& mesh, double keep, std::uint64_t seed) {
    Random random(seed);
    std::vector<int> const all = trianglesOf(mesh);
    std::vector<int> kept;
    for (std::size_t t = 0; t < all.size(); t += 3) {
        if (random.real(0.0, 1.0) < keep)
            kept.insert(kept.end(), {all[t], all[t + 1], all[t + 2]});
    }
    return meshOf(coordinatesOf(mesh), kept);
}

CompactMesh flipped(CompactMesh const& mesh, double probability, std::uint64_t seed) {
    Random random(seed);
    std::vector<int> triangles = trianglesOf(mesh);
    for (std::size_t t = 0; t < triangles.size(); t += 3) {
        if (random.real(0.0, 1.0) < probability)
            std::swap(triangles[t + 1], triangles[t + 2]);
    }
    return meshOf(coordinatesOf(mesh), triangles);
}

CompactMesh joined(CompactMesh const& first, CompactMesh const& second, float moveX, float moveY,
                   float moveZ) {
    std::vector<float> coordinates = coordinatesOf(first);
    std::vector<int> triangles = trianglesOf(first);
    for (int v = 0; v < second.getNumVertices(); ++v) {
        MeshVertex const& p = second.getVertices()[v];
        coordinates.insert(coordinates.end(), {p.x + moveX, p.y + moveY, p.z + moveZ});
    }
    for (int const v : trianglesOf(second))
        triangles.push_back(v + first.getNumVertices());
    return meshOf(coordinates, triangles);
}

CompactMesh latticeSoup(int numVertices, int numTriangles, std::uint64_t seed) {
    Random random(seed);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < 3 * numVertices; ++i)
        coordinates.push_back(static_cast<float>(random.index(10)));
    for (int i = 0; i < 3 * numTriangles && numVertices > 0; ++i)
        triangles.push_back(random.index(numVertices));
    return meshOf(coordinates, triangles);
}

std::vector<NamedMesh> manifoldZoo() {
    return {{"triangle", triangle()},
            {"tetrahedron", tetrahedron()},
            {"cube", cube()},
            {"octahedron", octahedron()},
            {"sphere", sphere(2)},
            {"shuffled sphere", shuffled(sphere(2), 1)},
            {"torus", torus(12, 8)},
            {"grid", grid(6, 4)},
            {"terrain", terrain(12, 9, 5)},
            {"two spheres", joined(sphere(1), sphere(1), 3.0f)}};
}

std::vector<NamedMesh> zoo() {
    std::vector<NamedMesh> meshes = manifoldZoo();
    auto const add = [&meshes](char const* name, CompactMesh const& mesh) {
        meshes.push_back({name, mesh});
    };
    std::vector<int> const ball = trianglesOf(sphere(1));
    auto const withTriangles = [&ball](std::vector<int> const& more) {
        std::vector<int> all = ball;
        all.insert(all.end(), more.begin(), more.end());
        return meshOf(coordinatesOf(sphere(1)), all);
    };
    add("nothing", CompactMesh());
    add("one vertex", meshOf({1, 2, 3}, {}));
    add("vertices only", meshOf(coordinatesOf(sphere(1)), {}));
    add("unused vertices", joined(meshOf(coordinatesOf(cube()), {}), sphere(1)));
    add("soup", soup(sphere(2)));
    add("moebius", moebius(9));
    add("bow-tie", bowTie());
    add("three on an edge", threeOnAnEdge());
    add("duplicated triangles",
        withTriangles({ball[0], ball[1], ball[2], ball[4], ball[5], ball[3]}));
    add("degenerate triangles", withTriangles({0, 0, 1, 2, 2, 2, 3, 4, 3}));
    add("flipped triangles", flipped(sphere(2), 0.3, 7));
    add("holed", holed(sphere(3), 0.8, 11));
    add("two cutting spheres", joined(sphere(2), sphere(2), 0.7f, 0.1f, 0.05f));
    add("small lattice soup", latticeSoup(20, 40, 3));
    add("lattice soup", latticeSoup(150, 400, 4));
    return meshes;
}

}  // namespace support
