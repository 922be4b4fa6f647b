#include "support/madeMesh.h"

#include "support/oracles.h"
#include "support/surfaceOracle.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace support {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koGeom::MeshVertex;
using koLinear::Point;
using koLinear::Vector;

namespace {

/// Waves over the unit sphere: a ball that every ray from its middle meets once.
CompactMesh ball(Random& random) {
    CompactMesh mesh = sphere(1 + random.index(4));
    double const height = random.real(0.0, 0.25), wave = random.real(1.0, 5.0);
    double const phase = random.real(0.0, 6.0);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        auto const r = static_cast<float>(1.0 + height * std::sin(wave * double(p.x) + phase) *
                                                    std::cos(wave * double(p.y)));
        p = {r * p.x, r * p.y, r * p.z};
    }
    return mesh;
}

CompactMesh block(Random& random) {
    CompactMesh mesh = random.index(2) == 0 ? cube() : octahedron();
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] -= 0.25f;
    float const stretch = static_cast<float>(random.real(0.3, 2.0));
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].z *= stretch;
    return mesh;
}

CompactMesh shape(Random& random, bool isRound = false) {
    // One draw a statement: the order in which arguments are worked out is the compiler's.
    switch (random.index(5)) {
    case 0:
        return isRound ? ball(random) : block(random);
    case 1: {
        double const minorRadius = random.real(0.2, 0.5);
        int const numV = 5 + random.index(16);
        int const numU = 6 + random.index(40);
        return torus(numU, numV, 1.2, minorRadius);
    }
    default:
        return ball(random);
    }
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

void append(CompactMesh& mesh, std::vector<Point> const& points,
            std::vector<std::array<int, 3>> const& triangles) {
    int const numVertices = mesh.getNumVertices();
    int const numTriangles = mesh.getNumTriangles();
    mesh.resizeVertexArray(numVertices + static_cast<int>(points.size()));
    for (std::size_t i = 0; i < points.size(); ++i)
        mesh.getVertices()[numVertices + static_cast<int>(i)] = {
            float(points[i].x), float(points[i].y), float(points[i].z)};
    mesh.resizeTriangleArray(numTriangles + static_cast<int>(triangles.size()));
    for (std::size_t i = 0; i < triangles.size(); ++i)
        for (std::size_t k = 0; k < 3; ++k)
            mesh.getTriangles()[numTriangles + static_cast<int>(i)][static_cast<int>(k)] =
                triangles[i][k];
}

/// Either a corner goes through the surface on the other side, or another part lies across.
void intersect(CompactMesh& mesh, bool mayAddPart, Random& random) {
    if (mayAddPart && random.index(2) == 0) {
        CompactMesh const other = shape(random);
        mesh = joined(mesh, other, 0.6f, 0.4f, 0.1f);
        return;
    }
    for (int attempt = 0; attempt < 10 && numClearCrossings(mesh) == 0; ++attempt) {
        MeshVertex& p = mesh.getVertices()[random.index(mesh.getNumVertices())];
        float const reach = -static_cast<float>(random.real(1.0, 3.0));
        p = {reach * p.x, reach * p.y, reach * p.z};
    }
}

/// Further parts, each with room around it.
void addParts(CompactMesh& mesh, Random& random) {
    for (int i = 1 + random.index(random.index(4) == 0 ? 30 : 4); i > 0; --i) {
        CompactMesh const other = i > 4 ? octahedron() : shape(random);
        mesh = joined(mesh, other, 6.0f * static_cast<float>(i), 0.0f,
                      6.0f * static_cast<float>(random.index(3)));
    }
}

/// A tetrahedron that stands on an edge, which then has four triangles; or two triangles' corners become one.
void crowd(CompactMesh& mesh, Random& random) {
    for (int i = 1 + random.index(4); i > 0; --i) {
        MeshTriangle const t = mesh.getTriangles()[random.index(mesh.getNumTriangles())];
        Point const a = pointOf(mesh, t[0]), b = pointOf(mesh, t[1]), c = pointOf(mesh, t[2]);
        Vector const side = b - a;
        Vector const normal = cross(side, c - a);
        double const length = side.length();
        if (!(normal.length() > 0.0))
            continue;
        Vector const up = (0.5 * length / normal.length()) * normal;
        Vector const out = (-0.05 / length) * cross(side, up);
        Point const middle = a + 0.5 * side;
        int const d = mesh.getNumVertices();
        append(mesh, {middle + up + out, middle + up + -1.0 * out},
               {{t[0], t[1], d}, {t[1], t[0], d + 1}, {t[0], d, d + 1}, {t[1], d + 1, d}});
    }
}

/// Edges divided at one of their ends: the triangle beyond on each side has two corners in one place.
void degenerate(CompactMesh& mesh, Random& random) {
    for (int i = 1 + random.index(5); i > 0; --i) {
        MeshTriangle const edge = mesh.getTriangles()[random.index(mesh.getNumTriangles())];
        int const a = edge[0], b = edge[1], middle = mesh.getNumVertices();
        append(mesh, {pointOf(mesh, a)}, {});
        for (int t = mesh.getNumTriangles() - 1; t >= 0; --t) {
            MeshTriangle& corners = mesh.getTriangles()[t];
            for (int k = 0; k < 3; ++k) {
                int const from = corners[k], to = corners[(k + 1) % 3], tip = corners[(k + 2) % 3];
                if (!((from == a && to == b) || (from == b && to == a)))
                    continue;
                corners[(k + 1) % 3] = middle;
                append(mesh, {}, {{middle, to, tip}});
                break;
            }
        }
    }
}

void open(CompactMesh& mesh, Random& random) {
    std::vector<int> triangles = trianglesOf(mesh);
    for (int i = 1 + random.index(3); i > 0 && triangles.size() > 30; --i) {
        auto const at =
            triangles.begin() + 3 * random.index(static_cast<int>(triangles.size()) / 3);
        triangles.erase(at, at + 3);
    }
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
}

void place(CompactMesh& mesh, Random& random) {
    float const unit = std::pow(10.0f, static_cast<float>(random.index(7) - 3));
    auto const far = static_cast<float>(random.index(4) == 0 ? random.real(-50.0, 50.0) : 0.0);
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = unit * (mesh.getVerticesRaw()[i] + far);
}

/// Vertices at equal positions become one.
CompactMesh weldedByPosition(CompactMesh const& mesh) {
    std::map<std::array<float, 3>, int> numberOf;
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        MeshVertex const& p = mesh.getVertices()[mesh.getTrianglesRaw()[i]];
        auto const [at, isNew] =
            numberOf.insert({{p.x, p.y, p.z}, static_cast<int>(numberOf.size())});
        if (isNew)
            coordinates.insert(coordinates.end(), {p.x, p.y, p.z});
        triangles.push_back(at->second);
    }
    return meshOf(coordinates, triangles);
}

