#include "trimora/stitch/MeshLineProximity.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/stitch/detail/CloseLineFinder.h"

#include <algorithm>
#include <limits>
#include <new>
#include <vector>

// Each end of a line asks the voxels around it for lines. What was found is queued, one entry after
// the other, and becomes the table when all counts are known.

namespace koGeom {

namespace {

/// For some vertices, in any order: the vertex, a count, and that many lines.
class CloseLineQueue {
public:
    void begin(int vertex) {
        entries_.push_back(vertex);
        count_ = entries_.size();
        entries_.push_back(0);
    }
    void add(int line) {
        entries_.push_back(line);
        ++entries_[count_];
        ++numLines_;
    }

    ArrayOfSets table(int numVertices) const {
        if (numLines_ > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            throw std::bad_alloc();
        ArrayOfSets table(numVertices, static_cast<int>(numLines_));
        int* const starts = table.starts.data();
        forEachEntry([starts](int vertex, int count, int const*) { starts[vertex] = count; });
        int next = 0;
        for (int vertex = 0; vertex < numVertices; ++vertex) {
            int const count = starts[vertex];
            starts[vertex] = next;
            next += count;
        }
        int* const items = table.items.data();
        forEachEntry([starts, items](int vertex, int count, int const* lines) {
            std::copy_n(lines, count, items + starts[vertex]);
        });
        return table;
    }

private:
    template <class Visit>
    void forEachEntry(Visit const& visit) const {
        for (std::size_t i = 0; i < entries_.size();) {
            int const count = entries_[i + 1];
            visit(entries_[i], count, entries_.data() + i + 2);
            i += 2 + static_cast<std::size_t>(count);
        }
    }

    std::vector<int> entries_;
    std::size_t count_ = 0;  ///< where the count of the entry in hand stands
    std::size_t numLines_ = 0;
};

}  // namespace

MeshLineProximity::MeshLineProximity(CompactMesh const& mesh, Octree const& octree,
                                     OctreeLines const& octreeLines)
    : mesh_(mesh), octree_(octree), octreeLines_(octreeLines) {}

void MeshLineProximity::compute(double distance) {
    CloseLineQueue queue;
    if (distance > 0.0) {
        detail::CloseLineFinder finder(mesh_, octree_, octreeLines_, distance);
        BitVector done(mesh_.getNumVertices());
        MeshLine const* const lines = mesh_.getLines();
        for (int line = 0; line < mesh_.getNumLines(); ++line)
            for (int const vertex : lines[line].vertices) {
                if (done.isBitSet(vertex) != 0)
                    continue;
                done.setBit(vertex);
                queue.begin(vertex);
                finder.find(vertex, [&queue](int close) { queue.add(close); });
            }
    }
    ArrayOfSets table = queue.table(mesh_.getNumVertices());
    closeLines_.swap(table);
}

bool MeshLineProximity::checkClose(int stripA, int stripB) const {
    MeshSequence const& strips = mesh_.lineStrips;
    auto const isStrip = [&strips](int strip) { return strip >= 0 && strip < strips.getNumRuns(); };
    if (!isStrip(stripA) || !isStrip(stripB))
        return false;

    BitVector onA(mesh_.getNumVertices());
    onA.setBits(strips.getLength(stripA), strips.getStarts()[stripA]);
    MeshLine const* const lines = mesh_.getLines();
    auto const isCloseToA = [&](int vertex) {
        int const* const close = lineIndices(vertex);
        return std::any_of(close, close + numLines(vertex),
                           [&](int line) { return onA.isBitSet(lines[line][0]) != 0; });
    };
    int const* const pointsOfB = strips.getStarts()[stripB];
    return std::all_of(pointsOfB, pointsOfB + strips.getLength(stripB), isCloseToA);
}

}  // namespace koGeom
