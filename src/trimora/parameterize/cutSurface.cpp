// A surface is a disk once it is cut along every edge that a spanning tree of its triangles does not cross: the triangles then hang
// together as the tree does. Each edge of the cut has two sides, and going along them all, surface on the left, is the tour. How often
// a vertex has to be doubled is read off its fan: the cut divides it into pieces, and each piece gets a vertex of its own.
//
// The cut of a closed surface has about as many edges as the mesh has vertices, so whatever is asked of all of its items goes through
// tables by vertex. These keep the order of the lists, and with it every outcome of a plain search.

#include "trimora/parameterize/cutSurface.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/detail/callerContract.h"
#include "trimora/parameterize/detail/GroupsByVertex.h"
#include "trimora/parameterize/detail/VertexSplits.h"
#include "trimora/parameterize/detail/sortFanInto.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <unordered_map>
#include <vector>

namespace koGeom {

namespace {

using detail::GroupsByVertex;
using Item = ko::list<itineraryItem>::iterator;

/// The corner of a vertex; what is neither of the first two counts as the third.
int cornerOf(int vertex, int const* triangle) {
    return triangle[0] == vertex ? 0 : triangle[1] == vertex ? 1 : 2;
}

/// A triangle as seen from one of its corners: the other two, counterclockwise.
struct Wedge {
    int p, q;
};

Wedge wedgeAt(int vertex, MeshTriangle const& triangle) {
    int const corner = cornerOf(vertex, triangle.vertices);
    return {triangle[(corner + 1) % 3], triangle[(corner + 2) % 3]};
}

bool hasEdge(MeshTriangle const& triangle, int from, int to) {
    return (triangle[0] == from && triangle[1] == to) ||
           (triangle[1] == from && triangle[2] == to) || (triangle[2] == from && triangle[0] == to);
}

itineraryItem makeItem(int nextTriangle, int triangle, int start, int end) {
    return {nextTriangle, triangle, start, end, start, end};
}

/// The items that a tour can still go on with, by their start, in list order.
class WaitingItems {
public:
    WaitingItems(ko::list<itineraryItem>& items, int numVertices)
        : byStart_(numVertices), remaining_(static_cast<std::size_t>(numVertices), 0) {
        for (itineraryItem const& item : items)
            if (byStart_.isVertex(item.start))
                byStart_.count(item.start);
        byStart_.endCounting();
        for (Item item = items.begin(); item != items.end(); ++item)
            if (byStart_.isVertex(item->start)) {
                byStart_.place(item->start, item);
                ++remaining_[static_cast<std::size_t>(item->start)];
            }
    }

    int size(int vertex) const {
        return byStart_.isVertex(vertex) ? remaining_[static_cast<std::size_t>(vertex)] : 0;
    }
    Item const* at(int vertex) const { return byStart_.begin(vertex); }
    void remove(int vertex, int index) {
        Item* const items = byStart_.begin(vertex);
        int& count = remaining_[static_cast<std::size_t>(vertex)];
        std::copy(items + index + 1, items + count, items + index);
        --count;
    }

private:
    GroupsByVertex<Item> byStart_;
    std::vector<int> remaining_;
};

/// The fans of a mesh, sorted on request.
class SortedFans {
public:
    SortedFans(MeshTriangle* triangles, MeshAdjTris const& adjacency)
        : triangles_(triangles), adjacency_(adjacency) {}

    /// Valid until the next request.
    std::vector<int> const& at(int vertex) {
        if (adjacency_.numTris(vertex) <= smallFan) {
            detail::sortFanInto(vertex, triangles_, adjacency_, scratch_);
            return scratch_;
        }
        auto const [found, isNew] = large_.try_emplace(vertex);
        if (isNew)
            detail::sortFanInto(vertex, triangles_, adjacency_, found->second);
        return found->second;
    }

private:
    static constexpr int smallFan = 16;  // up to which to sort again is cheaper than to keep

    MeshTriangle* triangles_;
    MeshAdjTris const& adjacency_;
    std::vector<int> scratch_;
    std::unordered_map<int, std::vector<int>> large_;
};

/// Chooses how a tour goes on at the end of an item.
class TourGuide {
public:
    TourGuide(itineraryItem const& first, MeshTriangle* triangles, MeshAdjTris const& adjacency)
        : triangles_(triangles), fans_(triangles, adjacency), first_(first) {}

