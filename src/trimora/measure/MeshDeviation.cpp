// Signed distances of vertices to a reference mesh: each vertex is brought into the reference's
// coordinates, where the octree stands, and the way from the nearest place to it goes back to the
// world to be measured there.
//
// The answer is that of MeshClosestPoint, bit for bit, which decides between places that are equally
// near by the order of voxels. Most vertices have one nearest place, and a tree of triangles finds it
// in a fraction of the time: neighbours come one after the other, so the triangle that was nearest to
// the last one bounds the search. Where several places are as near as rounding lets one tell and
// give different results, the octree is asked.

#include "trimora/measure/MeshDeviation.h"

#include "trimora/connectivity/finiteBounds.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/detail/TriangleTree.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace koGeom {

namespace {

constexpr int pollStride = 200;
constexpr float notMeasured = std::numeric_limits<float>::max();

/// Of the largest coordinate: more than the searches in floats may differ by about what is nearest.
constexpr double nearlyNearest = 1e-6;

/// Sizes of meshes whose squared areas floats hold, and distances that are told from 0.
constexpr double leastSize = 1e-9;
constexpr double greatestSize = 1e9;

/// A tree saves as much time at a vertex as it takes to make it of so many triangles.
constexpr int trianglesWorthAVertex = 8;

/// A vertex of the measured mesh.
struct Measured {
    int vertex;
    Point p;  // in the reference's coordinates
};

}  // namespace

class MeshDeviationImpl : public koUtil::ThreadedAlg, public ko::ImplBase {
public:
    MeshDeviationImpl(CompactMesh const& reference, AffineMatrix const& referenceMatrix,
                      Octree const& octree, OctreeTris const& octreeTris)
        : referenceMatrix_(referenceMatrix),
          referenceInverse_(referenceMatrix.inverse()),
          reference_(reference),
          octree_(octree),
          octreeTris_(octreeTris) {}

    void set(CompactMesh const& mesh, AffineMatrix const& matrix, float* result, bool selectedOnly,
             bool flip);
    void execute(int thread, int numThreads) override;

private:
    class Search;

    bool suitsTree() const;
    float signedDistance(Measured const& measured, Point const& nearest) const;

    CompactMesh const* mesh_ = nullptr;
    AffineMatrix toReference_;
    AffineMatrix normalMatrix_;
    AffineMatrix referenceMatrix_;
    AffineMatrix referenceInverse_;
    CompactMesh const& reference_;
    Octree const& octree_;
    OctreeTris const& octreeTris_;
    std::optional<detail::TriangleTree> tree_;  // made when it is worth it, then kept
    double largest_ = 0.0;                      // coordinate of the reference; set with the tree
    float* result_ = nullptr;
    BitVector const* selection_ = nullptr;  // null: all vertices
    bool flip_ = false;
};

void MeshDeviationImpl::set(CompactMesh const& mesh, AffineMatrix const& matrix, float* result,
                            bool selectedOnly, bool flip) {
    mesh_ = &mesh;
    toReference_ = matrix * referenceInverse_;
    normalMatrix_ = matrix.normalMatrix();
    result_ = result;
    BitVector const& selection = mesh.getSelectedVertices();
    selection_ = selectedOnly && selection.count > 0 ? &selection : nullptr;
    flip_ = flip;

    int const numWanted = selection_ != nullptr ? selection_->count : mesh.getNumVertices();
    int const numTriangles = reference_.getNumTriangles();
    if (!tree_ && numTriangles > 0 && numWanted >= numTriangles / trianglesWorthAVertex &&
        suitsTree()) {
        largest_ = largestCoordinate(finiteBounds(reference_));
        tree_.emplace(reference_);
    }
}

/// Whether the octree lists all vertices and its box holds them, and floats can hold the squares.
bool MeshDeviationImpl::suitsTree() const {
    BoundingBox const box = finiteBounds(reference_);
    double const largest = largestCoordinate(box);
    float const* const positions = reference_.getVerticesRaw();
    std::ptrdiff_t const numNumbers = std::ptrdiff_t{3} * reference_.getNumVertices();
    return octree_.pointIndices.size() == static_cast<std::size_t>(reference_.getNumVertices()) &&
           holds(octree_.getRoot().box, box) && largest > leastSize && largest < greatestSize &&
           std::all_of(positions, positions + numNumbers, [](float x) { return x - x == 0.0f; });
}

