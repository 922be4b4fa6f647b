// Closest points, two ways. MeshClosestPoint walks the voxels by distance and measures the
// triangles in them. It leaves out what can neither win nor tie, from the cheapest test to the
// dearest: voxels whose disc lies beyond the best so far, triangles whose box does, triangles whose
// corners all do along one direction. Margins cover the rounding of the tests and of the measuring
// itself, so that the answer is that of measuring everything, bit for bit.
// meshClosestPoint reaches triangles through the vertices in the voxels.

#include "trimora/spatial/MeshClosestPoint.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/finiteBounds.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/meshLongestEdge.h"
#include "trimora/spatial/OctreeClosestIt.h"
#include "trimora/spatial/VisitStamps.h"
#include "trimora/spatial/detail/OctreeOccupancy.h"
#include "trimora/spatial/detail/PackedVoxels.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <limits>
#include <vector>

namespace koGeom {

namespace {

constexpr double largestDouble = std::numeric_limits<double>::max();

/// Of the largest coordinate: far above the rounding of a weighted sum of corners, far below what
/// saves work.
constexpr double measuringMargin = 1e-12;

}  // namespace

class ClosestPointContext : public ko::ImplBase {
public:
    ClosestPointContext(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris)
        : visited(mesh.getNumTriangles()),
          occupancy(octree, octreeTris),
          voxels(octree.numVoxels),
          largest(largestCoordinate(finiteBounds(mesh))) {}

    VisitStamps visited;  ///< triangles that the query in hand has measured
    OctreeClosestIt walker;
    detail::OctreeOccupancy occupancy;
    detail::PackedVoxels voxels;
    std::vector<int> near;  ///< triangles of the voxel in hand that may be the nearest
    double largest;  ///< finite coordinate of the mesh; what is not finite is never the nearest
};

namespace {

template <class... Memory>
void fetchAhead(Memory const*... memory) {
    (_mm_prefetch(reinterpret_cast<char const*>(memory), _MM_HINT_T0), ...);
}

/// One query of MeshClosestPoint.
class Nearest {
public:
    Nearest(CompactMesh const& mesh, ClosestPointContext& context, Point const& p)
        : mesh_(mesh),
          vertices_(mesh.getVerticesRaw()),
          triangles_(mesh.getTrianglesRaw()),
          p_(p),
          visited_(context.visited),
          voxels_(context.voxels),
          near_(context.near) {
        double const largest =
            std::max({context.largest, std::abs(p.x), std::abs(p.y), std::abs(p.z)});
        margin_ = distance(p, Point(PointFlt(p))) + measuringMargin * largest;
    }

    double best2() const { return best2_; }
    MeshCoord const& best() const { return best_; }
    void expectVoxel(int voxel) const { fetchAhead(&voxels_[voxel]); }

    void searchVoxel(int voxel, int const* tris, int numTris) {
        if (numTris < 1)
            return;
        detail::PackedVoxels::Voxel const& packed = voxels_[voxel];
        fetchAhead(packed.packets, tris);
        if (packed.isBeyond(p_, reach_))
            return;
        voxels_.read(voxel, mesh_, tris, numTris);
        if (packed.unit == 0.0f) {
            near_.assign(tris, tris + numTris);
        } else {
            detail::PackedDistances const distances(packed, p_);
            if (!(best2_ < largestDouble))
                probe(likeliest(distances, packed, tris, numTris));
            chooseNear(distances, packed, tris, numTris);
        }
        prefetchNear();
        for (int const triangle : near_)
            consider(triangle);
    }

private:
    struct Measured {
        int triangle = -1;
        MeshCoord coord;
        double distance2 = largestDouble;
    };

    struct Corners {
        Point at[3];
    };

    Corners cornersOf(int triangle) const {
        int const* const numbers = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
        Corners corners;
        for (int k = 0; k < 3; ++k) {
            float const* const xyz = vertices_ + 3 * static_cast<std::ptrdiff_t>(numbers[k]);
            corners.at[k] = PointFlt(xyz[0], xyz[1], xyz[2]);
        }
        return corners;
    }

    /// The largest double where nothing can be measured.
    Measured measure(int triangle, Corners const& corners) const {
        Measured measured;
        measured.triangle = triangle;
        measured.coord.triangle = triangle;
        measured.coord.projectBase(p_, corners.at[0], corners.at[1], corners.at[2]);
        if (measured.coord.valid())
            measured.distance2 = distance2(measured.coord.evaluateBase(corners.at), p_);
        return measured;
    }
    Measured measure(int triangle) const { return measure(triangle, cornersOf(triangle)); }

