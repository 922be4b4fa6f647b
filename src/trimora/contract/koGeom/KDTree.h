#pragma once

#include "trimora/export.h"

#include <vector>

namespace koGeom {

/// Point numbers in a tree that answers which of them lie in a box, with points added in between.
///
/// points      every call receives the flat x, y, z array again; a point's coordinates must stay what
///             they were when it was inserted, the array itself may move or grow
/// boxes       minimum x, y, z, then maximum x, y, z; a point on a face lies in the box, a point with
///             a NaN coordinate in none
/// balance     a part of the tree is rebuilt when it has doubled, so the depth is O(log n) for any
///             order of insertion; coincident points share a leaf of any size
/// cost        insertion O(log^2 n) on average over a run of them; a search in a small box O(log n)
///             and what it finds
/// threads     searches may run together, insertions alone
class TRIMORA_API KDTree {
public:
    /// Empty tree; room for `capacity` points is set aside, more are welcome.
    explicit KDTree(int capacity);

    /// Adds point `index` of `points`; a number inserted twice is stored twice.
    void insert(float const* points, int index);
    /// The lowest stored number in the box, or -1 if there is none.
    int search(float const* points, float const box[6]) const;
    /// Appends all stored numbers in the box, ascending.
    void searchAll(float const* points, float const box[6], std::vector<int>& result) const;

private:
    struct Node {
        float box[6];      ///< tight box of the points below
        int lowest;        ///< lowest number below
        int size;          ///< number of points below
        int builtSize;     ///< size when this part was last built
        int first;         ///< leaf: head of its entries; inner node: left child; free node: next
        int right;         ///< inner node: right child; -1 on a leaf
        float split;       ///< inner node: what lies below it goes left
        signed char axis;  ///< inner node: of the split
        bool inclusive;    ///< inner node: what lies on the split goes left too
    };
    struct Entry {
        int point;
        int next;
    };

    static bool isLeaf(Node const& node) { return node.right < 0; }
    static bool isCrowded(Node const& node);
    static bool goesLeft(Node const& node, float const* position);

    int newNode();
    void addEntry(Node& leaf, int point);
    void rebuild(float const* points, int node);
    void collect(int node);
    void build(float const* points, int node, int* begin, int* end);
    void lowestIn(float const* points, float const* box, int node, int& best) const;
    void allIn(float const* points, float const* box, int node, std::vector<int>& result) const;

    std::vector<Node> nodes_;  ///< root first
    std::vector<Entry> entries_;
    std::vector<int> scratch_;  ///< numbers of the part that is being rebuilt
    int freeNode_ = -1;         ///< lists of what a rebuild gave back
    int freeEntry_ = -1;
};

}  // namespace koGeom
