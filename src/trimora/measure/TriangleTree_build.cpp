// How the tree is made: the triangles are put into the order of a tree of fixed shape by halving them again and again across the
// longest side of the box of their middles, and boxes are put over what lies side by side then. The halves of large parts are
// found by counting, in two passes. Serial only at the top: O(n log n), about an eighth of a microsecond a triangle.

#include "trimora/contract/koUtil/slices.h"
#include "trimora/measure/detail/TriangleTree.h"

#include <algorithm>
#include <array>
#include <limits>

namespace koGeom::detail {

namespace {

/// Below so many triangles waking the shared pool would cost more than it saves.
constexpr int fewestToShare = 10000;

koUtil::ThreadPool& poolFor(CompactMesh const& mesh) {
    return mesh.getNumTriangles() < fewestToShare ? koUtil::ThreadPool::getSingleThreadedPool()
                                                  : koUtil::ThreadPool::get();
}

/// A triangle by its middle, times 3.
struct Middle {
    float at[3];
    int triangle;
};

struct Part {
    std::size_t begin, end;
    std::size_t size() const { return end - begin; }
};

/// Puts triangles into the order of the tree. Everything in it is cut at multiples of a power of two, which are borders between
/// packets, and between nodes of each level, all the way up.
class Halving {
public:
    explicit Halving(CompactMesh const& mesh)
        : pool_(poolFor(mesh)),
          middles_(static_cast<std::size_t>(mesh.getNumTriangles())),
          scratch_(middles_.size()) {
        MeshVertex const* const vertices = mesh.getVertices();
        MeshTriangle const* const triangles = mesh.getTriangles();
        koUtil::inSlices(pool_, mesh.getNumTriangles(), [&](int t, int end, int) {
            for (; t < end; ++t) {
                MeshVertex const& a = vertices[triangles[t][0]];
                MeshVertex const& b = vertices[triangles[t][1]];
                MeshVertex const& c = vertices[triangles[t][2]];
                middles_[static_cast<std::size_t>(t)] = {
                    {a.x + b.x + c.x, a.y + b.y + c.y, a.z + b.z + c.z}, t};
            }
        });
    }

    /// Halves all until there is enough to share out, and then each part by itself.
    std::vector<Middle> const& order() {
        std::vector<Part> parts = {{0, middles_.size()}};
        for (int numParts = 1; numParts < fewestParts; numParts *= 2) {
            std::vector<Part> halves(2 * parts.size());
            koUtil::inSlices(pool_, parts.size(), [&](std::size_t i, std::size_t end, int) {
                for (; i < end; ++i) {
                    std::size_t const middle = halve(parts[i]);
                    halves[2 * i] = {parts[i].begin, middle};
                    halves[2 * i + 1] = {middle, parts[i].end};
                }
            });
            parts.swap(halves);
        }
        koUtil::inSlices(pool_, parts.size(), [&](std::size_t i, std::size_t end, int) {
            for (; i < end; ++i)
                halveToPackets(parts[i]);
        });
        return middles_;
    }

private:
    static constexpr int fewestParts = 64;             // so that 8 threads have several to take
    static constexpr std::size_t fewestToCount = 256;  // below, the counts would cost more
    static constexpr std::size_t numBins = 256;

    std::size_t halve(Part const& part);
    void halveToPackets(Part const& part);
    void select(Part const& part, std::size_t middle, std::size_t axis);
    void selectByCounting(Part const& part, std::size_t middle, std::size_t axis, float low,
                          float high);

