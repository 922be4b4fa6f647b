#include "trimora/topology/computeSubdivMesh.h"

#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshBulk.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/slices.h"
#include "trimora/topology/detail/completeTwins.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <memory>
#include <vector>

/// The source is read once, into arrays of numbers: its half-edges are counted along the rings of the faces, so that
/// half-edge s gives quad s. All else is arithmetic on those numbers. The neighbours of every quad are known beforehand, so
/// that the records of the result, which are nearly all of the memory that is touched, are written once, in its order and
/// on the pool. Only where a twin runs the same way, or an edge has one face on both sides, the building of the
/// result is left to find the twins.
namespace koGeom {

namespace {

constexpr int none = -1;

/// Below this many quads waking the pool costs more than it saves.
constexpr int minPooledQuads = 10000;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

template <typename Handle>
int numberOf(Handle h) {
    return static_cast<int>(h.record()->number);
}

/// The length of a table by numbers of creation.
template <typename Handle>
int tableSize(Handle first) {
    using Pool = TopoMeshPool<typename Handle::Record>;
    return first ? static_cast<int>(Pool::of(first.record()).numCreated()) : 0;
}

/// A half-edge of the source in numbers.
struct HalfEdge {
    int origin;  // place of a vertex in the list
    int face;    // place in the list
    int twin;    // or none
};

/// The source in numbers. Half-edges count along the rings of the faces, face after face.
class Rings {
public:
    explicit Rings(TopoMesh const& mesh);

    int numFaces() const { return begins_.size() - 1; }
    int numEdges() const { return edges_.size(); }
    int numVertices() const { return positions_.size(); }
    HalfEdge const& operator[](int s) const { return edge_[s]; }
    int begin(int face) const { return sides_ > 0 ? face * sides_ : begin_[face]; }
    int end(int face) const { return begin(face + 1); }
    int next(int s) const {
        int const face = edge_[s].face;
        return s + 1 < end(face) ? s + 1 : begin(face);
    }
    int prev(int s) const {
        int const face = edge_[s].face;
        return s > begin(face) ? s - 1 : end(face) - 1;
    }
    int endVertex(int s) const { return edge_[next(s)].origin; }
    Point const& position(int vertex) const { return position_[vertex]; }
    TopoMeshVertex source(int vertex) const { return vertices_[at(vertex)]; }
    bool isOnBoundary(int vertex) const { return onBoundary_[at(vertex)] != 0; }
    /// The number of a half-edge of the source.
    int placeOf(TopoMeshEdge e) const { return places_.data()[numberOf(e)]; }
    /// By number of creation, which is the order of the mesh's list; none where there is no half-edge any more.
    Array<int> const& places() const { return places_; }

    /// Names the twin of s, known so far by its number of creation, by its place. Any order, any thread.
    void settleTwin(int s) {
        int& twin = edge_[s].twin;
        twin = twin != none ? place_[twin] : none;
    }
    /// Does the twin run against s, from another face? And does s have two ends?
    bool isRegular(int s) const {
        HalfEdge const& e = edge_[s];
        if (e.origin == endVertex(s))
            return false;
        if (e.twin == none)
            return true;
        return edge_[e.twin].origin != e.origin && edge_[e.twin].face != e.face;
    }

private:
    void readVertices(TopoMesh const& mesh);
    void readFaces(TopoMesh const& mesh);

    Array<HalfEdge> edges_;
    Array<int> begins_;  // by face, and the end
    Array<int> places_;
    Array<int> vertexPlaces_;  // by number of creation
    std::vector<TopoMeshVertex> vertices_;
    Array<Point> positions_;
    std::vector<char> onBoundary_;
    int sides_ = 0;  // of every face; 0 where they differ, and then the begins are looked up
    // The data of the arrays.
    HalfEdge* edge_;
    int* begin_;
    int* place_;
    Point* position_;
};

Rings::Rings(TopoMesh const& mesh)
    : edges_(mesh.numEdges()),
      begins_(mesh.numFaces() + 1),
      places_(tableSize(mesh.firstEdge())),
      vertexPlaces_(tableSize(mesh.firstVertex())),
      vertices_(at(mesh.numVertices())),
      positions_(mesh.numVertices()),
      onBoundary_(at(mesh.numVertices())),
      edge_(edges_.data()),
      begin_(begins_.data()),
      place_(places_.data()),
      position_(positions_.data()) {
    readVertices(mesh);
    if (places_.size() != mesh.numEdges())
        places_.fill(none);
    readFaces(mesh);
}

void Rings::readVertices(TopoMesh const& mesh) {
    int* const vertexPlace = vertexPlaces_.data();
    int place = 0;
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList(), ++place) {
        vertexPlace[numberOf(v)] = place;
        vertices_[at(place)] = v;
        position_[place] = v.point();
    }
}

void Rings::readFaces(TopoMesh const& mesh) {
    int const* const vertexPlace = vertexPlaces_.data();
    int face = 0;
    int s = 0;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList(), ++face) {
        begin_[face] = s;
        TopoMeshEdge const first = f.edge();
        TopoMeshEdge e = first;
        do {
            TopoMeshEdge const twin = e.twin();
            int const origin = vertexPlace[numberOf(e.origin())];
            place_[numberOf(e)] = s;
            edge_[s++] = {origin, face, twin ? numberOf(twin) : none};
            e = e.next();
            if (!twin)
                onBoundary_[at(origin)] = onBoundary_[at(vertexPlace[numberOf(e.origin())])] = 1;
        } while (e != first);
    }
    begin_[face] = s;

