// Corners a, b, c as seen from the eye and the way d through a sample: the sample is in the triangle when (b x c).d, (c x a).d and
// (a x b).d have one sign, these being the weights but for a factor, and its depth is det(a, b, c) over their sum. All are linear
// in the sample's place, nothing is divided before the test, and corners behind the eye need no clipping. Neighbours compute
// a x b and b x a, which differ in sign only, bit by bit.

#include "toolkit/rasterizer.h"

#include "trimora/contract/koUtil/ThreadPool.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

using koLinear::Vector;

namespace {

constexpr int mostBands =
    64;  // of rows; bounds what a tall triangle costs, and suffices for the pool's chunks
constexpr float infinity = std::numeric_limits<float>::infinity();

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

int bandBegin(int band, int numBands, int height) {
    return static_cast<int>(static_cast<std::int64_t>(height) * band / numBands);
}

int bandOf(int row, int numBands, int height) {
    return static_cast<int>((static_cast<std::int64_t>(row + 1) * numBands - 1) / height);
}

/// A rectangle of the picture; empty when a bound is beyond its fellow.
struct Extent {
    double left = infinity, right = -infinity, top = infinity, bottom = -infinity;

    void add(Vector const& p) {
        double const x = p.x / p.z;
        double const y = p.y / p.z;
        left = std::min(left, x), right = std::max(right, x);
        top = std::min(top, y), bottom = std::max(bottom, y);
    }
};

bool isFinite(Vector const& p) {
    return std::isfinite(p.x + p.y + p.z);
}

/// Where the part of a triangle that is deep enough lies, about the centre. Empty for corners that are not finite.
Extent extentOf(Vector const (&corners)[3], double nearest) {
    Extent extent;
    if (!isFinite(corners[0]) || !isFinite(corners[1]) || !isFinite(corners[2]))
        return extent;
    for (int k = 0; k < 3; ++k) {
        Vector const& p = corners[k];
        Vector const& q = corners[(k + 1) % 3];
        if (p.z >= nearest)
            extent.add(p);
        if ((p.z >= nearest) != (q.z >= nearest)) {
            double const share = (nearest - p.z) / (q.z - p.z);
            extent.add({p.x + share * (q.x - p.x), p.y + share * (q.y - p.y), nearest});
        }
    }
    return extent;
}

/// The whole numbers i with begin <= i + offset <= end (but for a hair), within [low, high].
struct Span {
    int first;
    int last;

    Span(double begin, double end, double offset, int low, int high) {
        constexpr double hair = 1e-6;  // far above what dividing rounds by, far below a pixel
        first =
            static_cast<int>(std::clamp(std::ceil(begin - offset - hair), double(low), high + 1.0));
        last =
            static_cast<int>(std::clamp(std::floor(end - offset + hair), low - 1.0, double(high)));
    }
    bool isEmpty() const { return first > last; }
};

/// a x + b y + c of a place about the centre.
struct EdgeFunction {
    double a, b, c;

    EdgeFunction(Vector const& from, Vector const& to, double sign) {
        Vector const normal = cross(from, to);
        a = sign * normal.x, b = sign * normal.y, c = sign * normal.z;
    }
};

/// Keeps of a row's span what may be inside the edge, and a pixel more.
void narrow(EdgeFunction const& edge, double row, double shift, double& begin, double& end) {
    double const root = -row / edge.a - shift;
    if (edge.a > 0.0 && root > begin)
        begin = std::floor(root) - 1.0;
    else if (edge.a < 0.0 && root < end)
        end = std::ceil(root) + 1.0;
}

/// One triangle, ready to be drawn into rows of a band.
class TriangleDrawer {
public:
    TriangleDrawer(Vector const (&corners)[3], int triangle, double volume)
        : triangle_(triangle),
          volume_(std::abs(volume)),
          edges_{{corners[1], corners[2], volume < 0.0 ? -1.0 : 1.0},
                 {corners[2], corners[0], volume < 0.0 ? -1.0 : 1.0},
                 {corners[0], corners[1], volume < 0.0 ? -1.0 : 1.0}} {
        auto const [low, high] = std::minmax({corners[0].z, corners[1].z, corners[2].z});
        lowest_ = low;
        highest_ = high;
    }

