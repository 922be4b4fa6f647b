#include "harness.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/spatial/Clip.h"
#include "trimora/spatial/meshRayIntersectScreen.h"

#include <algorithm>

namespace bench {

namespace {

using namespace koGeom;

/// Looks down z: maps a square round a place of the mesh to -1 to 1, and its depth to the inside.
ProjMatrixFlt squareView(Point const& middle, double halfSide, double halfDepth) {
    ProjMatrix m;
    double const scale[3] = {1.0 / halfSide, 1.0 / halfSide, 1.0 / halfDepth};
    double const place[3] = {middle.x, middle.y, middle.z};
    for (int k = 0; k < 3; ++k) {
        m.m[5 * k] = scale[k];
        m.m[12 + k] = -place[k] * scale[k];
    }
    return ProjMatrixFlt(m);
}

struct View {
    NamedMesh const& named;
    Point middle;
    double halfSide, halfDepth;

    explicit View(NamedMesh const& source) : named(source), halfSide(0.0), halfDepth(0.0) {
        BoundingBox box;
        meshBoundingBox(source.mesh, box);
        auto const half = [&](int axis) { return 0.5 * double(box.max(axis) - box.min(axis)); };
        middle = Point(double(box.min(0)) + half(0), double(box.min(1)) + half(1),
                       double(box.min(2)) + half(2));
        halfSide = std::max(half(0), half(1));
        halfDepth = 1.001 * half(2);
    }
};

// The whole mesh has to be gone through: no point inside, and a triangle that shows or none.
void visibility(View const& view, char const* job, ProjMatrixFlt const& m) {
    CompactMesh const& mesh = view.named.mesh;
    Clip::TriangleAlgorithm algorithm;
    bool shows = false;
    run({job, view.named.name, mesh.getNumTriangles(), 0.0, [] {},
         [&] { shows = algorithm.evaluateMesh(mesh, m); },
         [&] { return figure("shows", shows ? 1.0 : 0.0); }},
        {1});
}

void visibilities(View const& view) {
    CompactMesh const& mesh = view.named.mesh;
    MeshTriangle const& last = mesh.getTriangles()[mesh.getNumTriangles() - 1];
    auto const corner = [&](int k) { return mesh.getVertices()[last[k]].asPoint(); };
    Point const a = corner(0), b = corner(1), c = corner(2);
    Point const centre((a.x + b.x + c.x) / 3.0, (a.y + b.y + c.y) / 3.0, (a.z + b.z + c.z) / 3.0);
    double const side = 1e-3 * std::max(distance(a, b), distance(b, c));
    visibility(view, "clip_window", squareView(centre, side, view.halfDepth * 4.0));
    Point const beside(view.middle.x + 3.0 * view.halfSide, view.middle.y, view.middle.z);
    visibility(view, "clip_outside", squareView(beside, view.halfSide, view.halfDepth));
}

void pieces(View const& view) {
    CompactMesh const& mesh = view.named.mesh;
    double count = 0.0;
    Clip::TriangleAlgorithm algorithm;
    algorithm.setTriangleFunc(
        [](void* sum, HPoint const&, HPoint const&, HPoint const&) {
            *static_cast<double*>(sum) += 1.0;
            return true;
        },
        &count);
    ProjMatrixFlt const m = squareView(view.middle, 0.5 * view.halfSide, view.halfDepth);
    run({"clip_pieces", view.named.name, mesh.getNumTriangles(), 0.0, [&] { count = 0.0; },
         [&] { algorithm.evaluateMesh(mesh, m); }, [&] { return figure("pieces", count); }},
        {1});
}

// 16 places of a picture of 1000 x 1000, within 2 of each.
void picks(View const& view) {
    constexpr int side = 4;
    CompactMesh const& mesh = view.named.mesh;
    ProjMatrixFlt const m = squareView(view.middle, view.halfSide / 500.0, view.halfDepth);
    double hits = 0.0;
    run({"pick", view.named.name, mesh.getNumTriangles(), double(side * side), [] {},
         [&] {
             hits = 0.0;
             for (int i = 0; i < side * side; ++i) {
                 int const x = -300 + 200 * (i % side), y = -300 + 200 * (i / side);
                 Point const from(view.middle.x + x / 500.0 * view.halfSide,
                                  view.middle.y + y / 500.0 * view.halfSide,
                                  view.middle.z + 3.0 * view.halfDepth);
                 MeshCoord const hit =
                     meshRayIntersectScreen(mesh, m, x, y, 2, Line(from, Vector(0, 0, -1)));
                 hits += hit.valid() ? 1.0 : 0.0;
             }
         },
         [&] { return figure("hits", hits); }});
}

}  // namespace

void pickCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        View const view(*named);
        visibilities(view);
        pieces(view);
        picks(view);
    }
}

}  // namespace bench
