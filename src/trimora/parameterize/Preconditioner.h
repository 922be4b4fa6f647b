#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"
#include "trimora/parameterize/NVector.h"
#include "trimora/parameterize/SparseMatrix.h"

#include <memory>

namespace koGeom {

struct PackedRows;

/// An approximate inverse of a symmetric positive definite matrix: a snapshot, taken when it is constructed.
class TRIMORA_API Preconditioner {
public:
    Preconditioner() = default;
    Preconditioner(Preconditioner const&) = delete;
    Preconditioner& operator=(Preconditioner const&) = delete;
    virtual ~Preconditioner();

    /// in    of the size of the matrix
    /// out   at least of that size; may be in
    virtual void applyInverse(NVector const& in, NVector& out) const = 0;
};

/// Divides by the diagonal. A diagonal element that is 0 or missing divides by 0.
class TRIMORA_API DiagonalPreconditioner : public Preconditioner {
public:
    explicit DiagonalPreconditioner(SparseMatrix const& matrix);
    ~DiagonalPreconditioner() override;

    void applyInverse(NVector const& in, NVector& out) const override;
    /// What entries are multiplied by.
    NVector const& inverseDiagonal() const { return inverseDiagonal_; }

private:
    NVector inverseDiagonal_;
};

/// Solves with a Cholesky factor that has no elements outside the pattern of the matrix's upper triangle.
///
/// matrix   of which the upper triangle alone is read
/// pivots   not tested: a negative one gives NaN; a row without a diagonal element divides by 0
/// order    products are subtracted from an element in ascending order of their row; an element that has become exactly 0
///          stays 0
/// cost     of construction: the elements times their number in a column, whatever is not finite; 24 bytes an element of the
///          upper triangle. Of applyInverse(): two passes over the elements
/// source   Meijerink and van der Vorst 1977 [meijerink1977]; levels of rows: Anderson and Saad 1989 [anderson1989]
class TRIMORA_API IncompleteCholeskyPreconditioner : public Preconditioner {
public:
    explicit IncompleteCholeskyPreconditioner(SparseMatrix const& matrix);
    ~IncompleteCholeskyPreconditioner() override;

    void applyInverse(NVector const& in, NVector& out) const override;

private:
    // The factor without its diagonal, by column and by row: `lower_` is the transpose of `upper_`. Place k of both, and of
    // the pivots, belongs to row order_[k].
    std::unique_ptr<PackedRows> lower_;
    std::unique_ptr<PackedRows> upper_;
    ko::vector<double> pivots_;  // the diagonal, 0 where there is none
    ko::vector<int> order_;      // of rows: none comes before those that it needs
};

}  // namespace koGeom
