#include "trimora/stitch/MeshLineTopology.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/stitch/detail/TopologyImpl.h"

#include <algorithm>

// A driver of stages over lists of regions, one list a strip: close points become stretches, stretches become
// pairs, the best pairs become the edges of a graph. A region stands in a list, so that pointers to it stay
// good; edges and vertices know their region by a plain pointer and are owned by it and by the host.

namespace koGeom::MeshLineTopology {

namespace {

/// Points of a leaf of the octree: lines are many and small, tests of them cheap.
constexpr int leafCapacity = 32;

}  // namespace

TopologyImpl::~TopologyImpl() {
    clear();
}

/// What the host still holds must not look for its region.
void TopologyImpl::clear() {
    forEachRegion([](ProximityRegion& region) {
        if (region.edge)
            region.edge->region_ = nullptr;
        for (Vertex* const vertex : {region.firstVertex.get(), region.secondVertex.get()})
            if (vertex != nullptr)
                vertex->region_ = nullptr;
    });
    regions_.clear();
    numVertices_ = 0;
    orientation_.resize(0);
}

bool TopologyImpl::compute(double distance) {
    clear();
    measureStrips(distance);

    regions_.resize(static_cast<std::size_t>(strips_.count()));
    for (int strip = 0; strip < strips_.count(); ++strip)
        findRegions(strip);
    pairRegions();

    measurePairs();
    removeShort(distance);
    removeOverlapping(distance);
    keepCircles();
    linkRegions();

    makeEdges();
    makeVertices(distance);
    sharePoints();
    fixPoints();
    return orient();
}

void TopologyImpl::measureStrips(double distance) {
    ko::Reference<Octree> const octree = cache_.getOctree(mesh_, leafCapacity);
    ko::Reference<OctreeLines> const octreeLines = cache_.getOctreeLines(mesh_);
    strips_.measure(*octree, *octreeLines, distance);
}

int TopologyImpl::numEdges() const {
    std::size_t count = 0;
    for (Regions const& regions : regions_)
        count += regions.size();
    return static_cast<int>(count);
}

ko::Reference<Edge> TopologyImpl::firstEdgeOnBoundary(int boundary) const {
    if (boundary < 0 || static_cast<std::size_t>(boundary) >= regions_.size())
        return nullptr;
    Regions const& regions = regions_[static_cast<std::size_t>(boundary)];
    return regions.empty() ? nullptr : regions.front().edge;
}

Point::~Point() = default;

Edge::Edge(ProximityRegion* region, ko::Reference<Point> first, ko::Reference<Point> second)
    : region_(region), first_(std::move(first)), second_(std::move(second)) {}

Edge::~Edge() = default;

int Edge::getBoundary() const {
    return region_ != nullptr ? region_->boundary : -1;
}

ko::Reference<Vertex> Edge::getFirstVertex() const {
    return region_ != nullptr ? region_->firstVertex : nullptr;
}

ko::Reference<Vertex> Edge::getSecondVertex() const {
    return region_ != nullptr ? region_->secondVertex : nullptr;
}

ko::Reference<Edge> Edge::getTwin() const {
    return region_ != nullptr ? region_->twin->edge : nullptr;
}

ko::Reference<Edge> Edge::getNextOnBoundary() const {
    return region_ != nullptr ? region_->next->edge : nullptr;
}

ko::Reference<Edge> Edge::getPrevOnBoundary() const {
    return region_ != nullptr ? region_->prev->edge : nullptr;
}

bool Edge::isCircular() const {
    return region_ != nullptr && region_->circular;
}

bool Edge::isTwinReversed() const {
    return region_ != nullptr && region_->reversed;
}

koUtil::CircularRange Edge::getDomain() const {
    return region_ != nullptr ? region_->domain : koUtil::CircularRange();
}

double Edge::getLength() const {
    return region_ != nullptr ? region_->length : 0.0;
}

double Edge::getQuality() const {
    return region_ != nullptr ? region_->quality : 0.0;
}

Vertex::Vertex(ProximityRegion* region) : region_(region) {}

Vertex::~Vertex() = default;

ko::Reference<Edge> Vertex::getFirstEdge() const {
    return region_ != nullptr ? region_->edge : nullptr;
}

void Vertex::addVertexPoint(koLinear::Point const& point) {
    ++pointCount_;
    double const share = 1.0 / pointCount_;
    position_ = pointCount_ == 1 ? point : combine(1.0 - share, position_, share, point);
}

void Vertex::addEdgePoint(koLinear::Point const& point) {
    ++edgePointCount_;
    addVertexPoint(point);
}

TopologyAlg::TopologyAlg(CompactMesh const& mesh) : impl_(new TopologyImpl(mesh)) {}

TopologyAlg::~TopologyAlg() = default;

bool TopologyAlg::compute(double distance) {
    return impl_->compute(distance);
}

int TopologyAlg::getNumBoundaries() const {
    return impl_->numBoundaries();
}

int TopologyAlg::getNumEdges() {
    return impl_->numEdges();
}

int TopologyAlg::getNumVertices() {
    return impl_->numVertices();
}

BitVector const& TopologyAlg::getOrientation() const {
    return impl_->orientation();
}

ko::Reference<Edge> TopologyAlg::getFirstEdgeOnBoundary(int boundary) {
    return impl_->firstEdgeOnBoundary(boundary);
}

EdgeIterator::EdgeIterator(TopologyAlg& topology)
    : topology_(&topology), numBoundaries_(topology.getNumBoundaries()) {
    findBoundaryWithEdges();
}

EdgeIterator::~EdgeIterator() = default;

void EdgeIterator::next() {
    if (!valid())
        return;
    edge_ = edge_->getNextOnBoundary();
    if (edge_ && edge_ != topology_->getFirstEdgeOnBoundary(boundary_))
        return;
    ++boundary_;
    findBoundaryWithEdges();
}

/// The first edge of the strip in hand, or of the next that has one.
void EdgeIterator::findBoundaryWithEdges() {
    edge_ = nullptr;
    for (; boundary_ < numBoundaries_; ++boundary_) {
        edge_ = topology_->getFirstEdgeOnBoundary(boundary_);
        if (edge_)
            return;
    }
}

}  // namespace koGeom::MeshLineTopology
