#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/CircularRange.h"
#include "trimora/spatial/VisitStamps.h"
#include "trimora/stitch/detail/CloseLineFinder.h"

namespace koGeom::MeshLineTopology {

/// The closed line strips of a mesh: their points, their lengths, and which points of other strips lie
/// nearest to each within a distance.
class LineStrips {
public:
    /// The nearest point on one strip among the ends of the lines that are close to a vertex.
    struct Neighbour {
        int strip;
        int position;
        double distance2;
    };
    struct Neighbours {
        Neighbour const* first;
        Neighbour const* last;

        Neighbour const* begin() const { return first; }
        Neighbour const* end() const { return last; }
    };

    explicit LineStrips(CompactMesh const& mesh);

    /// Forgets what was there before. Nothing is near when the distance is not above 0. Runs on the shared pool.
    void measure(Octree const& octree, OctreeLines const& octreeLines, double distance);

    int count() const { return mesh_.getNumLineStrips(); }
    int size(int strip) const { return mesh_.lineStrips.getLength(strip); }
    koUtil::CircularRange whole(int strip) const { return {0, size(strip) - 1, size(strip)}; }
    int following(int strip, int position) const {
        return position + 1 < size(strip) ? position + 1 : 0;
    }
    koLinear::Point point(int strip, int position) const {
        return vertices_[vertex(strip, position)].asPoint();
    }

    /// One for each strip that is near the point, by number of the strip. Of its own strip it may be any point.
    Neighbours neighbours(int strip, int position) const;
    /// Of one other strip; null when it is not near.
    Neighbour const* nearest(int strip, int position, int otherStrip) const;

    /// From the first to the last point of the range along the strip; the way round for the whole.
    double length(int strip, koUtil::CircularRange const& range) const;

private:
    class NeighbourSearch;
    class NeighboursAlg;

    int vertex(int strip, int position) const { return starts_[strip][position]; }
    double const* waysOf(int strip) const { return ways_.data() + offsets_[strip] + strip; }

    void locate();
    void measureWays();
    BitVector lineEndsOnStrips() const;
    bool areLinesOfStrips() const;
    void sharePlaces(BitVector& asking);

    CompactMesh const& mesh_;
    MeshVertex const* vertices_ = nullptr;
    int const* const* starts_ = nullptr;
    int const* offsets_ = nullptr;
    ko::vector<int> stripOf_;     ///< by vertex, -1 on none
    ko::vector<int> positionOf_;  ///< by vertex, on that strip
    ko::vector<double> ways_;     ///< by strip: from its first point to each, and all round
    ko::vector<int> asker_;       ///< by vertex: who asks for it, the first of those in one place
    bool sharesPlaces_ = false;
    ko::vector<Neighbour> neighbours_;
    ko::vector<std::size_t> firstNeighbour_;  ///< by asking vertex, and one more
};

}  // namespace koGeom::MeshLineTopology
