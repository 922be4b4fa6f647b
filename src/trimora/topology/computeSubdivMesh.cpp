#include "trimora/topology/computeSubdivMesh.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/meshTwin.h"

#include <memory>
#include <vector>

/// The source is read once, into arrays of numbers: its half-edges are counted along the rings of the faces, so that
/// half-edge s gives quad s. All else is arithmetic on those numbers: the points in three passes, then the corners of the
/// quads and, since every quad's neighbours are known beforehand, their twins; the result is built from these in one go.
/// Only where a twin runs the same way, or an edge has one face on both sides, are the twins left to be found.
namespace koGeom {

namespace {

constexpr int none = -1;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// One more than the largest number of creation: the length of a table by numbers.
template <typename Handle>
std::size_t tableSize(Handle first) {
    std::size_t size = 0;
    for (Handle h = first; h; h = h.nextInList())
        size = h.record()->number + std::size_t(1);
    return size;
}

template <typename Handle>
int numberOf(Handle h) {
    return static_cast<int>(h.record()->number);
}

/// A half-edge of the source in numbers, all that a step along or across needs side by side.
struct HalfEdge {
    int origin;  // a vertex
    int face;
    int next;
    int prev;
    int twin;  // or none
};

/// The source in numbers. Half-edges count along the rings of the faces, face after face. Vertices keep the numbers of
/// their creation, in which there may be gaps.
struct Rings {
    std::vector<HalfEdge> edges;
    std::vector<int>
        listOrder;  // half-edges in the order of the mesh's list; none for those deleted
    std::vector<Point> position;   // by vertex
    std::vector<char> onBoundary;  // by vertex
    bool isRegular = true;         // every twin runs against, from another face

    explicit Rings(TopoMesh const& mesh);

    HalfEdge const& operator[](int s) const { return edges[at(s)]; }
    int end(HalfEdge const& e) const { return edges[at(e.next)].origin; }

private:
    void readRings(TopoMesh const& mesh);
    void judge(HalfEdge const& e);
};

Rings::Rings(TopoMesh const& mesh)
    : listOrder(tableSize(mesh.firstEdge()), none),
      position(tableSize(mesh.firstVertex())),
      onBoundary(position.size()) {
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
        position[at(numberOf(v))] = v.point();
    readRings(mesh);
    for (HalfEdge& e : edges)
        if (e.twin != none)
            e.twin = listOrder[at(e.twin)];
    for (HalfEdge const& e : edges)
        judge(e);
}

/// Leaves the numbers of creation in place of the twins.
void Rings::readRings(TopoMesh const& mesh) {
    edges.reserve(at(mesh.numEdges()));
    int face = 0;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList(), ++face) {
        int const begin = static_cast<int>(edges.size());
        TopoMeshEdge const first = f.edge();
        TopoMeshEdge e = first;
        do {
            int const s = static_cast<int>(edges.size());
            listOrder[at(numberOf(e))] = s;
            int const twin = e.twin() ? numberOf(e.twin()) : none;
            edges.push_back({numberOf(e.origin()), face, s + 1, s - 1, twin});
            e = e.next();
        } while (e != first);
        edges[at(begin)].prev = static_cast<int>(edges.size()) - 1;
        edges.back().next = begin;
    }
}

void Rings::judge(HalfEdge const& e) {
    if (e.origin == end(e))
        isRegular = false;
    if (e.twin == none) {
        onBoundary[at(e.origin)] = onBoundary[at(end(e))] = 1;
        return;
    }
    HalfEdge const& twin = edges[at(e.twin)];
    if (twin.origin == e.origin || twin.face == e.face)
        isRegular = false;
}

class Subdivision {
public:
    explicit Subdivision(TopoMesh const& source)
        : source_(source),
          rings_(source),
          numFaces_(source.numFaces()),
          edgePoint_(at(source.numEdges()), none),
          vertexPoint_(rings_.position.size(), none) {}

    void build(TopoMesh& result) {
        makeFacePoints();
        makeEdgePoints();
        makeVertexPoints();
        makeQuads();
        if (numFaces_ > 0)
            result.allocFaces(static_cast<int>(points_.size()), points_.data(), source_.numEdges(),
                              4, corners_.data(), rings_.isRegular ? twins_.data() : nullptr);
        else  // isolated vertices, which stay
            for (Point const& point : points_)
                result.allocVertex(point);
    }

private:
    void makeFacePoints();
    void makeEdgePoints();
    void makeVertexPoints();
    void makeQuads();
    Point edgePoint(HalfEdge const& e) const;
    Point vertexPoint(TopoMeshVertex v) const;

