// The passes run on a copy, so that a run that is cancelled leaves the mesh as it was, and so that the copy can have a size at
// which the library's absolute tolerances do no harm. Only what moved is written back.

#include "toolkit/meshSmoothing.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"

#include <algorithm>
#include <cmath>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koGeom::MeshVertex;
using koLinear::Point;

constexpr int workingSigma = 10;    // exponent of 2: heights of a billionth of it still count
constexpr int smallestSigma = -23;  // of the diagonal: floats resolve nothing below

/// A power of two, so that scaling there and back changes no digit.
double workingScale(SmoothOptions const& options, double diagonal) {
    if (options.method == SmoothOptions::Method::Laplacian || !(diagonal > 0.0))
        return unitScale(diagonal);
    double const sigma = std::clamp(options.sigma, std::ldexp(diagonal, smallestSigma), diagonal);
    return std::ldexp(1.0, workingSigma - std::ilogb(sigma));
}

std::optional<double> enclosedVolume(CompactMesh const& mesh) {
    koUtil::Progress progress;
    MeshMeasures const measures = measureMesh(mesh, false, progress).whole;
    return measures.enclosesVolume() ? std::optional(measures.volume) : std::nullopt;
}

class Smoothing {
public:
    Smoothing(CompactMesh& mesh, SmoothOptions const& options, koUtil::Progress& progress)
        : mesh_(mesh), options_(options), progress_(progress) {}

    SmoothOutcome run(BitVector const& triangles);

private:
    bool isFit(BitVector const& triangles);
    void makeCopy();
    void chooseVertices(BitVector const& triangles);
    void fixBorders(BitVector& free);
    void smooth();
    void writeBack();

    CompactMesh& mesh_;
    SmoothOptions const& options_;
    koUtil::Progress& progress_;
    double scale_ = 1.0;
    CompactMesh work_;
    koGeom::SimpleMeshCache cache_;
    ko::Reference<koGeom::MeshAdjVertices> adjVertices_;
    SmoothOutcome outcome_;
};

SmoothOutcome Smoothing::run(BitVector const& triangles) {
    if (!isFit(triangles))
        return std::move(outcome_);
    makeCopy();
    chooseVertices(triangles);
    outcome_.volumeBefore = enclosedVolume(mesh_);
    smooth();
    outcome_.cancelled = progress_.cancelled();
    if (outcome_.cancelled)
        return std::move(outcome_);
    writeBack();
    outcome_.volumeAfter = enclosedVolume(mesh_);
    return std::move(outcome_);
}

bool Smoothing::isFit(BitVector const& triangles) {
    bool const isBilateral = options_.method == SmoothOptions::Method::Bilateral;
    if (SurfaceFault const fault = faultOfCoordinates(mesh_))
        refuse(outcome_, fault);
    else if (triangles.size != mesh_.getNumTriangles())
        outcome_.refusal = "the selection is that of a mesh with another number of triangles";
    else if (options_.passes < 1)
        outcome_.refusal = "the number of passes has to be 1 or more";
    else if (isBilateral && !(options_.sigma > 0.0 && std::isfinite(options_.sigma)))
        outcome_.refusal = "sigma has to be a length above 0";
    return outcome_.refusal.empty();
}

void Smoothing::makeCopy() {
    work_ = bareCopy(mesh_);
    scale_ = workingScale(options_, diagonalOf(mesh_));
    scaleVertices(work_, scale_);
    adjVertices_ = cache_.getAdjVertices(work_);
}

void Smoothing::chooseVertices(BitVector const& triangles) {
    BitVector& free = work_.getSelectedVertices();
    free.resize(work_.getNumVertices());
    for (int t = 0; t < work_.getNumTriangles(); ++t) {
        if (triangles.isBitSet(t) == 0)
            continue;
        for (int const v : work_.getTriangles()[t].vertices)
            if (adjVertices_->numNeighbours(v) > 0)
                free.setBit(v);
    }
    if (options_.keepBorders)
        fixBorders(free);
    outcome_.free = free.count;
    outcome_.fixed = work_.getNumVertices() - free.count;
}

void Smoothing::fixBorders(BitVector& free) {
    auto const boundaries = cache_.getBoundaries(work_);
    for (int b = 0; b < boundaries->size(); ++b)
        for (int const* v = boundaries->getStart(b); v != boundaries->getEnd(b); ++v)
            free.clearBit(*v);
}

void Smoothing::smooth() {
    bool const isBilateral = options_.method == SmoothOptions::Method::Bilateral;
    for (; outcome_.passes < options_.passes && !progress_.cancelled(); ++outcome_.passes) {
        koUtil::Progress pass;
        progress_.subPhase(1.0 / options_.passes, pass);
        if (isBilateral) {
            koGeom::meshComputeNormals(work_);
            koGeom::meshSmoothBilateral(work_, *adjVertices_, scale_ * options_.sigma, pass);
        } else {
            koGeom::meshSmoothLaplacian(work_, *adjVertices_, pass);
        }
    }
}

/// What a scale has cost of coordinates that are nothing beside the mesh does not count as movement.
void Smoothing::writeBack() {
    double sum = 0.0;
    for (int v = 0; v < mesh_.getNumVertices(); ++v) {
        MeshVertex& place = mesh_.getVertices()[v];
        auto const scaled = [this](float x) { return static_cast<float>(x * scale_); };
        MeshVertex const from = {scaled(place.x), scaled(place.y), scaled(place.z)};
        MeshVertex const moved = work_.getVertices()[v];
        bool const isSame = from.x == moved.x && from.y == moved.y && from.z == moved.z;
        if (work_.getSelectedVertices().isBitSet(v) == 0 || isSame)
            continue;
        Point const to = moved.asPoint();
        double const movement = koLinear::distance(from.asPoint(), to) / scale_;
        ++outcome_.moved;
        outcome_.largest = std::max(outcome_.largest, movement);
        sum += movement * movement;
        place.set(static_cast<float>(to.x / scale_), static_cast<float>(to.y / scale_),
                  static_cast<float>(to.z / scale_));
    }
    if (outcome_.moved == 0)
        return;
    outcome_.rms = std::sqrt(sum / outcome_.free);
    if (mesh_.getNormals() != nullptr && !mesh_.getNormalsComputed()) {
        mesh_.deleteNormals();
        outcome_.dropped.emplace_back(koGeom::PointMesh::NormalsName.asChar());
    }
    koGeom::MeshModification modification(&mesh_, koGeom::MeshModification::Geometry, nullptr);
    mesh_.modified(modification);
}

Expectation predict(MeshState const& before, SmoothOutcome const& outcome) {
    Expectation expected;
    expected.vertices = before.vertices;
    expected.sameFaces = true;
    expected.samePositions = outcome.moved == 0 || outcome.cancelled;
    return expected;
}

}  // namespace

SmoothOutcome smoothMesh(CompactMesh& mesh, BitVector const& triangles,
                         SmoothOptions const& options, koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return Smoothing(work, options, progress).run(triangles); },
        predict);
}

}  // namespace trimora
