#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace koGeom::detail {

/// Bulk construction of octrees (numAxes 3) and quadtrees (numAxes 2), which share all rules but the number of axes.
///
/// The points travel as records with their coordinates between two buffers: each split deals a node's range out to its
/// children, stably, so that the ranges end up in the order of the leaves and ascend within each. The calling thread splits
/// what is large; what is left are independent subtrees, built in any order into arrays of their own and then joined in
/// the order of the tree. What counts as large depends on the number of points alone, so threads cannot be seen.
template <int numAxes, class Node>
class PointTreeBuilder {
public:
    /// A count of 0 or less, or no array, is a tree without points.
    PointTreeBuilder(int count, float const* points, BoundingBox const& box, int capacity,
                     int depthLimit)
        : numPoints_(points != nullptr ? std::max(count, 0) : 0),
          capacity_(std::max(capacity, 1)),
          depthLimit_(depthLimit),
          rootBox_(numPoints_ > 0 ? padded(box) : BoundingBox()),
          sizeOfTask_(std::max(numPoints_ / 64, 4096)),
          codes_(static_cast<std::size_t>(numPoints_)),
          pointIndices_(static_cast<std::size_t>(numPoints_)) {
        for (std::vector<Record>& buffer : buffers_)
            buffer.resize(static_cast<std::size_t>(numPoints_));
        for (int i = 0; i < numPoints_; ++i) {
            Record& record = buffers_[0][static_cast<std::size_t>(i)];
            std::copy_n(points + 3 * static_cast<std::ptrdiff_t>(i), numAxes, record.position);
            record.point = i;
        }
    }

    void build(bool usePool) {
        if (numPoints_ == 0) {
            nodes_.resize(1);
            nodes_[0].voxelIndex = 0;
            return;
        }
        growTop();
        SubtreeAlg alg(*this);
        if (usePool && tasks_.size() > 1)
            koUtil::ThreadPool::get().run(alg);
        else
            alg.executeTasks(0, static_cast<int>(tasks_.size()));
        join();
    }

    /// Hands what was built over to a tree, whose private parts come along.
    template <class Tree>
    void handOver(Tree& tree, BoundingBox& rootBox, ko::vector<Node>& nodes) {
        rootBox = rootBox_;
        nodes.swap(nodes_);
        tree.pointIndices.swap(pointIndices_);
        tree.numVoxels = numVoxels_;
        tree.maxDepth = depth_;
    }

private:
    static constexpr int numChildren = 1 << numAxes;

    struct Record {
        float position[numAxes];
        int point;
    };
    struct Range {
        float lower[numAxes];
        float upper[numAxes];
        int begin;
        int end;
        int depth;
        int buffer;  ///< which of the two holds the records
    };
    struct Task {
        Range range;
        int node;  ///< its root among the nodes of the top
        ko::vector<Node> nodes;
        int numVoxels = 0;
        int depth = 0;
    };

    class SubtreeAlg final : public koUtil::ThreadedChunkAlg {
    public:
        explicit SubtreeAlg(PointTreeBuilder& builder) : builder_(builder) {}
        void executeChunk(int chunkIndex, int /*threadIndex*/) override {
            int const numTasks = static_cast<int>(builder_.tasks_.size());
            executeTasks(getBeginIndex(chunkIndex, numChunks, numTasks),
                         getBeginIndex(chunkIndex + 1, numChunks, numTasks));
        }
        void executeTasks(int begin, int end) {
            for (int i = begin; i < end; ++i)
                builder_.growTask(builder_.tasks_[static_cast<std::size_t>(i)]);
        }

    private:
        PointTreeBuilder&
            builder_;  ///< each task writes its own nodes and its own range of the buffers
    };

    static BoundingBox padded(BoundingBox box) {
        for (int axis = 0; axis < 3; ++axis)
            if (box.bounds[axis] == box.bounds[axis + 3])
                box.bounds[axis + 3] =
                    std::nextafter(box.bounds[axis + 3], std::numeric_limits<float>::infinity());
        return box;
    }

    Range wholeRange() const {
        Range range;
        for (int axis = 0; axis < numAxes; ++axis) {
            range.lower[axis] = rootBox_.bounds[axis];
            range.upper[axis] = rootBox_.bounds[axis + 3];
        }
        range.begin = 0;
        range.end = numPoints_;
        range.depth = 1;
        range.buffer = 0;
        return range;
    }

    Record const* recordsOf(Range const& range) const {
        return buffers_[static_cast<std::size_t>(range.buffer)].data();
    }

    bool coincide(Range const& range) const {
        Record const* const records = recordsOf(range);
        for (int i = range.begin + 1; i < range.end; ++i)
            for (int axis = 0; axis < numAxes; ++axis)
                if (records[i].position[axis] != records[range.begin].position[axis])
                    return false;
        return true;
    }

    static bool separates(Range const& range) {
        for (int axis = 0; axis < numAxes; ++axis)
            if (octreeCut(range.lower[axis], range.upper[axis]) != range.upper[axis])
                return true;
        return false;
    }

    bool staysLeaf(Range const& range) const {
        return range.end - range.begin <= capacity_ || range.depth >= depthLimit_ ||
               !separates(range) || coincide(range);
    }

