#include "halfEdges.h"
#include "harness.h"

#include "trimora/contract/koGeom/Remap.h"
#include "trimora/planar/fit.h"
#include "trimora/planar/meshTriangulate.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/repair/MeshVerify.h"
#include "trimora/topology/ExtrudeTopoFace.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

/// Numbers in [0, 1) that are the same everywhere.
class Noise {
public:
    double next() {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(state_ >> 11) * 0x1p-53;
    }

private:
    std::uint64_t state_ = 1;
};

/// The border of a hole in a scan: a wavy circle with a jagged rim.
ko::vector<Point> holeBorder(int numPoints) {
    Noise noise;
    ko::vector<Point> border;
    for (int i = 0; i < numPoints; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / numPoints;
        double const radius = 1.0 + 0.1 * noise.next();
        border.emplace_back(radius * std::cos(angle), radius * std::sin(angle),
                            0.3 * std::sin(3.0 * angle) + 0.05 * noise.next());
    }
    return border;
}

double totalArea(ko::vector<Point> const& points, ko::vector<int> const& triangles) {
    double sum = 0.0;
    for (std::size_t t = 0; t + 2 < triangles.size(); t += 3) {
        Point const& a = points[static_cast<std::size_t>(triangles[t])];
        Point const& b = points[static_cast<std::size_t>(triangles[t + 1])];
        Point const& c = points[static_cast<std::size_t>(triangles[t + 2])];
        sum += 0.5 * cross(b - a, c - a).length();
    }
    return sum;
}

void triangulatePolygonCase(int numPoints) {
    ko::vector<Point> const border = holeBorder(numPoints);
    ko::vector<int> triangles;
    run({"triangulate_polygon", "border_" + std::to_string(numPoints), numPoints - 2, 0.0, [] {},
         [&] { triangulatePolygon(border, triangles, nullptr, nullptr); },
         [&] { return figure("area", totalArea(border, triangles)); }},
        {1});
}

/// Rings of 7 points, one for each vertex of a mesh of 1.6 M triangles.
void fitCase() {
    constexpr int numRings = 800000;
    constexpr int ringSize = 7;
    Noise noise;
    std::vector<Point> points;
    for (int i = 0; i < numRings * ringSize; ++i)
        points.emplace_back(noise.next(), noise.next(), 0.1 * noise.next());
    double sum = 0.0;
    run({"fit_rings", "random_7", 2 * numRings, numRings, [&] { sum = 0.0; },
         [&] {
             for (int ring = 0; ring < numRings; ++ring) {
                 Plane plane;
                 fit(ringSize, points.data() + ring * ringSize, plane);
                 sum += std::abs(plane.normal.z);
             }
         },
         [&] { return figure("mean_z", sum / numRings); }},
        {1});
}

/// A grid of 800 by 1000 quads.
void meshTriangulateCase() {
    constexpr int numX = 800;
    constexpr int numY = 1000;
    CompactMesh mesh;
    mesh.resizeVertexArray((numX + 1) * (numY + 1));
    mesh.polys.resize(4 * numX * numY, numX * numY);
    for (int y = 0; y < numY; ++y)
        for (int x = 0; x < numX; ++x) {
            int const quad = y * numX + x;
            int const corner = y * (numX + 1) + x;
            int const corners[] = {corner, corner + 1, corner + numX + 2, corner + numX + 1};
            for (int k = 0; k < 4; ++k)
                mesh.polys.points[4 * quad + k] = corners[k];
            mesh.polys.lengths[quad] = 4;
        }
    Remap remap;
    run({"mesh_triangulate", "quads", 2 * numX * numY, 0.0, [&] { mesh.resizeTriangleArray(0); },
         [&] { meshTriangulate(mesh, remap); },
         [&] { return figure("triangles", mesh.getNumTriangles()); }},
        {1});
}

void halfEdgeCases(NamedMesh const& named) {
    int const numTriangles = named.mesh.getNumTriangles();
    std::unique_ptr<TopoMesh> topo = topoMeshOf(named.mesh);
    bool isSound = false;
    run({"verify", named.name, numTriangles, 0.0, [] {},
         [&] { isSound = MeshVerify()(*topo, MeshVerify::Info()); },
         [&] { return figure("sound", isSound); }},
        {1});

    ko::unordered_set<TopoMeshFace> faces;
    ko::unordered_set<TopoMeshFace> lifted;
    AffineMatrix up;
    up.m[11] = 1.0;
    run({"extrude_half", named.name, numTriangles, 0.0,
         [&] {
             topo = topoMeshOf(named.mesh);
             faces.clear();
             TopoMeshFace face = topo->firstFace();
             for (int i = 0; i < numTriangles / 2; ++i, face = face.nextInList())
                 faces.insert(face);
         },
         [&] {
             ExtrudeTopoFace extrude(*topo);
             extrude(faces, lifted, up);
         },
         [&] {
             return figure("lifted", static_cast<double>(lifted.size())) +
                    figure("faces", topo->numFaces());
         }},
        {1});
}

}  // namespace

void planarCases() {
    for (int const numPoints : {100, 400, 1000})
        triangulatePolygonCase(numPoints);
    fitCase();
    meshTriangulateCase();
    for (NamedMesh const* const named : bothMeshes())
        halfEdgeCases(*named);
}

}  // namespace bench
