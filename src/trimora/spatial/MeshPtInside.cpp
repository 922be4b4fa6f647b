#include "trimora/spatial/MeshPtInside.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/spatial/intersects.h"

namespace koGeom {

namespace {

Vector blendedNormal(CompactMesh const& mesh, MeshCoord const& coord) {
    MeshTriangle const& corners = mesh.getTriangles()[coord.triangle];
    MeshNormal const* const normals = mesh.getNormals();
    Vector const atCorners[3] = {normals[corners[0]].asVector(), normals[corners[1]].asVector(),
                                 normals[corners[2]].asVector()};
    return combine(3, coord.weights, atCorners);
}

}  // namespace

MeshPtInside::MeshPtInside(CompactMesh const& mesh, Octree const& octree,
                           OctreeTris const& octreeTris, double tolerance)
    : mesh_(mesh), closestPoint_(mesh, octree, octreeTris), tolerance_(tolerance) {
    meshBoundingBox(mesh, box_);
}

MeshPtInside::Result MeshPtInside::evaluate(Point const& p) {
    if (!contains(box_, PointFlt(p)))
        return Result::Outside;
    MeshCoord coord;
    double const distance = closestPoint_.compute(p, &coord);
    if (tolerance_ > distance)
        return Result::OnSurface;
    if (!coord.valid() || mesh_.getNormals() == nullptr)
        return Result::Outside;
    Point const onSurface = coord.evaluate(mesh_.getVertices(), mesh_.getTriangles());
    return dot(onSurface - p, blendedNormal(mesh_, coord)) < 0.0 ? Result::Outside : Result::Inside;
}

}  // namespace koGeom
