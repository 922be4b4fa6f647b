// The incomplete factor goes down the rows of the upper triangle. An element (i, j) loses the products of the elements (k, i)
// and (k, j) of all rows k above, ascending. Only rows that store both matter, and those are what the lists of the columns i
// and j have in common: the elements above row i, in ascending order of rows. A product with an element that is not stored
// changes nothing, unless the other one is infinite or NaN: columns that hold such an element are walked
// for these products as well.

#include "trimora/parameterize/Preconditioner.h"

#include "trimora/parameterize/detail/PackedRows.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numeric>
#include <utility>

namespace koGeom {

namespace {

// Of two lists, the longer one is searched rather than walked from this ratio of lengths on.
constexpr std::ptrdiff_t lopsided = 8;

// The finished elements of a column above the running row, rows ascending.
struct ColumnList {
    int const* row;
    int const* end;
    double const* value;
    bool isFinite;

    bool isEmpty() const { return row == end; }
    std::ptrdiff_t length() const { return end - row; }
    void advance(std::ptrdiff_t steps = 1) {
        row += steps;
        value += steps;
    }
    void skipTo(int wantedRow) { advance(std::lower_bound(row, end, wantedRow) - row); }
};

class Factorization {
public:
    Factorization(SparseMatrix const& matrix, PackedRows& lower, PackedRows& upper,
                  ko::vector<double>& pivots);

    void run();

private:
    void finishRow(int i);
    ColumnList columnAbove(int column) const;

