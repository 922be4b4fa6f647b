#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"

#include <vector>

namespace koGeom {

class CompactMesh;
class MeshBoundaries;

namespace detail {

/// A place on a boundary loop: weight times the edge's start and the rest times its end. Weight 1 is exactly the start.
struct BoundarySample {
    int boundary;
    int edge;  ///< place in the loop; the edge runs to the next vertex of it
    float weight;
};

/// Boundary loops, sampled into closed line strips about a fifth of a distance from point to point.
///
/// A loop with fewer than 10 samples gets no strip. Its samples keep their places in the list all the same, and a strip's
/// point is looked up by its plain number: after such a loop the look-up gives a sample further back.
class BoundaryLines {
public:
    /// chosen    numbers of boundaries, ascending
    /// distance  above 0
    BoundaryLines(CompactMesh const& mesh, MeshBoundaries const& boundaries,
                  ko::vector<int> const& chosen, double distance);

    /// 0 as well where ints cannot count the samples.
    int numStrips() const { return static_cast<int>(strips_.size()); }
    int boundaryOf(int strip) const { return stripAt(strip).boundary; }
    /// The strips, and their segments; only where there is one.
    CompactMesh const& lineMesh() const { return *lineMesh_; }

    /// The sample of a strip's point; null when the look-up gives one of another boundary.
    BoundarySample const* sampleOf(int strip, int position) const;
    /// Along the strip from one of its points forward to another.
    double lengthBetween(int strip, int first, int last) const;
    int startOf(BoundarySample const& sample) const;
    int endOf(BoundarySample const& sample) const;

private:
    struct Strip {
        int boundary;
        int firstPoint;
        int length;
    };

    Strip const& stripAt(int strip) const { return strips_[static_cast<std::size_t>(strip)]; }
    int vertexAt(int boundary, int place) const;
    int numPieces(int boundary, int edge) const;
    bool canCountSamples(ko::vector<int> const& chosen) const;
    int sampleLoop(int boundary);
    void makeLineMesh(int numPoints, std::vector<int> const& stripOfBoundary);
    PointFlt placeOf(BoundarySample const& sample) const;

    CompactMesh const& mesh_;
    MeshBoundaries const& boundaries_;
    double const distance_;
    std::vector<BoundarySample> samples_;
    std::vector<Strip> strips_;
    ko::Reference<CompactMesh> lineMesh_;
};

}  // namespace detail

}  // namespace koGeom
