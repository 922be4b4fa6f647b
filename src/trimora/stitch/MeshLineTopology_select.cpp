#include "trimora/stitch/detail/TopologyImpl.h"

#include <algorithm>
#include <cmath>
#include <limits>

// Which pairs stay: long enough, the best first where they compete for a strip.

namespace koGeom::MeshLineTopology {

void TopologyImpl::measurePairs() {
    forEachRegion([this](ProximityRegion& region) {
        if (!region.measured)
            measurePair(region);
    });
}

void TopologyImpl::measurePair(ProximityRegion& region) const {
    ProximityRegion& twin = *region.twin;
    region.length = strips_.length(region.boundary, region.domain);
    twin.length = strips_.length(twin.boundary, twin.domain);
    region.measured = twin.measured = true;
    region.quality = twin.quality = std::numeric_limits<double>::max();
    if (region.domain.size() < 2)
        return;

    double widest2 = 0.0;
    int position = region.domain.start;
    for (int left = region.domain.size(); left > 0; --left) {
        widest2 = std::max(
            widest2, strips_.nearest(region.boundary, position, region.otherBoundary)->distance2);
        position = strips_.following(region.boundary, position);
    }
    double const quality = widest2 / region.length;
    if (!std::isnan(quality))  // points that all coincide
        region.quality = twin.quality = quality;
}

void TopologyImpl::removeShort(double distance) {
    forEachRegion([distance](ProximityRegion& region) {
        if (region.length < 2.0 * distance)
            removePair(region);
    });
    sweep();
}

/// Gives the strips away piece by piece, to the best stretches first. A stretch must find enough left of
/// what its twin is near to.
void TopologyImpl::removeOverlapping(double distance) {
    ko::vector<ko::vector<Range>> freeRanges;
    for (int strip = 0; strip < strips_.count(); ++strip)
        freeRanges.push_back({strips_.whole(strip)});
    ko::vector<ProximityRegion*> queue;
    forEachRegion([&queue](ProximityRegion& region) { queue.push_back(&region); });
    std::stable_sort(queue.begin(), queue.end(), [](auto const* first, auto const* second) {
        return first->quality < second->quality;
    });

    for (ProximityRegion* const region : queue) {
        if (region->removed)
            continue;
        ko::vector<Range>& left = freeRanges[static_cast<std::size_t>(region->boundary)];
        int numLeft = 0;
        for (Range range : left)
            if (range.intersect(region->twin->range))
                numLeft += range.size();
        // The length of as many points at the start of the strip stands for theirs.
        Range const asMany(0, numLeft - 1, strips_.size(region->boundary));
        double const available = numLeft > 0 ? strips_.length(region->boundary, asMany) : 0.0;
        if (available > 2.0 * distance)
            koUtil::subtract(left, region->domain);
        else
            removePair(*region);
    }
    sweep();
}

/// Two whole strips that face each other leave no room for others.
void TopologyImpl::keepCircles() {
    for (Regions& regions : regions_) {
        auto const circle = std::find_if(regions.begin(), regions.end(), [](auto const& region) {
            return !region.removed && region.domain.isFull() && region.twin->domain.isFull();
        });
        if (circle == regions.end())
            continue;
        circle->circular = circle->twin->circular = true;
        for (ProximityRegion& region : regions)
            if (&region != &*circle)
                removePair(region);
    }
    sweep();
}

void TopologyImpl::linkRegions() {
    for (Regions& regions : regions_) {
        regions.sort([](ProximityRegion const& first, ProximityRegion const& second) {
            return first.domain.start != second.domain.start
                       ? first.domain.start < second.domain.start
                       : first.domain.size() < second.domain.size();
        });
        ProximityRegion* previous = regions.empty() ? nullptr : &regions.back();
        for (ProximityRegion& region : regions) {
            region.prev = previous;
            previous->next = &region;
            previous = &region;
        }
    }
}

void TopologyImpl::removePair(ProximityRegion& region) {
    region.removed = region.twin->removed = true;
}

/// Takes what was removed off the lists.
void TopologyImpl::sweep() {
    for (Regions& regions : regions_)
        regions.remove_if([](ProximityRegion const& region) { return region.removed; });
}

}  // namespace koGeom::MeshLineTopology
