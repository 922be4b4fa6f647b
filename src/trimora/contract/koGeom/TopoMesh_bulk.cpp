#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"

#include <cassert>
#include <vector>

/// Building a half-edge mesh in bulk. All links are first worked out as numbers, in arrays that are a fraction of the size
/// of the records; then every record is written once, in the order of memory. The outcome is that of one allocation after
/// the other.
namespace koGeom {

using namespace detail;

namespace {

using Numbers = std::vector<int>;

constexpr int none = -1;

constexpr std::size_t maxHalfEdges =
    0x7ffffff0;  // numbers of half-edges, and a face more, are ints

/// The half-edges as numbers: half-edge i runs from corners[i] to ends[i].
class BulkLinks {
public:
    BulkLinks(std::size_t numVertices, std::size_t count, int sides, int const* corners);

    /// Chains the half-edges that leave a vertex, and on the way, if asked, finds each one's twin.
    void chain(Numbers* twins);
    bool areTwins(int const* twins) const;

    Numbers latest;  ///< by vertex: the half-edge that left it last, and first
    Numbers first;
    Numbers older;  ///< by half-edge: its neighbours in the chain of its origin
    Numbers newer;

private:
    int before(int i) const { return i % sides_ != 0 ? i - 1 : i + sides_ - 1; }
    void attachNumber(int i);
    int findOpposite(int i, Numbers const& twins) const;

