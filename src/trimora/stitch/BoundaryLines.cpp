#include "trimora/stitch/detail/BoundaryLines.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace koGeom::detail {

namespace {

constexpr double samplesPerDistance = 5.0;
constexpr int fewestSamples = 10;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Not a number gives 0, too many the largest int.
int saturated(double count) {
    if (!(count > 0.0))
        return 0;
    double const most = std::numeric_limits<int>::max();
    return count < most ? static_cast<int>(count) : std::numeric_limits<int>::max();
}

}  // namespace

BoundaryLines::BoundaryLines(CompactMesh const& mesh, MeshBoundaries const& boundaries,
                             ko::vector<int> const& chosen, double distance)
    : mesh_(mesh), boundaries_(boundaries), distance_(distance) {
    if (!canCountSamples(chosen))
        return;
    std::vector<int> stripOfBoundary(at(boundaries.size()), -1);
    int numPoints = 0;
    for (int b = 0; b < boundaries.size(); ++b) {
        if (!std::binary_search(chosen.begin(), chosen.end(), b))
            continue;
        int const count = sampleLoop(b);
        if (count < fewestSamples)
            continue;
        stripOfBoundary[at(b)] = numStrips();
        strips_.push_back({b, numPoints, count});
        numPoints += count;
    }
    if (!strips_.empty())
        makeLineMesh(numPoints, stripOfBoundary);
}

int BoundaryLines::vertexAt(int boundary, int place) const {
    return boundaries_.getStart(boundary)[place];
}

int BoundaryLines::startOf(BoundarySample const& sample) const {
    return vertexAt(sample.boundary, sample.edge);
}

int BoundaryLines::endOf(BoundarySample const& sample) const {
    int const next = sample.edge + 1;
    return vertexAt(sample.boundary, next < boundaries_.getLength(sample.boundary) ? next : 0);
}

/// The pieces into which an edge is cut by samples.
int BoundaryLines::numPieces(int boundary, int edge) const {
    BoundarySample const ends = {boundary, edge, 1.0f};
    Point const start = mesh_.getVertices()[startOf(ends)].asPoint();
    Point const end = mesh_.getVertices()[endOf(ends)].asPoint();
    double const length = koLinear::distance(start, end);
    return std::max(1, saturated(std::floor(length / (distance_ / samplesPerDistance) + 0.5)));
}

bool BoundaryLines::canCountSamples(ko::vector<int> const& chosen) const {
    std::int64_t count = 0;
    for (int b = 0; b < boundaries_.size(); ++b) {
        if (!std::binary_search(chosen.begin(), chosen.end(), b))
            continue;
        for (int i = 0; i < boundaries_.getLength(b); ++i)
            count += numPieces(b, i);
    }
    return count <= std::numeric_limits<int>::max();
}

int BoundaryLines::sampleLoop(int boundary) {
    std::size_t const before = samples_.size();
    for (int i = 0; i < boundaries_.getLength(boundary); ++i) {
        samples_.push_back({boundary, i, 1.0f});
        int const n = numPieces(boundary, i);
        double const piece = 1.0 / n;
        for (int j = 1; j < n; ++j)
            samples_.push_back({boundary, i, static_cast<float>(1.0 - j * piece)});
    }
    return static_cast<int>(samples_.size() - before);
}

PointFlt BoundaryLines::placeOf(BoundarySample const& sample) const {
    MeshVertex const* const vertices = mesh_.getVertices();
    return combine(sample.weight, vertices[startOf(sample)].asPointFlt(), 1.0f - sample.weight,
                   vertices[endOf(sample)].asPointFlt());
}

void BoundaryLines::makeLineMesh(int numPoints, std::vector<int> const& stripOfBoundary) {
    lineMesh_ = new CompactMesh(numPoints, nullptr, nullptr, nullptr, nullptr);
    CompactMesh& lines = *lineMesh_;
    MeshVertex* vertex = lines.getVertices();
    for (BoundarySample const& sample : samples_) {
        if (stripOfBoundary[at(sample.boundary)] == -1)
            continue;
        PointFlt const place = placeOf(sample);
        vertex->set(&place.x);
        ++vertex;
    }

    lines.resizeLineStripArrays(numPoints, numStrips());
    lines.resizeLineArray(numPoints);
    int* const points = lines.getLineStripPoints();
    int* const lengths = lines.getLineStripLengths();
    MeshLine* const segments = lines.getLines();
    for (int s = 0; s < numStrips(); ++s) {
        Strip const& strip = stripAt(s);
        lengths[s] = strip.length;
        for (int i = 0; i < strip.length; ++i) {
            int const point = strip.firstPoint + i;
            points[point] = point;
            segments[point][0] = point;
            segments[point][1] = i + 1 < strip.length ? point + 1 : strip.firstPoint;
        }
    }
}

BoundarySample const* BoundaryLines::sampleOf(int strip, int position) const {
    if (strip < 0 || strip >= numStrips() || position < 0 || position >= stripAt(strip).length)
        return nullptr;
    BoundarySample const& sample = samples_[at(stripAt(strip).firstPoint + position)];
    return sample.boundary == boundaryOf(strip) ? &sample : nullptr;
}

double BoundaryLines::lengthBetween(int strip, int first, int last) const {
    MeshVertex const* const points = lineMesh_->getVertices() + stripAt(strip).firstPoint;
    double length = 0.0;
    for (int i = first; i != last;) {
        int const next = i + 1 < stripAt(strip).length ? i + 1 : 0;
        length += koLinear::distance(points[i].asPoint(), points[next].asPoint());
        i = next;
    }
    return length;
}

}  // namespace koGeom::detail
