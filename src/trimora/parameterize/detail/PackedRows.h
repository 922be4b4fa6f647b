#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/parameterize/SparseMatrix.h"

#include <cstddef>

namespace koGeom {

/// The rows of a sparse matrix in one piece, elements in their stored order: what products read without a jump from row to
/// row. 12 bytes an element, 8 a row.
struct PackedRows {
    ko::vector<std::size_t> begins{0};  ///< of each row among the elements, and their number
    ko::vector<int> columns;
    ko::vector<double> values;

    int size() const { return static_cast<int>(begins.size()) - 1; }
    std::size_t begin(int i) const { return begins[static_cast<std::size_t>(i)]; }
    std::size_t end(int i) const { return begins[static_cast<std::size_t>(i) + 1]; }

    /// Leaves out the elements that have become 0. The product of such a one with a finite number changes no sum, since a
    /// sum that starts at 0 is never -0.
    void assignNonZeros(SparseMatrix const& matrix) {
        begins.assign(1, 0);
        columns.clear();
        values.clear();
        for (int i = 0; i < matrix.size(); ++i) {
            for (SparseElement const& element : matrix.row(i)) {
                if (element.value == 0.0)
                    continue;
                columns.push_back(element.column);
                values.push_back(element.value);
            }
            begins.push_back(columns.size());
        }
    }

    /// The sum of value times x, in stored order.
    double rowTimes(int i, double const* x) const {
        double sum = 0.0;
        for (std::size_t e = begin(i); e < end(i); ++e)
            sum += values[e] * x[columns[e]];
        return sum;
    }
};

}  // namespace koGeom