    PackedRows& lower_;
    PackedRows& upper_;
    ko::vector<double>& pivots_;
    ko::vector<std::size_t> ends_;  // of what is finished in each row of `lower_`
    ko::vector<char> isFinite_;     // whether all of that is
};

double minusCommonProducts(double value, ColumnList a, ColumnList b) {
    if (a.length() > b.length())
        std::swap(a, b);
    bool const search = b.length() > lopsided * a.length();
    for (; value != 0.0 && !a.isEmpty() && !b.isEmpty(); a.advance()) {
        if (search)
            b.skipTo(*a.row);
        else
            while (!b.isEmpty() && *b.row < *a.row)
                b.advance();
        if (!b.isEmpty() && *b.row == *a.row)
            value -= *b.value * *a.value;
    }
    return value;
}

// The value is NaN or 0 for good once a product with an infinity or a NaN has been met that the other list lacks.
double minusAllProducts(double value, ColumnList a, ColumnList b) {
    while (value != 0.0 && !std::isnan(value) && !(a.isEmpty() && b.isEmpty())) {
        bool const takeA = !a.isEmpty() && (b.isEmpty() || *a.row <= *b.row);
        bool const takeB = !b.isEmpty() && (a.isEmpty() || *b.row <= *a.row);
        value -= (takeB ? *b.value : 0.0) * (takeA ? *a.value : 0.0);
        a.advance(takeA);
        b.advance(takeB);
    }
    return value;
}

double minusProducts(double value, ColumnList const& a, ColumnList const& b) {
    return a.isFinite && b.isFinite ? minusCommonProducts(value, a, b)
                                    : minusAllProducts(value, a, b);
}

// Packs the upper triangle, takes the diagonal out, and finds the place of each row of the transpose.
Factorization::Factorization(SparseMatrix const& matrix, PackedRows& lower, PackedRows& upper,
                             ko::vector<double>& pivots)
    : lower_(lower), upper_(upper), pivots_(pivots) {
    auto const size = static_cast<std::size_t>(matrix.size());
    pivots_.assign(size, 0.0);
    isFinite_.assign(size, true);
    lower_.begins.assign(size + 1, 0);
    for (int i = 0; i < matrix.size(); ++i) {
        for (SparseElement const& element : matrix.row(i)) {
            if (element.column == i)
                pivots_[static_cast<std::size_t>(i)] = element.value;
            if (element.column <= i)
                continue;
            upper_.columns.push_back(element.column);
            upper_.values.push_back(element.value);
            ++lower_.begins[static_cast<std::size_t>(element.column) + 1];
        }
        upper_.begins.push_back(upper_.columns.size());
    }
    for (std::size_t i = 0; i < size; ++i)
        lower_.begins[i + 1] += lower_.begins[i];
    lower_.columns.resize(upper_.columns.size());
    lower_.values.resize(upper_.columns.size());
    ends_.assign(lower_.begins.begin(), lower_.begins.end() - 1);
}

void Factorization::run() {
    for (int i = 0; i < upper_.size(); ++i)
        finishRow(i);
}

ColumnList Factorization::columnAbove(int column) const {
    auto const c = static_cast<std::size_t>(column);
    int const* const rows = lower_.columns.data();
    return {rows + lower_.begins[c], rows + ends_[c], lower_.values.data() + lower_.begins[c],
            isFinite_[c] != 0};
}

// A missing diagonal element counts as a pivot of 0: the value stays 0 in the products and under the root.
void Factorization::finishRow(int i) {
    ColumnList const column = columnAbove(i);
    double& pivot = pivots_[static_cast<std::size_t>(i)];
    pivot = std::sqrt(minusProducts(pivot, column, column));
    for (std::size_t e = upper_.begin(i); e < upper_.end(i); ++e) {
        int const j = upper_.columns[e];
        double const value = minusProducts(upper_.values[e], column, columnAbove(j)) / pivot;
        upper_.values[e] = value;

        auto const c = static_cast<std::size_t>(j);
        lower_.columns[ends_[c]] = i;
        lower_.values[ends_[c]] = value;
        ++ends_[c];
        isFinite_[c] = isFinite_[c] && std::isfinite(value);
    }
}

// The rows by their distance from rows that need no other, so that neighbours in the order seldom wait for each other.
ko::vector<int> orderByLevel(PackedRows const& lower) {
    auto const size = static_cast<std::size_t>(lower.size());
    ko::vector<int> levels(size);
    ko::vector<int> begins(size + 1);  // of each level in the order
    for (std::size_t i = 0; i < size; ++i) {
        int level = 0;
        for (std::size_t e = lower.begins[i]; e < lower.begins[i + 1]; ++e)
            level = std::max(level, levels[static_cast<std::size_t>(lower.columns[e])] + 1);
        levels[i] = level;
        ++begins[static_cast<std::size_t>(level) + 1];
    }
    std::partial_sum(begins.begin(), begins.end(), begins.begin());
    ko::vector<int> order(size);
    for (std::size_t i = 0; i < size; ++i)
        order[static_cast<std::size_t>(begins[static_cast<std::size_t>(levels[i])]++)] =
            static_cast<int>(i);
    return order;
}

PackedRows reordered(PackedRows const& rows, ko::vector<int> const& order) {
    PackedRows out;
    out.columns.reserve(rows.columns.size());
    out.values.reserve(rows.values.size());
    out.begins.reserve(rows.begins.size());
    for (int const i : order) {
        for (std::size_t e = rows.begin(i); e < rows.end(i); ++e) {
            out.columns.push_back(rows.columns[e]);
            out.values.push_back(rows.values[e]);
        }
        out.begins.push_back(out.columns.size());
    }
    return out;
}

}  // namespace

Preconditioner::~Preconditioner() = default;

DiagonalPreconditioner::DiagonalPreconditioner(SparseMatrix const& matrix)
    : inverseDiagonal_(matrix.size()) {
    for (int i = 0; i < matrix.size(); ++i)
        inverseDiagonal_[i] = 1.0 / matrix.getElement(i, i);
}

DiagonalPreconditioner::~DiagonalPreconditioner() = default;

void DiagonalPreconditioner::applyInverse(NVector const& in, NVector& out) const {
    assert(in.size() == inverseDiagonal_.size() && out.size() >= in.size());
    for (int i = 0; i < in.size(); ++i)
        out[i] = in[i] * inverseDiagonal_[i];
}

IncompleteCholeskyPreconditioner::IncompleteCholeskyPreconditioner(SparseMatrix const& matrix)
    : lower_(std::make_unique<PackedRows>()), upper_(std::make_unique<PackedRows>()) {
    ko::vector<double> pivots;
    Factorization(matrix, *lower_, *upper_, pivots).run();
    order_ = orderByLevel(*lower_);
    *lower_ = reordered(*lower_, order_);
    *upper_ = reordered(*upper_, order_);
    pivots_.reserve(pivots.size());
    for (int const i : order_)
        pivots_.push_back(pivots[static_cast<std::size_t>(i)]);
}

IncompleteCholeskyPreconditioner::~IncompleteCholeskyPreconditioner() = default;

void IncompleteCholeskyPreconditioner::applyInverse(NVector const& in, NVector& out) const {
    assert(in.size() == static_cast<int>(pivots_.size()) && out.size() >= in.size());
    double* const x = out.data();
    std::size_t const size = order_.size();
    for (std::size_t k = 0; k < size; ++k) {
        double value = in[order_[k]];
        for (std::size_t e = lower_->begins[k]; e < lower_->begins[k + 1]; ++e)
            value -= x[lower_->columns[e]] * lower_->values[e];
        x[order_[k]] = value / pivots_[k];
    }
    for (std::size_t k = size; k-- > 0;) {
        double value = x[order_[k]];
        for (std::size_t e = upper_->begins[k]; e < upper_->begins[k + 1]; ++e)
            value -= x[upper_->columns[e]] * upper_->values[e];
        x[order_[k]] = value / pivots_[k];
    }
}

}  // namespace koGeom
