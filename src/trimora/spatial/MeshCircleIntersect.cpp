#include "trimora/spatial/MeshCircleIntersect.h"

#include "trimora/connectivity/triNormal.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/detail/callerContract.h"
#include "trimora/spatial/VisitStamps.h"
#include "trimora/spatial/octreeIterators.h"

#include <cassert>
#include <cmath>
#include <numbers>

namespace koGeom {

namespace {

constexpr int numArcs = 12;

}  // namespace

class IntersectImpl : public ko::ImplBase {
public:
    IntersectImpl(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                  double tolerance)
        : mesh_(mesh),
          octreeTris_(octreeTris),
          tolerance_(tolerance),
          visited_(mesh.getNumTriangles()),
          voxels_(octree) {}

    void intersect(Plane const& circle, double radius, ko::vector<Point>& result);

private:
    void searchBox(BoundingBox const& box, Plane const& circle, double radius,
                   ko::vector<Point>& result);
    void tryTriangle(int triangle, Plane const& circle, double radius,
                     ko::vector<Point>& result) const;

    CompactMesh const& mesh_;
    OctreeTris const& octreeTris_;
    double tolerance_;
    VisitStamps visited_;
    OctreeBBoxIntersectIt voxels_;
};

void IntersectImpl::intersect(Plane const& circle, double radius, ko::vector<Point>& result) {
    Vector spoke = Vector(circle.normal).orthogonalVector();
    if (!(radius > 0.0) || !spoke.normalize())
        return;
    spoke = radius * spoke;
    visited_.nextQuery();
    Point former = circle.origin + spoke;
    for (int arc = 1; arc <= numArcs; ++arc) {
        Point const end =
            circle.origin + rotate(spoke, circle.normal, arc * 2.0 * std::numbers::pi / numArcs);
        double const xyz[3] = {former.x, former.y, former.z};
        BoundingBox box(xyz);
        box.extend(PointFlt(end));
        box.extendToCube();
        searchBox(box, circle, radius, result);
        former = end;
    }
}

void IntersectImpl::searchBox(BoundingBox const& box, Plane const& circle, double radius,
                              ko::vector<Point>& result) {
    for (voxels_.reset(box); voxels_.valid(); voxels_.next()) {
        int const voxel = voxels_.get().node->voxelIndex;
        int const* const tris = octreeTris_.firstTri(voxel);
        for (int i = 0; i < octreeTris_.numTris(voxel); ++i) {
            if (visited_.meet(tris[i]))
                tryTriangle(tris[i], circle, radius, result);
        }
    }
}

void IntersectImpl::tryTriangle(int triangle, Plane const& circle, double radius,
                                ko::vector<Point>& result) const {
    MeshTriangle const& corners = mesh_.getTriangles()[triangle];
    MeshVertex const* const vertices = mesh_.getVertices();
    Point const first = vertices[corners[0]].asPoint();
    Plane const plane(
        first, triNormal(first, vertices[corners[1]].asPoint(), vertices[corners[2]].asPoint()));
    Point points[2];
    int const numPoints = circlePlaneIntersect(circle, radius, plane, points);
    for (int i = 0; i < numPoints; ++i) {
        MeshCoord coord;
        if (coord.project(triangle, mesh_.getVerticesRaw(), mesh_.getTrianglesRaw(), points[i]) &&
            equivalent(coord.evaluate(vertices, mesh_.getTriangles()), points[i], tolerance_))
            result.push_back(points[i]);
    }
}

MeshCircleIntersect::MeshCircleIntersect(CompactMesh const& mesh, Octree const& octree,
                                         OctreeTris const& octreeTris, double tolerance)
    : impl_(new IntersectImpl(mesh, octree, octreeTris, tolerance)), ownsImpl_(true) {
    assert(detail::isTableOf(octreeTris, octree, mesh));
}

MeshCircleIntersect::MeshCircleIntersect(MeshCircleIntersect const& other)
    : impl_(other.impl_), ownsImpl_(false) {}

MeshCircleIntersect::~MeshCircleIntersect() {
    if (ownsImpl_)
        delete impl_;
}

void MeshCircleIntersect::operator()(Plane const& circle, double radius,
                                     ko::vector<Point>& result) {
    impl_->intersect(circle, radius, result);
}

int circlePlaneIntersect(Plane const& circle, double radius, Plane const& other, Point* points) {
    bool success = false;
    Line const common = intersect(circle, other, success);
    if (!success)
        return 0;
    Point const middle = project(circle.origin, common);
    double const half2 = radius * radius - distance2(circle.origin, middle);
    if (!(half2 >= 0.0))
        return 0;
    Vector const half = std::sqrt(half2) * Vector(common.direction);
    points[0] = middle + half;
    points[1] = middle - half;
    return equivalent(points[0], points[1], epsilonTol) ? 1 : 2;
}

}  // namespace koGeom