    /// Along any one direction no point of the triangle is nearer than the nearest of its corners;
    /// the direction of the middle of the corners tells the most.
    bool isBeyond(Corners const& corners) const {
        Vector const a = p_ - corners.at[0];
        Vector const b = p_ - corners.at[1];
        Vector const c = p_ - corners.at[2];
        Vector const along = a + b + c;
        double const least = std::min({dot(along, a), dot(along, b), dot(along, c)});
        return least > 0.0 && least * least > reach_ * reach_ * along.length2();
    }

    /// The triangle whose box is nearest.
    static int likeliest(detail::PackedDistances const& distances,
                         detail::PackedVoxels::Voxel const& voxel, int const* tris, int numTris) {
        __m128 least = distances.boxSquares(voxel.packets);
        __m128i packetOfLeast = _mm_setzero_si128();
        for (int packet = 1; 4 * packet < numTris; ++packet) {
            __m128 const squares =
                distances.boxSquares(voxel.packets + packet * detail::PackedVoxels::packetBytes);
            __m128i const isLess = _mm_castps_si128(_mm_cmplt_ps(squares, least));
            packetOfLeast = _mm_or_si128(_mm_and_si128(isLess, _mm_set1_epi32(packet)),
                                         _mm_andnot_si128(isLess, packetOfLeast));
            least = _mm_min_ps(squares, least);
        }
        float squares[4];
        int packets[4];
        _mm_storeu_ps(squares, least);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(packets), packetOfLeast);
        int const lane = static_cast<int>(std::min_element(squares, squares + 4) - squares);
        // The lanes beyond the last triangle repeat it.
        return tris[std::min(4 * packets[lane] + lane, numTris - 1)];
    }

    /// Collects the triangles that may be within reach.
    void chooseNear(detail::PackedDistances const& distances,
                    detail::PackedVoxels::Voxel const& voxel, int const* tris, int numTris) {
        near_.resize(static_cast<std::size_t>(numTris));
        int* end = near_.data();
        __m128 const limit = _mm_set1_ps(distances.limit(reach_));
        std::uint8_t const* packet = voxel.packets;
        for (int first = 0; first < numTris;
             first += 4, packet += detail::PackedVoxels::packetBytes) {
            int beyond = _mm_movemask_ps(_mm_cmpgt_ps(distances.boxSquares(packet), limit));
            if (beyond == 15)
                continue;
            beyond |= distances.beyondAlongMiddle(packet, limit);
            unsigned near =
                static_cast<unsigned>(~beyond) & ((1U << std::min(4, numTris - first)) - 1);
            for (; near != 0; near &= near - 1)
                *end++ = tris[first + std::countr_zero(near)];
        }
        near_.resize(static_cast<std::size_t>(end - near_.data()));
    }

    /// Asks for what measuring reads, so that the memory is waited for once.
    void prefetchNear() const {
        for (int const triangle : near_) {
            fetchAhead(triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle),
                       visited_.address(triangle));
        }
        for (int const triangle : near_) {
            int const* const numbers = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
            for (int k = 0; k < 3; ++k)
                fetchAhead(vertices_ + 3 * static_cast<std::ptrdiff_t>(numbers[k]));
        }
    }

    /// Measures a triangle ahead of its turn: whatever follows, the answer is no worse.
    void probe(int triangle) {
        probed_ = measure(triangle);
        if (probed_.distance2 < largestDouble)
            skipBeyond(probed_.distance2);
    }

    void consider(int triangle) {
        Corners const corners = cornersOf(triangle);
        if (isBeyond(corners) || !visited_.meet(triangle))
            return;
        Measured const measured =
            triangle == probed_.triangle ? probed_ : measure(triangle, corners);
        if (!(measured.distance2 < best2_))
            return;
        best2_ = measured.distance2;
        best_ = measured.coord;
        skipBeyond(best2_);
    }

    void skipBeyond(double distance2) { reach_ = std::min(reach_, std::sqrt(distance2) + margin_); }

    CompactMesh const& mesh_;
    float const* vertices_;
    int const* triangles_;
    Point p_;
    VisitStamps& visited_;
    detail::PackedVoxels& voxels_;
    std::vector<int>& near_;
    double margin_;
    double reach_ = std::numeric_limits<double>::infinity();  // what lies beyond is left out
    double best2_ = largestDouble;
    MeshCoord best_;
    Measured probed_;
};

}  // namespace