float MeshDeviationImpl::signedDistance(Measured const& measured, Point const& nearest) const {
    Vector const delta = (measured.p - nearest) * referenceMatrix_;
    MeshNormal const* const normals = mesh_->getNormals();
    bool const isBelow =
        normals != nullptr && dot(normals[measured.vertex].asVector() * normalMatrix_, delta) < 0.0;
    float const length = static_cast<float>(delta.length());
    return isBelow != flip_ ? -length : length;
}

/// The searches of one thread.
class MeshDeviationImpl::Search {
public:
    explicit Search(MeshDeviationImpl const& impl) : impl_(impl), reference_(impl.reference_) {}

    float deviation(int vertex) {
        Measured const measured{vertex,
                                impl_.mesh_->getVertices()[vertex].asPoint() * impl_.toReference_};
        bool const isOfSize = measured.p.asVector().length2() < greatestSize * greatestSize;
        if (!impl_.tree_ || !isOfSize)
            return byOctree(measured);
        findNearest(measured.p);
        return isSettled(measured) ? settled_ : byOctree(measured);
    }

private:
    struct Candidate {
        int triangle;
        int packet;  // of the tree
        double distance2;
        Point at;
    };

    float byOctree(Measured const& measured);
    void findNearest(Point const& p);
    void consider(detail::TriangleTree::Near const& near, Point const& p);
    bool isSettled(Measured const& measured);
    bool allGive(Measured const& measured, double limit2);
    bool isMetByOctree(Candidate const& candidate, Point const& p) const;

    MeshDeviationImpl const& impl_;
    CompactMesh const& reference_;
    std::optional<MeshClosestPoint> closest_;  // made when it is first needed
    int lastPacket_ = 0;                       // where the nearest triangle of the last vertex was
    double band_ = 0.0;       // within which of the least distance all triangles are wanted
    double least_ = 0.0;      // distance
    Candidate nearest_ = {};  // the first of those with the least distance
    std::vector<detail::TriangleTree::Near> near_;
    std::vector<Candidate> candidates_;  // what was measured
    float settled_ = 0.0f;
};

float MeshDeviationImpl::Search::byOctree(Measured const& measured) {
    if (!closest_)
        closest_.emplace(reference_, impl_.octree_, impl_.octreeTris_);
    MeshCoord coord;
    double const distance = closest_->compute(measured.p, &coord);
    if (!coord.valid())
        return static_cast<float>(distance);
    return impl_.signedDistance(
        measured, coord.evaluate(reference_.getVertices(), reference_.getTriangles()));
}

/// Collects all triangles that may be the nearest, and some more.
void MeshDeviationImpl::Search::findNearest(Point const& p) {
    PointFlt const narrow(p);
    double const largest = std::max({impl_.largest_, std::abs(p.x), std::abs(p.y), std::abs(p.z)});
    band_ = 2.0 * distance(p, Point(narrow)) + nearlyNearest * largest;
    least_ = std::numeric_limits<double>::infinity();
    candidates_.clear();
    near_.clear();
    float const searched = impl_.tree_->search(narrow, lastPacket_, least_, band_, near_);
    auto const nearest = std::min_element(
        near_.begin(), near_.end(), [](auto const& a, auto const& b) { return a.about < b.about; });
    int const first = nearest != near_.end() ? nearest->triangle : -1;
    if (first >= 0)
        consider(*nearest, p);
    if (!(detail::TriangleTree::widened(least_ + band_) <= searched)) {
        // Floats have told a distance that is too short: of slivers they cannot be sure.
        near_.clear();
        constexpr double asItIs = std::numeric_limits<double>::infinity();
        impl_.tree_->search(narrow, lastPacket_, least_ + band_, asItIs, near_);
    }
    for (detail::TriangleTree::Near const& near : near_)
        if (near.least <= detail::TriangleTree::widened(least_ + band_) && near.triangle != first)
            consider(near, p);
    if (!candidates_.empty())
        lastPacket_ = nearest_.packet;
}

/// Measures a triangle.
void MeshDeviationImpl::Search::consider(detail::TriangleTree::Near const& near, Point const& p) {
    MeshVertex const* const vertices = reference_.getVertices();
    MeshTriangle const& numbers = reference_.getTriangles()[near.triangle];
    Point const corners[3] = {vertices[numbers[0]].asPoint(), vertices[numbers[1]].asPoint(),
                              vertices[numbers[2]].asPoint()};
    MeshCoordBase coord;
    coord.projectBase(p, corners[0], corners[1], corners[2]);
    if (!coord.valid())
        return;
    Point const at = coord.evaluateBase(corners);
    double const squared = distance2(at, p);
    candidates_.push_back({near.triangle, near.packet, squared, at});
    if (!(squared >= least_ * least_)) {
        least_ = std::sqrt(squared);
        nearest_ = candidates_.back();
    }
}

