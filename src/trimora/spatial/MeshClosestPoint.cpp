// Closest points, two ways. MeshClosestPoint walks the voxels by distance and measures each triangle in them once. Two bounds
// save work without changing any answer: the triangle that the last query found gives a first upper bound, and a
// triangle whose box lies farther away than the best so far is not measured. Both leave a margin for the rounding of
// the measuring itself. meshClosestPoint reaches triangles through the vertices in the voxels.

#include "trimora/spatial/MeshClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/measure/meshLongestEdge.h"
#include "trimora/spatial/OctreeClosestIt.h"
#include "trimora/spatial/VisitStamps.h"

namespace koGeom {

namespace {

constexpr double largestDouble = std::numeric_limits<double>::max();

// Of the largest coordinate: far above the rounding of a weighted sum of corners, far below what saves work.
constexpr double relativeMargin = 1e-12;

double distance2ToBox(double const (&p)[3], float const* a, float const* b, float const* c) {
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        float const low = std::min(std::min(a[axis], b[axis]), c[axis]);
        float const high = std::max(std::max(a[axis], b[axis]), c[axis]);
        double const below = static_cast<double>(low) - p[axis];
        double const above = p[axis] - static_cast<double>(high);
        double const outside = std::max(std::max(below, above), 0.0);
        sum += outside * outside;
    }
    return sum;
}

float const* cornerOf(float const* vertices, int const* triangle, int corner) {
    return vertices + 3 * static_cast<std::ptrdiff_t>(triangle[corner]);
}

// One query of MeshClosestPoint: the best so far, and from where on a triangle is not worth measuring.
class Nearest {
  public:
    Nearest(CompactMesh const& mesh, BoundingBox const& rootBox, Point const& p)
        : vertices_(mesh.getVerticesRaw()), triangles_(mesh.getTrianglesRaw()), p_(p), xyz_{p.x, p.y, p.z} {
        double largest = std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)});
        for (float const bound : rootBox.bounds)
            largest = std::max(largest, std::abs(static_cast<double>(bound)));
        margin_ = relativeMargin * largest;
    }

    double best2() const { return best2_; }
    double bound2() const { return bound2_; }
    MeshCoord const& best() const { return best_; }

    // A place that is known to be on the mesh: nothing farther away can be the nearest.
    void startFrom(int triangle) {
        MeshCoord coord;
        double const squared = measure(triangle, coord);
        if (squared < bound2_)
            lowerBound(squared);
    }

    void consider(int triangle) {
        int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
        if (distance2ToBox(xyz_, cornerOf(vertices_, corners, 0), cornerOf(vertices_, corners, 1),
                           cornerOf(vertices_, corners, 2)) > skip2_)
            return;
        MeshCoord coord;
        double const squared = measure(triangle, coord);
        if (!(squared < best2_))
            return;
        best2_ = squared;
        best_ = coord;
        if (squared < bound2_)
            lowerBound(squared);
    }

  private:
    // The squared distance, or the largest double where nothing can be measured.
    double measure(int triangle, MeshCoord& coord) const {
        coord = meshTriClosestPt(vertices_, triangles_, triangle, p_);
        return coord.valid() ? distance2(coord.evaluate(vertices_, triangles_), p_) : largestDouble;
    }

    void lowerBound(double squared) {
        bound2_ = squared;
        double const reach = std::sqrt(squared) + margin_;
        skip2_ = reach * reach;
    }

    float const* vertices_;
    int const* triangles_;
    Point p_;
    double xyz_[3];
    double margin_;
    double best2_ = largestDouble;   // of what was found in this walk
    double bound2_ = largestDouble;  // of what is known to be there
    double skip2_ = std::numeric_limits<double>::infinity();
    MeshCoord best_;
};

}  // namespace

class ClosestPointContext : public ko::ImplBase {
  public:
    explicit ClosestPointContext(int numTriangles) : visited(numTriangles) {}

    VisitStamps visited;
    OctreeClosestIt walker;
    int lastTriangle = -1;  // found by the last query
};

MeshClosestPoint::MeshClosestPoint(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris)
    : mesh_(mesh), octree_(octree), octreeTris_(octreeTris),
      context_(new ClosestPointContext(mesh.getNumTriangles())), ownsContext_(true) {}

MeshClosestPoint::MeshClosestPoint(MeshClosestPoint const& other)
    : mesh_(other.mesh_), octree_(other.octree_), octreeTris_(other.octreeTris_), context_(other.context_),
      ownsContext_(false) {}

MeshClosestPoint::~MeshClosestPoint() {
    if (ownsContext_)
        delete context_;
}

double MeshClosestPoint::compute(Point const& p, MeshCoord* result) {
    OctreeClosestIt& walker = context_->walker;
    VisitStamps& visited = context_->visited;
    Nearest nearest(mesh_, octree_.getRoot().box, p);
    if (context_->lastTriangle >= 0)
        nearest.startFrom(context_->lastTriangle);
    for (walker.reset(octree_, p); walker.valid() && walker.getDistance2() < nearest.best2();
         walker.next(nearest.bound2())) {
        int const voxel = walker.get().node->voxelIndex;
        int const numTris = octreeTris_.numTris(voxel);
        int const* const tris = octreeTris_.firstTri(voxel);
        for (int i = 0; i < numTris; ++i) {
            if (visited.meet(tris[i]))
                nearest.consider(tris[i]);
        }
    }
    visited.nextQuery();
    if (nearest.best2() < largestDouble) {
        context_->lastTriangle = nearest.best().triangle;
        if (result != nullptr)
            *result = nearest.best();
    }
    return std::sqrt(nearest.best2());
}