MeshClosestPoint::MeshClosestPoint(CompactMesh const& mesh, Octree const& octree,
                                   OctreeTris const& octreeTris)
    : mesh_(mesh),
      octree_(octree),
      octreeTris_(octreeTris),
      context_(new ClosestPointContext(mesh, octree, octreeTris)),
      ownsContext_(true) {
    assert(detail::isTableOf(octreeTris, octree, mesh));
}

MeshClosestPoint::MeshClosestPoint(MeshClosestPoint const& other)
    : mesh_(other.mesh_),
      octree_(other.octree_),
      octreeTris_(other.octreeTris_),
      context_(other.context_),
      ownsContext_(false) {}

MeshClosestPoint::~MeshClosestPoint() {
    if (ownsContext_)
        delete context_;
}

double MeshClosestPoint::compute(Point const& p, MeshCoord* result) {
    context_->visited.nextQuery();
    Nearest nearest(mesh_, *context_, p);
    OctreeClosestIt& walker = context_->walker;
    for (walker.reset(octree_, p, context_->occupancy.sets());
         walker.valid() && walker.getDistance2() < nearest.best2(); walker.next(nearest.best2())) {
        OctreeNode const* const upcoming = walker.upcoming();
        if (upcoming != nullptr && upcoming->isLeaf != 0)
            nearest.expectVoxel(upcoming->voxelIndex);
        int const voxel = walker.get().node->voxelIndex;
        nearest.searchVoxel(voxel, octreeTris_.firstTri(voxel), octreeTris_.numTris(voxel));
    }
    if (nearest.best2() < largestDouble && result != nullptr)
        *result = nearest.best();
    return std::sqrt(nearest.best2());
}

MeshCoord meshTriClosestPt(float const* vertices, int const* triangles, int tri, Point const& p) {
    assert(tri >= 0);
    MeshCoord coord;
    coord.project(tri, vertices, triangles, p);
    return coord;
}

namespace {

/// The search through vertices: for each vertex met, the triangles around it unless their box is
/// too far away.
class VertexSearch {
public:
    VertexSearch(CompactMesh const& mesh, MeshAdjTris const& adjTris, Point const& p,
                 double longestEdge, double maxDist2, BoundingBox const* vertexBoxes,
                 MeshCoord* result)
        : vertices_(mesh.getVerticesRaw()),
          triangles_(mesh.getTrianglesRaw()),
          adjTris_(adjTris),
          p_(p),
          narrowP_(p),
          vertexBoxes_(vertexBoxes),
          result_(result),
          metVertices_(mesh.getNumVertices()),
          metTriangles_(mesh.getNumTriangles()),
          best2_(maxDist2) {
        double const reach = longestEdge / 1.4142135623730951;
        reach2_ = reach * reach;
    }

    double best2() const { return best2_; }

    void walk(Octree const& octree) {
        for (OctreeClosestIt voxels(octree, p_); voxels.valid() && voxels.getDistance2() < stop2();
             voxels.next()) {
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
                float const* const xyz = vertices_ + 3 * static_cast<std::ptrdiff_t>(corners[k]);
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

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                        Point const& p, double longestEdge, double maxDist2,
                        BoundingBox const* vertexBoxes, MeshCoord* result) {
    assert(detail::countsMatch(octree, mesh) && detail::countsMatch(adjTris, mesh));
    VertexSearch search(mesh, adjTris, p, longestEdge, maxDist2, vertexBoxes, result);
    search.walk(octree);
    return std::sqrt(search.best2());
}

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                        Point const& p, MeshCoord* result) {
    return meshClosestPoint(mesh, octree, adjTris, p, meshLongestEdge(mesh), largestDouble, nullptr,
                            result);
}

double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, Point const& p) {
    assert(detail::countsMatch(octree, mesh));
    koOS::StopWatch watch;
    watch.start();
    MeshVertex const* const vertices = mesh.getVertices();
    double best2 = largestDouble;
    for (OctreeClosestIt voxels(octree, p); voxels.valid() && voxels.getDistance2() < best2;
         voxels.next(best2)) {
        OctreeNode const& voxel = *voxels.get().node;
        for (int i = voxel.firstPoint; i < voxel.endPoint; ++i) {
            double const squared =
                distance2(vertices[octree.pointIndices[static_cast<std::size_t>(i)]].asPoint(), p);
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
