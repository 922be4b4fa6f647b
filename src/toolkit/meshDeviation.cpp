#include "toolkit/meshDeviation.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/measure/MeshDeviation.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

using koGeom::AffineMatrix;
using koGeom::CompactMesh;
using koGeom::Point;
using koGeom::Vector;

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr double percents[] = {1.0, 5.0, 25.0, 50.0, 75.0, 95.0, 99.0};
constexpr double mostWidths = 20.0;  // from the minimum to the maximum

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

bool isFinite(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

Point cornerOf(CompactMesh const& mesh, int triangle, int k) {
    return mesh.getVertices()[mesh.getTriangles()[triangle][k]].asPoint();
}

std::string faultOfReference(CompactMesh const& reference, AffineMatrix const& matrix,
                             bool& isNonfinite) {
    for (int t = 0; t < reference.getNumTriangles() && !isNonfinite; ++t)
        for (int k = 0; k < 3; ++k)
            isNonfinite = isNonfinite || !isFinite(cornerOf(reference, t, k));
    AffineMatrix inverse = matrix;
    if (reference.getNumTriangles() == 0)
        return "the reference holds no triangles to measure to";
    if (isNonfinite)
        return "a triangle of the reference has a corner that is NaN or infinite; leave such "
               "triangles out";
    if (!inverse.invert())
        return "the matrix of the reference flattens it; take one that can be undone";
    return {};
}

/// The normals that a mesh comes with or, where there are none, those of its triangles; zero where no triangle has any.
void giveNormals(CompactMesh& mesh) {
    koGeom::meshComputeNormals(mesh);
    std::vector<char> hasOne(at(mesh.getNumVertices()), 0);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Point const a = cornerOf(mesh, t, 0);
        Vector const normal = cross(cornerOf(mesh, t, 1) - a, cornerOf(mesh, t, 2) - a);
        if (normal.length2() > 0.0)
            for (int const v : mesh.getTriangles()[t].vertices)
                hasOne[at(v)] = 1;
    }
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (hasOne[at(v)] == 0)
            mesh.getNormals()[v] = koGeom::MeshNormal{0.0f, 0.0f, 0.0f};
}

/// What is measured, as the core takes it: the reference scaled to a handy size, its matrix scaled back.
class DeviationMeasurement {
public:
    DeviationMeasurement(CompactMesh const& mesh, CompactMesh const& reference,
                         DeviationOptions const& options)
        : options_(options), mesh_(bareCopy(mesh)), reference_(bareCopy(reference)) {
        if (koGeom::MeshNormal const* const normals = mesh.getNormals()) {
            mesh_.allocNormalArray();
            std::copy_n(normals, mesh.getNumVertices(), mesh_.getNormals());
        }
        if (options.selected)
            mesh_.getSelectedVertices() = *options.selected;
    }

    void run(DeviationOutcome& outcome, koUtil::Progress& progress);

private:
    void scaleReference();
    void dropWhatCannotBeMeasured(std::vector<float>& values) const;

    DeviationOptions const& options_;
    CompactMesh mesh_;
    CompactMesh reference_;
    AffineMatrix referenceMatrix_;
};

/// Vertices without triangles may lie anywhere, and are nothing to measure to.
void DeviationMeasurement::scaleReference() {
    removeUnusedVertices(reference_);
    double const scale = unitScale(diagonalOf(reference_));
    scaleVertices(reference_, scale);
    referenceMatrix_ = AffineMatrix(1.0 / scale) * options_.referenceMatrix;
}

/// Vertices that were left out have the largest float; NaN and infinite ones have anything.
void DeviationMeasurement::dropWhatCannotBeMeasured(std::vector<float>& values) const {
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
        bool const isLeftOut = options_.selected && !options_.selected->isBitSet(v);
        float& value = values[at(v)];
        if (isLeftOut || !isFinite(mesh_.getVertices()[v].asPoint()) || !std::isfinite(value))
            value = notANumber;
    }
}

void DeviationMeasurement::run(DeviationOutcome& outcome, koUtil::Progress& progress) {
    outcome.computedNormals = mesh_.getNormals() == nullptr && mesh_.getNumTriangles() > 0;
    if (outcome.computedNormals)
        giveNormals(mesh_);
    scaleReference();
    koGeom::SimpleMeshCache cache;
    auto const octree = cache.getOctree(reference_, 64);
    auto const octreeTris = cache.getOctreeTris(reference_);
    outcome.values.assign(at(mesh_.getNumVertices()), notANumber);
    AffineMatrix matrix = options_.matrix;
    koGeom::MeshDeviation deviation(reference_, referenceMatrix_, *octree, *octreeTris, &progress);
    deviation.calculate(&mesh_, matrix, outcome.values.data(), options_.selected.has_value(),
                        options_.flip);
    dropWhatCannotBeMeasured(outcome.values);
}

