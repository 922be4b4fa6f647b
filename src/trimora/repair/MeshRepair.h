#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/export.h"
#include "trimora/repair/MeshCharacteristics.h"

namespace koGeom {

class CompactMesh;

/// Brings a mesh as far as it can to a clean state: no duplicate or degenerate triangle, manifold,
/// consistently wound and, when asked for, free of self-intersections and folds.
///
/// It removes triangles, splits vertices and turns triangles; it fills no hole and moves no vertex.
/// One repair is one fix, for the first of these tests that fails:
///
///   1 good triangles   the bad ones go
///   2 manifold         surplus triangles of edges go, or vertices with several fans are split
///   3 oriented         triangles are turned; what resists is one-sided and is deleted by the next
///                      fix, unless it is the whole mesh
///   4 intersections    all intersecting triangles go      (off at the start)
///   5 good angles      all triangles on folded edges go   (off at the start)
///
/// mesh       edited in place, outlives this object; each fix sends its own Topology modification
/// copies     share the characteristics
/// threads    one at a time; some tests run on the shared pool
class TRIMORA_API MeshRepair {
public:
    explicit MeshRepair(CompactMesh& mesh);
    MeshRepair(MeshRepair const& other);
    MeshRepair& operator=(MeshRepair const&) = delete;
    ~MeshRepair();

    /// Greatest opening, in degrees, that counts as a fold: pi / 2 of a degree unless set.
    void setMinGoodAngle(double degrees) { minGoodAngle_ = degrees; }
    /// Turning a test off forgets that it ran.
    void checkGoodAngles(bool enable);
    void checkSelfIntersection(bool enable);

    ko::Reference<MeshCharacteristics> getCharacteristics() { return characteristics_; }
    /// Shares an object over the same mesh, for instance one with a cache of its own; not null.
    void setCharacteristics(ko::Reference<MeshCharacteristics> characteristics);

    /// Whether an enabled test fails.
    bool needsRepair();
    /// The same, but false when what fails first is an orientation that was tried and cannot be
    /// had.
    bool canRepair();
    /// Makes one fix and forgets all tests; false when there was nothing to fix, or nothing that
    /// can be.
    bool repair();
    bool repairOnce();
    /// Repairs until canRepair is false.
    ///
    /// fullyRepaired   out unless null: no enabled test fails any more
    /// returns         whether anything was changed
    bool repairAll(bool* fullyRepaired);

    /// Orientation was tried and the mesh is still not oriented: some part of it is one-sided.
    bool hasMobiusStrip();
    /// The triangles that hold the twist are known and are not the whole mesh.
    bool isMobiusStripRemovable() const;
    /// Selects these triangles and their vertices and nothing else: after repairAll, what stopped
    /// it.
    void selectMobiusStrip();

private:
    enum class Fix { None, GoodTriangles, Manifold, Orientation, Intersections, Angles };

    Fix firstFailure();
    void removeBadTriangles();
    void makeManifold();
    void orient();
    void deleteMobiusStrip();
    void deleteIntersectingTriangles();
    void deleteFoldedTriangles();

    CompactMesh& mesh_;
    ko::Reference<MeshCharacteristics> characteristics_;
    bool checkAngles_ = false;
    // Half pi read as degrees, some 1.57: deliberately not the 15 of MeshCharacteristics.
    double minGoodAngle_ = 1.5707963267948966;
    bool checkIntersection_ = false;
    bool mobiusPending_ = false;  // an orientation was tried
    BitVector mobiusTriangles_;   // to delete for a one-sided part
};

}  // namespace koGeom
