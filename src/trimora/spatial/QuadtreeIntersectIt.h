#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Quadtree.h"
#include "trimora/export.h"

namespace koGeom {

/// The leaves of a quadtree whose boxes overlap or touch a box in x and y, in ascending order of
/// their numbers.
///
/// use         construct or reset; while valid: get, next. Not valid before the first reset
/// query       copied; the tree must outlive the walk, a reset may change it
class TRIMORA_API QuadtreeIntersectIt {
public:
    QuadtreeIntersectIt() = default;
    QuadtreeIntersectIt(Quadtree const& quadtree, BoundingBox const& query) {
        reset(quadtree, query);
    }

    void reset(Quadtree const& quadtree, BoundingBox const& query);
    bool valid() const { return !stack_.empty(); }
    QuadtreeIterator get() const { return stack_.back(); }
    void next();

private:
    void expandToLeaf();

    BoundingBox query_;
    ko::vector<QuadtreeIterator> stack_;
};

}  // namespace koGeom
