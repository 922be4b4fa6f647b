#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>

namespace koGeom {

class NVector;

/// An element of a row.
struct SparseElement {
    int column = -1;
    double value = 0.0;

    SparseElement() = default;
    SparseElement(int columnIndex, double v) : column(columnIndex), value(v) {}
};

/// A square matrix of double that stores the elements that were written, in rows that nobody sorts.
///
/// A column stands at most once in a row. Elements stand in the order in which they first came and are looked for from the last
/// one back, so that a row that is assembled column by column is filled in constant time an element. An element that
/// has become 0 stays. No index is checked. Not copied by assignment: see copy(). Used by one thread at a time; several may
/// read.
class TRIMORA_API SparseMatrix {
public:
    /// size   rows, and columns; below 1 there are none, and size() is 0
    explicit SparseMatrix(int size);
    SparseMatrix(SparseMatrix const&) = delete;
    SparseMatrix& operator=(SparseMatrix const&) = delete;
    ~SparseMatrix();

    int size() const { return size_; }
    /// Stored elements, zeros among them.
    int nnz() const;
    ko::vector<SparseElement> const& row(int i) const { return rows_[static_cast<std::size_t>(i)]; }
    /// Goes up with every call that may write to the matrix: a copy of it is good as long as this stays.
    std::uint64_t numChanges() const { return numChanges_; }

    /// Adds to the element at the column, which is appended to the row if it is not there.
    void addToElement(int row, int column, double value);
    /// returns   false, and value as it was, when the column is not stored in the row
    bool getElement(int row, int column, double& value) const;
    /// returns   the value, or 0 where none is stored
    double getElement(int row, int column) const;

    /// Empties the matrix and gives it a size; all storage is made anew.
    void setToZero(int size);
    /// other   itself: it is emptied, since that comes first
    void copy(SparseMatrix const& other);
    /// out   emptied first, which leaves nothing if it is this matrix; its rows come in ascending order of columns
    void transpose(SparseMatrix& out) const;
    /// out   of the same size, not emptied: the elements at and right of the diagonal are appended to its rows, in stored
    ///       order, and not added to what stands there. If it is this matrix those elements then stand twice
    void getUpperTriangular(SparseMatrix& out) const;

    /// Whether each element differs from its mirror image by less than 1e-6; one that is not stored counts as 0. An element
    /// off the diagonal that is not finite is not symmetric to anything.
    bool isSymmetric() const;
    /// Whether the stored diagonal is positive, all else is not, no row's sum is negative and that of one row is positive.
    /// An empty row passes; a matrix without rows does not. A NaN is neither positive nor negative: a diagonal one fails.
    bool isMMatrix() const;
    /// Whether a complete Cholesky factor exists. For small matrices: see choleskyFactorization().
    bool isPositiveDefinite() const;
    /// lower     out: emptied, then the factor L with L times its transpose equal to this matrix, of which the upper triangle
    ///           is read; every element of its lower triangle is stored. Up to the refused pivot where there is one.
    ///           Must not be this matrix, which would be empty when it is read
    /// returns   false at the first pivot that is 0 or less; a NaN passes. True for a matrix without rows
    /// cost      O(n^3) time, n^2 / 2 elements: for small matrices and for checks
    bool choleskyFactorization(SparseMatrix& lower) const;

    /// y   out: of this size; row sums of value times x, in stored order; must not be x
    void getMatrixTimesVector(NVector const& x, NVector& y) const;
    /// r   out: of this size; b minus the product of the matrix with x; may be b, must not be x
    void getVectorMinusMatrixTimesVector(NVector const& b, NVector const& x, NVector& r) const;
    /// returns   the sum of u[i] times entry i of the product with v, ascending
    double vectorDotMatrixTimesVector(NVector const& u, NVector const& v) const;

    /// The whole matrix as nested lists in braces, ten decimals an element: "{\n{1.0000000000,0.0000000000},\n...}\n}".
    koString::CString toMmaString() const;
    /// Writes how many rows have each length to the standard output stream, in one line that it does not end.
    void dumpRowLengths() const;

private:
    double rowTimesVector(int i, NVector const& x) const;

    int size_ = 0;
    std::unique_ptr<ko::vector<SparseElement>[]> rows_;
    std::uint64_t numChanges_ = 0;
};

/// Writes "SparseMatrix{", a line for each row with the stored values, in stored order, at ten decimals, and "\n}".
TRIMORA_API std::ostream& operator<<(std::ostream& stream, SparseMatrix const& matrix);

}  // namespace koGeom