    bool isUniform = face > 0;
    for (int f = 0; f < face; ++f)
        isUniform = isUniform && begin_[f + 1] - begin_[f] == begin_[1];
    sides_ = isUniform ? begin_[1] : 0;
}

class Subdivision {
public:
    explicit Subdivision(TopoMesh const& source)
        : rings_(source),
          pool_(rings_.numEdges() >= minPooledQuads ? koUtil::ThreadPool::get()
                                                    : koUtil::ThreadPool::getSingleThreadedPool()),
          facePoints_(rings_.numFaces()),
          edgePlace_(rings_.numEdges()) {}

    /// The result up to, and with, meshTwin.
    void build(TopoMesh& result);

private:
    void settleFaces();
    void numberEdgePoints();
    void buildRegular(TopoMesh& result) const;
    void buildAny(TopoMesh& result) const;
    void writeQuads(TopoMeshBulk const& bulk, TopoMeshChains const& ending, int face) const;
    void writePoint(TopoMeshBulk const& bulk, TopoMeshChains const& ending, int place) const;

    int numPoints() const { return rings_.numFaces() + edgeOfPoint_.size() + rings_.numVertices(); }
    /// Places of the new vertices: first those of the faces, then of the edges, then of the vertices.
    int edgeVertex(int s) const { return edgePlace_.data()[s]; }
    int cornerVertex(int v) const { return rings_.numFaces() + edgeOfPoint_.size() + v; }
    Point point(int place) const;
    Point facePoint(int face) const;
    Point edgePoint(int s) const;
    Point vertexPoint(int v) const;

    Rings rings_;
    koUtil::ThreadPool& pool_;
    bool isRegular_ = true;
    Array<Point> facePoints_;
    Array<int> edgePlace_;    // by half-edge
    Array<int> edgeOfPoint_;  // one half-edge for each edge point
};

//      V(b) --2-- .       Quad s lies at the end b of half-edge s: 0 runs from the face point F to s's edge point E, 1 on to
//        |        |       the vertex point V(b), 2 to the next edge's point, 3 back to F. 0 meets 3 of the quad before, 3 meets 0
//   a----E----b   3       of the next one. Across E lies the quad of the edge before the twin, which ends at b as well: 1
//        |  0     |       meets its 2; and 2 meets 1 of the next edge's twin.
//        F ------ .
//
/// What leaves an edge point E, as seen from half-edge s: two half-edges on this side and two across, all four of which
/// take part in one order. The faces of the source come one after the other, so one side precedes the other.
struct EdgePointLinks {
    int onward;              // 1 of quad s
    int back;                // 3 of the quad before
    int across = none;       // 2 of the quad that lies across 1 of quad s
    int firstAcross = none;  // of the two on the other side
    int lastAcross = none;   // of the two on the other side
    bool acrossIsLater = false;

    EdgePointLinks(Rings const& rings, int s) : onward(4 * s + 1), back(4 * rings.prev(s) + 3) {
        int const twin = rings[s].twin;
        if (twin == none)
            return;
        int const beforeTwin = rings.prev(twin);
        across = 4 * beforeTwin + 2;
        firstAcross = std::min(4 * twin + 1, 4 * beforeTwin + 3);
        lastAcross = std::max(4 * twin + 1, 4 * beforeTwin + 3);
        acrossIsLater = twin > s;
    }