    /// One of the candidates, -1 for none.
    int choose(itineraryItem const& current, Item const* candidates, int numCandidates) {
        if (numCandidates == 1)
            return 0;
        if (numCandidates == 2 && isMirrorOfFirst(*candidates[0]))
            return 1;
        if (numCandidates == 2 && isMirrorOfFirst(*candidates[1]))
            return 0;
        return numCandidates > 0 ? firstClockwise(current, candidates, numCandidates) : -1;
    }

private:
    bool isMirrorOfFirst(itineraryItem const& item) const {
        return item.nextTriangle == first_.triangle && item.triangle == first_.nextTriangle;
    }

    /// Turns round the vertex from the triangle left of the item that arrives.
    int firstClockwise(itineraryItem const& current, Item const* candidates, int numCandidates) {
        int const vertex = current.end;
        std::vector<int> const& fan = fans_.at(vertex);
        int const count = static_cast<int>(fan.size());
        auto const wedge = [&](int position) {
            return wedgeAt(vertex, triangles_[fan[static_cast<std::size_t>(position)]]);
        };

        int position = count - 1;
        while (position >= 0 && wedge(position).q != current.start)
            --position;
        for (int step = 0; step < count; ++step, --position) {
            if (position < 0)
                position = count - 1;
            int const head = wedge(position).p;
            for (int k = 0; k < numCandidates; ++k)
                if (candidates[k]->end == head)
                    return k;
        }
        return -1;
    }

    MeshTriangle* triangles_;
    SortedFans fans_;
    itineraryItem first_;
};

/// The directed edges of a list.
class EdgeTable {
public:
    EdgeTable(ko::list<itineraryItem> const& items, int numVertices)
        : heads_(numVertices), isEnd_(static_cast<std::size_t>(numVertices), 0) {
        for (itineraryItem const& item : items)
            if (areVertices(item))
                heads_.count(item.start);
        heads_.endCounting();
        for (itineraryItem const& item : items)
            if (areVertices(item)) {
                heads_.place(item.start, item.end);
                isEnd_[static_cast<std::size_t>(item.end)] = 1;
            }
        for (int v = 0; v < numVertices; ++v)
            std::sort(heads_.begin(v), heads_.end(v));
    }

    bool contains(int from, int to) const {
        return std::binary_search(heads_.begin(from), heads_.end(from), to);
    }
    bool touches(int vertex) const {
        return isEnd_[static_cast<std::size_t>(vertex)] != 0 ||
               heads_.begin(vertex) != heads_.end(vertex);
    }

private:
    bool areVertices(itineraryItem const& item) const {
        return heads_.isVertex(item.start) && heads_.isVertex(item.end);
    }

