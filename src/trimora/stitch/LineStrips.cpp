#include "trimora/stitch/detail/LineStrips.h"

#include <algorithm>
#include <limits>

namespace koGeom::MeshLineTopology {

LineStrips::LineStrips(CompactMesh const& mesh) : mesh_(mesh) {}

void LineStrips::measure(Octree const& octree, OctreeLines const& octreeLines, double distance) {
    vertices_ = mesh_.getVertices();
    starts_ = mesh_.getLineStripStarts();
    offsets_ = mesh_.lineStrips.getOffsets();
    locate();
    measureWays();

    met_ = VisitStamps(count());
    place_.assign(static_cast<std::size_t>(count()), 0);
    neighbours_.clear();
    firstNeighbour_.assign(1, 0);
    detail::CloseLineFinder finder(mesh_, octree, octreeLines, distance);
    BitVector const asking = distance > 0.0 ? lineEndsOnStrips() : BitVector();
    for (int vertex = 0; vertex < mesh_.getNumVertices(); ++vertex) {
        if (asking.isBitSet(vertex) != 0)
            findNeighbours(vertex, finder);
        firstNeighbour_.push_back(neighbours_.size());
    }
}

void LineStrips::locate() {
    stripOf_.assign(static_cast<std::size_t>(mesh_.getNumVertices()), -1);
    positionOf_.assign(stripOf_.size(), -1);
    for (int strip = 0; strip < count(); ++strip)
        for (int position = 0; position < size(strip); ++position) {
            auto const at = static_cast<std::size_t>(vertex(strip, position));
            if (stripOf_[at] >= 0)
                continue;
            stripOf_[at] = strip;
            positionOf_[at] = position;
        }
}

void LineStrips::measureWays() {
    ways_.clear();
    for (int strip = 0; strip < count(); ++strip) {
        double way = 0.0;
        ways_.push_back(way);
        for (int position = 0; position < size(strip); ++position) {
            way += distance(point(strip, position), point(strip, following(strip, position)));
            ways_.push_back(way);
        }
    }
}

BitVector LineStrips::lineEndsOnStrips() const {
    BitVector ends(mesh_.getNumVertices());
    for (int line = 0; line < mesh_.getNumLines(); ++line)
        for (int const end : mesh_.getLines()[line].vertices)
            if (stripOf_[static_cast<std::size_t>(end)] >= 0)
                ends.setBit(end);
    return ends;
}

void LineStrips::findNeighbours(int vertex, detail::CloseLineFinder& finder) {
    std::size_t const first = neighbours_.size();
    MeshLine const* const lines = mesh_.getLines();
    met_.nextQuery();
    finder.find(vertex, [&](int line) {
        int const strip = stripOf_[static_cast<std::size_t>(lines[line][0])];
        if (strip < 0)
            return;
        consider(vertex, lines[line][0], strip);
        consider(vertex, lines[line][1], strip);
    });
    std::sort(neighbours_.begin() + static_cast<std::ptrdiff_t>(first), neighbours_.end(),
              [](Neighbour const& a, Neighbour const& b) { return a.strip < b.strip; });
}

/// The end of a line of the strip: the first of equally near ones stays. Of a line between strips the other
/// end does not count.
void LineStrips::consider(int vertex, int end, int strip) {
    auto const at = static_cast<std::size_t>(end);
    if (stripOf_[at] != strip)
        return;
    double const distance2 =
        koLinear::distance2(vertices_[vertex].asPoint(), vertices_[end].asPoint());
    if (!(distance2 < std::numeric_limits<double>::infinity()))
        return;
    std::size_t& place = place_[static_cast<std::size_t>(strip)];
    if (met_.meet(strip)) {
        place = neighbours_.size();
        neighbours_.push_back({strip, positionOf_[at], distance2});
    } else if (distance2 < neighbours_[place].distance2) {
        neighbours_[place] = {strip, positionOf_[at], distance2};
    }
}

LineStrips::Neighbours LineStrips::neighbours(int strip, int position) const {
    auto const at = static_cast<std::size_t>(vertex(strip, position));
    return {neighbours_.data() + firstNeighbour_[at], neighbours_.data() + firstNeighbour_[at + 1]};
}

LineStrips::Neighbour const* LineStrips::nearest(int strip, int position, int otherStrip) const {
    Neighbours const all = neighbours(strip, position);
    Neighbour const* const found = std::lower_bound(
        all.begin(), all.end(), otherStrip,
        [](Neighbour const& neighbour, int number) { return neighbour.strip < number; });
    return found != all.end() && found->strip == otherStrip ? found : nullptr;
}

double LineStrips::length(int strip, koUtil::CircularRange const& range) const {
    double const* const way = waysOf(strip);
    double const round = way[size(strip)];
    if (range.isFull())
        return round;
    double const between = way[range.end] - way[range.start];
    return range.start <= range.end ? between : round + between;
}

}  // namespace koGeom::MeshLineTopology
