#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/KDTree.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"

#include <cstdint>
#include <memory>

namespace koGeom::detail {

/// Points kept one after the other: a place that finds one in its box becomes the first of those,
/// another is kept and gets the next number, from 0 on. The answers are those of a KDTree, by hashing.
///
///     +-------+-------+      Cells are five tolerances wide, so a box lies in two cells an axis at
///     |   +---+---+   |      most. The cell of a coordinate never falls when the coordinate grows:
///     |   |   x   |   |      what lies between the corners of a box lies in a cell of a corner, so
///     |   +---+---+   |      no rounding is to be feared. Which points of the cells are in the box is
///     +-------+-------+      asked coordinate by coordinate, in floats.
///
/// With a tolerance of 0 a cell is one place. When too many points have to be looked at (many that are in
/// no box, places made to collide) a KDTree takes over.
class TRIMORA_API WeldGrid {
public:
    explicit WeldGrid(float tolerance);

    /// Takes the places in order.
    ///
    /// numbers     out: what each became, the lowest number of the points in the box
    ///             [x - tolerance, x + tolerance], bounds included. 0 for a place that is not in its own
    ///             box and so in no way to be found: with a NaN, with an infinite coordinate under an
    ///             infinite tolerance, with a tolerance below 0 that is not lost in rounding
    void weld(PointFlt const* places, int count, int* numbers);

    int count() const { return static_cast<int>(points_.size()); }
    /// Room for `count` vertices.
    void copyTo(MeshVertex* vertices) const;
    /// Whether the tree has taken over.
    bool isTree() const { return tree_ != nullptr; }

private:
    /// A kept point, and the one before it in its bucket or -1.
    struct Kept {
        MeshVertex point;
        int next;
    };
    /// A place that is looked for.
    struct Probe {
        BoundingBox box;
        std::uint32_t buckets[8];
        int numBuckets;  ///< 0 for a box that holds nothing
    };

    void weldFew(PointFlt const* places, int count, int* numbers);
    void prepare(PointFlt const& place, Probe& probe) const;
    void expectPoints(Probe const& probe) const;
    int search(Probe const& probe);
    void keep(PointFlt const& place);

    int& headOf(MeshVertex const& point);
    void growBuckets();
    void growTree();

    float tolerance_;
    double cellsPerUnit_;    ///< infinite: a cell is one place
    int shift_;              ///< of a hash, down to the number of a bucket
    ko::vector<int> heads_;  ///< by bucket, the latest point or -1
    ko::vector<Kept> points_;
    std::int64_t looksLeft_;  ///< before the tree takes over
    std::unique_ptr<KDTree> tree_;
    ko::vector<MeshVertex> treePoints_;
};

}  // namespace koGeom::detail
