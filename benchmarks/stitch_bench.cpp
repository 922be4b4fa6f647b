#include "harness.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/stitch/MeshStitchSeam.h"
#include "trimora/stitch/meshStitch.h"

#include <cmath>
#include <memory>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

/// Rows of a tube; few, so that the seam is what costs.
constexpr int numRows = 4;
constexpr double tolerance = 0.1;

/// Appends a tube round a line along z. Its radius makes edges of length 1 where there are `edgesRound` of them.
class Tubes {
public:
    void add(int sides, double edgesRound, double x, double y, double low) {
        int const first = numVertices_;
        double const radius = edgesRound / (2.0 * std::numbers::pi);
        for (int row = 0; row <= numRows; ++row)
            for (int i = 0; i < sides; ++i) {
                double const angle = 2.0 * std::numbers::pi * i / sides;
                append(x + radius * std::cos(angle), y + radius * std::sin(angle), low + row);
            }
        for (int row = 0; row < numRows; ++row)
            for (int i = 0; i < sides; ++i) {
                int const a = first + row * sides + i;
                int const b = first + row * sides + (i + 1) % sides;
                triangles_.insert(triangles_.end(), {a, b, b + sides, a, b + sides, a + sides});
            }
    }
    CompactMesh mesh() const {
        std::vector<MeshVertex> vertices(static_cast<std::size_t>(numVertices_));
        for (std::size_t i = 0; i < vertices.size(); ++i)
            vertices[i].set(coordinates_.data() + 3 * i);
        CompactMesh mesh(numVertices_, vertices.data(), nullptr, nullptr, nullptr);
        mesh.copyTriangles(static_cast<int>(triangles_.size() / 3), triangles_.data());
        return mesh;
    }
    std::vector<int> const& triangles() const { return triangles_; }
    std::vector<double> const& coordinates() const { return coordinates_; }

private:
    void append(double x, double y, double z) {
        coordinates_.insert(coordinates_.end(), {x, y, z});
        ++numVertices_;
    }

    std::vector<double> coordinates_;
    std::vector<int> triangles_;
    int numVertices_ = 0;
};

/// Two tubes, a gap of half an edge between them, whose rims have n and three quarters of n edges.
Tubes pairOf(int n) {
    Tubes tubes;
    tubes.add(n, n, 0.0, 0.0, 0.5);
    tubes.add(3 * n / 4, n, 0.0, 0.0, -double(numRows));
    return tubes;
}

int numOpenEdges(TopoMesh const& mesh) {
    int count = 0;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList())
        count += !e.twin();
    return count;
}

/// The seam alone, on a half-edge mesh.
void seamCase(int n) {
    Tubes const tubes = pairOf(n);
    std::size_t const count = tubes.coordinates().size() / 3;
    std::vector<Point> points(count);
    for (std::size_t i = 0; i < count; ++i)
        points[i].set(tubes.coordinates()[3 * i], tubes.coordinates()[3 * i + 1],
                      tubes.coordinates()[3 * i + 2]);
    std::unique_ptr<TopoMesh> mesh;
    TopoMeshVertex upper;
    TopoMeshVertex lower;
    run({"stitch_seam", std::to_string(n) + " edges",
         static_cast<int>(tubes.triangles().size() / 3), static_cast<double>(n),
         [&] {
             mesh = std::make_unique<TopoMesh>();
             mesh->allocFaces(static_cast<int>(count), points.data(),
                              static_cast<int>(tubes.triangles().size() / 3), 3,
                              tubes.triangles().data());
             int const topOfLower = n * (numRows + 1) + (3 * n / 4) * numRows;
             int number = 0;
             for (TopoMeshVertex v = mesh->firstVertex(); v; v = v.nextInList(), ++number) {
                 if (number == 0)
                     upper = v;
                 if (number == topOfLower)
                     lower = v;
             }
         },
         [&] { MeshStitchSeam(*mesh).stitchCircular(upper, lower, tolerance, true); },
         [&] { return figure("faces", mesh->numFaces()) + figure("open", numOpenEdges(*mesh)); }},
        {1});
}

/// The whole call on an array mesh; the tables that it is given are not timed.
void meshCase(char const* job, std::string const& name, Tubes const& tubes, double distance,
              double numEdges) {
    CompactMesh const source = tubes.mesh();
    CompactMesh mesh;
    ko::Reference<MeshAdjTris> adjTris;
    ko::Reference<MeshBoundaries> boundaries;
    MeshStitchReport report;
    run({job, name, source.getNumTriangles(), numEdges,
         [&] {
             mesh = source;
             SimpleMeshCache cache;
             adjTris = cache.getAdjTris(mesh);
             boundaries = cache.getBoundaries(mesh);
         },
         [&] {
             std::vector<int> all(static_cast<std::size_t>(boundaries->size()));
             std::iota(all.begin(), all.end(), 0);
             meshStitch(mesh, adjTris, boundaries, all, distance, tolerance, report);
         },
         [&] {
             SimpleMeshCache cache;
             return figure("seams", static_cast<double>(report.seams.size())) +
                    figure("boundaries", cache.getBoundaries(mesh)->size()) +
                    figure("triangles", mesh.getNumTriangles());
         }},
        {1});
}

}  // namespace

void stitchCases() {
    for (int const n : {1000, 20000}) {
        seamCase(n);
        meshCase("stitch_loops", std::to_string(n) + " edges", pairOf(n), 2.0, n);
    }
    for (int const n : {100, 1000}) {
        Tubes pairs;
        for (int i = 0; i < n; ++i) {
            pairs.add(40, 40.0, 20.0 * (i % 32), 20.0 * (i / 32), 0.5);
            pairs.add(30, 40.0, 20.0 * (i % 32), 20.0 * (i / 32), -double(numRows));
        }
        meshCase("stitch_pairs", std::to_string(n) + " pairs", pairs, 2.0, 40.0 * n);
    }
}

}  // namespace bench
