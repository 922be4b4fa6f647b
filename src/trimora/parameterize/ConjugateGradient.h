#pragma once

#include "trimora/export.h"
#include "trimora/parameterize/NVector.h"
#include "trimora/parameterize/Preconditioner.h"
#include "trimora/parameterize/SparseMatrix.h"

#include <cstdint>
#include <memory>

namespace koGeom {

struct PackedRows;

/// Solves A x = b for a symmetric positive definite matrix, one step a call.
///
/// Construct, fill A(), optionally make a preconditioner, initialize(), then iterate() until it is done. Nothing tests the matrix
/// beforehand, and nothing is thrown: status codes tell what went wrong.
///
/// order     every sum has a fixed order, which starts from the order in which A() was filled: equal input gives equal bits
/// cost      a step: one pass over the matrix, one or two over the preconditioner, two over the vectors
/// memory    6 vectors, one more for the diagonal preconditioner, and 12 bytes an element beside those of the matrix
/// threads   all of it runs on the calling thread; an object is used by one thread at a time
/// source    Hestenes and Stiefel 1952 [hestenes1952]
class TRIMORA_API ConjugateGradient {
public:
    enum StatusCode : int {
        CG_CONTINUE = 0,        ///< a step was made; call again
        CG_CONVERGED = 1,       ///< the relative residual is within the tolerance
        CG_MAX_ITERATIONS = 2,  ///< more calls than unknowns
        CG_ZERO_CURVATURE = 3,  ///< |p . A p| is below the breakdown threshold
        CG_ZERO_RHO = 4,        ///< |r . z| of the step before is below the breakdown threshold
        CG_NEGATIVE_CURVATURE = -1,  ///< p . A p is negative: the matrix is not positive definite
    };

    class Status {
    public:
        explicit Status(StatusCode code) : code_(code) {}
        StatusCode code() const { return code_; }
        /// Any code but CG_CONTINUE.
        bool isDone() const { return code_ != CG_CONTINUE; }

    private:
        StatusCode code_;
    };

    /// size   unknowns; below 1 there are none
    explicit ConjugateGradient(int size);
    ConjugateGradient(ConjugateGradient const&) = delete;
    ConjugateGradient& operator=(ConjugateGradient const&) = delete;
    ~ConjugateGradient();

    /// The matrix, empty at first; to be filled before the calls below. What changes later counts from the next call on, but
    /// not for the preconditioner. Its size may change before initialize() only, and asks for a new preconditioner.
    SparseMatrix& A() { return matrix_; }
    /// The solution as far as it has come.
    NVector const& x() const { return xVector_; }

    /// Each takes the place of the preconditioner made before; made from the matrix as it now is.
    void initDiagonalPreconditioner();
    void initIncompleteCholeskyPreconditioner();

    /// Starts anew.
    ///
    /// b    right side, of the matrix's size; copied. If b . b is below `epsilonTol` the residual will be judged absolutely
    /// x0   where to start, of the same size; copied
    void initialize(NVector const& b, NVector const& x0);

    /// Makes one step. The residual is judged before the step, so a solution is noticed one call after it was reached.
    ///
    /// tolerance            of the residual's length relative to that of b, >= 0; to be equal is enough
    /// breakdownThreshold   below which p . A p, and r . z of the step before, count as 0
    /// returns              CG_MAX_ITERATIONS when it is called more often than there are unknowns, whatever the residual;
    ///                      CG_NEGATIVE_CURVATURE leaves x as it was, but for the first call, which has taken the step.
    ///                      The residual is computed afresh at every 50th call
    Status iterate(double tolerance, double breakdownThreshold);

    /// Calls of iterate() since initialize().
    int getIteration() const { return iteration_; }
    /// Length of the residual over that of b.
    double getConvergenceValue() const;
    double getResidualNormSquared() const { return residualNormSquared_; }
    /// The largest absolute entry of b - A x, computed afresh.
    double getResidualInfinityNorm() const;

private:
    void sizeVectors();
    void computeResidual();
    double multiplyDirection();
    double updateResidual(double step, bool isRefreshed);
    void turnDirection(double factor, double step, bool movesX);

    int iteration_ = 0;
    SparseMatrix matrix_;
    NVector b_;
    NVector xVector_;
    NVector direction_;
    NVector residual_;
    NVector matrixTimesDirection_;
    NVector preconditioned_;
    double rho_ = 0.0;
    double bNormSquared_ = 0.0;
    double residualNormSquared_ = 0.0;
    std::unique_ptr<Preconditioner> preconditioner_;
    double const* scale_ = nullptr;  // the preconditioner's entries, if it does nothing but scale
    std::unique_ptr<PackedRows> packed_;  // copy of the matrix, but for elements that are 0
    std::uint64_t packedChange_ = 0;      // of the matrix when it was copied
};

}  // namespace koGeom
