#pragma once

#include "queryScenes.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/OctreeClosestIt.h"
#include "trimora/spatial/Ray.h"
#include "trimora/spatial/intersectRayTriangle.h"
#include "trimora/spatial/octreeIterators.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

/// What rays and closest points must answer, found without leaving anything out.
namespace queryScenes {

constexpr double noHit = 3.4028234663852886e38;

struct RayQuery {
    koGeom::PointFlt origin;
    koGeom::Vector dir;
};

/// t of the hit with one triangle, or noHit.
inline double hitWith(Scene const& scene, RayQuery const& query, int triangle) {
    float const* corners[3];
    for (int k = 0; k < 3; ++k)
        corners[k] = &scene.mesh.getVertices()[scene.mesh.getTriangles()[triangle][k]].x;
    double t, u, v;
    bool const met = koGeom::intersectRayTriangle(&query.dir.x, &query.origin.x, corners[0],
                                                  corners[1], corners[2], t, u, v);
    return met && t > static_cast<double>(koGeom::epsilonTolFlt) ? t : noHit;
}

/// Every triangle of every voxel along the ray, to the end.
inline double nearestHitInVoxels(Scene const& scene, RayQuery const& query) {
    koGeom::Ray const ray(query.origin, query.dir);
    double nearest = noHit;
    for (koGeom::OctreeRayIntersectIt voxels(scene.octree, ray); voxels.valid(); voxels.next()) {
        int const voxel = voxels.get().node->voxelIndex;
        for (int i = 0; i < scene.octreeTris.numTris(voxel); ++i)
            nearest = std::min(nearest, hitWith(scene, query, scene.octreeTris.firstTri(voxel)[i]));
    }
    return nearest;
}

inline double nearestHitOfAll(Scene const& scene, RayQuery const& query) {
    double nearest = noHit;
    for (int t = 0; t < scene.mesh.getNumTriangles(); ++t)
        nearest = std::min(nearest, hitWith(scene, query, t));
    return nearest;
}

constexpr double largest = std::numeric_limits<double>::max();

struct Found {
    double distance = 0.0;
    koGeom::MeshCoord coord;

    bool operator==(Found const& other) const {
        return distance == other.distance && coord.triangle == other.coord.triangle &&
               std::equal(coord.weights, coord.weights + 3, other.coord.weights);
    }
};

inline double squaredDistance(Scene const& scene, koGeom::MeshCoord const& coord,
                              koGeom::Point const& p) {
    return distance2(coord.evaluate(scene.mesh.getVertices(), scene.mesh.getTriangles()), p);
}

struct Best {
    double distance2 = largest;
    koGeom::MeshCoord coord;

    void consider(Scene const& scene, int triangle, koGeom::Point const& p) {
        koGeom::MeshCoord const candidate = koGeom::meshTriClosestPt(
            scene.mesh.getVerticesRaw(), scene.mesh.getTrianglesRaw(), triangle, p);
        if (!candidate.valid())
            return;
        double const squared = squaredDistance(scene, candidate, p);
        if (squared < distance2) {
            distance2 = squared;
            coord = candidate;
        }
    }
};

/// Every triangle of every voxel up to the distance of the best, each once.
inline Found nearestPlaceInVoxels(Scene const& scene, koGeom::Point const& p) {
    Best best;
    std::set<int> met;
    for (koGeom::OctreeClosestIt voxels(scene.octree, p);
         voxels.valid() && voxels.getDistance2() < best.distance2; voxels.next()) {
        int const voxel = voxels.get().node->voxelIndex;
        for (int i = 0; i < scene.octreeTris.numTris(voxel); ++i) {
            int const triangle = scene.octreeTris.firstTri(voxel)[i];
            if (met.insert(triangle).second)
                best.consider(scene, triangle, p);
        }
    }
    return {std::sqrt(best.distance2), best.coord};
}

inline Found nearestPlaceOfAll(Scene const& scene, koGeom::Point const& p) {
    Best best;
    for (int t = 0; t < scene.mesh.getNumTriangles(); ++t)
        best.consider(scene, t, p);
    return {std::sqrt(best.distance2), best.coord};
}

}  // namespace queryScenes
