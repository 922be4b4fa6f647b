#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/export.h"

namespace koGeom {

/// For each voxel of an octree the numbers of the triangles that touch it, one set a voxel,
/// contiguous. Filled by computeOctreeTris; valid with the one octree it was computed for. A voxel
/// of an empty table, and a number that is no voxel's, has no triangles.
class TRIMORA_API OctreeTris : public ko::ReferenceCount {
public:
    OctreeTris() = default;
    /// Takes the contents of the table, which is left empty.
    explicit OctreeTris(ArrayOfSets& sets) { sets_.swap(sets); }
    ~OctreeTris() override;

    void swap(OctreeTris& other) { sets_.swap(other.sets_); }

    int numTris(int voxel) const { return isVoxel(voxel) ? sets_.getSetSize(voxel) : 0; }
    /// First of the voxel's numTris triangle numbers, ascending; not to be read when there are
    /// none.
    int const* firstTri(int voxel) const { return isVoxel(voxel) ? sets_.getSet(voxel) : nullptr; }
    ArrayOfSets const& getData() const { return sets_; }

private:
    bool isVoxel(int voxel) const {
        return static_cast<unsigned>(voxel) < static_cast<unsigned>(sets_.getNumSets());
    }

    ArrayOfSets sets_;
};

/// For each voxel of an octree the numbers of the lines that touch it, one set a voxel, contiguous.
/// Filled by meshOctreeLines; else as OctreeTris.
class TRIMORA_API OctreeLines : public ko::ReferenceCount {
public:
    OctreeLines() = default;
    /// Takes the contents of the table, which is left empty.
    explicit OctreeLines(ArrayOfSets& sets) { sets_.swap(sets); }
    ~OctreeLines() override;

    void swap(OctreeLines& other) { sets_.swap(other.sets_); }

    int numLines(int voxel) const { return isVoxel(voxel) ? sets_.getSetSize(voxel) : 0; }
    /// First of the voxel's numLines line numbers, ascending; not to be read when there are none.
    int const* firstLine(int voxel) const { return isVoxel(voxel) ? sets_.getSet(voxel) : nullptr; }
    ArrayOfSets const& getData() const { return sets_; }

private:
    bool isVoxel(int voxel) const {
        return static_cast<unsigned>(voxel) < static_cast<unsigned>(sets_.getNumSets());
    }

    ArrayOfSets sets_;
};

}  // namespace koGeom
