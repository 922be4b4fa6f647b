// The iteration in three passes over the vectors: the product of matrix and direction with the curvature, the new residual with
// its norms, the step of x with the new direction. A dot product adds from the last entry to the first, each addition
// waiting for the one before; beside the other work of a pass it costs next to nothing. Products run on a packed copy of the
// matrix, made again when the matrix has changed.

#include "trimora/parameterize/ConjugateGradient.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/parameterize/detail/PackedRows.h"

#include <cassert>
#include <cmath>
#include <utility>

namespace koGeom {

namespace {

// Calls between residuals that are computed afresh, since the updated one drifts.
constexpr int refreshInterval = 50;

struct Norms {
    double residual = 0.0;        // r . r
    double preconditioned = 0.0;  // r . z where z is r times a scale, else 0
};

template <bool isScaled>
void addEntry(Norms& norms, double r, double const* scale, int i) {
    norms.residual += r * r;
    if constexpr (isScaled)
        norms.preconditioned += r * (r * scale[i]);
}

template <bool isScaled>
Norms normsOf(int size, double const* r, double const* scale) {
    Norms norms;
    for (int i = size - 1; i >= 0; --i)
        addEntry<isScaled>(norms, r[i], scale, i);
    return norms;
}

// Takes the step off the residual; q is the image of the direction.
template <bool isScaled>
Norms stepAndNorms(int size, double step, double const* q, double* r, double const* scale) {
    Norms norms;
    for (int i = size - 1; i >= 0; --i) {
        r[i] -= q[i] * step;
        addEntry<isScaled>(norms, r[i], scale, i);
    }
    return norms;
}

// Moves x by the step along p, unless that has been done, and turns p.
template <bool isScaled, bool movesX>
void moveAndTurn(int size, double step, double* x, double factor, double* p, double const* z,
                 double const* scale) {
    for (int i = 0; i < size; ++i) {
        double const direction = p[i];
        if constexpr (movesX)
            x[i] += direction * step;
        if constexpr (isScaled)
            p[i] = direction * factor + z[i] * scale[i];
        else
            p[i] = direction * factor + z[i];
    }
}

}  // namespace

ConjugateGradient::ConjugateGradient(int size)
    : matrix_(size),
      b_(size),
      xVector_(size),
      direction_(size),
      residual_(size),
      matrixTimesDirection_(size),
      preconditioned_(size),
      packed_(std::make_unique<PackedRows>()) {}

ConjugateGradient::~ConjugateGradient() = default;

void ConjugateGradient::initDiagonalPreconditioner() {
    auto diagonal = std::make_unique<DiagonalPreconditioner>(matrix_);
    scale_ = diagonal->inverseDiagonal().data();
    preconditioner_ = std::move(diagonal);
}

void ConjugateGradient::initIncompleteCholeskyPreconditioner() {
    preconditioner_ = std::make_unique<IncompleteCholeskyPreconditioner>(matrix_);
    scale_ = nullptr;
}

void ConjugateGradient::initialize(NVector const& b, NVector const& x0) {
    assert(b.size() == matrix_.size() && x0.size() == matrix_.size());
    b_ = b;
    xVector_ = x0;
    sizeVectors();
    computeResidual();
    if (preconditioner_)
        preconditioner_->applyInverse(residual_, direction_);
    else
        direction_ = residual_;
    rho_ = residual_.dot(direction_);
    residualNormSquared_ = residual_.dot(residual_);
    bNormSquared_ = b_.dot(b_);
    iteration_ = 0;
    if (koLinear::epsilonTol > bNormSquared_)
        bNormSquared_ = 1.0;
}

// The caller may have given the matrix another size.
void ConjugateGradient::sizeVectors() {
    for (NVector* const each : {&direction_, &residual_, &matrixTimesDirection_, &preconditioned_})
        if (each->size() != matrix_.size())
            *each = NVector(matrix_.size());
}

ConjugateGradient::Status ConjugateGradient::iterate(double tolerance, double breakdownThreshold) {
    assert(matrix_.size() == xVector_.size());
    ++iteration_;
    if (iteration_ > xVector_.size())
        return Status(CG_MAX_ITERATIONS);
    if (tolerance * tolerance * bNormSquared_ >= residualNormSquared_)
        return Status(CG_CONVERGED);

    double const curvature = multiplyDirection();
    if (curvature < 0.0 && iteration_ > 1)
        return Status(CG_NEGATIVE_CURVATURE);
    if (breakdownThreshold > std::abs(curvature))
        return Status(CG_ZERO_CURVATURE);
    double const step = rho_ / curvature;
    bool const isNegative = curvature < 0.0;
    bool const isBreakdown = breakdownThreshold > std::abs(rho_);
    bool const isRefreshed = iteration_ % refreshInterval == 0;

    // Where nothing comes between, x is moved together with the turn of the direction.
    bool const movesFirst = isNegative || isBreakdown || isRefreshed;
    if (movesFirst)
        xVector_.setToVectorPlusScalarTimesVector(xVector_, step, direction_);
    if (isNegative)
        return Status(CG_NEGATIVE_CURVATURE);
    double const newRho = updateResidual(step, isRefreshed);
    if (isBreakdown)
        return Status(CG_ZERO_RHO);
    turnDirection(newRho / rho_, step, !movesFirst);
    rho_ = newRho;
    return Status(CG_CONTINUE);
}

// The curvature: direction . (A direction).
//
// If it is finite so is every entry of the direction, and the elements that are 0 and left out of the packed copy would have
// changed nothing. Else their products with the others make NaN, and all elements are gone through.
double ConjugateGradient::multiplyDirection() {
    if (packedChange_ != matrix_.numChanges()) {
        packed_->assignNonZeros(matrix_);
        packedChange_ = matrix_.numChanges();
    }
    double const* const p = direction_.data();
    double curvature = 0.0;
    for (int i = packed_->size() - 1; i >= 0; --i) {
        double const product = packed_->rowTimes(i, p);
        matrixTimesDirection_[i] = product;
        curvature += p[i] * product;
    }
    if (!std::isfinite(curvature)) {
        matrix_.getMatrixTimesVector(direction_, matrixTimesDirection_);
        curvature = direction_.dot(matrixTimesDirection_);
    }
    return curvature;
}

void ConjugateGradient::computeResidual() {
    matrix_.getVectorMinusMatrixTimesVector(b_, xVector_, residual_);
}

// Returns r . z, where z is the residual after preconditioning.
double ConjugateGradient::updateResidual(double step, bool isRefreshed) {
    int const size = residual_.size();
    double* const r = residual_.data();
    Norms norms;
    if (isRefreshed) {
        computeResidual();
        auto const measure = scale_ != nullptr ? &normsOf<true> : &normsOf<false>;
        norms = measure(size, r, scale_);
    } else {
        auto const update = scale_ != nullptr ? &stepAndNorms<true> : &stepAndNorms<false>;
        norms = update(size, step, matrixTimesDirection_.data(), r, scale_);
    }
    residualNormSquared_ = norms.residual;
    if (!preconditioner_)
        return norms.residual;
    if (scale_ != nullptr)
        return norms.preconditioned;
    preconditioner_->applyInverse(residual_, preconditioned_);
    return residual_.dot(preconditioned_);
}

// To z plus the factor times itself.
void ConjugateGradient::turnDirection(double factor, double step, bool movesX) {
    bool const isScaled = scale_ != nullptr;
    NVector const& z = preconditioner_ && !isScaled ? preconditioned_ : residual_;
    auto const turn = isScaled ? movesX ? &moveAndTurn<true, true> : &moveAndTurn<true, false>
                      : movesX ? &moveAndTurn<false, true>
                               : &moveAndTurn<false, false>;
    turn(direction_.size(), step, xVector_.data(), factor, direction_.data(), z.data(), scale_);
}

double ConjugateGradient::getConvergenceValue() const {
    return std::sqrt(residualNormSquared_) / std::sqrt(bNormSquared_);
}

double ConjugateGradient::getResidualInfinityNorm() const {
    NVector residual(matrix_.size());
    matrix_.getVectorMinusMatrixTimesVector(b_, xVector_, residual);
    return residual.infinityNorm();
}

}  // namespace koGeom