    void drawRow(double y, double shiftX, Span span, double nearest, VisiblePoint* row) const {
        double const r[3] = {edges_[0].b * y + edges_[0].c, edges_[1].b * y + edges_[1].c,
                             edges_[2].b * y + edges_[2].c};
        constexpr int worthNarrowing = 8;
        if (span.last - span.first >= worthNarrowing) {
            double begin = span.first;
            double end = span.last;
            for (int k = 0; k < 3; ++k)
                narrow(edges_[k], r[k], shiftX, begin, end);
            if (!(begin <= end))
                return;
            span.first = std::max(span.first, static_cast<int>(begin));
            span.last = std::min(span.last, static_cast<int>(end));
        }
        for (int i = span.first; i <= span.last; ++i) {
            double const x = i + shiftX;
            double const w0 = edges_[0].a * x + r[0];
            double const w1 = edges_[1].a * x + r[1];
            double const w2 = edges_[2].a * x + r[2];
            if (w0 >= 0.0 && w1 >= 0.0 && w2 >= 0.0)
                put(w1, w2, w0 + w1 + w2, nearest, row[i]);
        }
    }

private:
    // The depth of a sliver is rounded far off; it never leaves the corners'.
    void put(double w1, double w2, double sum, double nearest, VisiblePoint& point) const {
        double const inverse = 1.0 / sum;
        double const depth = std::clamp(volume_ * inverse, lowest_, highest_);
        if (!(sum > 0.0) || depth < nearest || static_cast<float>(depth) >= point.depth)
            return;
        point = {static_cast<float>(depth), triangle_, static_cast<float>(w1 * inverse),
                 static_cast<float>(w2 * inverse)};
    }

    int triangle_;
    double volume_;
    double lowest_;
    double highest_;
    EdgeFunction edges_[3];
};

/// The triangles' corners as they are projected.
class Corners {
public:
    Corners(koGeom::CompactMesh const& mesh, std::vector<Vector> const& projected)
        : triangles_(mesh.getTrianglesRaw()), projected_(projected.data()) {}

    void fetch(int triangle, Vector (&corners)[3]) const {
        int const* const indices = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
        for (int k = 0; k < 3; ++k)
            corners[k] = projected_[indices[k]];
    }

private:
    int const* triangles_;
    Vector const* projected_;
};

class ProjectAlg : public koUtil::ThreadedAlg {
public:
    ProjectAlg(koGeom::CompactMesh const& mesh, Camera const& camera,
               std::vector<Vector>& projected)
        : vertices_(mesh.getVertices()), camera_(camera), projected_(projected) {}

    void execute(int threadIndex, int numThreads) override {
        int const total = static_cast<int>(projected_.size());
        int const end = getBeginIndex(threadIndex + 1, numThreads, total);
        for (int v = getBeginIndex(threadIndex, numThreads, total); v < end; ++v)
            projected_[at(v)] = camera_.project(vertices_[v].asPoint());
    }

private:
    koGeom::MeshVertex const* vertices_;
    Camera const& camera_;
    std::vector<Vector>& projected_;
};

/// First and last band of a triangle; none when first is greater.
struct BandRange {
    std::uint8_t first = 1;
    std::uint8_t last = 0;
};

/// Finds the bands of each triangle, and how many triangles of each thread's slice fall into each band.
class CountAlg : public koUtil::ThreadedAlg {
public:
    CountAlg(Corners const& corners, Camera const& camera, int numBands,
             std::vector<BandRange>& ranges)
        : corners_(corners), camera_(camera), numBands_(numBands), ranges_(ranges) {}

    void initialize(int numThreads) override {
        counts.assign(at(numThreads), std::vector<std::size_t>(at(numBands_), 0));
    }

