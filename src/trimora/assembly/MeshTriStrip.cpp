#include "trimora/assembly/MeshTriStrip.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

// A strip of the points 0 1 2 3 4 ... is the triangles (0 1 2), (2 1 3), (2 3 4), ...
//
//        1 ------- 3 ------- 5         the next triangle lies across the edge of the last two points, which in the
//       /  \  1  /  \  3  /            triangles' own corners is one edge further at every even length and two
//      /  0 \   / 2  \   /             edges at every odd one
//     0 ------ 2 ------ 4

namespace koGeom {

namespace {

int next(int corner, int steps) {
    return (corner + steps) % 3;
}

/// Marks triangles with a number that changes with every run, so that nothing has to be cleared.
class RunStamps {
public:
    explicit RunStamps(int count) : stamps_(static_cast<std::size_t>(count)) {}

    void mark(int triangle) { stamps_[static_cast<std::size_t>(triangle)] = current_; }
    bool isMarked(int triangle) const {
        return stamps_[static_cast<std::size_t>(triangle)] == current_;
    }
    void endRun() {
        if (++current_ == 0xFFFFFFFFu) {
            std::fill(stamps_.begin(), stamps_.end(), 0u);
            current_ = 1;
        }
    }

private:
    ko::vector<std::uint32_t> stamps_;
    std::uint32_t current_ = 1;
};

struct Surface {
    MeshTriangle const* triangles;
    MeshAdjTris const& adjTris;

    int corner(int triangle, int i) const { return triangles[triangle][i]; }
    /// The triangle on the other side of an edge, and its edge there; -1 when there is none.
    int across(int triangle, int edge, int& edgeThere) const {
        int const a = corner(triangle, edge), b = corner(triangle, next(edge, 1));
        // Both stars list what they share in one order; at a hub the other one is read.
        int const star = adjTris.numTris(b) < adjTris.numTris(a) ? b : a;
        int const* const around = adjTris.triIndices(star);
        for (int k = 0; k < adjTris.numTris(star); ++k)
            for (int i = 0; i < 3; ++i)
                if (corner(around[k], i) == b && corner(around[k], next(i, 1)) == a) {
                    edgeThere = i;
                    return around[k];
                }
        return -1;
    }
};

/// A strip that is being tried.
struct Candidate {
    ko::vector<int> points;
    ko::vector<int> triangles;

    int length() const { return static_cast<int>(points.size()); }
    int grow(Surface const& surface, int triangle, int edge, int maxLength, BitVector const& used,
             RunStamps& stamps);
};

int Candidate::grow(Surface const& surface, int triangle, int edge, int maxLength,
                    BitVector const& used, RunStamps& stamps) {
    points.clear();
    for (int const step : {2, 0, 1})
        points.push_back(surface.corner(triangle, next(edge, step)));
    triangles.assign(1, triangle);
    stamps.mark(triangle);
    while (length() < maxLength) {
        triangle = surface.across(triangle, edge, edge);
        if (triangle < 0 || used.isBitSet(triangle) != 0 || stamps.isMarked(triangle))
            break;
        points.push_back(surface.corner(triangle, next(edge, 2)));
        triangles.push_back(triangle);
        stamps.mark(triangle);
        edge = next(edge, length() % 2 != 0 ? 1 : 2);
    }
    stamps.endRun();
    return length();
}

struct StripList {
    ko::vector<int> points;
    ko::vector<int> lengths;

    void add(ko::vector<int> const& strip, bool isSingle) {
        std::size_t const before = points.size();
        if (isSingle && !lengths.empty()) {
            points.push_back(points.back());
            points.push_back(strip.front());
            if (before % 2 != 0)  // the next strip starts at an even place, which keeps its winding
                points.push_back(strip.front());
        } else {
            lengths.push_back(0);
        }
        points.insert(points.end(), strip.begin(), strip.end());
        lengths.back() += static_cast<int>(points.size() - before);
    }
};

}  // namespace

class MeshTriStrip::Impl {
public:
    Impl(CompactMesh& mesh, MeshAdjTris const& adjTris) : mesh_(mesh), adjTris_(adjTris) {}

    void computeStrips(int maxLength, bool singleStrip);

private:
    Candidate const& longest(Surface const& surface, int triangle, int maxLength,
                             RunStamps& stamps);
    void store(StripList const& strips);

    CompactMesh& mesh_;
    MeshAdjTris adjTris_;
    BitVector used_;
    Candidate candidates_[3];
};

void MeshTriStrip::Impl::computeStrips(int maxLength, bool singleStrip) {
    koOS::StopWatch watch;
    watch.start();

    int const numTriangles = mesh_.getNumTriangles();
    Surface const surface{mesh_.getTriangles(), adjTris_};
    used_.resize(numTriangles);
    StripList strips;
    RunStamps stamps(numTriangles);
    for (int first = 0; used_.count < numTriangles; ++first) {
        if (used_.isBitSet(first) != 0)
            continue;
        Candidate const& chosen = longest(surface, first, std::max(maxLength, 3), stamps);
        strips.add(chosen.points, singleStrip);
        for (int const triangle : chosen.triangles)
            used_.setBit(triangle);
    }
    store(strips);

    MeshModification modification(&mesh_, MeshModification::Attributes, nullptr);
    modification.stripsAndFansModified();
    mesh_.modified(modification);

    int const numPoints = mesh_.getNumTriStripPoints();
    double const compactness = numPoints > 0 ? 2.0 * mesh_.getNumVertices() / numPoints : 1.0;
    debugChannel().print("MeshTriStrip: triangles(%d) compactness(%f): %f s\n", numTriangles,
                         compactness, watch.clear());
}

Candidate const& MeshTriStrip::Impl::longest(Surface const& surface, int triangle, int maxLength,
                                             RunStamps& stamps) {
    int lengths[3] = {0, 0, 0};
    for (int k = 0; k < 3; ++k) {
        lengths[k] = candidates_[k].grow(surface, triangle, k, maxLength, used_, stamps);
        if (lengths[k] >= maxLength)  // none can be longer
            break;
    }
    if (lengths[0] > lengths[1] && lengths[0] > lengths[2])
        return candidates_[0];
    if (lengths[1] > lengths[0] && lengths[1] > lengths[2])
        return candidates_[1];
    return candidates_[2];
}

void MeshTriStrip::Impl::store(StripList const& strips) {
    mesh_.resizeTriFanArrays(0, 0);
    mesh_.resizeTriStripArrays(static_cast<int>(strips.points.size()),
                               static_cast<int>(strips.lengths.size()));
    std::copy(strips.points.begin(), strips.points.end(), mesh_.getTriStripPoints());
    std::copy(strips.lengths.begin(), strips.lengths.end(), mesh_.getTriStripLengths());
}

MeshTriStrip::MeshTriStrip(CompactMesh& mesh, MeshAdjTris const& adjTris)
    : impl_(std::make_shared<Impl>(mesh, adjTris)) {
    assert(detail::isTableOf(adjTris, mesh));
}

MeshTriStrip::MeshTriStrip(MeshTriStrip const& other) = default;

MeshTriStrip::~MeshTriStrip() = default;

void MeshTriStrip::computeStrips(int maxLength, bool singleStrip) {
    impl_->computeStrips(maxLength, singleStrip);
}

}  // namespace koGeom
