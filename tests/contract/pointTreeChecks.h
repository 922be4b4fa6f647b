#pragma once

#include "support/builders.h"

#include "trimora/contract/koGeom/BoundingBox.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

/// Clouds and an independent checker for trees over points: octrees (3 axes) and quadtrees (2).
namespace pointTrees {

using koGeom::BoundingBox;
using Cloud = std::vector<float>;  // x y z ...

struct NamedCloud {
    std::string name;
    Cloud points;
};

inline int numPointsOf(Cloud const& cloud) {
    return static_cast<int>(cloud.size() / 3);
}

inline BoundingBox boxOf(Cloud const& cloud) {
    BoundingBox box;
    for (std::size_t i = 0; i < cloud.size(); i += 3)
        if (std::isfinite(cloud[i]) && std::isfinite(cloud[i + 1]) && std::isfinite(cloud[i + 2]))
            box.extend(koGeom::PointFlt(cloud[i], cloud[i + 1], cloud[i + 2]));
    return box;
}

template <class Coordinate>
Cloud cloudOf(int numPoints, Coordinate coordinate) {
    Cloud cloud;
    for (int i = 0; i < numPoints; ++i)
        for (int axis = 0; axis < 3; ++axis)
            cloud.push_back(coordinate(i, axis));
    return cloud;
}

/// Clouds that are round, flat, straight, heaped, tiny, huge and broken.
inline std::vector<NamedCloud> clouds(int n, std::uint64_t seed) {
    support::Random random(seed);
    auto real = [&random](double low, double high) {
        return static_cast<float>(random.real(low, high));
    };
    float const infinity = std::numeric_limits<float>::infinity();
    float const broken[] = {0.0f, 1.0f, -1.0f, infinity, -infinity, std::nanf(""), 3e38f, -3e38f};

    std::vector<NamedCloud> all;
    all.push_back({"filled", cloudOf(n, [&](int, int) { return real(-1.0, 1.0); })});
    all.push_back(
        {"flat", cloudOf(n, [&](int, int axis) { return axis == 1 ? 5.0f : real(0, 1); })});
    all.push_back(
        {"straight, sorted", cloudOf(n, [&](int i, int) { return static_cast<float>(i); })});
    all.push_back({"coincident", cloudOf(n, [&](int, int) { return 0.1f; })});
    all.push_back(
        {"lattice", cloudOf(n, [&](int, int) { return static_cast<float>(random.index(5)); })});
    all.push_back({"two heaps",
                   cloudOf(n, [&](int i, int) { return i % 2 == 0 ? 0.0f : 1e-6f * real(1, 2); })});
    all.push_back({"tiny", cloudOf(n, [&](int, int) { return 1e-30f * real(-1, 1); })});
    all.push_back({"subnormal", cloudOf(n, [&](int, int) { return 1e-44f * real(0, 9); })});
    all.push_back({"huge", cloudOf(n, [&](int, int) { return 1e30f * real(-1, 1); })});
    all.push_back({"neighbouring floats", cloudOf(n, [&](int, int) {
                       return 1e6f + 0.0625f * static_cast<float>(random.index(7));
                   })});
    all.push_back(
        {"one far away", cloudOf(n, [&](int i, int) { return i == n / 2 ? 1e20f : real(0, 1); })});
    all.push_back({"not finite", cloudOf(n, [&](int, int) {
                       return random.index(3) == 0 ? broken[random.index(8)] : real(0, 1);
                   })});
    all.push_back({"nothing but NaN", cloudOf(n, [&](int, int) { return std::nanf(""); })});
    return all;
}

/// Walks a tree by `descend` and says what is wrong first; empty when all is right.
template <int numAxes, class Tree>
class Checker {
public:
    Checker(Tree const& tree, Cloud const& cloud, int capacity)
        : tree_(tree), cloud_(cloud), capacity_(capacity) {}

    std::string fault() {
        visit(tree_.getRoot(), 1);
        if (fault_.empty() && nextVoxel_ != tree_.numVoxels)
            fault_ = "numVoxels is not the number of leaves";
        if (fault_.empty() && depth_ != tree_.maxDepth)
            fault_ = "maxDepth is not the number of levels";
        std::vector<int> sorted(tree_.pointIndices.begin(), tree_.pointIndices.end());
        std::sort(sorted.begin(), sorted.end());
        for (int i = 0; i < numPointsOf(cloud_); ++i)
            if (fault_.empty() && (static_cast<int>(sorted.size()) != numPointsOf(cloud_) ||
                                   sorted[static_cast<std::size_t>(i)] != i))
                fault_ = "pointIndices is no permutation";
        return fault_;
    }

private:
    template <class Iterator>
    void visit(Iterator const& place, int depth) {
        auto const& node = *place.node;
        depth_ = std::max(depth_, depth);
        expect(node.firstPoint == nextPoint_, "points do not follow each other");
        expect(depth <= Tree::depthLimit, "deeper than the limit");
        if (!fault_.empty())
            return;
        if (node.isLeaf != 0) {
            visitLeaf(place, depth);
            return;
        }
        expect(node.endPoint - node.firstPoint > capacity_, "split without need");
        expect(node.voxelIndex == -1, "an inner node has a voxel");
        for (int child = 0; child < 1 << numAxes; ++child) {
            Iterator below = place;
            expect(below.descend(child), "a child is missing");
            if (!fault_.empty())
                return;
            checkBox(place.box, below.box, child);
            visit(below, depth + 1);
        }
        expect(nextPoint_ == node.endPoint, "a node does not hold its children's points");
    }

