#include "trimora/repair/detail/VertexStar.h"

#include <algorithm>
#include <limits>

namespace koGeom {

namespace {

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

// The two corners that follow the first corner that is the centre, in winding order.
std::pair<int, int> rimOf(MeshTriangle const& triangle, int centre) {
    auto const [a, b, c] = triangle.vertices;
    return a == centre ? std::pair(b, c) : b == centre ? std::pair(c, a) : std::pair(a, b);
}

}  // namespace

VertexStar::VertexStar(MeshAdjTris const& adj, MeshTriangle const* triangles, int numVertices)
    : adj_(adj), triangles_(triangles), rim_(at(numVertices), RimEntry{0, -1}) {}

// Each triangle is found by the rim vertex that it begins with; it is followed by the one that
// begins where it ends. Coming back to the first after as many steps as there are triangles, the
// walk has met all of them, and every spoke is used twice.
bool VertexStar::isClosedFan(int vertex) {
    int const numTris = adj_.numTris(vertex);
    int const* const tris = adj_.triIndices(vertex);
    rimEnds_.resize(at(numTris));
    nextStamp();
    for (int i = 0; i < numTris; ++i) {
        auto const [rimBegin, rimEnd] = rimOf(triangles_[tris[i]], vertex);
        if (rim_[at(rimBegin)].stamp == stamp_)
            return false;
        rim_[at(rimBegin)] = {stamp_, i};
        rimEnds_[at(i)] = rimEnd;
    }
    int position = 0;
    for (int numSteps = 1; numSteps <= numTris; ++numSteps) {
        RimEntry const& next = rim_[at(rimEnds_[at(position)])];
        if (next.stamp != stamp_)
            return false;
        position = next.position;
        if (position == 0)
            return numSteps == numTris;
    }
    return false;
}

void VertexStar::load(int vertex) {
    centre_ = vertex;
    numTris_ = adj_.numTris(vertex);
    triIndices_ = adj_.triIndices(vertex);
    spokes_.clear();
    triSpokes_.resize(at(numTris_));
    nextStamp();
    for (int i = 0; i < numTris_; ++i) {
        auto const [rimBegin, rimEnd] = rimOf(triangles_[triIndices_[i]], vertex);
        int const first = useSpoke(rimBegin, i);
        int const second = useSpoke(rimEnd, i);
        triSpokes_[at(i)] = {first, second};
    }
}

void VertexStar::nextStamp() {
    if (stamp_ == std::numeric_limits<std::uint32_t>::max()) {
        std::fill(rim_.begin(), rim_.end(), RimEntry{0, -1});
        stamp_ = 0;
    }
    ++stamp_;
}

int VertexStar::useSpoke(int rim, int triangle) {
    RimEntry& entry = rim_[at(rim)];
    if (entry.stamp != stamp_) {
        entry = {stamp_, static_cast<int>(spokes_.size())};
        spokes_.push_back({rim, 0, triangle});
    }
    ++spokes_[at(entry.position)].count;
    return entry.position;
}

bool VertexStar::hasSoundSpokes() const {
    for (Spoke const& spoke : spokes_)
        if (spoke.count > 2)
            return false;
    return true;
}

void VertexStar::appendOverusedSpokes(ko::vector<std::pair<int, int>>& edges) const {
    for (Spoke const& spoke : spokes_)
        if (spoke.count > 2)
            edges.push_back({std::min(centre_, spoke.rim), std::max(centre_, spoke.rim)});
}

// A spoke has at most two triangles here, so linking each triangle with the first one on each of
// its spokes links all that is linked. A link always points to an earlier triangle: the root of a
// fan is its first triangle, and roots met in star order get ascending labels.
int VertexStar::countFans() {
    labels_.resize(at(numTris_));
    for (int i = 0; i < numTris_; ++i) {
        labels_[at(i)] = i;
        joinFans(i, spokes_[at(triSpokes_[at(i)].first)].firstTriangle);
        joinFans(i, spokes_[at(triSpokes_[at(i)].second)].firstTriangle);
    }
    for (int i = 0; i < numTris_; ++i)
        labels_[at(i)] = findFan(i);
    int numFans = 0;
    for (int i = 0; i < numTris_; ++i) {
        int const root = labels_[at(i)];
        labels_[at(i)] = root == i ? numFans++ : labels_[at(root)];
    }
    return numFans;
}

int VertexStar::findFan(int i) {
    while (labels_[at(i)] != i) {
        labels_[at(i)] = labels_[at(labels_[at(i)])];
        i = labels_[at(i)];
    }
    return i;
}

void VertexStar::joinFans(int i, int j) {
    int const first = findFan(i);
    int const second = findFan(j);
    labels_[at(std::max(first, second))] = std::min(first, second);
}

VertexStar::Kind VertexStar::classify() {
    if (!hasSoundSpokes())
        return Kind::OverusedSpoke;
    return countFans() < 2 ? Kind::Manifold : Kind::SeveralFans;
}

}  // namespace koGeom
