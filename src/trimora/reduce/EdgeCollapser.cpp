#include "trimora/reduce/detail/EdgeCollapser.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koOS/largePages.h"
#include "trimora/contract/koUtil/slices.h"

#include <cmath>
#include <limits>

/// Quadric error metrics on numbered triangles. Most of the time goes into reading what lies round the edges that get new
/// costs; so links are packed, neighbours stand in lists of their own, and those of the surviving vertex are marked once for
/// all its edges.
namespace koGeom {

namespace {

/// The cost of an edge that may not collapse.
constexpr double refused = std::numeric_limits<double>::max();

/// Below this many faces waking the pool costs more than it saves.
constexpr int minPooledFaces = 10000;

}  // namespace

EdgeCollapser::EdgeCollapser(TopoMesh& mesh)
    : mesh_(mesh),
      links_(mesh),
      queue_(links_),
      neighbours_(links_),
      marked_(static_cast<int>(links_.numVertices())),
      gathered_(links_.hasSingleFans() ? 0 : 3 * links_.numFaces()) {
    koOS::resizeInLargePages(vertices_, links_.numVertices());
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
        vertices_[v.record()->number].position = v.point();
    auto& pool = links_.numFaces() < minPooledFaces ? koUtil::ThreadPool::getSingleThreadedPool()
                                                    : koUtil::ThreadPool::get();
    findErrors(pool);
    findBoundary();
    queueAll(pool);
}

EdgeCollapser::Edge EdgeCollapser::edgeAt(Index e) const {
    Index const t = links_.twin(e);
    return {e,
            t,
            links_.origin(e),
            links_.end(e),
            links_.origin(links_.prev(e)),
            t != none ? links_.origin(links_.prev(t)) : none};
}

/// Calls function(h) for the half-edges of the vertex's own fan in the order of TopoMeshEdgeVertexIterator.
template <typename Function>
void EdgeCollapser::forEachInFan(Index vertex, Function const& function) const {
    Index const own = links_.ownEdge(vertex);
    Index h = own;
    while (h != none) {
        function(h);
        h = links_.nextAround(h);
        if (h == own)
            return;
    }
    if (own == none)
        return;
    for (h = links_.prevAround(own); h != none; h = links_.prevAround(h))
        function(h);
}

EdgeCollapser::FacePlane EdgeCollapser::planeOf(Index face) const {
    Point const& first = vertices_[links_.origin(4 * face)].position;
    Vector const side = vertices_[links_.origin(4 * face + 1)].position - first;
    Vector const otherSide = vertices_[links_.origin(4 * face + 2)].position - first;
    Vector const normal = Normal(cross(side, otherSide)).asVector();
    return {normal, -dot(normal, first.asVector())};
}

/// Adds the wall that stands on a half-edge of a face with that normal. Its normal has the length of the edge, so that the
/// square of that is the wall's weight.
void EdgeCollapser::addBoundary(Quadric& error, Index h, Vector const& normal) const {
    Point const& start = vertices_[links_.origin(h)].position;
    Vector const wall = cross(vertices_[links_.end(h)].position - start, normal);
    error.addPlane(wall, -dot(wall, start.asVector()));
}

Quadric EdgeCollapser::firstErrorOf(Index vertex, std::vector<FacePlane> const& planes) const {
    Quadric error;
    forEachInFan(vertex, [&](Index h) {
        FacePlane const& plane = planes[TopoMeshTriangles::faceOf(h)];
        error.addPlane(plane.normal, plane.d);
        for (Index const side : {h, TopoMeshTriangles::prev(h)})
            if (links_.twin(side) == none)
                addBoundary(error, side, plane.normal);
    });
    return error;
}

void EdgeCollapser::findErrors(koUtil::ThreadPool& pool) {
    std::vector<FacePlane> planes(static_cast<std::size_t>(links_.numFaces()));
    koUtil::inSlices(pool, static_cast<Index>(planes.size()), [&](Index begin, Index end, int) {
        for (Index face = begin; face < end; ++face)
            planes[face] = planeOf(face);
    });
    koUtil::inSlices(pool, links_.numVertices(), [&](Index begin, Index end, int) {
        for (Index v = begin; v < end; ++v)
            vertices_[v].error = firstErrorOf(v, planes);
    });
}

void EdgeCollapser::findBoundary() {
    for (Index face = 0; face < static_cast<Index>(links_.numFaces()); ++face)
        for (Index h = 4 * face; h < 4 * face + 3; ++h)
            if (links_.twin(h) == none)
                for (Index const v : {links_.origin(h), links_.end(h)})
                    vertices_[v].isOnBoundary = true;
}

/// Of each edge the half that comes first in the mesh's list.
std::vector<EdgeCollapser::Index> EdgeCollapser::takeFirstHalves() {
    std::vector<Index> halves;
    halves.reserve(links_.listOrder().size() / 2);
    for (Index const h : links_.listOrder()) {
        Index const t = links_.twin(h);
        if (t != none && links_.tag(t) != 0)
            continue;
        links_.tag(h) = 1;
        halves.push_back(h);
    }
    links_.dropListOrder();
    return halves;
}

void EdgeCollapser::queueAll(koUtil::ThreadPool& pool) {
    std::vector<Index> const halves = takeFirstHalves();
    std::vector<double> costs(halves.size());
    std::vector<VisitStamps> marked(static_cast<std::size_t>(pool.numThreads), marked_);
    koUtil::inSlices(pool, static_cast<Index>(halves.size()),
                     [&](Index begin, Index end, int thread) {
                         VisitStamps& marks = marked[static_cast<std::size_t>(thread)];
                         for (Index i = begin; i < end; ++i) {
                             Edge const edge = edgeAt(halves[i]);
                             markNeighbours(edge.a, marks);
                             costs[i] = costOf(edge, marks, edge.a, edge.b);
                         }
                     });
    for (std::size_t i = 0; i < halves.size(); ++i)
        queue_.insert(halves[i], costs[i]);
}

void EdgeCollapser::markNeighbours(Index vertex, VisitStamps& marked) const {
    marked.nextQuery();
    neighbours_.forEach(vertex, [&](Index v) { marked.meet(static_cast<int>(v)); });
}

double EdgeCollapser::costOf(Edge const& edge, VisitStamps const& marked, Index near,
                             Index far) const {
    if (!mayCollapse(edge, marked, near, far))
        return refused;
    Vertex const& a = vertices_[edge.a];
    Vertex const& b = vertices_[edge.b];
    Quadric error = a.error;
    error += b.error;
    double const cost = error.at(error.placeBetween(a.position, b.position));
    return std::isnan(cost) ? refused : cost;
}

bool EdgeCollapser::collapseNext() {
    while (CollapseQueue::Entry const* const cheapest = queue_.top()) {
        if (!(cheapest->cost < refused))
            return false;
        Edge const edge = edgeAt(cheapest->halfEdge);
        prefetchAround(edge);
        markNeighbours(edge.a, marked_);
        bool const isAllowed = mayCollapse(edge, marked_, edge.a, edge.b);
        queue_.erase(edge.e);
        if (isAllowed) {
            collapse(edge);
            return true;
        }
        // What changed since it was costed was not beside it; a collapse that is will look at it again.
        queue_.insert(edge.e, refused);
    }
    return false;
}

/// Asks for what the new costs will be made of, while the walks round the two ends find out whose costs those are.
void EdgeCollapser::prefetchAround(Edge const& edge) const {
    for (Index const end : {edge.a, edge.b}) {
        neighbours_.forEach(end, [this](Index v) {
            neighbours_.prefetch(v);
            __builtin_prefetch(&vertices_[v].error);
            __builtin_prefetch(&vertices_[v].position);
        });
    }
}

/// The edges of the vertex's own fan in the order of TopoMeshEdgeVertexIterator, then those of other fans.
void EdgeCollapser::gatherLeaving(Index vertex) {
    leaving_.clear();
    forEachInFan(vertex, [this](Index h) { leaving_.push_back(h); });
    if (links_.hasSingleFans())
        return;
    auto const isNew = [this](Index h) { return gathered_.meet(static_cast<int>(h - (h >> 2))); };
    gathered_.nextQuery();
    for (Index const h : leaving_)
        isNew(h);
    for (Index h = links_.firstLeaving(vertex); h != none; h = links_.nextLeaving(h))
        if (isNew(h))
            leaving_.push_back(h);
}

/// Takes all other edges at an end of the edge out of the queue: those that leave, then those that only arrive.
void EdgeCollapser::takeOutAround(Index vertex, Edge const& edge) {
    gatherLeaving(vertex);
    for (Index const h : leaving_)
        takeOut(h, edge);
    for (Index const h : leaving_) {
        Index const arriving = TopoMeshTriangles::prev(h);
        Index const twin = links_.twin(arriving);
        if (twin == none || links_.origin(twin) != vertex)
            takeOut(arriving, edge);
    }
}

/// Takes the edge of h out of the queue and notes for a new cost the half that stood there or, where that vanishes, its
/// twin. Of the two edges that a triangle folds up into one the second counts: the half beside the first is left out.
void EdgeCollapser::takeOut(Index h, Edge const& edge) {
    if (h == edge.e || h == edge.t)
        return;
    if (!queue_.holds(h)) {
        h = links_.twin(h);
        if (h == none || !queue_.holds(h))
            return;
    }
    queue_.erase(h);

    auto const isInFaceOf = [h](Index side) {
        return TopoMeshTriangles::faceOf(h) == TopoMeshTriangles::faceOf(side);
    };
    Index const left = isInFaceOf(edge.e) || isInFaceOf(edge.t) ? links_.twin(h) : h;
    auto const isDoubled = [&](Index side) {
        return side != none && left == links_.twin(TopoMeshTriangles::next(side)) &&
               links_.twin(TopoMeshTriangles::prev(side)) != none;
    };
    if (left != none && !isDoubled(edge.e) && !isDoubled(edge.t))
        toCost_.push_back(left);
}

/// Each triangle on the edge has doubled the edge from its tip, or takes it away when there is nothing beyond.
void EdgeCollapser::joinNeighbours(Edge const& edge) {
    neighbours_.join(edge.a, edge.b);
    for (Index const h : {edge.e, edge.t}) {
        if (h == none)
            continue;
        Index const tip = links_.origin(TopoMeshTriangles::prev(h));
        neighbours_.separate(edge.a, tip);
        if (isLoose(h))
            neighbours_.separate(edge.a, tip);
    }
}

/// The edge has left the queue already.
void EdgeCollapser::collapse(Edge const& edge) {
    toCost_.clear();
    takeOutAround(edge.a, edge);
    takeOutAround(edge.b, edge);

    Vertex& survivor = vertices_[edge.a];
    Vertex const& other = vertices_[edge.b];
    survivor.error += other.error;
    survivor.position = survivor.error.placeBetween(survivor.position, other.position);
    joinNeighbours(edge);
    links_.collapse(edge.e);

    survivor.isOnBoundary = isOpen(edge.a);
    if (!links_.hasSingleFans()) {
        for (Index const tip : {edge.tip, edge.otherTip})
            if (tip != none)
                vertices_[tip].isOnBoundary = isOpen(tip);
    }

    costAgain(edge.a);
}

/// All that wait have an end at the vertex.
void EdgeCollapser::costAgain(Index vertex) {
    CollapseQueue::Entry const* const candidate = queue_.top();
    scoutFrom(candidate != nullptr ? candidate->halfEdge : none);
    markNeighbours(vertex, marked_);
    for (Index const h : toCost_) {
        Edge const edge = edgeAt(h);
        Index const far = edge.a == vertex ? edge.b : edge.a;
        queue_.insert(h, costOf(edge, marked_, vertex, far));
        scout();
    }
}

/// While costs are found, two scouts go round the ends of what is likely to collapse next, a step a cost, and have the
/// memory there fetched.
void EdgeCollapser::scoutFrom(Index h) {
    scouts_[0] = scouts_[1] = h;
    if (h != none)
        links_.prefetch(h);
}

void EdgeCollapser::scout() {
    if (scouts_[0] != none && scouts_[0] == scouts_[1]) {
        neighbours_.prefetch(links_.origin(scouts_[0]));
        neighbours_.prefetch(links_.end(scouts_[0]));
        scouts_[1] = TopoMeshTriangles::next(scouts_[0]);
    }
    for (Index& h : scouts_) {
        if (h == none)
            continue;
        h = links_.twin(TopoMeshTriangles::prev(h));
        if (h != none)
            links_.prefetch(h);
    }
}

/// Blind data gets its memory when it is first asked for: after this no allocation is left that could fail halfway.
void EdgeCollapser::reserveBlindData() {
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList())
        v.blind(0);
    Index face = 0;
    for (TopoMeshFace f = mesh_.firstFace(); f; f = f.nextInList())
        if (links_.isFaceAlive(face++))
            for (TopoMeshEdge e : {f.edge(), f.edge().next(), f.edge().prev()})
                e.blind(0);
}

void EdgeCollapser::store() {
    reserveBlindData();
    links_.store();
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList())
        mesh_.setPoint(v, vertices_[v.record()->number].position);

    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList()) {
        ProjMatrix const matrix = vertices_[v.record()->number].error.matrix();
        for (int i = 0; i < 16; ++i)
            v.blind(i) = BlindData(matrix.m[i]);
    }
    queue_.forEach([this](CollapseQueue::Entry const& entry) {
        TopoMeshEdge const e = links_.handle(entry.halfEdge);
        for (TopoMeshEdge half : {e, e.twin()}) {
            if (!half)
                continue;
            half.blind(0) = BlindData(entry.cost);
            half.blind(1) = BlindData(true);
        }
    });
}

}  // namespace koGeom