/// Without the triangles that have two corners in one place.
CompactMesh withoutDegenerate(CompactMesh const& mesh) {
    std::vector<int> kept;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& c = mesh.getTriangles()[t];
        if (c[0] != c[1] && c[1] != c[2] && c[2] != c[0])
            kept.insert(kept.end(), {c[0], c[1], c[2]});
    }
    return meshOf(coordinatesOf(mesh), kept);
}

}  // namespace

MadeMesh madeMesh(std::uint64_t seed) {
    Random random(seed * 0x9e3779b97f4a7c15u + 1);
    MadeMesh made;
    for (std::size_t i = 0; i < NumMadeDefects; ++i)
        made.has[i] = random.real(0.0, 1.0) < madeDefectRates[i];
    made.mesh = shape(random, made.has[SelfIntersecting]);
    if (made.has[SelfIntersecting])
        intersect(made.mesh, made.has[ManyParts], random);
    if (made.has[ManyParts])
        addParts(made.mesh, random);
    if (made.has[Open])
        open(made.mesh, random);
    if (made.has[NonManifold])
        crowd(made.mesh, random);
    if (made.has[Degenerate])
        degenerate(made.mesh, random);
    if (made.has[BadlyWound]) {
        std::uint64_t const seedOfFlips = random.next();
        made.mesh = flipped(made.mesh, random.real(0.02, 0.5), seedOfFlips);
    }
    place(made.mesh, random);
    made.isSoup = random.index(6) == 0;
    made.mesh = made.isSoup ? soup(made.mesh) : shuffled(made.mesh, random.next());
    return made;
}

std::array<bool, NumMadeDefects> defectsOf(CompactMesh const& mesh) {
    CompactMesh const welded = weldedByPosition(mesh);
    CompactMesh const proper = withoutDegenerate(welded);
    SurfaceFaults const faults = surfaceFaults(proper);
    std::array<bool, NumMadeDefects> has = {};
    has[SelfIntersecting] = numClearCrossings(proper) > 0;
    has[ManyParts] = numComponents(proper) > 1;
    has[NonManifold] = faults.crowdedEdges + faults.brokenFans > 0;
    has[Degenerate] = proper.getNumTriangles() < welded.getNumTriangles();
    has[Open] = numBorderEdges(proper) > 0;
    has[BadlyWound] = faults.turnedEdges > 0;
    return has;
}

}  // namespace support
