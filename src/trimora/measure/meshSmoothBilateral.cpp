// One pass of a bilateral filter: around each selected vertex the vertices within sigma are
// collected through the mesh, with their squared distances and their heights over the tangent
// plane. The vertex moves along its normal by the mean of the heights, weighted by a Gaussian of
// the distance and one of the height.

#include "trimora/measure/meshSmoothBilateral.h"

#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/detail/SmoothingPass.h"
#include "trimora/spatial/VisitStamps.h"

#include <cassert>
#include <cmath>

namespace koGeom {

namespace {

constexpr std::size_t usualNeighbours = 1000;

/// Walks the vertices within a radius of one, as far as they are connected through such vertices.
class Neighbourhood {
public:
    struct Entry {
        int vertex;
        double distance2;  // to the center
    };

    Neighbourhood(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, double radius)
        : radius2_(radius * radius),
          vertices_(mesh.getVertices()),
          adjVertices_(adjVertices),
          visited_(mesh.getNumVertices()) {
        pending_.reserve(usualNeighbours);
    }

    void start(int vertex) {
        visited_.nextQuery();
        visited_.meet(vertex);
        pending_.clear();
        center_ = vertices_[vertex].asPoint();
        expand(vertex);
    }

    bool isDone() const { return pending_.empty(); }

    /// The vertex found last.
    Entry next() {
        Entry const entry = pending_.back();
        pending_.pop_back();
        expand(entry.vertex);
        return entry;
    }

private:
    void expand(int vertex) {
        int const* const neighbours = adjVertices_.neighbours(vertex);
        int const count = adjVertices_.numNeighbours(vertex);
        for (int i = 0; i < count; ++i) {
            if (!visited_.meet(neighbours[i]))
                continue;
            double const squared = distance2(vertices_[neighbours[i]].asPoint(), center_);
            if (squared <= radius2_)
                pending_.push_back({neighbours[i], squared});
        }
    }

    double radius2_;
    std::vector<Entry> pending_;  // found and not yet taken; a stack
    Point center_;
    MeshVertex const* vertices_;
    MeshAdjVertices const& adjVertices_;
    VisitStamps visited_;
};

class BilateralFilter {
public:
    BilateralFilter(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, double sigma)
        : vertices_(mesh.getVertices()),
          normals_(mesh.getNormals()),
          twoSigma2Inv_(1.0 / (sigma * 2.0 * sigma)),
          neighbourhood_(mesh, adjVertices, sigma) {
        distances2_.reserve(usualNeighbours);
        heights_.reserve(usualNeighbours);
    }

    PointFlt newPlace(int vertex) {
        PointFlt const place = vertices_[vertex].asPointFlt();
        if (normals_ == nullptr)
            return place;
        Vector const normal = normals_[vertex].asVector();
        double const mean = collect(vertex, Plane(Point(place), Normal(normal)));
        if (heights_.empty())
            return place;
        double const variance = varianceAbout(mean);
        if (variance < epsilonTol)
            return place;
        double const height = weightedHeight(variance);
        return height == 0.0 ? place : PointFlt(Point(place) + normal * height);
    }

private:
    /// Distances and heights of the neighbourhood, and the mean height.
    double collect(int vertex, Plane const& tangent) {
        distances2_.clear();
        heights_.clear();
        double sum = 0.0;
        for (neighbourhood_.start(vertex); !neighbourhood_.isDone();) {
            Neighbourhood::Entry const entry = neighbourhood_.next();
            double const height = tangent.eval(vertices_[entry.vertex].asPoint());
            distances2_.push_back(entry.distance2);
            heights_.push_back(height);
            sum += height;
        }
        return sum / static_cast<double>(heights_.size());
    }

    double varianceAbout(double mean) const {
        double sum = 0.0;
        for (double const height : heights_)
            sum += (height - mean) * (height - mean);
        return sum / static_cast<double>(heights_.size());
    }

    /// 0 when all is too far away to have a weight.
    double weightedHeight(double variance) const {
        double const heightInv = 1.0 / (2.0 * variance);
        double sum = 0.0;
        double weights = 0.0;
        for (std::size_t i = 0; i < heights_.size(); ++i) {
            double const height = heights_[i];
            double const weight = std::exp(-(twoSigma2Inv_ * distances2_[i])) *
                                  std::exp(-(height * height * heightInv));
            sum += weight * height;
            weights += weight;
        }
        return std::abs(weights) > epsilonTol ? sum / weights : 0.0;
    }

    MeshVertex const* vertices_;
    MeshNormal const* normals_;
    double twoSigma2Inv_;
    Neighbourhood neighbourhood_;
    std::vector<double> distances2_;
    std::vector<double> heights_;
};

}  // namespace

void meshSmoothBilateral(CompactMesh& mesh, MeshAdjVertices const& adjVertices, double sigma,
                         koUtil::Progress& progress) {
    assert(detail::isTableOf(adjVertices, mesh));
    BilateralFilter filter(mesh, adjVertices, sigma);
    detail::smoothSelected(mesh, progress,
                           [&filter](int vertex) { return filter.newPlace(vertex); });
}

}  // namespace koGeom
