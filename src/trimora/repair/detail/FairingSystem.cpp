#include "trimora/repair/detail/FairingSystem.h"

#include "trimora/contract/koLinear/tolerances.h"

#include <cmath>
#include <emmintrin.h>

namespace koGeom::detail {

void FairingSystem::beginRow(Point const& start) {
    begins_.push_back(elements_.size());
    rightSides_.emplace_back(0.0, 0.0, 0.0);
    starts_.push_back(start);
}

void FairingSystem::add(int column, double value) {
    if (at(column) >= places_.size())
        places_.resize(at(column) + at(column) / 2 + 64);
    std::size_t const begin = begins_[begins_.size() - 2];
    std::size_t const place = places_[at(column)];
    if (place >= begin && place < elements_.size() && elements_[place].column == column) {
        elements_[place].value += value;
        return;
    }
    places_[at(column)] = elements_.size();
    elements_.push_back({value, column});
    ++begins_.back();
}

namespace {

constexpr int refreshInterval = 50;  // steps between residuals that are computed afresh

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Adds the three products to a sum in the order that the scalar product of whole vectors has.
void addProducts(double& sum, Vector const& v, Vector const& w) {
    sum += v.z * w.z;
    sum += v.y * w.y;
    sum += v.x * w.x;
}

double diagonalOf(FairingSystem const& system, int i) {
    for (FairingSystem::Element const* e = system.rowBegin(i); e != system.rowEnd(i); ++e)
        if (e->column == i)
            return e->value;
    return 0.0;
}

/// The row's weights times vectors of four doubles each, in stored order.
Vector rowTimes(FairingSystem const& system, int i, double const* vectors) {
    __m128d xy = _mm_setzero_pd();
    __m128d z = _mm_setzero_pd();
    FairingSystem::Element const* const end = system.rowEnd(i);
    for (FairingSystem::Element const* e = system.rowBegin(i); e != end; ++e) {
        __m128d const weight = _mm_set1_pd(e->value);
        double const* const vector = vectors + 4 * at(e->column);
        xy = _mm_add_pd(xy, _mm_mul_pd(weight, _mm_loadu_pd(vector)));
        z = _mm_add_sd(z, _mm_mul_sd(weight, _mm_load_sd(vector + 2)));
    }
    return Vector(_mm_cvtsd_f64(xy), _mm_cvtsd_f64(_mm_unpackhi_pd(xy, xy)), _mm_cvtsd_f64(z));
}

}  // namespace

FairingSolver::FairingSolver(FairingSystem const& system)
    : system_(system),
      residuals_(at(system.size())),
      products_(at(system.size())),
      direction_(4 * at(system.size())) {
    for (int i = 0; i < system.size(); ++i) {
        positions_.push_back(system.start(i).asVector());
        inverses_.push_back(1.0 / diagonalOf(system, i));
    }
    computeResidual();
    for (int i = system.size() - 1; i >= 0; --i) {
        Vector const& residual = residuals_[at(i)];
        Vector const p = residual * inverses_[at(i)];
        double* const direction = direction_.data() + 4 * at(i);
        direction[0] = p.x;
        direction[1] = p.y;
        direction[2] = p.z;
        addProducts(rho_, residual, p);
        addProducts(residualNormSquared_, residual, residual);
        addProducts(bNormSquared_, system.rightSide(i), system.rightSide(i));
    }
    if (epsilonTol > bNormSquared_)
        bNormSquared_ = 1.0;
}

/// r = b - A x, with x laid out like a direction.
void FairingSolver::computeResidual() {
    ko::vector<double> x(direction_.size());
    for (std::size_t i = 0; i < positions_.size(); ++i) {
        x[4 * i] = positions_[i].x;
        x[4 * i + 1] = positions_[i].y;
        x[4 * i + 2] = positions_[i].z;
    }
    for (int i = 0; i < system_.size(); ++i)
        residuals_[at(i)] = system_.rightSide(i) - rowTimes(system_, i, x.data());
}

/// Computes A p and returns p . A p.
double FairingSolver::multiply() {
    double sum = 0.0;
    for (int i = system_.size() - 1; i >= 0; --i) {
        Vector const product = rowTimes(system_, i, direction_.data());
        double const* const p = direction_.data() + 4 * at(i);
        products_[at(i)] = product;
        addProducts(sum, Vector(p[0], p[1], p[2]), product);
    }
    return sum;
}

/// p = z + scale p with z the preconditioned residual.
void FairingSolver::turn(double scale) {
    double* p = direction_.data();
    for (std::size_t i = 0; i < residuals_.size(); ++i, p += 4) {
        Vector const z = residuals_[i] * inverses_[i];
        p[0] = p[0] * scale + z.x;
        p[1] = p[1] * scale + z.y;
        p[2] = p[2] * scale + z.z;
    }
}

bool FairingSolver::iterate(double tolerance, double breakdownThreshold) {
    ++iteration_;
    if (iteration_ > 3 * system_.size() ||
        tolerance * tolerance * bNormSquared_ >= residualNormSquared_)
        return true;

    double const curvature = multiply();
    bool const isNegative = curvature < 0.0;
    if ((isNegative && iteration_ > 1) || breakdownThreshold > std::abs(curvature))
        return true;

    double const step = rho_ / curvature;
    for (std::size_t i = 0; i < positions_.size(); ++i) {
        double const* const p = direction_.data() + 4 * i;
        positions_[i] = Vector(p[0], p[1], p[2]) * step + positions_[i];
    }
    if (isNegative)
        return true;

    bool const refresh = iteration_ % refreshInterval == 0;
    if (refresh)
        computeResidual();
    double const oldRho = rho_;
    rho_ = 0.0;
    residualNormSquared_ = 0.0;
    for (std::size_t i = residuals_.size(); i-- > 0;) {
        Vector& residual = residuals_[i];
        if (!refresh)
            residual = products_[i] * -step + residual;
        addProducts(residualNormSquared_, residual, residual);
        addProducts(rho_, residual, residual * inverses_[i]);
    }
    if (breakdownThreshold > std::abs(oldRho))
        return true;
    turn(rho_ / oldRho);
    return false;
}

}  // namespace koGeom::detail
