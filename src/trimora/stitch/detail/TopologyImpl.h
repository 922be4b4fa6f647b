#pragma once

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/stitch/MeshLineTopology.h"
#include "trimora/stitch/detail/LineStrips.h"

namespace koGeom::MeshLineTopology {

/// One stretch of one strip beside another strip.
struct ProximityRegion {
    int boundary = -1;
    int otherBoundary = -1;
    koUtil::CircularRange domain;  ///< on `boundary`
    koUtil::CircularRange range;   ///< on `otherBoundary`: what the domain is near to
    bool circular = false;         ///< a whole strip paired with a whole strip
    bool measured = false;         ///< `quality` and `length` are known
    double quality = 0.0;
    double length = 0.0;              ///< of the domain
    ProximityRegion* next = nullptr;  ///< round the strip
    ProximityRegion* prev = nullptr;
    ko::Reference<Edge> edge;
    ko::Reference<Vertex> firstVertex;  ///< none when circular
    ko::Reference<Vertex> secondVertex;
    bool reversed = false;  ///< runs the same way in space as its twin
    bool paired = false;
    bool removed = false;  ///< to be taken off its list
    ProximityRegion* twin = nullptr;
    std::size_t firstEnd = 0;  ///< number of its first end among all; the second one's is one more
};

/// The work of a TopologyAlg and what comes out. Stages in the order of their declaration; the regions
/// are looked at strip by strip, in the order of their lists, in all of them.
class TopologyImpl {
public:
    explicit TopologyImpl(CompactMesh const& mesh) : mesh_(mesh), strips_(mesh) {}
    virtual ~TopologyImpl();

    bool compute(double distance);

    int numBoundaries() const { return strips_.count(); }
    int numEdges() const;
    int numVertices() const { return numVertices_; }
    BitVector const& orientation() const { return orientation_; }
    ko::Reference<Edge> firstEdgeOnBoundary(int boundary) const;

private:
    using Regions = ko::list<ProximityRegion>;
    using Range = koUtil::CircularRange;

    /// Point `position` of the strip is near `partner` of the other one.
    struct Near {
        int otherStrip;
        int position;
        int partner;
    };

    void clear();
    void measureStrips(double distance);

    // MeshLineTopology_regions.cpp
    void findRegions(int strip);
    void appendRegions(int strip, Near const* first, Near const* last);
    void fillGaps(ProximityRegion const& region, ko::vector<Range>& ranges,
                  ko::vector<int>& partners) const;
    bool isFilled(ProximityRegion const& region, Range const& gap) const;
    void pairRegions();
    bool runSameWay(ProximityRegion const& region) const;

    // MeshLineTopology_select.cpp
    void measurePairs();
    void measurePair(ProximityRegion& region) const;
    void removeShort(double distance);
    void removeOverlapping(double distance);
    void keepCircles();
    void linkRegions();
    static void removePair(ProximityRegion& region);
    void sweep();

    // MeshLineTopology_graph.cpp
    void makeEdges();
    void makeVertices(double distance);
    bool meetsNext(ProximityRegion const& region, double distance) const;
    void sharePoints();
    void fixPoints();
    void fixPoint(ProximityRegion const& region, Point& point, Range candidates, bool ascending,
                  ko::vector<ProximityRegion const*> const& around) const;
    bool orient();
    bool collectTurns(ko::vector<ko::map<int, bool>>& turns);
    bool spreadFrom(int start, ko::vector<ko::map<int, bool>> const& turns, BitVector& visited);

    template <class Visit>
    void forEachRegion(Visit const& visit) {
        for (Regions& regions : regions_)
            for (ProximityRegion& region : regions)
                visit(region);
    }

    CompactMesh const& mesh_;
    SimpleMeshCache cache_;
    LineStrips strips_;
    ko::vector<Regions> regions_;  ///< by strip
    int numVertices_ = 0;
    BitVector orientation_;
};

}  // namespace koGeom::MeshLineTopology