    int earliest() const {
        return firstAcross != none && !acrossIsLater ? firstAcross : std::min(onward, back);
    }
    int latest() const { return acrossIsLater ? lastAcross : std::max(onward, back); }
    /// The neighbours in the order of the two on this side.
    int earlierThan(int own) const {
        int const sibling = own == onward ? back : onward;
        return sibling < own ? sibling : acrossIsLater ? none : lastAcross;
    }
    int laterThan(int own) const {
        int const sibling = own == onward ? back : onward;
        return sibling > own ? sibling : acrossIsLater ? firstAcross : none;
    }
};

void Subdivision::build(TopoMesh& result) {
    settleFaces();
    numberEdgePoints();
    if (isRegular_ && rings_.numFaces() > 0)
        buildRegular(result);
    else
        buildAny(result);
}

/// Twins by place, then the face points.
void Subdivision::settleFaces() {
    koUtil::inSlices(pool_, rings_.numFaces(), [this](int begin, int end, int) {
        for (int s = rings_.begin(begin); s < rings_.begin(end); ++s)
            rings_.settleTwin(s);
        for (int f = begin; f < end; ++f)
            facePoints_.data()[f] = facePoint(f);
    });
}

void Subdivision::numberEdgePoints() {
    edgeOfPoint_.setSize(rings_.numEdges());
    edgePlace_.fill(none);
    int* const place = edgePlace_.data();
    int* const edgeOfPoint = edgeOfPoint_.data();
    int numFound = 0;
    for (int s : rings_.places()) {
        if (s == none || place[s] != none)
            continue;
        isRegular_ = isRegular_ && rings_.isRegular(s);
        place[s] = rings_.numFaces() + numFound;
        if (rings_[s].twin != none)
            place[rings_[s].twin] = rings_.numFaces() + numFound;
        edgeOfPoint[numFound++] = s;
    }
    edgeOfPoint_.setSize(numFound);
}

Point Subdivision::point(int place) const {
    if (place < rings_.numFaces())
        return facePoints_.data()[place];
    int const edge = place - rings_.numFaces();
    if (edge < edgeOfPoint_.size())
        return edgePoint(edgeOfPoint_.data()[edge]);
    return vertexPoint(edge - edgeOfPoint_.size());
}

Point Subdivision::facePoint(int face) const {
    int const begin = rings_.begin(face);
    int const end = rings_.end(face);
    Vector sum = rings_.position(rings_[begin].origin).asVector();
    for (int s = begin + 1; s < end; ++s)
        sum += rings_.position(rings_[s].origin).asVector();
    return (sum / (end - begin)).asPoint();
}

