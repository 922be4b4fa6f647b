#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <deque>
#include <limits>
#include <list>
#include <unordered_map>
#include <utility>

namespace koGeom {

/// Makes a clean graph of curves that lie on a surface: duplicates and curves without length go, closed curves and ends
/// that meet are joined, and every crossing, within a face, on an edge or on a vertex, becomes one point that all curves
/// through it share. It is what a mesh is cut along, see `meshCut`.
///
///      \     /                \     /          a point of the graph (an `IPoint`) stands where curves end, meet or cross;
///   ----\---/-----    ->    ---x---x---        the nodes of all curves there hold one and the same object
///        \ /                    \ /
///         X                      x
///        / \                    / \            .
///
/// A curve is a list of points, any two neighbours of which lie in one face (corners and rim included); the last point of
/// a closed curve repeats the first. The curves belong to the caller and are edited in place; the mesh is only read. Both
/// must outlive the object. Curves must not share objects when they come in: an end that two of them hold counts for the
/// later one alone. Empty curves are passed over and stay.
///
/// tolerance   distance in mesh units, >= 0, below which points are one. 0 works where points meet exactly; what rounding
///             keeps apart stays apart then.
/// order       the points of the graph, and all that is made from them, go by first appearance along the curves, never
///             by address: equal input gives equal output
/// refusals    none; what cannot be cut is told by `meshCut`
/// cost        O(n log n) for n points, and pairs of segments within each face. The tests of a face end after as many new
///             points as its segments can have crossings, whatever rounding does.
/// limits      crossings at less than a millionth of a radian count as parallel and are not seen
class TRIMORA_API MeshCurveTopology {
public:
    using PointRef = ko::Reference<TopoMeshPoint>;
    using Curve = ko::list<PointRef>;
    using Curves = ko::list<Curve>;
    using Node = Curve::iterator;

    /// A node of a curve.
    struct CurveUse {
        Curve* curve = nullptr;
        Node node;
        bool operator==(CurveUse const&) const = default;
    };

    /// A point of the graph. An end of a curve counts one use, a curve that passes through counts one: a plain crossing
    /// has degree 2, and so has the joint of a closed curve.
    struct IPoint {
        PointRef point;
        ko::list<CurveUse> uses;
        int getDegree() const { return static_cast<int>(uses.size()); }
    };

    /// The stretch from a node to the next one.
    struct Segment {
        Curve* curve = nullptr;
        Node first;
    };

    /// The points of the graph by their objects, in order of first appearance. Answers like a map of the standard library.
    class TRIMORA_API IPointMap {
    public:
        using value_type = std::pair<PointRef const, IPoint>;
        using iterator = std::list<value_type>::iterator;
        using const_iterator = std::list<value_type>::const_iterator;

        IPointMap() = default;
        IPointMap(IPointMap const& other);
        IPointMap& operator=(IPointMap const& other);
        ~IPointMap() = default;

        iterator begin() { return entries_.begin(); }
        iterator end() { return entries_.end(); }
        const_iterator begin() const { return entries_.begin(); }
        const_iterator end() const { return entries_.end(); }
        bool empty() const { return entries_.empty(); }
        std::size_t size() const { return entries_.size(); }
        iterator find(PointRef const& point);
        /// The entry of the point; a new one without uses at the end if there is none.
        IPoint& operator[](PointRef const& point);
        void erase(PointRef const& point);

    private:
        std::list<value_type> entries_;
        std::unordered_map<TopoMeshPoint const*, iterator> places_;
    };

    /// Does all the work: `validateCurves`, `createIPoints`, `linkCurves`, `intersect`.
    MeshCurveTopology(TopoMesh& mesh, Curves& curves, double tolerance);

    TopoMesh& getMesh() const { return *mesh_; }
    Curves& getCurves() const { return *curves_; }
    IPointMap const& getIPoints() const { return iPoints_; }
    double getTolerance() const { return tolerance_; }
    /// Null for a point that is no point of the graph. Valid until that entry is erased.
    IPoint* getIPoint(PointRef const& point);

    /// Cuts off dangling tails: ends inside the surface that no other curve holds, back to the next point of the graph,
    /// until there is none. Ends on the boundary stay. Curves may vanish. O(n log n).
    void trimInteriorEndPoints();

    /// Appends a polyline, given by its corners in order. Repeats on the same vertex, edge or face are dropped, and a jump
    /// between two places without a common face begins a new curve; so does each call.
    static void convert(Curves& curves, std::deque<TopoMeshCoord> const& coords, double tolerance);
    /// Pushes each end that stops inside a face straight on to the rim of that face, unless it meets another curve's end
    /// (or its own other end).
    static void extend(Curves& curves, double tolerance);
    /// Moves `end`, which lies inside a triangle, along the line from `from` to the triangle's rim. The object stays, its
    /// content changes. Nothing happens when the two coincide or the triangle has no area.
    static void extendSegment(PointRef const& from, PointRef const& end, double tolerance);
    /// Points with a face in common, or on the same element, whose positions agree within the tolerance in each axis.
    static bool equivalent(TopoMeshPoint const& a, TopoMeshPoint const& b, double tolerance);
    /// True when an end of a curve, other than the object itself, is equivalent to the point. O(number of curves).
    static bool hasEquivalentEndPoint(PointRef const& point, Curves const& curves,
                                      double tolerance);

