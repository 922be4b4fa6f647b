// Counts a surface by its edges. Every side of a face goes into the bucket of its lower end; sorted by the higher end, the sides of
// one edge lie together there. Fans are told by joining the corners on both sides of each edge of two faces:
//
//          a ---------- b        f's corner at a with g's corner at a,
//           \  f    g  /         f's corner at b with g's corner at b:
//                                a vertex with two groups of corners has two fans
//
// Nothing of the core's tables is used, so that what is counted here can disagree with them.

#include "toolkit/meshInvariants.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// The corners of all faces, one face after the other.
struct FaceList {
    explicit FaceList(CompactMesh const& mesh)
        : numFaces(mesh.getNumTriangles()),
          corners(mesh.getTrianglesRaw()),
          numCorners(3 * std::ptrdiff_t{mesh.getNumTriangles()}) {
        if (numFaces > 0)
            return;
        numFaces = mesh.polys.getNumRuns();
        corners = mesh.polys.points.data();
        numCorners = mesh.polys.getNumPoints();
        lengths = mesh.polys.lengths.data();
    }
    int lengthOf(int face) const { return lengths != nullptr ? lengths[face] : 3; }

    int numFaces;
    int const* corners;
    std::ptrdiff_t numCorners;
    int const* lengths = nullptr;  // null: triangles
};

class Groups {
public:
    explicit Groups(std::size_t count) : parents_(count) {
        std::iota(parents_.begin(), parents_.end(), 0);
    }
    int find(int i) {
        while (parents_[at(i)] != i) {
            parents_[at(i)] = parents_[at(parents_[at(i)])];
            i = parents_[at(i)];
        }
        return i;
    }
    void join(int a, int b) {
        a = find(a);
        b = find(b);
        if (a != b)
            parents_[at(std::max(a, b))] = std::min(a, b);
    }

private:
    std::vector<int> parents_;
};

/// A side of a face in the bucket of its lower end.
struct Side {
    int higher;
    int corner;  // at which it begins; it runs upwards if that corner is the lower end
};

class Census {
public:
    explicit Census(CompactMesh const& mesh)
        : faces_(mesh),
          numVertices_(mesh.getNumVertices()),
          nextCorner_(static_cast<std::size_t>(faces_.numCorners)),
          fans_(nextCorner_.size()) {}

    SurfaceCensus run();

private:
    void linkCorners();
    void countUses();
    void sortSides();
    void countEdges();
    void countEdge(int lower, std::size_t begin, std::size_t end);
    void countFans();
    void countLoops();
    int vertexOf(int corner) const { return faces_.corners[corner]; }
    int cornerAt(int vertex, int side) const {
        return vertexOf(side) == vertex ? side : nextCorner_[at(side)];
    }

    FaceList const faces_;
    int const numVertices_;
    std::vector<int> nextCorner_;
    Groups fans_;                      // of corners
    std::vector<std::size_t> starts_;  // of the buckets
    std::vector<Side> sides_;
    std::vector<int>
        following_;  // of open edges: where the one that leaves a vertex leads; -1 none, -2 several
    SurfaceCensus census_;
};

SurfaceCensus Census::run() {
    census_.faces = faces_.numFaces;
    linkCorners();
    countUses();
    sortSides();
    countEdges();
    if (census_.nonManifoldEdges == 0)
        countFans();
    countLoops();
    return census_;
}

void Census::linkCorners() {
    int first = 0;
    for (int f = 0; f < faces_.numFaces; ++f) {
        int const length = faces_.lengthOf(f);
        for (int k = 0; k < length; ++k)
            nextCorner_[at(first + k)] = k + 1 < length ? first + k + 1 : first;
        first += length;
    }
}

void Census::countUses() {
    Groups parts(at(numVertices_));
    std::vector<char> isUsed(at(numVertices_), 0);
    for (int c = 0; c < faces_.numCorners; ++c) {
        isUsed[at(vertexOf(c))] = 1;
        parts.join(vertexOf(c), vertexOf(nextCorner_[at(c)]));
    }
    for (int v = 0; v < numVertices_; ++v) {
        census_.usedVertices += isUsed[at(v)];
        census_.components += isUsed[at(v)] != 0 && parts.find(v) == v;
    }
}

void Census::sortSides() {
    starts_.assign(at(numVertices_) + 1, 0);
    auto const lowerOf = [this](int c) {
        return std::min(vertexOf(c), vertexOf(nextCorner_[at(c)]));
    };
    for (int c = 0; c < faces_.numCorners; ++c)
        ++starts_[at(lowerOf(c)) + 1];
    std::partial_sum(starts_.begin(), starts_.end(), starts_.begin());
    sides_.resize(nextCorner_.size());
    std::vector<std::size_t> next(starts_.begin(), starts_.end() - 1);
    for (int c = 0; c < faces_.numCorners; ++c)
        sides_[next[at(lowerOf(c))]++] = {std::max(vertexOf(c), vertexOf(nextCorner_[at(c)])), c};
    for (int v = 0; v < numVertices_; ++v)
        std::sort(sides_.begin() + static_cast<std::ptrdiff_t>(starts_[at(v)]),
                  sides_.begin() + static_cast<std::ptrdiff_t>(starts_[at(v) + 1]),
                  [](Side const& a, Side const& b) { return a.higher < b.higher; });
}

void Census::countEdges() {
    following_.assign(at(numVertices_), -1);
    for (int v = 0; v < numVertices_; ++v) {
        std::size_t const end = starts_[at(v) + 1];
        for (std::size_t begin = starts_[at(v)]; begin < end;) {
            std::size_t stop = begin;
            while (stop < end && sides_[stop].higher == sides_[begin].higher)
                ++stop;
            countEdge(v, begin, stop);
            begin = stop;
        }
    }
}

void Census::countEdge(int lower, std::size_t begin, std::size_t end) {
    int const higher = sides_[begin].higher;
    std::size_t const count = end - begin;
    if (lower == higher) {
        census_.repeatedCorners += static_cast<std::int64_t>(count);
        return;
    }
    ++census_.edges;
    int const one = sides_[begin].corner;
    if (count == 1) {
        ++census_.openEdges;
        int& following = following_[at(vertexOf(one))];
        following = following == -1 ? vertexOf(nextCorner_[at(one)]) : -2;
        return;
    }
    if (count > 2) {
        ++census_.nonManifoldEdges;
        return;
    }
    int const other = sides_[begin + 1].corner;
    census_.turnedEdges += vertexOf(one) == vertexOf(other);
    fans_.join(cornerAt(lower, one), cornerAt(lower, other));
    fans_.join(cornerAt(higher, one), cornerAt(higher, other));
}

void Census::countFans() {
    std::vector<int> fansAt(at(numVertices_), 0);
    for (int c = 0; c < faces_.numCorners; ++c)
        fansAt[at(vertexOf(c))] += fans_.find(c) == c;
    census_.pinchedVertices = static_cast<int>(
        std::count_if(fansAt.begin(), fansAt.end(), [](int fans) { return fans > 1; }));
}

void Census::countLoops() {
    int loops = 0;
    for (int v = 0; v < numVertices_; ++v) {
        if (following_[at(v)] == -1)
            continue;
        int w = v;
        while (w >= 0 && following_[at(w)] >= 0)
            w = std::exchange(following_[at(w)], -1);
        if (w != v)
            return;  // several edges leave a vertex, or the walk ends in the middle
        ++loops;
    }
    census_.loops = loops;
}

}  // namespace

SurfaceCensus censusOf(CompactMesh const& mesh) {
    return Census(mesh).run();
}

}  // namespace trimora
