#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace koGeom::detail {

/// Boxes over the triangles of a mesh, four to a packet, four packets or nodes to a node: a tree of
/// fixed shape without pointers, over triangles in the order of a halving of space. Tells which
/// triangles may be within a distance of a point, and never leaves one out that is. All coordinates
/// are finite and of a size whose squares floats can hold.
///
/// 160 bytes for four triangles, and 112 for four such packets and a third more.
class TriangleTree {
public:
    /// On the shared pool.
    explicit TriangleTree(CompactMesh const& mesh);

    /// A triangle that may be within the distance asked for.
    struct Near {
        int triangle;
        int packet;   // where it stands
        float least;  // it is no nearer than this
        float about;  // and about as near as this
    };

    /// A distance as a float, made larger by more than the bounds of `search` are off.
    static float widened(double distance) {
        return static_cast<float>(distance * 1.00001) + 1e-18f;
    }

    /// Appends all triangles within `distance` of q, and some more. The distance shrinks to that of
    /// about the nearest and `band` beyond it.
    ///
    /// firstPacket   is looked at before all others; 0 when nothing is known
    /// returns       up to which distance nothing was left out, widened
    float search(PointFlt const& q, int firstPacket, double distance, double band,
                 std::vector<Near>& near) const;

private:
    /// Four triangles side by side: component, corner by corner, of each.
    struct Packet {
        alignas(16) float at[9][4];  // ax, ay, az, bx, ... cz
        int triangles[4];            // the last one is repeated where there are fewer
    };
    struct Node {
        alignas(16) float low[3][4], high[3][4];  // boxes of four children, by axis
        int firstChild;                           // see Entry
    };

    /// What waits to be looked at: the bits of its squared distance, which order as the distance
    /// does, above a number, of a packet or, counted on behind the packets, of a node.
    using Entry = std::uint64_t;
    static int numberOf(Entry entry) { return static_cast<int>(entry & 0xFFFFFFFFu); }
    // Each level leaves three behind; a tree of 2^31 triangles has 15.
    static constexpr int mostWaiting = 64;

    void addBoxesOver(std::size_t firstChild, std::size_t numChildren);
    static int open(Node const& node, PointFlt const& q, float limit2, Entry* out);
    float searchPacket(int number, PointFlt const& q, float limit, float band,
                       std::vector<Near>& near) const;

    std::vector<Packet> packets_;
    std::vector<Node> nodes_;  // those over packets first, the root last
};

}  // namespace koGeom::detail