MeshCoord meshTriClosestPt(float const* vertices, int const* triangles, int tri, Point const& p) {
    MeshCoord coord;
    coord.project(tri, vertices, triangles, p);
    return coord;
}

namespace {

// The search through vertices: for each vertex met, the triangles around it unless their box is too far away.
class VertexSearch {
  public:
    VertexSearch(CompactMesh const& mesh, MeshAdjTris const& adjTris, Point const& p, double longestEdge,
                 double maxDist2, BoundingBox const* vertexBoxes, MeshCoord* result)
        : vertices_(mesh.getVerticesRaw()), triangles_(mesh.getTrianglesRaw()), adjTris_(adjTris), p_(p),
          narrowP_(p), vertexBoxes_(vertexBoxes), result_(result), metVertices_(mesh.getNumVertices()),
          metTriangles_(mesh.getNumTriangles()), best2_(maxDist2) {
        double const reach = longestEdge / 1.4142135623730951;
        reach2_ = reach * reach;
    }

    double best2() const { return best2_; }

    void walk(Octree const& octree) {
        for (OctreeClosestIt voxels(octree, p_); voxels.valid() && voxels.getDistance2() < stop2(); voxels.next()) {
            OctreeNode const& voxel = *voxels.get().node;
            for (int i = voxel.firstPoint; i < voxel.endPoint; ++i) {
                int const vertex = octree.pointIndices[static_cast<std::size_t>(i)];
                if (metVertices_.meet(vertex))
                    considerAround(vertex);
            }
        }
    }

  private:
    double stop2() const { return std::max(best2_, reach2_); }

    double boundAround(int vertex) const {
        if (vertexBoxes_ != nullptr)
            return vertexBoxes_[vertex].distance2(narrowP_);
        BoundingBox box;
        int const* const around = adjTris_.triIndices(vertex);
        for (int i = 0; i < adjTris_.numTris(vertex); ++i) {
            int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(around[i]);
            for (int k = 0; k < 3; ++k) {
                float const* const xyz = cornerOf(vertices_, corners, k);
                box.extend(PointFlt(xyz[0], xyz[1], xyz[2]));
            }
        }
        return box.distance2(narrowP_);
    }

    void considerAround(int vertex) {
        int const numTris = adjTris_.numTris(vertex);
        if (numTris == 0 || !(best2_ > boundAround(vertex)))
            return;
        int const* const around = adjTris_.triIndices(vertex);
        for (int i = 0; i < numTris; ++i) {
            if (metTriangles_.meet(around[i]))
                consider(around[i]);
        }
    }

    void consider(int triangle) {
        MeshCoord const coord = meshTriClosestPt(vertices_, triangles_, triangle, p_);
        if (!coord.valid())
            return;
        double const squared = distance2(coord.evaluate(vertices_, triangles_), p_);
        if (!(best2_ > squared))
            return;
        best2_ = squared;
        if (result_ != nullptr)
            *result_ = coord;
    }

    float const* vertices_;
    int const* triangles_;
    MeshAdjTris const& adjTris_;
    Point p_;
    PointFlt narrowP_;
    BoundingBox const* vertexBoxes_;
    MeshCoord* result_;
    VisitStamps metVertices_;
    VisitStamps metTriangles_;
    double best2_;
    double reach2_;
};

}  // namespace

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris, Point const& p,
                        double longestEdge, double maxDist2, BoundingBox const* vertexBoxes, MeshCoord* result) {
    VertexSearch search(mesh, adjTris, p, longestEdge, maxDist2, vertexBoxes, result);
    search.walk(octree);
    return std::sqrt(search.best2());
}

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris, Point const& p,
                        MeshCoord* result) {
    return meshClosestPoint(mesh, octree, adjTris, p, meshLongestEdge(mesh), largestDouble, nullptr, result);
}

double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, Point const& p) {
    koOS::StopWatch watch;
    watch.start();
    MeshVertex const* const vertices = mesh.getVertices();
    double best2 = largestDouble;
    for (OctreeClosestIt voxels(octree, p); voxels.valid() && voxels.getDistance2() < best2; voxels.next(best2)) {
        OctreeNode const& voxel = *voxels.get().node;
        for (int i = voxel.firstPoint; i < voxel.endPoint; ++i) {
            double const squared = distance2(vertices[octree.pointIndices[static_cast<std::size_t>(i)]].asPoint(), p);
            if (squared < best2)
                best2 = squared;
        }
    }
    debugChannel().print("   meshClosestVertex: %f s\n", watch.clear());
    return best2;
}

MeshCoord meshRayClosestPt(CompactMesh const& mesh, double longestEdge, Octree const& octree,
                           MeshAdjTris const& adjTris, Line const& line, Point const& point) {
    bool success = false;
    Point const foot = intersect(line, Plane(point, line.direction), success, perpendicular2Tol);
    MeshCoord coord;
    meshClosestPoint(mesh, octree, adjTris, foot, longestEdge, largestDouble, nullptr, &coord);
    return coord;
}

}  // namespace koGeom