    /// Children share the cut; nothing is lost and nothing overlaps but faces.
    void checkBox(BoundingBox const& parent, BoundingBox const& box, int child) {
        for (int axis = 0; axis < 3; ++axis) {
            float const low = parent.min(axis);
            float const high = parent.max(axis);
            float cut =
                static_cast<float>((static_cast<double>(low) + static_cast<double>(high)) / 2);
            if (!(low < cut && cut < high))
                cut = high;
            bool const upper = axis < numAxes && (child >> axis & 1) != 0;
            bool const whole = axis >= numAxes;
            expect(same(box.min(axis), upper ? cut : low), "a lower bound is wrong");
            expect(same(box.max(axis), upper || whole ? high : cut), "an upper bound is wrong");
        }
    }

    template <class Iterator>
    void visitLeaf(Iterator const& place, int depth) {
        auto const& node = *place.node;
        expect(node.voxelIndex == nextVoxel_++, "voxels are not numbered depth first");
        for (int child = -1; child <= 1 << numAxes; ++child) {
            Iterator below = place;
            expect(!below.descend(child) && below.node == place.node, "a leaf has children");
        }
        for (int k = node.firstPoint; k < node.endPoint; ++k) {
            int const point = tree_.pointIndices[static_cast<std::size_t>(k)];
            expect(k == node.firstPoint ||
                       tree_.pointIndices[static_cast<std::size_t>(k - 1)] < point,
                   "points of a leaf do not ascend");
            expect(holds(place.box, point), "a point lies outside its voxel");
        }
        nextPoint_ = node.endPoint;
        if (node.endPoint - node.firstPoint > capacity_)
            expect(depth == Tree::depthLimit || coincide(node) || !separates(place.box),
                   "a full leaf is not split");
    }

    float const* position(int point) const {
        return cloud_.data() + 3 * static_cast<std::ptrdiff_t>(point);
    }

    bool holds(BoundingBox const& box, int point) const {
        BoundingBox const root = tree_.getRoot().box;
        for (int axis = 0; axis < numAxes; ++axis) {
            float const x = position(point)[axis];
            bool const inTree = root.min(axis) <= x && x <= root.max(axis);
            if (inTree && !(box.min(axis) <= x && x <= box.max(axis)))
                return false;
        }
        return true;
    }
    template <class Node>
    bool coincide(Node const& node) const {
        float const* const first =
            position(tree_.pointIndices[static_cast<std::size_t>(node.firstPoint)]);
        for (int k = node.firstPoint; k < node.endPoint; ++k)
            if (!std::equal(first, first + numAxes,
                            position(tree_.pointIndices[static_cast<std::size_t>(k)])))
                return false;
        return true;
    }
    static bool separates(BoundingBox const& box) {
        for (int axis = 0; axis < numAxes; ++axis) {
            double const low = static_cast<double>(box.min(axis));
            double const high = static_cast<double>(box.max(axis));
            float const middle = static_cast<float>((low + high) / 2);
            if (box.min(axis) < middle && middle < box.max(axis))
                return true;
        }
        return false;
    }
    static bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }
    void expect(bool right, char const* fault) {
        if (!right && fault_.empty())
            fault_ = fault;
    }

    Tree const& tree_;
    Cloud const& cloud_;
    int const capacity_;
    std::string fault_;
    int nextPoint_ = 0;
    int nextVoxel_ = 0;
    int depth_ = 0;
};

template <int numAxes, class Tree>
std::string faultOf(Tree const& tree, Cloud const& cloud, int capacity) {
    return Checker<numAxes, Tree>(tree, cloud, capacity).fault();
}

/// All nodes of a tree in depth-first order, as numbers that two equal trees share.
template <class Iterator>
void listNodes(Iterator const& place, std::vector<int>& list) {
    list.insert(list.end(), {place.node->isLeaf, place.node->firstPoint, place.node->endPoint,
                             place.node->voxelIndex});
    Iterator below = place;
    for (int child = 0; below.descend(child); below = place, ++child)
        listNodes(below, list);
}

template <class Tree>
std::vector<int> shapeOf(Tree const& tree) {
    std::vector<int> shape(tree.pointIndices.begin(), tree.pointIndices.end());
    shape.insert(shape.end(), {tree.numVoxels, tree.maxDepth});
    listNodes(tree.getRoot(), shape);
    return shape;
}

}  // namespace pointTrees
