#include "trimora/stitch/detail/TopologyImpl.h"

#include <algorithm>

// From close points to stretches, and from stretches to pairs.

namespace koGeom::MeshLineTopology {

namespace {

using koUtil::CircularRange;

/// The runs of consecutive indices on a ring, by start: one that goes through 0 comes last.
ko::vector<CircularRange> runsOf(ko::vector<int> const& ascending, int ringSize) {
    ko::vector<CircularRange> runs;
    for (int const index : ascending) {
        if (!runs.empty() && runs.back().end + 1 == index)
            runs.back().end = index;
        else
            runs.emplace_back(index, index, ringSize);
    }
    if (runs.size() > 1 && runs.front().start == 0 && runs.back().end == ringSize - 1) {
        runs.back().end = runs.front().end;
        runs.erase(runs.begin());
    }
    return runs;
}

void sortUnique(ko::vector<int>& numbers) {
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
}

/// The regions of each strip, as they were made: by the strip beside them. A strip may have thousands, of which a few lie beside
/// any one.
class RegionsBeside {
public:
    explicit RegionsBeside(ko::vector<ko::list<ProximityRegion>>& regions)
        : ofStrip_(regions.size()) {
        for (std::size_t strip = 0; strip < regions.size(); ++strip)
            for (ProximityRegion& region : regions[strip])
                ofStrip_[strip].push_back(&region);
    }

    /// The first that has none yet and that the region and it are beside each other.
    ProximityRegion* findTwin(ProximityRegion const& region) const {
        ko::vector<ProximityRegion*> const& all =
            ofStrip_[static_cast<std::size_t>(region.otherBoundary)];
        auto other = std::lower_bound(
            all.begin(), all.end(), region.boundary,
            [](ProximityRegion const* each, int strip) { return each->otherBoundary < strip; });
        for (; other != all.end() && (*other)->otherBoundary == region.boundary; ++other)
            if (!(*other)->paired && (*other)->domain.isFull() == region.domain.isFull() &&
                region.domain.contains((*other)->range) && (*other)->domain.contains(region.range))
                return *other;
        return nullptr;
    }

private:
    ko::vector<ko::vector<ProximityRegion*>> ofStrip_;
};

}  // namespace

/// The stretches of a strip, by the strip beside it and by start.
void TopologyImpl::findRegions(int strip) {
    ko::vector<Near> near;
    for (int position = 0; position < strips_.size(strip); ++position)
        for (LineStrips::Neighbour const& neighbour : strips_.neighbours(strip, position))
            if (neighbour.strip != strip)
                near.push_back({neighbour.strip, position, neighbour.position});
    std::stable_sort(near.begin(), near.end(),
                     [](Near const& a, Near const& b) { return a.otherStrip < b.otherStrip; });

    Near const* const end = near.data() + near.size();
    for (Near const* first = near.data(); first != end;) {
        Near const* const last = std::find_if(
            first, end, [first](Near const& each) { return each.otherStrip != first->otherStrip; });
        appendRegions(strip, first, last);
        first = last;
    }
}

/// Of one other strip; the points ascend, each stands once.
void TopologyImpl::appendRegions(int strip, Near const* first, Near const* last) {
    int const otherStrip = first->otherStrip;
    ko::vector<int> positions;
    for (Near const* near = first; near != last; ++near)
        positions.push_back(near->position);
    ko::vector<CircularRange> const domains = runsOf(positions, strips_.size(strip));

    // The first points may belong to the last domain, by way of 0.
    ko::vector<ko::vector<int>> partners(domains.size());
    std::size_t domain = domains.back().contains(first->position) ? domains.size() - 1 : 0;
    for (Near const* near = first; near != last; ++near) {
        if (!domains[domain].contains(near->position))
            domain = domain + 1 < domains.size() ? domain + 1 : 0;
        partners[domain].push_back(near->partner);
    }

    for (std::size_t i = 0; i < domains.size(); ++i) {
        ProximityRegion region;
        region.boundary = strip;
        region.otherBoundary = otherStrip;
        region.domain = domains[i];
        sortUnique(partners[i]);
        ko::vector<CircularRange> ranges = runsOf(partners[i], strips_.size(otherStrip));
        if (ranges.size() > 1)
            fillGaps(region, ranges, partners[i]);
        if (ranges.size() > 1)
            continue;  // what lies beside several stretches has no twin
        region.range = ranges.front();
        regions_[static_cast<std::size_t>(strip)].push_back(std::move(region));
    }
}

/// Joins the ranges where all between them is near the domain, though nothing of the domain has it
/// for its nearest.
void TopologyImpl::fillGaps(ProximityRegion const& region, ko::vector<Range>& ranges,
                            ko::vector<int>& partners) const {
    int const ringSize = strips_.size(region.otherBoundary);
    std::size_t const numRanges = ranges.size();
    for (std::size_t i = 0; i < numRanges; ++i) {
        CircularRange const gap(ranges[i].end + 1, ranges[(i + 1) % numRanges].start - 1, ringSize);
        if (!isFilled(region, gap))
            continue;
        int position = gap.start;
        for (int left = gap.size(); left > 0; --left) {
            partners.push_back(position);
            position = strips_.following(region.otherBoundary, position);
        }
    }
    sortUnique(partners);
    ranges = runsOf(partners, ringSize);
}

bool TopologyImpl::isFilled(ProximityRegion const& region, CircularRange const& gap) const {
    int position = gap.start;
    for (int left = gap.size(); left > 0; --left) {
        LineStrips::Neighbour const* const back =
            strips_.nearest(region.otherBoundary, position, region.boundary);
        if (back == nullptr || !region.domain.contains(back->position))
            return false;
        position = strips_.following(region.otherBoundary, position);
    }
    return true;
}

/// Finds the twins; what stays alone goes.
void TopologyImpl::pairRegions() {
    RegionsBeside const beside(regions_);
    forEachRegion([this, &beside](ProximityRegion& region) {
        if (region.paired)
            return;
        ProximityRegion* const twin = beside.findTwin(region);
        if (twin == nullptr)
            return;
        region.twin = twin;
        twin->twin = &region;
        region.paired = twin->paired = true;
        region.reversed = twin->reversed = runSameWay(region);
    });
    forEachRegion([](ProximityRegion& region) { region.removed = !region.paired; });
    sweep();
}

/// By a vote of the steps that the other strip takes beside the region.
bool TopologyImpl::runSameWay(ProximityRegion const& region) const {
    int const strip = region.boundary;
    int const otherStrip = region.otherBoundary;
    CircularRange const& range = region.range;
    int votes = 0;
    for (int i = range.start; i != range.end; i = strips_.following(otherStrip, i)) {
        LineStrips::Neighbour const* const back = strips_.nearest(otherStrip, i, strip);
        if (back == nullptr || !region.domain.contains(back->position) ||
            back->position == region.domain.end)
            continue;
        Vector const step = strips_.point(strip, strips_.following(strip, back->position)) -
                            strips_.point(strip, back->position);
        Vector const otherStep = strips_.point(otherStrip, strips_.following(otherStrip, i)) -
                                 strips_.point(otherStrip, i);
        votes += dot(step, otherStep) < 0.0 ? -1 : 1;
    }
    return votes > 0;
}

}  // namespace koGeom::MeshLineTopology
