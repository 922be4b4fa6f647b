#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Array.h"
#include "trimora/export.h"

#include <cstdint>

namespace koGeom {

/// A list of indices cut into runs: boundary loops, line strips, polygons, triangle strips and
/// fans.
///
/// `starts` and `offsets` follow from the other two and are filled on the first request for them,
/// also of a const sequence: not safe against a concurrent first request, so ask once before
/// threads start. Who changes `points` or `lengths` directly calls dropLazyParts(). The lengths of
/// a valid sequence sum up to the number of points.
template <class T>
class MeshSequenceBase {
public:
    Array<T> points;                 // all runs, one after the other
    Array<int> lengths;              // points of each run
    mutable Array<T const*> starts;  // each run's first point, in `points`
    mutable Array<int> offsets;      // the same as an offset into `points`

    MeshSequenceBase() = default;
    MeshSequenceBase(MeshSequenceBase const& other)
        : points(other.points), lengths(other.lengths) {}
    MeshSequenceBase(MeshSequenceBase&& other) { swap(other); }
    MeshSequenceBase& operator=(MeshSequenceBase const& other) {
        dropLazyParts();
        points = other.points;
        lengths = other.lengths;
        return *this;
    }
    MeshSequenceBase& operator=(MeshSequenceBase&& other) {
        swap(other);
        return *this;
    }
    virtual ~MeshSequenceBase() = default;

    int getNumRuns() const { return lengths.size(); }
    int getNumPoints() const { return points.size(); }
    int getLength(int run) const { return lengths[run]; }

    /// One pointer a run; null when there is no run.
    T const* const* getStarts() const {
        if (starts.size() != lengths.size())
            fillStarts();
        return starts.data();
    }
    /// One offset a run; null when there is no run.
    int const* getOffsets() const {
        if (offsets.size() != lengths.size())
            fillOffsets();
        return offsets.data();
    }

    /// Resizes both arrays; the leading entries stay, those beyond are 0.
    void resize(int numPoints, int numRuns) {
        dropLazyParts();
        points.setSizeZeroed(numPoints);
        lengths.setSizeZeroed(numRuns);
    }
    void clear() { resize(0, 0); }
    void dropLazyParts() const {
        starts.setSize(0);
        offsets.setSize(0);
    }

    /// Exchanges the contents; the arrays keep their allocators.
    void swap(MeshSequenceBase& other) {
        dropLazyParts();
        other.dropLazyParts();
        points.swap(other.points);
        lengths.swap(other.lengths);
    }
    void setAllocator(ko::Reference<ArrayAllocator> const& allocator) {
        dropLazyParts();
        points.setAllocator(allocator);
        lengths.setAllocator(allocator);
        starts.setAllocator(allocator);
        offsets.setAllocator(allocator);
    }
    std::size_t getSizeInBytes() const {
        return sizeof(T) * static_cast<std::size_t>(points.size()) +
               sizeof(int) * static_cast<std::size_t>(lengths.size() + offsets.size()) +
               sizeof(T const*) * static_cast<std::size_t>(starts.size());
    }

private:
    void fillStarts() const {
        T const* next = points.data();
        starts.setSize(lengths.size());
        T const** start = starts.data();
        for (int const length : lengths) {
            *start++ = next;
            next += length;
        }
    }
    void fillOffsets() const {
        int next = 0;
        offsets.setSize(lengths.size());
        int* offset = offsets.data();
        for (int const length : lengths) {
            *offset++ = next;
            next += length;
        }
    }
};

/// Runs of 32-bit vertex indices.
class TRIMORA_API MeshSequence : public MeshSequenceBase<int> {
public:
    MeshSequence();
    /// One run a list, in order.
    explicit MeshSequence(ko::vector<ko::vector<int>> const& runs);
    MeshSequence(MeshSequence const& other);
    MeshSequence(MeshSequence&& other);
    MeshSequence& operator=(MeshSequence const& other);
    MeshSequence& operator=(MeshSequence&& other);
    ~MeshSequence() override;
};

/// Runs of 16-bit vertex indices, for drawing; lengths and offsets are 32-bit.
class TRIMORA_API MeshSequenceShort : public MeshSequenceBase<std::uint16_t> {
public:
    MeshSequenceShort();
    MeshSequenceShort(MeshSequenceShort const& other);
    MeshSequenceShort(MeshSequenceShort&& other);
    MeshSequenceShort& operator=(MeshSequenceShort const& other);
    MeshSequenceShort& operator=(MeshSequenceShort&& other);
    ~MeshSequenceShort() override;
};

}  // namespace koGeom