    // The steps. The constructor has taken all of them; they stand here for those who build on them.

    /// Erases each curve that overlaps a later one.
    void validateCurves();
    /// Whether two curves share an end segment, in either direction. The rest of the curves is not looked at; a curve of
    /// fewer than two points overlaps none.
    bool curvesOverlap(Curve const& a, Curve const& b) const;
    /// The first curve that overlaps a later one; the end if there is none.
    Curves::iterator findOverlappingCurve();
    /// Enters the ends of every curve.
    void createIPoints();
    /// Joins the ends of closed curves, deletes curves of two points or fewer that end where they begin, and joins ends of
    /// different curves, each end at most once a pair.
    void linkCurves();
    /// Lets all nodes of `gone` hold `keep`.
    void mergeIPoints(PointRef const& keep, PointRef const& gone);
    /// The same for two of four ends, if both are still set and are equivalent; clears both then.
    void mergeIPoints(PointRef (&ends)[4], int keep, int gone);
    void deleteIPoint(PointRef const& point);
    /// Takes the use away; the point goes with its last one.
    void deleteICurve(Curve& curve, Node node);
    /// Erases a curve that has no segment left.
    void deleteCurveIfDegenerate(Curves::iterator curve);

    /// Finds all crossings: in each face, then of segments along edges, then on vertices.
    void intersect();
    /// One pass over the pairs of segments of one face; true if it inserted a node. New halves join the list. The pass ends
    /// early when the list has grown to `most`.
    bool intersect(ko::list<Segment>& segments,
                   std::size_t most = std::numeric_limits<std::size_t>::max());
    /// The point where two segments cross, a new object, or null; also null when they share an end.
    PointRef intersect(Segment const& a, Segment const& b);
    /// Where two coplanar stretches cross, the ends included; false for parallel ones. The size of the model does not
    /// matter: the work is done in a frame of unit size.
    bool intersect(Point const& a0, Point const& a1, Point const& b0, Point const& b1,
                   Point& result);
    /// The edge under a segment, or null: between two ends of an edge, or points that name the very same half-edge.
    TopoMeshEdge isBoundarySegment(Segment const& segment) const;
    /// The node for a point of the segment: one of its ends if that lies within the tolerance, else a new one in between.
    Node splitSegment(Segment const& segment, PointRef const& point, bool& inserted);
    /// Splits the segment and joins the point of the graph with the node; the second half joins the list, if there is one.
    /// node   out: the node, which may hold another object than `point`
    bool splitSegment(Segment const& segment, ko::list<Segment>* list, PointRef const& point,
                      Node& node);
    void makeIntersectionIPoint(Curve& curve, Node node, PointRef const& point);

    /// The segments that run through a face, and those along its sides by their number.
    struct SegmentsOfFace {
        ko::list<Segment> through;
        std::size_t numAlong = 0;
        std::size_t most = 0;  ///< where the list stops growing
    };
    using FaceSegments = ko::map<TopoMeshFace, SegmentsOfFace>;
    void findEdgeIntersections(FaceSegments& segments);
    void findEdgeIsectsOnFace(Segment const& segment, TopoMeshFace face, FaceSegments& segments);
    void findVertexIntersections();

    /// Takes nodes off the front, or the back, up to the next point of the graph.
    void trimCurveForward(Curves::iterator curve);
    void trimCurveBackward(Curves::iterator curve);

private:
    IPoint& ensureUse(Curve& curve, Node node);
    bool cross(Segment const& a, ko::list<Segment>* listOfA, Segment const& b,
               ko::list<Segment>* listOfB, PointRef const& point);
    bool dangles(Curve& curve, Node end);

    TopoMesh* mesh_;
    Curves* curves_;
    IPointMap iPoints_;
    double tolerance_;
};

/// Walks all points of all curves, curve by curve.
///
///     for (MeshCurveTopologyIterator i(curves); i.valid(); i.next())
class TRIMORA_API MeshCurveTopologyIterator {
public:
    using Curves = MeshCurveTopology::Curves;

    /// Stands on the first node of the first curve that has any.
    explicit MeshCurveTopologyIterator(Curves& curves);

    void next();
    /// Moves on to the following curve that has nodes when the node is the end of its curve, as after an erasure.
    void nextIfInvalid();
    bool valid() const { return curve_ != curves_->end(); }
    MeshCurveTopology::Curve& getCurve() const { return *curve_; }
    MeshCurveTopology::Node getIterator() const { return node_; }

private:
    Curves* curves_;
    Curves::iterator curve_;
    MeshCurveTopology::Node node_;
};

}  // namespace koGeom