    void execute(int threadIndex, int numThreads) override {
        int const total = static_cast<int>(ranges_.size());
        int const end = getBeginIndex(threadIndex + 1, numThreads, total);
        std::vector<std::size_t> count(at(numBands_), 0);
        for (int t = getBeginIndex(threadIndex, numThreads, total); t < end; ++t) {
            ranges_[at(t)] = rangeOf(t);
            for (int band = ranges_[at(t)].first; band <= ranges_[at(t)].last; ++band)
                ++count[at(band)];
        }
        counts[at(threadIndex)] = std::move(count);
    }

    std::vector<std::vector<std::size_t>> counts;  // [thread][band]

private:
    // Whatever the shift of the samples: a row is touched when any y in [row, row + 1] is.
    BandRange rangeOf(int triangle) const {
        Vector corners[3];
        corners_.fetch(triangle, corners);
        Extent const extent = extentOf(corners, camera_.nearest);
        Span const across(camera_.centreX + extent.left - 1.0, camera_.centreX + extent.right, 0.0,
                          0, camera_.width - 1);
        Span const rows(camera_.centreY + extent.top - 1.0, camera_.centreY + extent.bottom, 0.0, 0,
                        camera_.height - 1);
        if (!(extent.left <= extent.right) || across.isEmpty() || rows.isEmpty())
            return {};
        return {static_cast<std::uint8_t>(bandOf(rows.first, numBands_, camera_.height)),
                static_cast<std::uint8_t>(bandOf(rows.last, numBands_, camera_.height))};
    }

    Corners const& corners_;
    Camera const& camera_;
    int numBands_;
    std::vector<BandRange>& ranges_;
};

/// Puts the triangles of each slice where those of the slices before it end, band by band.
class FillAlg : public koUtil::ThreadedAlg {
public:
    FillAlg(std::vector<BandRange> const& ranges, std::vector<std::vector<std::size_t>>& places,
            std::vector<int>& triangles)
        : ranges_(ranges), places_(places), triangles_(triangles) {}

    void execute(int threadIndex, int numThreads) override {
        int const total = static_cast<int>(ranges_.size());
        int const end = getBeginIndex(threadIndex + 1, numThreads, total);
        std::vector<std::size_t>& place = places_[at(threadIndex)];
        for (int t = getBeginIndex(threadIndex, numThreads, total); t < end; ++t)
            for (int band = ranges_[at(t)].first; band <= ranges_[at(t)].last; ++band)
                triangles_[place[at(band)]++] = t;
    }

private:
    std::vector<BandRange> const& ranges_;
    std::vector<std::vector<std::size_t>>& places_;
    std::vector<int>& triangles_;
};

}  // namespace

/// Draws whole bands, whichever thread is free.
class BandAlg : public koUtil::ThreadedChunkAlg {
public:
    BandAlg(Rasterizer const& rasterizer, double offsetX, double offsetY, VisibilityBuffer& buffer)
        : rasterizer_(rasterizer),
          camera_(rasterizer.camera_),
          corners_(rasterizer.mesh_, rasterizer.projected_),
          offsetX_(offsetX),
          offsetY_(offsetY),
          buffer_(buffer) {}

    void executeChunk(int chunkIndex, int /*threadIndex*/) override {
        int const end = getBeginIndex(chunkIndex + 1, numChunks, rasterizer_.numBands_);
        for (int band = getBeginIndex(chunkIndex, numChunks, rasterizer_.numBands_); band < end;
             ++band)
            drawBand(band);
    }

private:
    void drawBand(int band) {
        int const begin = bandBegin(band, rasterizer_.numBands_, camera_.height);
        int const end = bandBegin(band + 1, rasterizer_.numBands_, camera_.height);
        std::fill(rowOf(begin), rowOf(end), VisiblePoint{infinity, -1, 0.0f, 0.0f});
        for (std::size_t i = rasterizer_.bandStarts_[at(band)];
             i < rasterizer_.bandStarts_[at(band) + 1]; ++i)
            drawTriangle(rasterizer_.bandTriangles_[i], begin, end - 1);
    }