/// The nearest rank: of n sorted values the one at p n / 100, rounded up, counted from 1.
double percentileOf(std::vector<float> const& sorted, double percent) {
    double const rank = std::ceil(percent / 100.0 * static_cast<double>(sorted.size()));
    return static_cast<double>(sorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1]);
}

/// Marks at equal steps from 0 on: 1, 2 or 5 times a power of ten.
class Scale {
public:
    /// With the least step that is not below a length above 0.
    explicit Scale(double length) {
        double const power = std::pow(10.0, std::floor(std::log10(length)));
        double step = 10.0 * power;
        for (double const factor : {5.0, 2.0, 1.0})
            step = factor * power >= length ? factor * power : step;
        // Parts of 1 are told by how many make it: 3 / 10 is 0.3, 3 * 0.1 is not.
        multiplier_ = step >= 1.0 ? step : 1.0;
        divisor_ = step >= 1.0 ? 1.0 : std::round(1.0 / step);
    }

    double mark(double number) const { return number * multiplier_ / divisor_; }
    double numberBelow(double value) const { return std::floor(value * divisor_ / multiplier_); }

private:
    double multiplier_;
    double divisor_;
};

std::vector<DeviationStatistics::Bin> histogramOf(std::vector<float> const& sorted) {
    auto const minimum = static_cast<double>(sorted.front());
    auto const maximum = static_cast<double>(sorted.back());
    if (minimum == maximum)
        return {{minimum, maximum, static_cast<int>(sorted.size())}};
    Scale const scale((maximum - minimum) / mostWidths);
    double const first = scale.numberBelow(minimum);
    auto const binOf = [&](double value) {
        return static_cast<std::size_t>(scale.numberBelow(value) - first);
    };
    std::vector<DeviationStatistics::Bin> bins(binOf(maximum) + 1);
    for (std::size_t i = 0; i < bins.size(); ++i) {
        double const number = first + static_cast<double>(i);
        bins[i] = {scale.mark(number), scale.mark(number + 1.0), 0};
    }
    for (float const value : sorted)
        ++bins[binOf(static_cast<double>(value))].vertices;
    return bins;
}

}  // namespace

DeviationStatistics deviationStatistics(std::vector<float> const& values) {
    DeviationStatistics statistics;
    std::vector<float> sorted;
    std::vector<float> absolute;
    double sum = 0.0;
    double sumOfSizes = 0.0;
    double sumOfSquares = 0.0;
    for (std::size_t v = 0; v < values.size(); ++v) {
        auto const value = static_cast<double>(values[v]);
        if (!std::isfinite(value))
            continue;
        bool const isFirst = sorted.empty();
        sorted.push_back(values[v]);
        absolute.push_back(std::abs(values[v]));
        sum += value;
        sumOfSizes += std::abs(value);
        sumOfSquares += value * value;
        if (isFirst || value < statistics.minimum) {
            statistics.minimum = value;
            statistics.lowest = static_cast<int>(v);
        }
        if (isFirst || value > statistics.maximum) {
            statistics.maximum = value;
            statistics.highest = static_cast<int>(v);
        }
    }
    statistics.measured = static_cast<int>(sorted.size());
    if (sorted.empty())
        return statistics;
    statistics.mean = sum / statistics.measured;
    statistics.meanAbsolute = sumOfSizes / statistics.measured;
    statistics.rms = std::sqrt(sumOfSquares / statistics.measured);
    std::sort(sorted.begin(), sorted.end());
    std::sort(absolute.begin(), absolute.end());
    for (double const percent : percents)
        statistics.percentiles.push_back(
            {percent, percentileOf(sorted, percent), percentileOf(absolute, percent)});
    statistics.histogram = histogramOf(sorted);
    return statistics;
}

DeviationOutcome measureDeviation(CompactMesh const& mesh, CompactMesh const& reference,
                                  DeviationOptions const& options, koUtil::Progress& progress) {
    DeviationOutcome outcome;
    if (isRefused(outcome, mesh) || isRefused(outcome, reference))
        return outcome;
    if (options.selected && options.selected->size != mesh.getNumVertices()) {
        outcome.refusal = "the selection is that of a mesh with another number of vertices";
        return outcome;
    }
    outcome.refusal = faultOfReference(reference, options.referenceMatrix, outcome.isNonfinite);
    if (!outcome.refusal.empty())
        return outcome;
    koOS::StopWatch watch;
    watch.start();
    progress.setCaption("measuring the deviation");
    outcome.selected = options.selected ? options.selected->count : mesh.getNumVertices();
    DeviationMeasurement(mesh, reference, options).run(outcome, progress);
    outcome.cancelled = progress.cancelled();
    if (!outcome.cancelled)
        outcome.statistics = deviationStatistics(outcome.values);
    progress.set(1.0);
    outcome.seconds = watch.clear();
    return outcome;
}

}  // namespace trimora
