#include "harness.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/spatial/meshOctreeLines.h"
#include "trimora/stitch/MeshLineProximity.h"
#include "trimora/stitch/MeshLineTopology.h"
#include "trimora/stitch/MeshMerge.h"

#include <cmath>
#include <numbers>

namespace bench {

namespace {

using namespace koGeom;

/// Of the box's diagonal, where nothing else is said.
constexpr float tolerance = 1e-6f;

float diagonalOf(CompactMesh const& mesh) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    return box.diagonalLength();
}

/// Merges placed copies of a mesh into an empty one.
void merge(char const* job, std::string const& name, CompactMesh const& mesh, int count,
           float shift, float welding) {
    ko::list<MeshPlacement> sources;
    for (int i = 0; i < count; ++i) {
        MeshPlacement placement;
        placement.mesh = &mesh;
        placement.matrix.m[9] = shift * static_cast<float>(i);
        sources.push_back(placement);
    }
    CompactMesh merged;
    run({job, name, count * mesh.getNumTriangles(),
         static_cast<double>(count) * mesh.getNumVertices(), [&] { merged = CompactMesh(); },
         [&] {
             koUtil::Progress progress;
             MeshMerge(merged, sources, welding).merge(progress);
         },
         [&] { return figure("vertices", merged.getNumVertices()); }},
        {1});
}

CompactMesh soupOf(CompactMesh const& mesh) {
    int const numCorners = 3 * mesh.getNumTriangles();
    CompactMesh soup(numCorners, nullptr, nullptr, nullptr, nullptr);
    soup.resizeTriangleArray(mesh.getNumTriangles());
    for (int i = 0; i < numCorners; ++i) {
        soup.getVertices()[i] = mesh.getVertices()[mesh.getTrianglesRaw()[i]];
        soup.getTrianglesRaw()[i] = i;
    }
    return soup;
}

/// A square of side x side vertices, row by row.
CompactMesh gridOf(int side) {
    CompactMesh mesh(side * side, nullptr, nullptr, nullptr, nullptr);
    for (int i = 0; i < side * side; ++i)
        mesh.getVertices()[i].set(static_cast<float>(i % side), static_cast<float>(i / side), 0.0f);
    mesh.resizeTriangleArray(2 * (side - 1) * (side - 1));
    MeshTriangle* next = mesh.getTriangles();
    for (int y = 0; y + 1 < side; ++y)
        for (int x = 0; x + 1 < side; ++x) {
            int const corner = y * side + x;
            *next++ = {{corner, corner + 1, corner + side + 1}};
            *next++ = {{corner, corner + side + 1, corner + side}};
        }
    return mesh;
}

/// Pairs of wavy circles that face each other, `count` points each.
CompactMesh facingCircles(int numPairs, int count, double gap) {
    int const numPoints = 2 * numPairs * count;
    CompactMesh mesh(numPoints, nullptr, nullptr, nullptr, nullptr);
    mesh.resizeLineArray(numPoints);
    mesh.resizeLineStripArrays(numPoints, 2 * numPairs);
    for (int strip = 0; strip < 2 * numPairs; ++strip) {
        mesh.getLineStripLengths()[strip] = count;
        for (int i = 0; i < count; ++i) {
            int const at = strip * count + i;
            double const turn = (strip % 2 == 0 ? 1.0 : -1.0) * 2.0 * std::numbers::pi;
            double const angle = turn * (i + 0.3 * strip) / count;
            double const r = 1.0 + 0.1 * std::sin(9.0 * angle);
            mesh.getVertices()[at].set(static_cast<float>(r * std::cos(angle) + 3.0 * (strip / 2)),
                                       static_cast<float>(r * std::sin(angle)),
                                       static_cast<float>(gap * (strip % 2)));
            mesh.getLineStripPoints()[at] = at;
            mesh.getLines()[at] = {{at, strip * count + (i + 1) % count}};
        }
    }
    return mesh;
}

void proximityOf(std::string const& name, CompactMesh const& mesh, double distance) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    Octree const octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 32);
    OctreeLines octreeLines;
    meshOctreeLines(mesh, octree, octreeLines);
    MeshLineProximity proximity(mesh, octree, octreeLines);
    run({"line_proximity", name, mesh.getNumLines(), 0.0, [] {},
         [&] { proximity.compute(distance); },
         [&] {
             double pairs = 0.0;
             for (int vertex = 0; vertex < mesh.getNumVertices(); ++vertex)
                 pairs += proximity.numLines(vertex);
             return figure("pairs", pairs);
         }},
        {1});
}

void topologyOf(std::string const& name, CompactMesh const& mesh, double distance) {
    int numEdges = 0;
    run({"line_topology", name, mesh.getNumLines(), 0.0, [] {},
         [&] {
             MeshLineTopology::TopologyAlg topology(mesh);
             topology.compute(distance);
             numEdges = topology.getNumEdges();
         },
         [&] { return figure("edges", numEdges); }},
        {1});
}

}  // namespace

void mergeCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        CompactMesh const& mesh = named->mesh;
        float const diagonal = diagonalOf(mesh);
        merge("merge_soup", named->name, soupOf(mesh), 1, 0.0f, tolerance * diagonal);
        merge("merge_two_meshes", named->name, mesh, 2, tolerance * diagonal / 2.0f,
              tolerance * diagonal);
    }
    merge("merge_weld", "grid 316 x 316", gridOf(316), 1, 0.0f, 0.5f);
    if (!options().smallOnly) {
        merge("merge_weld", "grid 1000 x 1000", gridOf(1000), 1, 0.0f, 0.5f);
        merge("merge_weld_exact", "grid 1000 x 1000", gridOf(1000), 1, 0.0f, 0.0f);
        merge("merge_weld_wide", "grid 1000 x 1000", gridOf(1000), 1, 0.0f, 0.99f);
    }
    merge("merge_hundred", "grid 72 x 72", gridOf(72), 100, 71.0f, 1e-3f);

    for (int count : {1000, 10000, 100000}) {
        // ten points within the distance, as samples for stitching are
        double const gap = 2.0 * std::numbers::pi / count * 4.0;
        std::string const name = "circles of " + std::to_string(count);
        CompactMesh const pair = facingCircles(1, count, gap);
        proximityOf(name, pair, 1.25 * gap);
        topologyOf(name, pair, 1.25 * gap);
    }
    topologyOf("100 pairs of 1000", facingCircles(100, 1000, 0.025), 0.03);
}

}  // namespace bench
