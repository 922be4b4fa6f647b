#include "halfEdges.h"
#include "harness.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/planar/MergeSegments.h"
#include "trimora/planar/decimate.h"
#include "trimora/planar/fit.h"
#include "trimora/planar/meshTriangulate.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/repair/MeshVerify.h"
#include "trimora/topology/ExtrudeTopoFace.h"

#include <cmath>
#include <cstdint>
#include <deque>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
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

/// A wave with noise of 0.1, 10 vertices for each unit of length.
ko::vector<Polyline::vertex> noisyLine(int numVertices) {
    Noise noise;
    ko::vector<Polyline::vertex> vertices;
    for (int i = 0; i < numVertices; ++i)
        vertices.emplace_back(0.1 * i, 20.0 * std::sin(0.01 * i) + 0.1 * noise.next(),
                              0.1 * noise.next(), i);
    return vertices;
}

/// Of a noisy line what is taken out at a tolerance below the noise, above it, and above the wave.
void decimateCases(int numVertices) {
    ko::vector<Polyline::vertex> const vertices = noisyLine(numVertices);
    Polyline line(0, nullptr);
    for (auto const& [name, tolerance] :
         {std::pair("decimate_noise", 0.03), {"decimate_wave", 0.3}, {"decimate_all", 100.0}})
        run({name, "line_" + std::to_string(numVertices), numVertices, 0.0,
             [&] { line.initialize(numVertices, vertices.data()); },
             [&, tolerance = tolerance] { decimate(line, tolerance); },
             [&] { return figure("left", line.getNumVertices()); }},
            {1});
}

/// Loops of 1000 segments, in mixed order and directions.
std::deque<Segment> mixedLoops(int numSegments) {
    constexpr int perLoop = 1000;
    Noise noise;
    std::deque<Segment> segments;
    for (int i = 0; i < numSegments; ++i) {
        double const middle = 3.0 * (i / perLoop);
        double const from = 2.0 * std::numbers::pi * (i % perLoop) / perLoop;
        double const to = 2.0 * std::numbers::pi * ((i + 1) % perLoop) / perLoop;
        double const start[3] = {middle + std::cos(from), std::sin(from), 0.2 * std::sin(5 * from)};
        double const end[3] = {middle + std::cos(to), std::sin(to), 0.2 * std::sin(5 * to)};
        bool const isTurned = noise.next() < 0.5;
        segments.emplace_back(isTurned ? end : start, isTurned ? start : end);
    }
    for (std::size_t i = segments.size() - 1; i > 0; --i)
        std::swap(segments[i],
                  segments[static_cast<std::size_t>(noise.next() * static_cast<double>(i + 1))]);
    return segments;
}

void chainCase(char const* name, std::deque<Segment> const& segments) {
    ko::vector<ko::Reference<Polyline>> chains;
    int const numSegments = static_cast<int>(segments.size());
    run({"chain", name, numSegments, 0.0, [] {}, [&] { MergeSegments()(chains, segments, 1e-4f); },
         [&] { return figure("chains", static_cast<double>(chains.size())); }},
        {1});
}

/// Chaining as it comes from contours, and where all ends are one point.
void chainCases() {
    constexpr int numSegments = 1000000;
    chainCase("loops_1M", mixedLoops(numSegments));
    double const place[3] = {1.0, 2.0, 3.0};
    chainCase("one_point_1M", std::deque<Segment>(numSegments, Segment(place, place)));
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
    for (int const numVertices : {100000, 1000000})
        decimateCases(numVertices);
    chainCases();
    for (NamedMesh const* const named : bothMeshes())
        halfEdgeCases(*named);
}

}  // namespace bench