/// Whether what was found decides the result, which is then in `settled_`.
bool MeshDeviationImpl::Search::isSettled(Measured const& measured) {
    if (candidates_.empty())
        return false;
    for (Candidate const& candidate : candidates_)
        nearest_ = candidate.distance2 < nearest_.distance2 ? candidate : nearest_;
    double const reach = std::sqrt(nearest_.distance2) + band_;
    if (allGive(measured, reach * reach))
        return true;
    // Several places in the band: if the octree's search is sure to come to the nearest one, only
    // those that are as near to the last bit could win in its place.
    return isMetByOctree(nearest_, measured.p) && allGive(measured, nearest_.distance2);
}

/// Whether all candidates up to a squared distance lead to the same result.
bool MeshDeviationImpl::Search::allGive(Measured const& measured, double limit2) {
    settled_ = impl_.signedDistance(measured, nearest_.at);
    auto const bits = std::bit_cast<std::uint32_t>(settled_);  // 0 and -0 are different results
    return std::all_of(candidates_.begin(), candidates_.end(), [&](Candidate const& candidate) {
        return candidate.distance2 > limit2 || candidate.triangle == nearest_.triangle ||
               std::bit_cast<std::uint32_t>(impl_.signedDistance(measured, candidate.at)) == bits;
    });
}

/// Whether a voxel that lists the triangle is nearer than it, so that it comes before the end.
bool MeshDeviationImpl::Search::isMetByOctree(Candidate const& candidate, Point const& p) const {
    OctreeIterator voxel = impl_.octree_.getRoot();
    double const at[3] = {candidate.at.x, candidate.at.y, candidate.at.z};
    while (voxel.node->isLeaf == 0) {
        int child = 0;
        for (int axis = 0; axis < 3; ++axis) {
            float const cut = octreeCut(voxel.box.bounds[axis], voxel.box.bounds[axis + 3]);
            child |= (at[axis] > static_cast<double>(cut)) << axis;
        }
        voxel.descend(child);
    }
    int const number = voxel.node->voxelIndex;
    int const* const first = impl_.octreeTris_.firstTri(number);
    return voxel.box.distance2(PointFlt(p)) < candidate.distance2 &&
           std::binary_search(first, first + impl_.octreeTris_.numTris(number), candidate.triangle);
}

void MeshDeviationImpl::execute(int thread, int numThreads) {
    koOS::StopWatch watch;
    watch.start();
    int const numVertices = mesh_->getNumVertices();
    int const begin = getBeginIndex(thread, numThreads, numVertices);
    int const end = getBeginIndex(thread + 1, numThreads, numVertices);
    Search search(*this);
    for (int vertex = begin; vertex < end; ++vertex) {
        int const done = vertex - begin;
        if (done % pollStride == 0) {
            if (cancelled(thread))
                break;
            updateProgress(thread, static_cast<double>(done) / (end - begin));
        }
        bool const isWanted = selection_ == nullptr || selection_->isBitSet(vertex) != 0;
        result_[vertex] = isWanted ? search.deviation(vertex) : notMeasured;
    }
    debugChannel().print("   meshDeviation thread time: %d %f \n", thread, watch.clear());
}

MeshDeviation::MeshDeviation(CompactMesh const& reference, AffineMatrix const& referenceMatrix,
                             Octree const& octree, OctreeTris const& octreeTris,
                             koUtil::Progress* progress)
    : impl_(new MeshDeviationImpl(reference, referenceMatrix, octree, octreeTris)),
      ownsImpl_(true) {
    assert(detail::countsMatch(octreeTris, octree));
    impl_->setProgress(progress);
}

MeshDeviation::MeshDeviation(MeshDeviation const& other) : impl_(other.impl_), ownsImpl_(false) {}

MeshDeviation::~MeshDeviation() {
    if (ownsImpl_)
        delete impl_;
}

void MeshDeviation::calculate(CompactMesh const* mesh, AffineMatrix& matrix, float* result,
                              bool selectedOnly, bool flip) {
    if (mesh == nullptr || result == nullptr || mesh->getNumVertices() < 1)
        return;
    koOS::StopWatch watch;
    watch.start();
    impl_->set(*mesh, matrix, result, selectedOnly, flip);
    koUtil::ThreadPool::get().run(*impl_);
    debugChannel().print("   meshDeviation: %f s\n", watch.clear());
}

}  // namespace koGeom