    koUtil::ThreadPool& pool_;
    std::vector<Middle> middles_;
    std::vector<Middle> scratch_;
};

/// Cuts a part; returns where: at the greatest power of two below its size, or the end where it fits into a packet.
std::size_t Halving::halve(Part const& part) {
    if (part.size() <= 4)
        return part.end;
    std::size_t half = 4;
    while (2 * half < part.size())
        half *= 2;

    float low[3], high[3];
    std::copy_n(middles_[part.begin].at, 3, low);
    std::copy_n(low, 3, high);
    for (std::size_t i = part.begin; i < part.end; ++i)
        for (std::size_t k = 0; k < 3; ++k) {
            low[k] = std::min(low[k], middles_[i].at[k]);
            high[k] = std::max(high[k], middles_[i].at[k]);
        }
    std::size_t axis = 0;
    for (std::size_t const k : {1u, 2u})
        axis = high[k] - low[k] > high[axis] - low[axis] ? k : axis;

    std::size_t const middle = part.begin + half;
    if (part.size() < fewestToCount)
        select(part, middle, axis);
    else
        selectByCounting(part, middle, axis, low[axis], high[axis]);
    return middle;
}

void Halving::halveToPackets(Part const& part) {
    std::size_t const middle = halve(part);
    if (middle == part.end)
        return;
    halveToPackets({part.begin, middle});
    halveToPackets({middle, part.end});
}

void Halving::select(Part const& part, std::size_t middle, std::size_t axis) {
    auto const at = [&](std::size_t i) {
        return middles_.begin() + static_cast<std::ptrdiff_t>(i);
    };
    std::nth_element(at(part.begin), at(middle), at(part.end),
                     [axis](Middle const& a, Middle const& b) { return a.at[axis] < b.at[axis]; });
}

/// The same for a large part: by counts in slots along the axis only the slot of the middle is left to be cut.
void Halving::selectByCounting(Part const& part, std::size_t middle, std::size_t axis, float low,
                               float high) {
    float const scale = (static_cast<float>(numBins) - 0.5f) / (high - low);
    if (!(scale < std::numeric_limits<float>::max()))
        return;  // all in one place: any order will do
    auto const binOf = [=](Middle const& item) {
        return std::min(numBins - 1, static_cast<std::size_t>((item.at[axis] - low) * scale));
    };
    // Four counters a slot: neighbours mostly share one, and would wait for each other's sum.
    std::array<std::array<std::size_t, 4>, numBins> counts = {};
    for (std::size_t i = part.begin; i < part.end; ++i)
        ++counts[binOf(middles_[i])][i % 4];
    auto const countOf = [&](std::size_t bin) {
        return counts[bin][0] + counts[bin][1] + counts[bin][2] + counts[bin][3];
    };
    std::size_t bin = 0;
    std::size_t begin = part.begin;  // of the slot of the middle
    while (begin + countOf(bin) <= middle)
        begin += countOf(bin++);
    std::size_t const end = begin + countOf(bin);

    std::size_t next[3] = {part.begin, begin, end};
    for (std::size_t i = part.begin; i < part.end; ++i) {
        std::size_t const itsBin = binOf(middles_[i]);
        scratch_[next[(itsBin >= bin) + (itsBin > bin)]++] = middles_[i];
    }
    std::copy(scratch_.begin() + static_cast<std::ptrdiff_t>(part.begin),
              scratch_.begin() + static_cast<std::ptrdiff_t>(part.end),
              middles_.begin() + static_cast<std::ptrdiff_t>(part.begin));
    if (end - begin > 1)
        select({begin, end}, middle, axis);
}

}  // namespace

TriangleTree::TriangleTree(CompactMesh const& mesh) {
    Halving halving(mesh);
    std::vector<Middle> const& order = halving.order();
    MeshVertex const* const vertices = mesh.getVertices();
    MeshTriangle const* const triangles = mesh.getTriangles();
    packets_.resize((order.size() + 3) / 4);
    auto const fill = [&](Packet& packet, std::size_t first) {
        for (std::size_t k = 0; k < 4; ++k) {
            int const triangle = order[std::min(first + k, order.size() - 1)].triangle;
            packet.triangles[k] = triangle;
            for (int corner = 0; corner < 3; ++corner) {
                MeshVertex const& vertex = vertices[triangles[triangle][corner]];
                packet.at[3 * corner][k] = vertex.x;
                packet.at[3 * corner + 1][k] = vertex.y;
                packet.at[3 * corner + 2][k] = vertex.z;
            }
        }
    };
    koUtil::inSlices(poolFor(mesh), packets_.size(), [&](std::size_t i, std::size_t end, int) {
        for (; i < end; ++i)
            fill(packets_[i], 4 * i);
    });

    std::size_t firstChild = 0;
    for (std::size_t numChildren = packets_.size(); numChildren > 0;) {
        std::size_t const before = nodes_.size();
        addBoxesOver(firstChild, numChildren);
        firstChild = packets_.size() + before;
        numChildren = nodes_.size() - before > 1 ? nodes_.size() - before : 0;
    }
}

/// Appends a level: a node for each four of the children, which are packets or nodes.
void TriangleTree::addBoxesOver(std::size_t firstChild, std::size_t numChildren) {
    float const infinity = std::numeric_limits<float>::infinity();
    std::size_t const numPackets = packets_.size();
    std::size_t const begin = nodes_.size();
    nodes_.resize(begin + (numChildren + 3) / 4);
    for (std::size_t i = 0; i < 4 * (nodes_.size() - begin); ++i) {
        Node& node = nodes_[begin + i / 4];
        node.firstChild = static_cast<int>(firstChild + i / 4 * 4);
        std::size_t const child = firstChild + i;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            float low = infinity, high = -infinity;  // no child is within any distance
            for (std::size_t k = 0; i < numChildren && child < numPackets && k < 3; ++k) {
                float const* const at = packets_[child].at[3 * k + axis];
                low = std::min(low, *std::min_element(at, at + 4));
                high = std::max(high, *std::max_element(at, at + 4));
            }
            if (i < numChildren && child >= numPackets) {
                Node const& below = nodes_[child - numPackets];
                low = *std::min_element(below.low[axis], below.low[axis] + 4);
                high = *std::max_element(below.high[axis], below.high[axis] + 4);
            }
            node.low[axis][i % 4] = low;
            node.high[axis][i % 4] = high;
        }
    }
}

}  // namespace koGeom::detail