    /// Deals the records of a range out to its children in the other buffer, each child's in their old order.
    std::array<Range, numChildren> deal(Range const& range) {
        float cut[numAxes];
        for (int axis = 0; axis < numAxes; ++axis)
            cut[axis] = octreeCut(range.lower[axis], range.upper[axis]);

        Record const* const from = recordsOf(range);
        int counts[numChildren] = {};
        for (int i = range.begin; i < range.end; ++i) {
            unsigned code = 0;
            for (int axis = 0; axis < numAxes; ++axis)
                code |= static_cast<unsigned>(from[i].position[axis] > cut[axis]) << axis;
            codes_[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(code);
            ++counts[code];
        }

        std::array<Range, numChildren> children;
        int next[numChildren];
        int begin = range.begin;
        for (int child = 0; child < numChildren; ++child) {
            Range& part = children[static_cast<std::size_t>(child)];
            for (int axis = 0; axis < numAxes; ++axis) {
                bool const isUpper = (child >> axis & 1) != 0;
                part.lower[axis] = isUpper ? cut[axis] : range.lower[axis];
                part.upper[axis] = isUpper ? range.upper[axis] : cut[axis];
            }
            part.begin = next[child] = begin;
            part.end = begin += counts[child];
            part.depth = range.depth + 1;
            part.buffer = 1 - range.buffer;
        }

        Record* const to = buffers_[static_cast<std::size_t>(1 - range.buffer)].data();
        for (int i = range.begin; i < range.end; ++i)
            to[next[codes_[static_cast<std::size_t>(i)]]++] = from[i];
        return children;
    }

    /// Appends a block of children to `nodes`, its own points told to `node`; returns the number of the first child.
    static int appendChildren(ko::vector<Node>& nodes, std::ptrdiff_t node) {
        int const first = static_cast<int>(nodes.size());
        nodes.resize(nodes.size() + numChildren);
        if (node >= 0)
            makeInner(nodes[static_cast<std::size_t>(node)], first - static_cast<int>(node));
        return first;
    }

    static void makeInner(Node& node, int childOffset) {
        node.isLeaf = 0;
        node.voxelIndex = -1;
        node.childOffset = childOffset;
    }

    void makeLeaf(Node& node, Range const& range, int voxel) {
        node.voxelIndex = voxel;
        Record const* const records = recordsOf(range);
        for (int i = range.begin; i < range.end; ++i)
            pointIndices_[static_cast<std::size_t>(i)] = records[i].point;
    }

    /// The nodes of large ranges, breadth first; small ranges become tasks.
    void growTop() {
        nodes_.resize(1);
        std::vector<std::pair<Range, int>> open{{wholeRange(), 0}};
        for (std::size_t i = 0; i < open.size(); ++i) {
            auto const [range, node] = open[i];
            nodes_[static_cast<std::size_t>(node)].firstPoint = range.begin;
            nodes_[static_cast<std::size_t>(node)].endPoint = range.end;
            if (range.end - range.begin <= sizeOfTask_ || staysLeaf(range)) {
                tasks_.push_back({range, node, {}, 0, 0});
                continue;
            }
            int const first = appendChildren(nodes_, node);
            std::array<Range, numChildren> const children = deal(range);
            for (int child = 0; child < numChildren; ++child)
                open.emplace_back(children[static_cast<std::size_t>(child)], first + child);
        }
    }

    void growTask(Task& task) {
        Range const& range = task.range;
        task.depth = range.depth;
        if (staysLeaf(range)) {
            Node alone;
            makeLeaf(alone, range, 0);
            task.numVoxels = 1;
        } else {
            growChildren(task, range, -1);
        }
    }

    /// Splits a range whose node is number `node` of the task, -1 for the task's root, and all below it.
    void growChildren(Task& task, Range const& range, std::ptrdiff_t node) {
        int const first = appendChildren(task.nodes, node);
        task.depth = std::max(task.depth, range.depth + 1);
        std::array<Range, numChildren> const children = deal(range);
        for (int child = 0; child < numChildren; ++child) {
            Range const& part = children[static_cast<std::size_t>(child)];
            Node& record = task.nodes[static_cast<std::size_t>(first + child)];
            record.firstPoint = part.begin;
            record.endPoint = part.end;
            if (staysLeaf(part))
                makeLeaf(record, part, task.numVoxels++);
            else
                growChildren(task, part, first + child);
        }
    }

    /// Appends the tasks' nodes to the top in the order of the tree and gives the leaves their final numbers.
    void join() {
        std::vector<Task*> taskOfNode(nodes_.size(), nullptr);
        for (Task& task : tasks_)
            taskOfNode[static_cast<std::size_t>(task.node)] = &task;
        std::size_t numNodes = nodes_.size();
        for (Task const& task : tasks_)
            numNodes += task.nodes.size();
        nodes_.reserve(numNodes);

        std::vector<int> open{0};
        while (!open.empty()) {
            int const node = open.back();
            open.pop_back();
            if (Task const* task = taskOfNode[static_cast<std::size_t>(node)]) {
                append(*task);
                continue;
            }
            int const first = node + nodes_[static_cast<std::size_t>(node)].childOffset;
            for (int child = numChildren - 1; child >= 0; --child)
                open.push_back(first + child);
        }
    }

    void append(Task const& task) {
        Node& root = nodes_[static_cast<std::size_t>(task.node)];
        if (task.nodes.empty())
            root.voxelIndex = numVoxels_;
        else
            makeInner(root, static_cast<int>(nodes_.size()) - task.node);
        for (Node node : task.nodes) {
            if (node.isLeaf != 0)
                node.voxelIndex += numVoxels_;
            nodes_.push_back(node);
        }
        numVoxels_ += task.numVoxels;
        depth_ = std::max(depth_, task.depth);
    }

    int const numPoints_;
    int const capacity_;
    int const depthLimit_;
    BoundingBox const rootBox_;
    int const sizeOfTask_;  ///< ranges above it are split on the calling thread

    std::vector<Record> buffers_[2];
    std::vector<std::uint8_t> codes_;  ///< child of each record in the split under way
    std::vector<Task> tasks_;

    ko::vector<Node> nodes_;
    ko::vector<int> pointIndices_;
    int numVoxels_ = 0;
    int depth_ = 1;
};

}  // namespace koGeom::detail
