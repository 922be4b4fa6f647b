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

/// The source in numbers. Half-edges count along the rings: those of face f from begin[f] to begin[f + 1]. Vertices keep
/// the numbers of their creation, in which there may be gaps.
struct Rings {
    std::vector<int> begin;
    std::vector<int> face;    // by half-edge
    std::vector<int> origin;  // by half-edge, a vertex
    std::vector<int> twin;    // by half-edge, or none
    std::vector<int>
        listOrder;  // half-edges in the order of the mesh's list; none for those deleted
    std::vector<Point> position;   // by vertex
    std::vector<char> onBoundary;  // by vertex
    bool isRegular = true;         // every twin runs against, from another face

    explicit Rings(TopoMesh const& mesh);

    int next(int s) const {
        int const f = face[at(s)];
        return s + 1 < begin[at(f) + 1] ? s + 1 : begin[at(f)];
    }
    int prev(int s) const {
        int const f = face[at(s)];
        return s > begin[at(f)] ? s - 1 : begin[at(f) + 1] - 1;
    }
    int end(int s) const { return origin[at(next(s))]; }

private:
    void judge(int s);
};

Rings::Rings(TopoMesh const& mesh)
    : listOrder(tableSize(mesh.firstEdge()), none),
      position(tableSize(mesh.firstVertex())),
      onBoundary(position.size()) {
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
        position[at(numberOf(v))] = v.point();

    std::size_t const count = at(mesh.numEdges());
    std::vector<TopoMeshEdge> edges;
    edges.reserve(count);
    face.reserve(count);
    origin.reserve(count);
    twin.reserve(count);
    begin.reserve(at(mesh.numFaces()) + 1);
    begin.push_back(0);
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const first = f.edge();
        TopoMeshEdge e = first;
        do {
            listOrder[at(numberOf(e))] = static_cast<int>(edges.size());
            face.push_back(static_cast<int>(begin.size()) - 1);
            origin.push_back(numberOf(e.origin()));
            edges.push_back(e);
            e = e.next();
        } while (e != first);
        begin.push_back(static_cast<int>(edges.size()));
    }
    for (TopoMeshEdge e : edges)
        twin.push_back(e.twin() ? listOrder[at(numberOf(e.twin()))] : none);
    for (std::size_t s = 0; s < count; ++s)
        judge(static_cast<int>(s));
}

void Rings::judge(int s) {
    int const t = twin[at(s)];
    if (origin[at(s)] == end(s))
        isRegular = false;
    if (t == none)
        onBoundary[at(origin[at(s)])] = onBoundary[at(end(s))] = 1;
    else if (origin[at(t)] == origin[at(s)] || face[at(t)] == face[at(s)])
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
    Point edgePoint(int s) const;
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
        if (rings_.twin[at(s)] != none)
            edgePoint_[at(rings_.twin[at(s)])] = number;
        points_.push_back(edgePoint(s));
    }
}

Point Subdivision::edgePoint(int s) const {
    Point const& start = rings_.position[at(rings_.origin[at(s)])];
    Point const& end = rings_.position[at(rings_.end(s))];
    int const t = rings_.twin[at(s)];
    if (t == none)
        return combine(start, end);
    Point const& left = points_[at(rings_.face[at(s)])];
    Point const& right = points_[at(rings_.face[at(t)])];
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
        sum.add(combine(sum.position, rings_.position[at(rings_.end(s))]),
                points_[at(rings_.face[at(s)])]);
        s = rings_.twin[at(rings_.prev(s))];
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
        int const next = rings_.next(s);
        int* const corner = &corners_[4 * at(s)];
        corner[0] = rings_.face[at(s)];
        corner[1] = edgePoint_[at(s)];
        corner[2] = vertexPoint_[at(rings_.origin[at(next)])];
        corner[3] = edgePoint_[at(next)];
        if (!rings_.isRegular)
            continue;
        int* const twin = &twins_[4 * at(s)];
        int const across = rings_.twin[at(s)];
        int const nextAcross = rings_.twin[at(next)];
        twin[0] = 4 * rings_.prev(s) + 3;
        twin[1] = across != none ? 4 * rings_.prev(across) + 2 : none;
        twin[2] = nextAcross != none ? 4 * nextAcross + 1 : none;
        twin[3] = 4 * next;
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
