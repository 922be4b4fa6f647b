#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

class CompactMesh;
class MeshCache;
class MeshDihedralAnglesResult;
class MeshDuplicateTrisResult;
class MeshManifoldResult;

/// Runs the validation tests on one mesh, remembers which ran and which passed, and keeps what they
/// found.
///
/// tests      a mask of bits: 1 good triangles (no duplicate, no degenerate one), 2 manifold,
///            4 oriented, 8 not self-intersecting, 16 good angles, 32 topologically good triangles
///            (no duplicate, no repeated vertex number); 63 all
/// mesh       outlives this object, which does not watch it: after a change call reset with the
///            tests that it may have changed. The cache of tables follows changes by itself
/// results    stay until reset, destruction or the next run of their test
/// copies     share results and cache with the original
/// threads    one at a time; some tests run on the shared pool
class TRIMORA_API MeshCharacteristics : public ko::ReferenceCount {
public:
    /// With a cache of its own.
    explicit MeshCharacteristics(CompactMesh const& mesh);
    MeshCharacteristics(MeshCharacteristics const& other);
    MeshCharacteristics& operator=(MeshCharacteristics const&) = delete;
    ~MeshCharacteristics() override;

    /// Uses the given cache from now on, not owned.
    void setCache(MeshCache& cache);
    MeshCache& getCache() { return *cache_; }

    /// Runs those of the asked tests that have not run yet, and angles also when the threshold has
    /// changed.
    ///
    /// returns   the asked tests that passed
    int check(int tests);
    bool checkManifold() { return check(2) != 0; }
    bool checkOriented() { return check(4) != 0; }
    bool checkGoodTriangles() { return check(1) != 0; }
    /// After a failed checkGoodTriangles this fails too, whatever kind of triangle was found: test
    /// it first when both matter.
    bool checkTopoGoodTriangles() { return check(32) != 0; }
    bool checkNonIntersecting() { return check(8) != 0; }
    /// angleDegrees   greatest opening between two neighbours that counts as a fold; 15 unless
    ///                asked for
    bool checkGoodAngles(double angleDegrees);
    /// Looks for self-intersections in any case; true when there are none. Not to be cancelled.
    bool computeIntersection();

    /// Forgets tests, so that the next check runs them again. The angles' result goes with the
    /// triangle tests (1 or 32); 16 clears its bits alone.
    void reset(int tests);

    int getTestsPerformed() const { return testsPerformed_; }
    /// A bit means something only where the test was performed.
    int getTestsPassed() const { return testsPassed_; }

    /// These three exist only after their test has run.
    MeshManifoldResult const& getManifoldResult() const;
    MeshDuplicateTrisResult const& getDuplicateTrisResult() const;
    MeshDihedralAnglesResult const& getGoodAnglesResult() const;
    /// Both triangles of each cutting pair; empty until a test found some.
    BitVector const& getIntersectingTriangles() const { return intersectingTriangles_; }

    /// The counts need the result of their test, as above.
    int getNumNonManifoldVertices() const;
    int getNumNonManifoldEdges() const;
    /// Duplicated and degenerate triangles, each once.
    int getNumBadTriangles() const;
    /// Two for each folded edge.
    int getNumFoldedTriangles() const;

private:
    void testManifold();
    void testOriented();
    void testGoodTriangles();
    void testTopoGoodTriangles();
    void testNonIntersecting();
    void testGoodAngles();
    /// Stores a fresh result; true when nothing was found.
    bool findBadTriangles();

    bool isPerformed(int test) const { return (testsPerformed_ & test) != 0; }

    CompactMesh const& mesh_;
    std::shared_ptr<MeshCache> cache_;  // with a deleter that does nothing when it is not owned
    int testsPassed_ = 0;
    int testsPerformed_ = 0;
    double checkedGoodAngle_ = 15.0;  // of the last angle test, degrees
    double goodAngle_ = 15.0;         // asked for
    std::shared_ptr<MeshManifoldResult const> manifold_;
    std::shared_ptr<MeshDuplicateTrisResult const> duplicateTris_;
    std::shared_ptr<MeshDihedralAnglesResult const> angles_;
    BitVector intersectingTriangles_;
    mutable int numBadTriangles_ = -1;  // -1: not counted yet
};

}  // namespace koGeom
