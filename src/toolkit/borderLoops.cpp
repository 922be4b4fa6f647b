// As many open edges lead to a vertex of an oriented surface as leave it, so a walk along edges that were not used before
// ends where it began. Whenever it comes back to a vertex that is on it, the part since then is a loop and is taken off.

#include "toolkit/detail/borderLoops.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koLinear::Point;
using koLinear::Vector;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Heads of the open edges that leave each vertex, in the order of its triangles.
class OpenEdgeTable {
public:
    OpenEdgeTable(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
        begins_.push_back(0);
        for (int vertex = 0; vertex < mesh.getNumVertices(); ++vertex) {
            addVertex(mesh, adjTris, vertex);
            begins_.push_back(heads_.size());
        }
        isUsed_.resize(heads_.size(), 0);
    }

    std::size_t begin(int vertex) const { return begins_[at(vertex)]; }
    std::size_t end(int vertex) const { return begins_[at(vertex) + 1]; }
    int head(std::size_t edge) const { return heads_[edge]; }
    bool isUsed(std::size_t edge) const { return isUsed_[edge] != 0; }
    void use(std::size_t edge) { isUsed_[edge] = 1; }

private:
    void addVertex(CompactMesh const& mesh, MeshAdjTris const& adjTris, int vertex) {
        tails_.clear();
        fanHeads_.clear();
        int const* const around = adjTris.triIndices(vertex);
        for (int i = 0; i < adjTris.numTris(vertex); ++i) {
            koGeom::MeshTriangle const& corners = mesh.getTriangles()[around[i]];
            int const k = corners[0] == vertex ? 0 : corners[1] == vertex ? 1 : 2;
            fanHeads_.push_back(corners[(k + 1) % 3]);
            tails_.push_back(corners[(k + 2) % 3]);
        }
        std::sort(tails_.begin(), tails_.end());
        for (int const head : fanHeads_) {
            if (head != vertex && !std::binary_search(tails_.begin(), tails_.end(), head))
                heads_.push_back(head);
        }
    }

    std::vector<std::size_t> begins_;
    std::vector<int> heads_;
    std::vector<char> isUsed_;
    std::vector<int> fanHeads_;  // scratch
    std::vector<int> tails_;
};

class BorderWalk {
public:
    BorderWalk(CompactMesh const& mesh, MeshAdjTris const& adjTris)
        : mesh_(mesh),
          adjTris_(adjTris),
          edges_(mesh, adjTris),
          places_(at(mesh.getNumVertices()), -1) {}

    std::vector<BorderLoop> run();

private:
    void walkFrom(int start);
    std::size_t nextEdge(int vertex, int from) const;
    double turn(int from, int vertex, int to, Vector const& normal) const;
    Vector normalAt(int vertex) const;
    void takeOff(int place, bool isClosed);

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    OpenEdgeTable edges_;
    std::vector<int> path_;
    std::vector<int> places_;  // on the path, by vertex
    std::vector<BorderLoop> loops_;
};

std::vector<BorderLoop> BorderWalk::run() {
    for (int vertex = 0; vertex < mesh_.getNumVertices(); ++vertex) {
        while (nextEdge(vertex, -1) != edges_.end(vertex))
            walkFrom(vertex);
    }
    for (BorderLoop& loop : loops_) {
        if (loop.isClosed)
            std::rotate(loop.vertices.begin(),
                        std::min_element(loop.vertices.begin(), loop.vertices.end()),
                        loop.vertices.end());
    }
    std::sort(loops_.begin(), loops_.end(),
              [](BorderLoop const& a, BorderLoop const& b) { return a.vertices < b.vertices; });
    return std::move(loops_);
}

void BorderWalk::walkFrom(int start) {
    path_.assign(1, start);
    places_[at(start)] = 0;
    for (bool isBack = false; !isBack;) {
        int const vertex = path_.back();
        std::size_t const edge = nextEdge(vertex, path_.size() > 1 ? path_[path_.size() - 2] : -1);
        if (edge == edges_.end(vertex)) {
            takeOff(0, false);
            return;
        }
        edges_.use(edge);
        int const head = edges_.head(edge);
        int const place = places_[at(head)];
        if (place < 0) {
            places_[at(head)] = static_cast<int>(path_.size());
            path_.push_back(head);
            continue;
        }
        takeOff(place, true);
        isBack = place == 0;
        if (!isBack) {
            places_[at(head)] = place;
            path_.push_back(head);
        }
    }
}

