#include "trimora/repair/meshHoleFill.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/detail/callerContract.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/repair/detail/HolePatch.h"
#include "trimora/topology/MeshModifyRep.h"

#include <cassert>
#include <cstdint>

/// The driver. All holes are filled in one half-edge mesh of their surroundings, which goes back into the arrays at the end;
/// until then nothing is written there, so that a cancel has nothing to undo. The stages of a hole stand in
/// meshHoleFill_ring.cpp (rim and triangulation), meshHoleFill_refine.cpp and meshHoleFill_fair.cpp.
namespace koGeom {

namespace {

using namespace detail;

/// How the progress of a hole is shared out.
struct Shares {
    double triangulation;
    double refinement;
};

Shares sharesOf(HoleQuality quality) {
    switch (quality) {
    case HoleQualityFlat:
        return {1.0, 0.0};
    case HoleQualityRefined:
        return {0.95, 0.05};
    default:
        return {0.85, 0.15};
    }
}

/// The triangles and vertices around the holes.
struct Surroundings {
    BitVector triangles;
    BitVector vertices;
    std::int64_t totalLength = 0;

    Surroundings(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                 MeshBoundaries const& boundaries, ko::list<int> const& holes);
};

bool isBoundary(int hole, MeshBoundaries const& boundaries) {
    return hole >= 0 && hole < boundaries.size();
}

Surroundings::Surroundings(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                           MeshBoundaries const& boundaries, ko::list<int> const& holes)
    : triangles(mesh.getNumTriangles()), vertices(mesh.getNumVertices()) {
    for (int const hole : holes) {
        if (!isBoundary(hole, boundaries))
            continue;
        vertices.setBits(boundaries.getLength(hole), boundaries.getStart(hole));
        totalLength += boundaries.getLength(hole);
    }
    MeshSelect select(mesh, adjTris, triangles, vertices);
    select.selectTrianglesFromVertices(2);
    select.selectTrianglesRecursive(true);
    select.selectTrianglesRecursive(true);
    select.selectVerticesFromTriangles();
}

/// Fills holes, one at a time.
class HoleFiller {
public:
    HoleFiller(HoleRegion& region, MeshBoundaries const& boundaries, HoleQuality quality,
               koUtil::Progress& progress)
        : region_(region), boundaries_(boundaries), quality_(quality), progress_(progress) {}

    /// False when the hole is refused; what it returns after a cancel says nothing.
    bool fill(int hole, koUtil::Progress& holeProgress);

private:
    HoleRegion& region_;
    MeshBoundaries const& boundaries_;
    HoleQuality const quality_;
    koUtil::Progress& progress_;

    HolePatch patch_;
    ko::vector<Point> polygon_;
    BitVector forbidden_;
    ko::vector<int> triangles_;
};

bool HoleFiller::fill(int hole, koUtil::Progress& holeProgress) {
    if (!isBoundary(hole, boundaries_))
        return false;
    patch_ = HolePatch();
    patch_.ring.assign(boundaries_.getStart(hole), boundaries_.getEnd(hole));
    if (!prepareRing(region_, patch_.ring) || hasRimInTheWay(region_, patch_.ring))
        return false;

    polygon_.clear();
    for (int const vertex : patch_.ring)
        polygon_.push_back(region_.mesh.getVertices()[vertex].asPoint());
    forbidInnerEdges(region_, patch_.ring, forbidden_);

    koUtil::Progress triangulation;
    holeProgress.subPhase(sharesOf(quality_).triangulation, triangulation);
    triangulatePolygon(polygon_, triangles_, &forbidden_, &triangulation);
    if (progress_.cancelled() || hasEdgesInTheWay(region_, patch_.ring, triangles_))
        return false;
    buildPatch(region_, patch_, triangles_);
    triangulation.set(1.0);

    if (quality_ != HoleQualityFlat && !progress_.cancelled()) {
        koUtil::Progress refinement;
        holeProgress.subPhase(sharesOf(quality_).refinement, refinement);
        refinePatch(region_, patch_, refinement);
        if (quality_ != HoleQualityRefined && !progress_.cancelled())
            fairPatch(region_, patch_, refinement);
    }
    return true;
}

}  // namespace

int meshHoleFill(CompactMesh& mesh, MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices,
                 MeshBoundaries const& boundaries, ko::list<int> const& holes, HoleQuality quality,
                 koUtil::Progress& progress) {
    assert(detail::isTableOf(adjTris, mesh) && detail::isTableOf(adjVertices, mesh));
    assert(detail::areBoundariesOf(boundaries, mesh));
    Surroundings const surroundings(mesh, adjTris, boundaries, holes);
    MeshModifyRep rep(mesh, surroundings.triangles, surroundings.vertices, adjTris);
    HoleRegion region(mesh, adjVertices, rep, rep.extract());
    HoleFiller filler(region, boundaries, quality, progress);

    int const numHoles = static_cast<int>(holes.size());
    int holeNumber = 0;
    int numFilled = 0;
    koString::CString caption;
    for (int const hole : holes) {
        // Every hole gets the same share, whatever its length: a long one may leave the bar standing for a while, but it
        // never runs backwards or ends before the work does.
        koUtil::Progress holeProgress;
        progress.subPhase(1.0 / static_cast<double>(surroundings.totalLength), holeProgress);
        progress.setCaption(
            caption.format("Filling hole %d of %d", ++holeNumber, numHoles).asChar());

        bool const isFilled = filler.fill(hole, holeProgress);
        if (progress.cancelled())
            return 0;
        numFilled += isFilled;
    }
    if (numFilled > 0)
        rep.merge();
    return numFilled;
}

}  // namespace koGeom
