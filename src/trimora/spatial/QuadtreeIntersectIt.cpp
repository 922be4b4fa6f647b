#include "trimora/spatial/QuadtreeIntersectIt.h"

namespace koGeom {

void QuadtreeIntersectIt::reset(Quadtree const& quadtree, BoundingBox const& query) {
    query_ = query;
    stack_.clear();
    stack_.reserve(static_cast<std::size_t>(4 * quadtree.maxDepth));
    QuadtreeIterator const root = quadtree.getRoot();
    if (query_.intersects2D(root.box))
        stack_.push_back(root);
    expandToLeaf();
}

void QuadtreeIntersectIt::next() {
    if (!valid())
        return;
    stack_.pop_back();
    expandToLeaf();
}

void QuadtreeIntersectIt::expandToLeaf() {
    while (valid() && stack_.back().node->isLeaf == 0) {
        QuadtreeIterator const node = stack_.back();
        stack_.pop_back();
        for (int index = 3; index >= 0; --index) {  // the lowest ends on top
            QuadtreeIterator child = node;
            child.descend(index);
            if (query_.intersects2D(child.box))
                stack_.push_back(child);
        }
    }
}

}  // namespace koGeom