Point Subdivision::edgePoint(int s) const {
    HalfEdge const& e = rings_[s];
    Point const& start = rings_.position(e.origin);
    Point const& end = rings_.position(rings_.endVertex(s));
    if (e.twin == none)
        return combine(start, end);
    Point const& left = facePoints_.data()[e.face];
    Point const& right = facePoints_.data()[rings_[e.twin].face];
    return (0.25 * (start.asVector() + end.asVector() + left.asVector() + right.asVector()))
        .asPoint();
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

Point Subdivision::vertexPoint(int vertex) const {
    TopoMeshVertex const v = rings_.source(vertex);
    if (!v.edge())
        return v.point();
    if (rings_.isOnBoundary(vertex))
        return boundaryPoint(v);
    VertexSum sum;
    sum.position = v.point();
    if (!isRegular_) {
        for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
            sum.add(combine(sum.position, i.edge.next().origin().point()),
                    i.edge.face().centroid());
        return sum.smoothed();
    }
    // The same walk in numbers.
    int const own = rings_.placeOf(v.edge());
    int s = own;
    do {
        sum.add(combine(sum.position, rings_.position(rings_.endVertex(s))),
                facePoints_.data()[rings_[s].face]);
        s = rings_[rings_.prev(s)].twin;
    } while (s != own);
    return sum.smoothed();
}

void Subdivision::buildRegular(TopoMesh& result) const {
    TopoMeshChains const ending(rings_.numVertices(), rings_.numEdges(),
                                [this](int s) { return rings_.endVertex(s); });
    TopoMeshBulk const bulk(result, numPoints(), 4 * rings_.numEdges(), rings_.numEdges());
    koUtil::inSlices(pool_, numPoints(), [&](int begin, int end, int) {
        for (int place = begin; place < end; ++place)
            writePoint(bulk, ending, place);
    });
    koUtil::inSlices(pool_, rings_.numFaces(), [&](int begin, int end, int) {
        for (int face = begin; face < end; ++face)
            writeQuads(bulk, ending, face);
    });

    // Known here; a search for them would read all of the result.
    koOS::StopWatch watch;
    watch.start();
    std::vector<TopoMeshEdge> open;
    for (int s = 0; s < rings_.numEdges(); ++s) {
        if (rings_[s].twin == none)
            open.push_back(TopoMeshEdge(bulk.edge(4 * s + 1)));
        if (rings_[rings_.next(s)].twin == none)
            open.push_back(TopoMeshEdge(bulk.edge(4 * s + 2)));
    }
    detail::twinOpenEdges(result, open, false, watch);
}

void Subdivision::writePoint(TopoMeshBulk const& bulk, TopoMeshChains const& ending,
                             int place) const {
    int earliest = none;
    int latest = none;
    int const edge = place - rings_.numFaces();
    int const vertex = edge - edgeOfPoint_.size();
    if (edge < 0) {
        earliest = 4 * rings_.begin(place);
        latest = 4 * (rings_.end(place) - 1);
    } else if (vertex < 0) {
        EdgePointLinks const links(rings_, edgeOfPoint_.data()[edge]);
        earliest = links.earliest();
        latest = links.latest();
    } else if (ending.latest.data()[vertex] != none) {
        earliest = 4 * ending.earliest.data()[vertex] + 2;
        latest = 4 * ending.latest.data()[vertex] + 2;
    }
    bulk.writeVertex(place, point(place), earliest, latest);
}

/// The half-edge 4 quad + side; none for no quad.
int sideOf(int quad, int side) {
    return quad != none ? 4 * quad + side : none;
}

void Subdivision::writeQuads(TopoMeshBulk const& bulk, TopoMeshChains const& ending,
                             int face) const {
    int const begin = rings_.begin(face);
    int const last = rings_.end(face) - 1;
    EdgePointLinks own(rings_, begin);
    EdgePointLinks const first = own;
    for (int s = begin; s <= last; ++s) {
        int const next = s < last ? s + 1 : begin;
        EdgePointLinks const beyond = s < last ? EdgePointLinks(rings_, next) : first;
        int const e = 4 * s;
        auto* const f = bulk.face(s);
        auto* const e0 = bulk.edge(e);
        auto* const e1 = bulk.edge(e + 1);
        auto* const e2 = bulk.edge(e + 2);
        auto* const e3 = bulk.edge(e + 3);
        TopoMeshBulk::HalfEdge const links[4] = {
            {bulk.vertex(face), e1, e3, bulk.edge(own.back), f, bulk.edge(s > begin ? e - 4 : none),
             bulk.edge(s < last ? e + 4 : none)},
            {bulk.vertex(edgeVertex(s)), e2, e0, bulk.edge(own.across), f,
             bulk.edge(own.earlierThan(e + 1)), bulk.edge(own.laterThan(e + 1))},
            {bulk.vertex(cornerVertex(rings_[next].origin)), e3, e1,
             bulk.edge(sideOf(rings_[next].twin, 1)), f,
             bulk.edge(sideOf(ending.earlier.data()[s], 2)),
             bulk.edge(sideOf(ending.later.data()[s], 2))},
            {bulk.vertex(edgeVertex(next)), e0, e2, bulk.edge(4 * next), f,
             bulk.edge(beyond.earlierThan(e + 3)), bulk.edge(beyond.laterThan(e + 3))}};
        bulk.writeFace(s, e0);
        for (int side = 0; side < 4; ++side)
            bulk.writeEdge(e + side, links[side]);
        own = beyond;
    }
}

void Subdivision::buildAny(TopoMesh& result) const {
    if (rings_.numFaces() == 0) {  // isolated vertices, which stay
        for (int v = 0; v < rings_.numVertices(); ++v)
            result.allocVertex(rings_.position(v));
        meshTwin(result);
        return;
    }
    std::vector<Point> points;
    points.reserve(at(numPoints()));
    for (int place = 0; place < numPoints(); ++place)
        points.push_back(point(place));
    std::vector<int> corners;
    corners.reserve(4 * at(rings_.numEdges()));
    for (int s = 0; s < rings_.numEdges(); ++s) {
        int const next = rings_.next(s);
        corners.insert(corners.end(), {rings_[s].face, edgeVertex(s),
                                       cornerVertex(rings_[next].origin), edgeVertex(next)});
    }
    result.allocFaces(numPoints(), points.data(), rings_.numEdges(), 4, corners.data());
    meshTwin(result);
}

}  // namespace

TopoMesh* computeSubdivMesh(TopoMesh& mesh) {
    auto result = std::make_unique<TopoMesh>();
    Subdivision(mesh).build(*result);
    return result.release();
}

}  // namespace koGeom