void BorderWalk::takeOff(int place, bool isClosed) {
    auto const begin = path_.begin() + place;
    for (auto vertex = begin; vertex != path_.end(); ++vertex)
        places_[at(*vertex)] = -1;
    loops_.push_back({{begin, path_.end()}, isClosed});
    path_.erase(begin, path_.end());
}

/// The unused edge at which the gap ends that lies beside the edge that was come by; the end when there is none.
std::size_t BorderWalk::nextEdge(int vertex, int from) const {
    std::size_t best = edges_.end(vertex);
    double bestTurn = HUGE_VAL;
    Vector normal;
    for (std::size_t edge = edges_.begin(vertex); edge != edges_.end(vertex); ++edge) {
        if (edges_.isUsed(edge))
            continue;
        if (best == edges_.end(vertex)) {
            best = edge;
            continue;
        }
        if (from < 0)
            break;
        if (bestTurn == HUGE_VAL) {
            normal = normalAt(vertex);
            bestTurn = turn(from, vertex, edges_.head(best), normal);
        }
        double const edgeTurn = turn(from, vertex, edges_.head(edge), normal);
        if (edgeTurn < bestTurn) {
            best = edge;
            bestTurn = edgeTurn;
        }
    }
    return best;
}

/// From the one neighbour to the other, counter-clockwise about the normal, in 0 to 2 pi: the surface lies clockwise of the
/// edge that comes in.
double BorderWalk::turn(int from, int vertex, int to, Vector const& normal) const {
    koGeom::MeshVertex const* const vertices = mesh_.getVertices();
    Point const p = vertices[vertex].asPoint();
    Vector const a = vertices[from].asPoint() - p;
    Vector const b = vertices[to].asPoint() - p;
    double const length = normal.length();
    double const angle =
        std::atan2(dot(cross(a, b), normal) / length,
                   dot(a, b) - dot(a, normal) * dot(b, normal) / (length * length));
    return angle < 0.0 ? angle + 2.0 * 3.14159265358979323846 : angle;
}

Vector BorderWalk::normalAt(int vertex) const {
    koGeom::MeshVertex const* const vertices = mesh_.getVertices();
    Vector sum;
    int const* const around = adjTris_.triIndices(vertex);
    for (int i = 0; i < adjTris_.numTris(vertex); ++i) {
        koGeom::MeshTriangle const& corners = mesh_.getTriangles()[around[i]];
        Point const p = vertices[corners[0]].asPoint();
        sum += cross(vertices[corners[1]].asPoint() - p, vertices[corners[2]].asPoint() - p);
    }
    return sum;
}

}  // namespace

std::vector<BorderLoop> findBorderLoops(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
    return BorderWalk(mesh, adjTris).run();
}

namespace {

bool isOpen(CompactMesh const& mesh, MeshAdjTris const& adjTris, int from, int to) {
    int const* const first = adjTris.triIndices(from);
    return std::count_if(first, first + adjTris.numTris(from), [&](int t) {
               koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
               return corners[0] == to || corners[1] == to || corners[2] == to;
           }) == 1;
}

bool hasOpenEdge(CompactMesh const& mesh, MeshAdjTris const& adjTris, BorderLoop const& loop) {
    std::size_t const count = loop.vertices.size();
    for (std::size_t i = 0; i < count; ++i)
        if (isOpen(mesh, adjTris, loop.vertices[i], loop.vertices[(i + 1) % count]))
            return true;
    return false;
}

}  // namespace

int numBorders(CompactMesh const& mesh, MeshAdjTris const& adjTris,
               koGeom::MeshBoundaries const& boundaries) {
    if (boundaries.size() == 0)
        return 0;
    std::vector<BorderLoop> const loops = findBorderLoops(mesh, adjTris);
    // Triangles that lie on each other run their edges twice one way: nothing goes back, and yet nothing is open.
    bool const isAnyOpen = std::any_of(loops.begin(), loops.end(), [&](BorderLoop const& loop) {
        return hasOpenEdge(mesh, adjTris, loop);
    });
    if (!isAnyOpen)
        return 0;
    bool const areClosed = std::all_of(loops.begin(), loops.end(),
                                       [](BorderLoop const& loop) { return loop.isClosed; });
    return areClosed ? static_cast<int>(loops.size()) : boundaries.size();
}

}  // namespace trimora