    std::size_t const count_;
    int const sides_;
    int const* const corners_;
    Numbers ends_;
};

BulkLinks::BulkLinks(std::size_t numVertices, std::size_t count, int sides, int const* corners)
    : latest(numVertices, none),
      first(numVertices, none),
      older(count, none),
      newer(count, none),
      count_(count),
      sides_(sides),
      corners_(corners),
      ends_(count) {
    auto const step = static_cast<std::size_t>(sides);
    for (std::size_t base = 0; base < count; base += step) {
        for (std::size_t i = base; i + 1 < base + step; ++i)
            ends_[i] = corners[i + 1];
        ends_[base + step - 1] = corners[base];
    }
}

void BulkLinks::chain(Numbers* twins) {
    int const count = static_cast<int>(count_);
    for (int base = 0; base <= count - sides_; base += sides_) {
        for (int i = base; twins != nullptr && i < base + sides_; ++i) {
            int const found = findOpposite(i, *twins);
            if (found == none)
                continue;
            (*twins)[static_cast<std::size_t>(i)] = found;
            (*twins)[static_cast<std::size_t>(found)] = i;
        }
        for (int i = base; i < base + sides_; ++i)
            attachNumber(i);
    }
}

void BulkLinks::attachNumber(int i) {
    auto const edge = static_cast<std::size_t>(i);
    auto const vertex = static_cast<std::size_t>(corners_[edge]);
    int const head = latest[vertex];
    older[edge] = head;
    if (head != none)
        newer[static_cast<std::size_t>(head)] = i;
    else
        first[vertex] = i;
    latest[vertex] = i;
}

/// The search of detail::findHalfEdge, in numbers.
int BulkLinks::findOpposite(int i, Numbers const& twins) const {
    int const from = corners_[i];
    int const to = ends_[static_cast<std::size_t>(i)];
    int leaving = latest[static_cast<std::size_t>(to)];
    int afterArriving = latest[static_cast<std::size_t>(from)];
    for (int step = 0; leaving != none && afterArriving != none; ++step) {
        auto const e = static_cast<std::size_t>(leaving);
        if (ends_[e] == from && twins[e] == none)
            return leaving;
        leaving = older[e];
        if (step < fewLeaving)
            continue;
        auto const arriving = static_cast<std::size_t>(before(afterArriving));
        if (corners_[arriving] == to && twins[arriving] == none)
            return static_cast<int>(arriving);
        afterArriving = older[static_cast<std::size_t>(afterArriving)];
    }
    return none;
}

bool BulkLinks::areTwins(int const* twins) const {
    for (std::size_t e = 0; e < count_; ++e) {
        if (twins[e] == none)
            continue;
        auto const t = static_cast<std::size_t>(twins[e]);
        if (t >= count_ || t == e || static_cast<std::size_t>(twins[t]) != e)
            return false;
        bool const against = corners_[t] == ends_[e] && ends_[t] == corners_[e];
        bool const alike = corners_[t] == corners_[e] && ends_[t] == ends_[e];
        if (!against && !alike)
            return false;
    }
    return true;
}

bool areInRange(int const* corners, std::size_t count, int numVertices) {
    for (std::size_t i = 0; i < count; ++i)
        if (corners[i] < 0 || corners[i] >= numVertices)
            return false;
    return true;
}

}  // namespace

TopoMeshFace TopoMesh::allocFaces(int numPoints, Point const* points, int numFaces, int sides,
                                  int const* corners, int const* givenTwins) {
    if (numPoints <= 0 || numFaces <= 0 || sides < 3)
        return TopoMeshFace();
    std::size_t const count = static_cast<std::size_t>(numFaces) * static_cast<std::size_t>(sides);
    if (count > maxHalfEdges || !areInRange(corners, count, numPoints))
        return TopoMeshFace();
    auto const numVerticesAdded = static_cast<std::size_t>(numPoints);
    auto const numFacesAdded = static_cast<std::size_t>(numFaces);
    BulkLinks links(numVerticesAdded, count, sides, corners);
    if (givenTwins != nullptr && !links.areTwins(givenTwins))
        return TopoMeshFace();
    Numbers found(givenTwins != nullptr ? 0 : count, none);
    links.chain(givenTwins != nullptr ? nullptr : &found);
    int const* const twins = givenTwins != nullptr ? givenTwins : found.data();
    vertices_.reserve(numVerticesAdded);
    edges_.reserve(count);
    faces_.reserve(numFacesAdded);

    std::uint32_t const firstVertexNumber = vertices_.numCreated();
    std::uint32_t const firstEdgeNumber = edges_.numCreated();
    std::uint32_t const firstFaceNumber = faces_.numCreated();
    TopoMeshRecordRange<V> const vertices = vertices_.claim(numVerticesAdded);
    TopoMeshRecordRange<E> const edges = edges_.claim(count);
    TopoMeshRecordRange<F> const faces = faces_.claim(numFacesAdded);
    auto const edgeAt = [&edges](int i) {
        return i != none ? edges[static_cast<std::size_t>(i)] : nullptr;
    };

    for (std::size_t i = 0; i < numVerticesAdded; ++i) {
        auto const number = firstVertexNumber + static_cast<std::uint32_t>(i);
        *vertices[i] = {points[i], edgeAt(links.first[i]), edgeAt(links.latest[i]), number, tag_};
    }
    for (std::size_t f = 0; f < numFacesAdded; ++f) {
        std::size_t const begin = f * static_cast<std::size_t>(sides);
        std::size_t const end = begin + static_cast<std::size_t>(sides);
        F* const face = faces[f];
        *face = {edges[begin], firstFaceNumber + static_cast<std::uint32_t>(f), tag_};
        E* before = edges[end - 1];
        E* current = edges[begin];
        for (std::size_t i = begin; i < end; ++i) {
            E* const after = edges[i + 1 < end ? i + 1 : begin];
            V* const origin = vertices[static_cast<std::size_t>(corners[i])];
            auto const number = firstEdgeNumber + static_cast<std::uint32_t>(i);
            *current = {origin,
                        after,
                        before,
                        edgeAt(twins[i]),
                        face,
                        edgeAt(links.older[i]),
                        edgeAt(links.newer[i]),
                        number,
                        tag_};
            before = current;
            current = after;
        }
    }
    return TopoMeshFace(faces[0]);
}

}  // namespace koGeom