    TopoMesh const& source_;
    Rings rings_;
    int const numFaces_;
    std::vector<int> edgePoint_;    // by half-edge, a number in points_
    std::vector<int> vertexPoint_;  // by vertex, the same
    std::vector<Point> points_;     // of faces, edges, vertices
    std::vector<int> corners_;
    std::vector<int> twins_;
};

void Subdivision::makeFacePoints() {
    points_.reserve(at(numFaces_) + at(source_.numEdges()) + at(source_.numVertices()));
    for (TopoMeshFace f = source_.firstFace(); f; f = f.nextInList())
        points_.push_back(f.centroid());
}

void Subdivision::makeEdgePoints() {
    for (int s : rings_.listOrder) {
        if (s == none || edgePoint_[at(s)] != none)
            continue;
        int const number = static_cast<int>(points_.size());
        edgePoint_[at(s)] = number;
        if (rings_[s].twin != none)
            edgePoint_[at(rings_[s].twin)] = number;
        points_.push_back(edgePoint(rings_[s]));
    }
}

Point Subdivision::edgePoint(HalfEdge const& e) const {
    Point const& start = rings_.position[at(e.origin)];
    Point const& end = rings_.position[at(rings_.end(e))];
    if (e.twin == none)
        return combine(start, end);
    Point const& left = points_[at(e.face)];
    Point const& right = points_[at(rings_[e.twin].face)];
    return (0.25 * (start.asVector() + end.asVector() + left.asVector() + right.asVector()))
        .asPoint();
}

void Subdivision::makeVertexPoints() {
    for (TopoMeshVertex v = source_.firstVertex(); v; v = v.nextInList()) {
        vertexPoint_[at(numberOf(v))] = static_cast<int>(points_.size());
        points_.push_back(vertexPoint(v));
    }
}

Point boundaryPoint(TopoMeshVertex v) {
    Point const p = v.point();
    if (v.valence() == 1)
        return p;
    TopoMeshEdge arriving;
    TopoMeshEdge leaving;
    TopoMeshBoundaryIterator::getPrevNextEdges(v, arriving, leaving);
    Vector const before = arriving.origin().point().asVector();
    Vector const after = leaving.next().origin().point().asVector();
    return (0.125 * before + 0.125 * after + 0.75 * p.asVector()).asPoint();
}

/// What goes round an inner vertex adds up to.
struct VertexSum {
    Vector faceSum;
    Vector edgeSum;
    Point position;
    int numFaces = 0;
    int numEdges = 0;

    void add(Point const& midpoint, Point const& facePoint) {
        edgeSum += midpoint.asVector();
        faceSum += facePoint.asVector();
        ++numEdges;
        ++numFaces;
    }
    Point smoothed() const {
        double const n = numFaces;
        Vector const sum =
            faceSum / n + 2.0 * edgeSum / double(numEdges) + (n - 3.0) * position.asVector();
        return (sum / n).asPoint();
    }
};

Point Subdivision::vertexPoint(TopoMeshVertex v) const {
    if (!v.edge())
        return v.point();
    if (rings_.onBoundary[at(numberOf(v))] != 0)
        return boundaryPoint(v);
    VertexSum sum;
    sum.position = v.point();
    if (!rings_.isRegular) {
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
            sum.add(combine(sum.position, i.edge.next().origin().point()),
                    i.edge.face().centroid());
        return sum.smoothed();
    }
    // The same walk in numbers.
    int const own = rings_.listOrder[at(numberOf(v.edge()))];
    int s = own;
    do {
        HalfEdge const& e = rings_[s];
        sum.add(combine(sum.position, rings_.position[at(rings_.end(e))]), points_[at(e.face)]);
        s = rings_[e.prev].twin;
    } while (s != own);
    return sum.smoothed();
}

//      V(b) --2-- .       Quad s lies at the end b of half-edge s: 0 runs from the face point F to s's edge point E, 1 on to
//        |        |       the vertex point V(b), 2 to the next edge's point, 3 back to F. 0 meets 3 of the quad before, 3 meets 0
//   a----E----b   3       of the next one. Across E lies the quad of the edge before the twin, which ends at b as well: 1
//        |  0     |       meets its 2; and 2 meets 1 of the next edge's twin.
//        F ------ .
void Subdivision::makeQuads() {
    int const count = source_.numEdges();
    corners_.resize(4 * at(count));
    twins_.assign(rings_.isRegular ? 4 * at(count) : 0, none);
    for (int s = 0; s < count; ++s) {
        HalfEdge const& e = rings_[s];
        HalfEdge const& next = rings_[e.next];
        int* const corner = &corners_[4 * at(s)];
        corner[0] = e.face;
        corner[1] = edgePoint_[at(s)];
        corner[2] = vertexPoint_[at(next.origin)];
        corner[3] = edgePoint_[at(e.next)];
        if (!rings_.isRegular)
            continue;
        int* const twin = &twins_[4 * at(s)];
        twin[0] = 4 * e.prev + 3;
        twin[1] = e.twin != none ? 4 * rings_[e.twin].prev + 2 : none;
        twin[2] = next.twin != none ? 4 * next.twin + 1 : none;
        twin[3] = 4 * e.next;
    }
}

}  // namespace

TopoMesh* computeSubdivMesh(TopoMesh& mesh) {
    auto result = std::make_unique<TopoMesh>();
    Subdivision(mesh).build(*result);
    meshTwin(*result);
    return result.release();
}

}  // namespace koGeom