    GroupsByVertex<int> heads_;
    std::vector<char> isEnd_;  // by vertex: whether an item ends there
};

/// The place in a closed fan where its first piece begins: behind the first edge that leaves the vertex; if none does, behind the first
/// one at all.
template <class IsListed>
int findOpening(int vertex, std::vector<int> const& fan, MeshTriangle const* triangles,
                IsListed const& isListed) {
    int firstArriving = -1;
    for (std::size_t i = 0; i < fan.size(); ++i) {
        int const far = wedgeAt(vertex, triangles[fan[i]]).q;
        if (isListed(vertex, far))
            return static_cast<int>(i) + 1;
        if (firstArriving < 0 && isListed(far, vertex))
            firstArriving = static_cast<int>(i);
    }
    return firstArriving + 1;
}

/// Divides a sorted fan at listed edges, whichever way these run.
///
/// isListed   told the two ends of a directed edge
/// visit      called for each triangle, piece by piece, with the number of its piece
template <class IsListed, class Visit>
void divideFan(int vertex, std::vector<int> const& fan, MeshTriangle const* triangles,
               IsListed const& isListed, Visit const& visit) {
    if (fan.empty())
        return;
    auto const wedge = [&](int triangle) { return wedgeAt(vertex, triangles[triangle]); };
    bool const isClosed = wedge(fan.back()).q == wedge(fan.front()).p;
    std::size_t const first =
        isClosed ? static_cast<std::size_t>(findOpening(vertex, fan, triangles, isListed)) : 0;

    int piece = 0;
    for (std::size_t step = 0; step < fan.size(); ++step) {
        int const triangle = fan[(first + step) % fan.size()];
        visit(triangle, piece);
        int const far = wedge(triangle).q;
        if (isListed(vertex, far) || isListed(far, vertex))
            ++piece;
    }
}

}  // namespace

void cutSurface::orientVertices(int vertex, int const* const triangle, int* rotated) {
    int const corner = cornerOf(vertex, triangle);
    for (int i = 0; i < 3; ++i)
        rotated[i] = triangle[(corner + i) % 3];
}

bool cutSurface::sameTriangle(int const* const a, int const* const b) {
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

bool cutSurface::listContainsEdge(itineraryItem& edge, ko::list<itineraryItem>& edges) {
    return std::any_of(edges.begin(), edges.end(), [&edge](itineraryItem const& item) {
        return item.start == edge.start && item.end == edge.end;
    });
}

void cutSurface::extractVertices(ko::list<itineraryItem>& edges, ko::set<int>& vertices) {
    for (itineraryItem const& item : edges) {
        vertices.insert(item.start);
        vertices.insert(item.end);
    }
}

void cutSurface::sortFanTriangles(int vertex, int count, int* fan, MeshTriangle* triangles) {
    assert(detail::allHoldVertex(fan, count, triangles, vertex));
    // Of closed fans, and of open ones that begin with their first triangle, the way up is all.
    int end = 0;
    for (bool goesOn = true; goesOn && end + 1 < count;) {
        int const w = wedgeAt(vertex, triangles[fan[end]]).q;
        int* const next = std::find_if(fan + end + 1, fan + count, [&](int triangle) {
            return hasEdge(triangles[triangle], vertex, w);
        });
        goesOn = next != fan + count;
        if (goesOn)
            std::swap(fan[++end], *next);
    }
    if (end + 1 >= count)
        return;

    std::swap(fan[end], fan[count - 1]);
    for (int begin = count - 1; begin > 0; --begin) {
        int const w = wedgeAt(vertex, triangles[fan[begin]]).p;
        int* const next = std::find_if(fan, fan + begin, [&](int triangle) {
            return hasEdge(triangles[triangle], w, vertex);
        });
        if (next == fan + begin)
            return;
        std::swap(fan[begin - 1], *next);
    }
}

void cutSurface::getFirstCCEdge(MeshTriangle* triangles, int vertex, int* fan, int position,
                                int count, itineraryItem& edge) {
    assert(detail::isInRange(position, count));
    Wedge const wedge = wedgeAt(vertex, triangles[fan[position]]);
    int const previous = fan[position > 0 ? position - 1 : count - 1];
    edge.start = vertex;
    edge.end = Boundary::findEdge(wedge.p, triangles[previous]) >= 0 ? wedge.q : wedge.p;
}

void cutSurface::pushNeighbor(int side, int neighbour, int triangle, int* vertices, bool* visited,
                              int* neighbours, ko::list<itineraryItem>& queue) {
    assert(detail::isInRange(side, 3));
    neighbours[side] = neighbour;
    if (!visited[neighbour])
        queue.push_back(makeItem(neighbour, triangle, vertices[side], vertices[(side + 1) % 3]));
}

void cutSurface::checkNeighborhood(int triangle, MeshAdjTris const& adjacency,
                                   MeshTriangle* triangles, bool* const visited,
                                   ko::list<itineraryItem>& queue, ko::list<itineraryItem>& cut) {
    assert(detail::isInRange(triangle, adjacency.getData().items.size() / 3));
    int* const corners = triangles[triangle].vertices;
    int neighbours[3] = {-1, -1, -1};
    auto const note = [&](int side, int neighbour) {
        pushNeighbor(side, neighbour, triangle, corners, visited, neighbours, queue);
    };

    int const* fan = adjacency.triIndices(corners[0]);
    int const* fanEnd = fan + adjacency.numTris(corners[0]);
    for (; fan != fanEnd && (neighbours[0] < 0 || neighbours[2] < 0); ++fan) {
        if (sameTriangle(triangles[*fan].vertices, corners))
            continue;
        Wedge const wedge = wedgeAt(corners[0], triangles[*fan]);
        if (wedge.p == corners[2])
            note(2, *fan);
        if (wedge.q == corners[1])
            note(0, *fan);
    }

    fan = adjacency.triIndices(corners[1]);
    fanEnd = fan + adjacency.numTris(corners[1]);
    for (; fan != fanEnd && neighbours[1] < 0; ++fan)
        if (wedgeAt(corners[1], triangles[*fan]).q == corners[2])
            note(1, *fan);

    for (int side = 0; side < 3; ++side)
        if (neighbours[side] < 0)
            cut.push_back(makeItem(-1, triangle, corners[side], corners[(side + 1) % 3]));
}

void cutSurface::findUnresolvedBoundary(ko::list<itineraryItem>& cut, MeshTriangle* triangles,
                                        int triangleCount, MeshAdjTris& adjacency) {
    assert(adjacency.getData().items.size() == std::int64_t{3} * triangleCount);
    if (triangleCount <= 0 || adjacency.getData().getNumSets() == 0)
        return;
    auto const visited = std::make_unique<bool[]>(static_cast<std::size_t>(triangleCount));
    ko::list<itineraryItem> queue;
    int const* const fan = adjacency.triIndices(0);
    int const fanSize = adjacency.numTris(0);
    for (int i = 0; i < fanSize; ++i)
        visited[static_cast<std::size_t>(fan[i])] = true;
    for (int i = 0; i < fanSize; ++i)
        checkNeighborhood(fan[i], adjacency, triangles, visited.get(), queue, cut);

    while (!queue.empty()) {
        itineraryItem const item = queue.front();
        bool& isVisited = visited[static_cast<std::size_t>(item.nextTriangle)];
        if (isVisited) {
            cut.splice(cut.end(), queue, queue.begin());
            cut.push_back(makeItem(item.triangle, item.nextTriangle, item.end, item.start));
        } else {
            isVisited = true;
            checkNeighborhood(item.nextTriangle, adjacency, triangles, visited.get(), queue, cut);
            queue.pop_front();
        }
    }
}

void cutSurface::sequenceEdges(ko::list<itineraryItem>& in, ko::list<itineraryItem>& out,
                               MeshTriangle* triangles, MeshAdjTris const& adjacency) {
    if (in.empty())
        return;
    out.splice(out.end(), in, in.begin());
    itineraryItem current = out.back();
    TourGuide guide(current, triangles, adjacency);
    WaitingItems waiting(in, adjacency.getData().getNumSets());
    while (int const numCandidates = waiting.size(current.end)) {
        int const vertex = current.end;
        int const chosen = guide.choose(current, waiting.at(vertex), numCandidates);
        if (chosen < 0)
            return;
        out.splice(out.end(), in, waiting.at(vertex)[chosen]);
        waiting.remove(vertex, chosen);
        current = out.back();
    }
}

void cutSurface::sortEdgePartitions(int vertex, ko::list<itineraryItem>& edges,
                                    MeshTriangle* triangles, MeshAdjTris const& adjacency,
                                    ko::vector<ko::vector<int>>& partitions) {
    auto const isListed = [&](int from, int to) {
        itineraryItem edge = makeItem(-1, -1, from, to);
        return listContainsEdge(edge, edges);
    };
    std::size_t const numBefore = partitions.size();
    auto const collect = [&](int triangle, int piece) {
        std::size_t const index = numBefore + static_cast<std::size_t>(piece);
        if (index == partitions.size())
            partitions.emplace_back();
        partitions[index].push_back(triangle);
    };
    SortedFans fans(triangles, adjacency);
    divideFan(vertex, fans.at(vertex), triangles, isListed, collect);
}

void cutSurface::processCut(ko::list<itineraryItem>& edges, MeshTriangle* triangles,
                            MeshAdjTris const& adjacency, CompactMesh& mesh) {
    int const numVertices = adjacency.getData().getNumSets();
    EdgeTable const table(edges, numVertices);
    auto const isListed = [&table](int from, int to) { return table.contains(from, to); };
    SortedFans fans(triangles, adjacency);
    detail::VertexSplits splits(mesh.getNumVertices());
    for (int vertex = 0; vertex < numVertices; ++vertex) {
        if (!table.touches(vertex))
            continue;
        int lastPiece = 0;
        int copy = vertex;
        divideFan(vertex, fans.at(vertex), triangles, isListed, [&](int triangle, int piece) {
            if (piece != lastPiece)
                copy = splits.addCopy(vertex);
            lastPiece = piece;
            if (copy != vertex)
                splits.giveTriangle(triangle, vertex, copy);
        });
    }
    if (!splits.isEmpty())
        splits.make(mesh, triangles);
}

void cutSurface::makeDisk(CompactMesh& mesh) {
    assert(detail::hasTrianglesInRange(mesh));
    if (mesh.getNumTriangles() == 0)
        return;
    MeshTriangle* const triangles = mesh.getTriangles();
    MeshAdjTris adjacency;
    meshAdjTris(mesh, adjacency);
    if (adjacency.getData().getNumSets() == 0 || adjacency.numTris(0) == 0)
        return;

    ko::list<itineraryItem> cut, tour;
    findUnresolvedBoundary(cut, triangles, mesh.getNumTriangles(), adjacency);
    sequenceEdges(cut, tour, triangles, adjacency);
    processCut(tour, triangles, adjacency, mesh);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    mesh.modified(modification);
}

}  // namespace koGeom
