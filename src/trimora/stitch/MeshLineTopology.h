#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/contract/koUtil/CircularRange.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

class BitVector;
class CompactMesh;

/// Which stretches of closed line strips run alongside each other, as a small graph.
///
///         strip 1                  A stretch of a strip beside another strip is an `Edge`; the stretch
///       ----->-----V               of the other one is its twin, and runs the opposite way when both
///       -----<-----                strips are oriented alike. Where stretches end and meet, a `Vertex`
///         strip 2  | strip 3       joins their ends; each end is a `Point`, an exact place on a strip.
///
/// Objects are handed out counted. They live on after the TopologyAlg that made them, but then they know
/// nothing of each other any more: an edge has no twin, no neighbours, no vertices and the strip -1.
namespace MeshLineTopology {

struct ProximityRegion;
class TopologyImpl;
class Vertex;

/// A place on a strip. Neighbouring stretches that meet in a vertex share one object.
class TRIMORA_API Point : public ko::ReferenceCount {
public:
    ~Point() override;

    int boundary = -1;  ///< number of the strip
    int position = -1;  ///< index in the strip's list of points
};

/// A stretch of a strip that runs beside a stretch of another strip.
class TRIMORA_API Edge : public ko::ReferenceCount {
public:
    Edge(ProximityRegion* region, ko::Reference<Point> first, ko::Reference<Point> second);
    ~Edge() override;

    /// Number of the strip.
    int getBoundary() const;
    /// The ends, in the direction of the strip; one and the same for a circular edge.
    Point const& getFirstPoint() const { return *first_; }
    Point const& getSecondPoint() const { return *second_; }
    ko::Reference<Point> getFirstPointPtr() const { return first_; }
    ko::Reference<Point> getSecondPointPtr() const { return second_; }
    /// Null for a circular edge.
    ko::Reference<Vertex> getFirstVertex() const;
    ko::Reference<Vertex> getSecondVertex() const;

    ko::Reference<Edge> getTwin() const;
    /// The neighbour on the strip, round and round; the edge itself when it is alone.
    ko::Reference<Edge> getNextOnBoundary() const;
    ko::Reference<Edge> getPrevOnBoundary() const;

    /// Whether a whole strip runs beside a whole strip.
    bool isCircular() const;
    bool isLinear() const { return !isCircular(); }
    /// Whether twin strips run the same way in space, which no two oriented borders do.
    bool isTwinReversed() const;

    /// The indices on the strip that are near the twin's strip. The points may lie further inward.
    koUtil::CircularRange getDomain() const;
    /// The length of the strip over that domain; the whole strip for a circular edge.
    double getLength() const;
    /// Largest squared distance to a vertex of the twin's strip divided by the length: low is good.
    /// The same for twins.
    double getQuality() const;

private:
    friend class TopologyImpl;

    ProximityRegion* region_;  // null once the graph is gone
    ko::Reference<Point> first_;
    ko::Reference<Point> second_;
};

/// Where ends of edges meet, a point in space.
class TRIMORA_API Vertex : public ko::ReferenceCount {
public:
    explicit Vertex(ProximityRegion* region = nullptr);
    ~Vertex() override;

    /// How many pairs of twins end here.
    int getDegree() const { return edgePointCount_ / 2; }
    /// One of the edges that end here, the first in the order of EdgeIterator.
    ko::Reference<Edge> getFirstEdge() const;
    /// The mean of what was added.
    koLinear::Point const& getPosition() const { return position_; }

    void addVertexPoint(koLinear::Point const& point);
    /// The same, and counts the point as the end of an edge.
    void addEdgePoint(koLinear::Point const& point);

private:
    friend class TopologyImpl;

    ProximityRegion* region_;
    int edgePointCount_ = 0;
    int pointCount_ = 0;
    koLinear::Point position_;
};

/// Finds the graph of a mesh's line strips.
///
/// mesh        line strips, each taken as closed, and line segments over the same vertices: one between
///             neighbouring points of a strip, the last to the first included. Only read; must outlive
///             the object. Of a vertex that stands several times in strips the first place counts; lines
///             whose first end is on no strip are passed over
/// order       of edges, vertices and points: by strip and by place on the strip; nothing depends on
///             addresses or on the number of threads
/// threads     one at a time; the tables, and what is near each point, are made on the shared pool
/// cost        O(n log n) for n points that meet in few stretches, beside a look at each pair of a point
///             and a line that are close; 24 bytes for each strip near a point
class TRIMORA_API TopologyAlg {
public:
    explicit TopologyAlg(CompactMesh const& mesh);
    TopologyAlg(TopologyAlg const&) = delete;
    TopologyAlg& operator=(TopologyAlg const&) = delete;
    ~TopologyAlg();

    /// Builds the graph; a second call starts anew.
    ///
    /// distance    in mesh units: how near is alongside. Stretches shorter than twice it are left out.
    ///             Not above 0, or NaN: nothing is alongside
    /// returns     false when the strips cannot be oriented so that all twins run in opposite
    ///             directions; the other members have no meaning then
    bool compute(double distance);

    /// Number of strips.
    int getNumBoundaries() const;
    /// Number of edges, twins counted as two.
    int getNumEdges();
    int getNumVertices();
    /// One bit a strip: set where the direction has to be turned round. Of the two ways for the whole
    /// the one that turns fewer.
    BitVector const& getOrientation() const;
    /// Null on a strip without edges, and for a number that is no strip's.
    ko::Reference<Edge> getFirstEdgeOnBoundary(int boundary);

private:
    std::unique_ptr<TopologyImpl> impl_;
};

/// All edges, strip by strip, along each strip.
///
///     for (EdgeIterator edges(topology); edges.valid(); edges.next())
///         visit(edges.getEdge());
///
/// The TopologyAlg must outlive it and must not compute meanwhile.
class TRIMORA_API EdgeIterator {
public:
    explicit EdgeIterator(TopologyAlg& topology);
    ~EdgeIterator();

    bool valid() const { return static_cast<bool>(edge_); }
    /// Null when not valid.
    ko::Reference<Edge> getEdge() const { return edge_; }
    /// The strip of the edge; the number of strips when not valid.
    int getBoundary() const { return boundary_; }
    /// Nothing happens when not valid.
    void next();

private:
    void findBoundaryWithEdges();

    TopologyAlg* topology_;
    int boundary_ = 0;
    int numBoundaries_;
    ko::Reference<Edge> edge_;
};

}  // namespace MeshLineTopology

}  // namespace koGeom