    void drawTriangle(int triangle, int firstRow, int lastRow) {
        Vector corners[3];
        corners_.fetch(triangle, corners);
        Extent const extent = extentOf(corners, camera_.nearest);
        Span const rows(camera_.centreY + extent.top, camera_.centreY + extent.bottom, offsetY_,
                        firstRow, lastRow);
        Span const across(camera_.centreX + extent.left, camera_.centreX + extent.right, offsetX_,
                          0, camera_.width - 1);
        if (rows.isEmpty() || across.isEmpty())
            return;
        double const volume = dot(corners[0], cross(corners[1], corners[2]));
        if (!(volume != 0.0) || !std::isfinite(volume))
            return;
        TriangleDrawer const drawer(corners, triangle, volume);
        for (int row = rows.first; row <= rows.last; ++row)
            drawer.drawRow(row + offsetY_ - camera_.centreY, offsetX_ - camera_.centreX, across,
                           camera_.nearest, rowOf(row));
    }

    VisiblePoint* rowOf(int row) { return buffer_.points.data() + at(row) * at(camera_.width); }

    Rasterizer const& rasterizer_;
    Camera const& camera_;
    Corners corners_;
    double offsetX_;
    double offsetY_;
    VisibilityBuffer& buffer_;  // each thread writes the rows of its bands
};

Rasterizer::Rasterizer(koGeom::CompactMesh const& mesh, Camera const& camera)
    : mesh_(mesh), camera_(camera), numBands_(std::clamp(camera.height / 8, 1, mostBands)) {
    projectVertices();
    sortIntoBands();
}

void Rasterizer::projectVertices() {
    projected_.resize(at(mesh_.getNumVertices()));
    ProjectAlg alg(mesh_, camera_, projected_);
    koUtil::ThreadPool::get().run(alg);
}

void Rasterizer::sortIntoBands() {
    std::vector<BandRange> ranges(at(mesh_.getNumTriangles()));
    Corners const corners(mesh_, projected_);
    CountAlg count(corners, camera_, numBands_, ranges);
    koUtil::ThreadPool::get().run(count);

    bandStarts_.assign(1, 0);
    std::size_t place = 0;
    for (int band = 0; band < numBands_; ++band) {
        for (std::vector<std::size_t>& counts : count.counts) {
            std::size_t const size = counts[at(band)];
            counts[at(band)] = place;
            place += size;
        }
        bandStarts_.push_back(place);
    }
    bandTriangles_.resize(place);
    FillAlg fill(ranges, count.counts, bandTriangles_);
    koUtil::ThreadPool::get().run(fill);
}

void Rasterizer::draw(double offsetX, double offsetY, VisibilityBuffer& buffer) const {
    buffer.width = camera_.width;
    buffer.height = camera_.height;
    buffer.points.resize(at(camera_.width) * at(camera_.height));
    BandAlg alg(*this, offsetX, offsetY, buffer);
    koUtil::ThreadPool::get().run(alg);
}

Rasterizer::EdgeDistances Rasterizer::edgeDistances(int triangle, double x, double y) const {
    Vector corners[3];
    Corners(mesh_, projected_).fetch(triangle, corners);
    double const sign = dot(corners[0], cross(corners[1], corners[2])) < 0.0 ? -1.0 : 1.0;
    EdgeDistances result = {};
    double sum = 0.0;
    double steepness[3];
    for (int k = 0; k < 3; ++k) {
        EdgeFunction const edge(corners[(k + 1) % 3], corners[(k + 2) % 3], sign);
        double const value =
            edge.a * (x - camera_.centreX) + edge.b * (y - camera_.centreY) + edge.c;
        steepness[k] = std::max(std::hypot(edge.a, edge.b), 1e-300);
        result.toEdge[at(k)] = value / steepness[k];
        sum += value;
    }
    for (int k = 0; k < 3; ++k)
        result.heights[at(k)] = sum / steepness[k];
    return result;
}

}  // namespace trimora
