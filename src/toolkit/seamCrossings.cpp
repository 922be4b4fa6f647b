#include "toolkit/detail/seamCrossings.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/repair/MeshIntersect.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <vector>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;

// Of the largest coordinate: how far a crossing's middle may be beside the former crossing by the rounding to floats.
constexpr double rounding = 1e-6;

/// Where two triangles cut each other.
struct Crossing {
    int triangles[2];
    Point start;
    Point end;
};

/// Welded, as checkMesh does it: triangles keep their numbers.
std::vector<Crossing> findCrossings(CompactMesh const& mesh) {
    CompactMesh welded(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr, nullptr);
    welded.copyTriangles(mesh.getNumTriangles(), mesh.getTrianglesRaw());
    koUtil::Progress unwatched;
    koGeom::meshCompact(welded, unwatched);
    koGeom::SimpleMeshCache cache;
    auto const octree = cache.getOctree(welded, -1);
    auto const octreeTris = cache.getOctreeTris(welded);
    std::deque<koGeom::MeshIntersectPair> pairs;  // two records a crossing
    koGeom::MeshIntersect(welded, *octree, *octreeTris).selfIntersect(unwatched, pairs);
    std::vector<Crossing> crossings;
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2)
        crossings.push_back({{pairs[i].start.triangle, pairs[i + 1].start.triangle},
                             pairs[i].start.evaluate(welded.getVertices(), welded.getTriangles()),
                             pairs[i].end.evaluate(welded.getVertices(), welded.getTriangles())});
    return crossings;
}

double largestCoordinate(CompactMesh const& mesh) {
    float const* const first = mesh.getVerticesRaw();
    double largest = 0.0;
    for (std::ptrdiff_t i = 0; i < 3 * static_cast<std::ptrdiff_t>(mesh.getNumVertices()); ++i)
        largest = std::max(largest, std::fabs(static_cast<double>(first[i])));
    return largest;
}

bool isOn(Point const& p, Crossing const& crossing, double tolerance) {
    Vector const along = crossing.end - crossing.start;
    double const squared = dot(along, along);
    double const t =
        squared > 0.0 ? std::clamp(dot(p - crossing.start, along) / squared, 0.0, 1.0) : 0.0;
    return distance(p, crossing.start + t * along) <= tolerance;
}

}  // namespace

int numCrossingTriangles(CompactMesh const& edited, CompactMesh const& before) {
    std::vector<Crossing> const former = findCrossings(before);
    double const tolerance = rounding * largestCoordinate(edited);
    BitVector stillThere(before.getNumTriangles());
    BitVector others(edited.getNumTriangles());
    for (Crossing const& crossing : findCrossings(edited)) {
        Point const middle = combine(0.5, crossing.start, 0.5, crossing.end);
        bool isFormer = false;
        for (Crossing const& old : former) {
            if (!isOn(middle, old, tolerance))
                continue;
            isFormer = true;
            for (int const t : old.triangles)
                stillThere.setBit(t);
        }
        for (int const t : crossing.triangles)
            if (!isFormer)
                others.setBit(t);
    }
    return stillThere.count + others.count;
}

}  // namespace trimora
