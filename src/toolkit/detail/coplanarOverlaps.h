#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <optional>
#include <vector>

namespace trimora {

/// Two triangles in one plane whose insides share area.
struct CoplanarOverlap {
    int triangle;  ///< the one with the lower number
    int other;
    koLinear::Point centre;  ///< of what they share
    double area;             ///< likewise
};

/// Whether two triangles overlap in one plane. Coordinates are floats, so that they count as one plane where the corners of one are
/// no more than four float steps away from the other's plane; and they overlap where what they share is more than eight steps and
/// a thousandth of the shorter triangle wide, so that neighbours along a rounded edge do not.
class OverlapTest {
public:
    /// mesh     outlives this object
    /// isFlat   one a triangle: has no area and overlaps nothing
    OverlapTest(koGeom::CompactMesh const& mesh, std::vector<char> const& isFlat);

    /// What lets nearly all pairs be passed over, in floats.
    struct Outline {
        float normal[3];
        float slant;   // 1 - cosine to another normal that may still be one plane
        float low[3];  // box, widened by the float steps
        float high[3];

        bool mayOverlap(Outline const& b) const {
            float const cosine =
                normal[0] * b.normal[0] + normal[1] * b.normal[1] + normal[2] * b.normal[2];
            float const apart = 1.0f - (cosine < 0.0f ? -cosine : cosine);
            return apart <= (slant > b.slant ? slant : b.slant) && low[0] <= b.high[0] &&
                   b.low[0] <= high[0] && low[1] <= b.high[1] && b.low[1] <= high[1] &&
                   low[2] <= b.high[2] && b.low[2] <= high[2];
        }
    };

    Outline const& outlineOf(int triangle) const {
        return outlines_[static_cast<std::size_t>(triangle)];
    }
    bool mayOverlap(int a, int b) const { return outlineOf(a).mayOverlap(outlineOf(b)); }
    /// The pair in full.
    std::optional<CoplanarOverlap> find(int a, int b) const;

private:
    koGeom::CompactMesh const& mesh_;
    std::vector<Outline> outlines_;
};

/// The overlaps of triangles without a common vertex, by the voxels that they share.
///
/// order      ascending by the higher triangle, then by the lower one
/// progress   polled; what was found until then when it is cancelled
/// threads    runs on the shared pool; the outcome does not depend on its size
std::vector<CoplanarOverlap> findCoplanarOverlaps(koGeom::CompactMesh const& mesh,
                                                  koGeom::OctreeTris const& octreeTris,
                                                  OverlapTest const& test,
                                                  koUtil::Progress& progress);

/// Sorts as findCoplanarOverlaps does, and leaves each pair once.
void sortOverlaps(std::vector<CoplanarOverlap>& overlaps);

}  // namespace trimora
