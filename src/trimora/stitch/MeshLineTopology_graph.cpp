#include "trimora/stitch/detail/TopologyImpl.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <map>
#include <numeric>

// From pairs of stretches to edges, vertices and points, and which strips to turn round.

namespace koGeom::MeshLineTopology {

namespace {

/// Sets of numbers that are one: each is led by its lowest.
class UnionOfEnds {
public:
    explicit UnionOfEnds(std::size_t count) : parent_(count) {
        std::iota(parent_.begin(), parent_.end(), std::size_t{0});
    }
    std::size_t leader(std::size_t end) {
        while (parent_[end] != end)
            end = parent_[end] = parent_[parent_[end]];
        return end;
    }
    void unite(std::size_t a, std::size_t b) {
        std::size_t const leaderA = leader(a);
        std::size_t const leaderB = leader(b);
        parent_[std::max(leaderA, leaderB)] = std::min(leaderA, leaderB);
    }

private:
    ko::vector<std::size_t> parent_;
};

}  // namespace

void TopologyImpl::makeEdges() {
    forEachRegion([](ProximityRegion& region) {
        if (region.edge)
            return;
        for (ProximityRegion* const side : {&region, region.twin}) {
            ko::Reference<Point> const first(new Point);
            ko::Reference<Point> const second = side->circular ? first : new Point;
            first->boundary = second->boundary = side->boundary;
            side->edge = new Edge(side, first, second);
        }
    });
}

/// Every stretch has two ends of its own at first; those that meet become one vertex.
void TopologyImpl::makeVertices(double distance) {
    std::size_t numEnds = 0;
    forEachRegion([&numEnds](ProximityRegion& region) {
        region.firstEnd = numEnds;
        numEnds += region.circular ? 0 : 2;
    });
    UnionOfEnds ends(numEnds);
    forEachRegion([&](ProximityRegion const& region) {
        if (region.circular)
            return;
        std::size_t const first = region.firstEnd;
        std::size_t const twinFirst = region.twin->firstEnd;
        ends.unite(first, region.reversed ? twinFirst : twinFirst + 1);
        ends.unite(first + 1, region.reversed ? twinFirst + 1 : twinFirst);
        if (region.next != &region && meetsNext(region, distance))
            ends.unite(first + 1, region.next->firstEnd);
    });

    numVertices_ = 0;
    ko::vector<ko::Reference<Vertex>> vertices(numEnds);
    auto const vertexOf = [&](std::size_t end, ProximityRegion& region) {
        ko::Reference<Vertex>& vertex = vertices[ends.leader(end)];
        if (!vertex) {
            vertex = new Vertex(&region);
            ++numVertices_;
        }
        return vertex;
    };
    forEachRegion([&](ProximityRegion& region) {
        if (region.circular)
            return;
        region.firstVertex = vertexOf(region.firstEnd, region);
        region.secondVertex = vertexOf(region.firstEnd + 1, region);
    });
}

/// Whether what the twins are near to touches, or nearly, between a stretch and the next.
bool TopologyImpl::meetsNext(ProximityRegion const& region, double distance) const {
    Range before = region.twin->range.secondHalf();
    Range const behind = region.next->twin->range.firstHalf();
    if (strips_.following(region.boundary, before.end) == behind.start || before.intersect(behind))
        return true;
    Range const gap(before.end + 1, behind.start - 1, before.ringSize);
    return strips_.length(region.boundary, gap) < distance;
}

/// Stretches that follow each other through a vertex meet in one place.
void TopologyImpl::sharePoints() {
    forEachRegion([](ProximityRegion& region) {
        if (!region.circular && region.next != &region &&
            region.secondVertex == region.next->firstVertex)
            region.next->edge->first_ = region.edge->second_;
    });
}

void TopologyImpl::fixPoints() {
    std::map<Vertex const*, ko::vector<ProximityRegion const*>> around;  // never walked through
    forEachRegion([&around](ProximityRegion const& region) {
        if (region.circular)
            return;
        around[region.firstVertex.get()].push_back(&region);
        around[region.secondVertex.get()].push_back(&region);
    });
    forEachRegion([&](ProximityRegion& region) {
        Edge& edge = *region.edge;
        if (region.circular) {
            edge.first_->position = 0;
            return;
        }
        fixPoint(region, *edge.first_, region.domain.firstHalf(), true,
                 around[region.firstVertex.get()]);
        fixPoint(region, *edge.second_, region.domain.secondHalf(), false,
                 around[region.secondVertex.get()]);
    });
    forEachRegion([this](ProximityRegion& region) {
        if (region.circular)
            return;
        Edge const& edge = *region.edge;
        region.firstVertex->addEdgePoint(
            strips_.point(edge.first_->boundary, edge.first_->position));
        region.secondVertex->addEdgePoint(
            strips_.point(edge.second_->boundary, edge.second_->position));
    });
}

/// The candidate nearest to the other strips that meet here, in the sum of squares. The walk comes from
/// the outer end of the stretch, so that equally near ones leave the stretch its length; so does one where
/// a strip is out of reach of all.
void TopologyImpl::fixPoint(ProximityRegion const& region, Point& point, Range candidates,
                            bool ascending,
                            ko::vector<ProximityRegion const*> const& around) const {
    if (point.position >= 0)
        return;
    ko::vector<int> otherStrips;
    for (ProximityRegion const* const other : around) {
        if (other->boundary != region.boundary)
            otherStrips.push_back(other->boundary);
        else if (other != &region)
            candidates.intersect(other->domain);
    }
    std::sort(otherStrips.begin(), otherStrips.end());
    otherStrips.erase(std::unique(otherStrips.begin(), otherStrips.end()), otherStrips.end());

    double least = std::numeric_limits<double>::max();
    point.position = ascending ? candidates.start : candidates.end;
    int const ringSize = candidates.ringSize;
    for (int i = 0; i < candidates.size(); ++i) {
        int const position = ascending ? (candidates.start + i) % ringSize
                                       : (candidates.end - i + ringSize) % ringSize;
        double total = 0.0;
        for (int const strip : otherStrips) {
            LineStrips::Neighbour const* const near =
                strips_.nearest(region.boundary, position, strip);
            total += near != nullptr ? near->distance2 : std::numeric_limits<double>::max();
        }
        if (total < least) {
            least = total;
            point.position = position;
        }
    }
}

/// Finds the strips to turn round; false when the pairs contradict each other.
bool TopologyImpl::orient() {
    int const numStrips = strips_.count();
    orientation_.resize(numStrips);
    ko::vector<ko::map<int, bool>> turns;
    if (!collectTurns(turns))
        return false;
    BitVector visited(numStrips);
    for (int strip = 0; strip < numStrips; ++strip)
        if (visited.isBitSet(strip) == 0 && !spreadFrom(strip, turns, visited))
            return false;

    if (2 * static_cast<long long>(orientation_.count) > numStrips) {
        BitVector others(numStrips);
        for (int strip = 0; strip < numStrips; ++strip)
            if (orientation_.isBitSet(strip) == 0)
                others.setBit(strip);
        orientation_.swap(others);
    }
    return true;
}

/// For each strip the strips that run beside it, and whether exactly one of the two has to be turned.
bool TopologyImpl::collectTurns(ko::vector<ko::map<int, bool>>& turns) {
    turns.resize(static_cast<std::size_t>(strips_.count()));
    bool consistent = true;
    forEachRegion([&](ProximityRegion const& region) {
        ko::map<int, bool>& turnsOfStrip = turns[static_cast<std::size_t>(region.boundary)];
        auto const known = turnsOfStrip.emplace(region.otherBoundary, region.reversed).first;
        consistent = consistent && known->second == region.reversed;
    });
    return consistent;
}

/// Breadth first over what hangs together; the strip that it starts from stays as it is.
bool TopologyImpl::spreadFrom(int start, ko::vector<ko::map<int, bool>> const& turns,
                              BitVector& visited) {
    std::deque<int> queue(1, start);
    visited.setBit(start);
    for (; !queue.empty(); queue.pop_front()) {
        int const strip = queue.front();
        for (auto const& [other, turn] : turns[static_cast<std::size_t>(strip)]) {
            bool const differ = orientation_.isBitSet(strip) != orientation_.isBitSet(other);
            if (visited.isBitSet(other) != 0) {
                if (differ != turn)
                    return false;
                continue;
            }
            if (differ != turn)
                orientation_.setBit(other);
            visited.setBit(other);
            queue.push_back(other);
        }
    }
    return true;
}

}  // namespace koGeom::MeshLineTopology
