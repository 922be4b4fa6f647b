#include "trimora/parameterize/SparseMatrix.h"

#include "trimora/parameterize/NVector.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>

namespace koGeom {

namespace {

// Sums that were accumulated in different orders differ in their last digits.
constexpr double symmetryTolerance = 1e-6;

// The largest double has 309 digits before its point.
using DecimalText = std::array<char, 352>;

char const* toDecimal(double value, DecimalText& text) {
    std::snprintf(text.data(), text.size(), "%.10f", value);
    return text.data();
}

// The last element of the row that stands in the column, null if there is none.
SparseElement const* findFromBack(ko::vector<SparseElement> const& row, int column) {
    for (auto element = row.rbegin(); element != row.rend(); ++element)
        if (element->column == column)
            return &*element;
    return nullptr;
}

}  // namespace

SparseMatrix::SparseMatrix(int size) {
    setToZero(size);
}

SparseMatrix::~SparseMatrix() = default;

int SparseMatrix::nnz() const {
    std::size_t sum = 0;
    for (int i = 0; i < size_; ++i)
        sum += row(i).size();
    return static_cast<int>(sum);
}

void SparseMatrix::addToElement(int row, int column, double value) {
    assert(row >= 0 && row < size_);  // a column is asked when a vector is read by it
    ++numChanges_;
    ko::vector<SparseElement>& elements = rows_[static_cast<std::size_t>(row)];
    for (auto element = elements.rbegin(); element != elements.rend(); ++element) {
        if (element->column == column) {
            element->value += value;
            return;
        }
    }
    elements.emplace_back(column, value);
}

bool SparseMatrix::getElement(int row, int column, double& value) const {
    SparseElement const* const element = findFromBack(this->row(row), column);
    if (element != nullptr)
        value = element->value;
    return element != nullptr;
}

double SparseMatrix::getElement(int row, int column) const {
    SparseElement const* const element = findFromBack(this->row(row), column);
    return element != nullptr ? element->value : 0.0;
}

void SparseMatrix::setToZero(int size) {
    ++numChanges_;
    size_ = std::max(size, 0);
    rows_.reset();
    if (size_ > 0)
        rows_ = std::make_unique<ko::vector<SparseElement>[]>(static_cast<std::size_t>(size_));
}

void SparseMatrix::copy(SparseMatrix const& other) {
    setToZero(other.size());
    for (int i = 0; i < size_; ++i)
        rows_[static_cast<std::size_t>(i)] = other.row(i);
}

void SparseMatrix::transpose(SparseMatrix& out) const {
    out.setToZero(size_);
    for (int i = 0; i < size_; ++i)
        for (SparseElement const& element : row(i))
            out.addToElement(element.column, i, element.value);
}

void SparseMatrix::getUpperTriangular(SparseMatrix& out) const {
    assert(out.size() == size_);
    ++out.numChanges_;
    for (int i = 0; i < size_; ++i) {
        std::size_t const length =
            row(i).size();  // as it is before out, which may be this matrix, grows
        for (std::size_t e = 0; e < length; ++e) {
            SparseElement const element = row(i)[e];
            if (element.column >= i)
                out.rows_[static_cast<std::size_t>(i)].push_back(element);
        }
    }
}

bool SparseMatrix::isSymmetric() const {
    for (int i = 0; i < size_; ++i)
        for (auto element = row(i).rbegin(); element != row(i).rend(); ++element)
            if (element->column != i &&
                !(std::abs(element->value - getElement(element->column, i)) < symmetryTolerance))
                return false;
    return true;
}

bool SparseMatrix::isMMatrix() const {
    bool hasPositiveSum = false;
    for (int i = 0; i < size_; ++i) {
        double sum = 0.0;
        for (SparseElement const& element : row(i)) {
            bool const isPositive = element.value > 0.0;
            if (isPositive != (element.column == i))
                return false;
            sum += element.value;
        }
        if (sum < 0.0)
            return false;
        hasPositiveSum |= sum > 0.0;
    }
    return hasPositiveSum;
}

bool SparseMatrix::isPositiveDefinite() const {
    SparseMatrix lower(0);
    return choleskyFactorization(lower);
}

// A row of the factor holds its columns 0, 1, 2 ... in this order, so that an element's place in it is its column.
bool SparseMatrix::choleskyFactorization(SparseMatrix& lower) const {
    assert(&lower != this);
    lower.setToZero(size_);
    for (int i = 0; i < size_; ++i) {
        for (int j = i; j < size_; ++j) {
            double x = getElement(i, j);
            SparseElement const* const rowI = lower.row(i).data();
            SparseElement const* const rowJ = lower.row(j).data();
            for (int k = i - 1; k >= 0; --k)
                x -= rowJ[k].value * rowI[k].value;
            if (i == j) {
                if (0.0 >= x)
                    return false;
                x = std::sqrt(x);
            } else {
                x /= rowI[i].value;
            }
            lower.rows_[static_cast<std::size_t>(j)].emplace_back(i, x);
        }
    }
    return true;
}

double SparseMatrix::rowTimesVector(int i, NVector const& x) const {
    double sum = 0.0;
    for (SparseElement const& element : row(i))
        sum += element.value * x[element.column];
    return sum;
}

void SparseMatrix::getMatrixTimesVector(NVector const& x, NVector& y) const {
    assert(x.size() == size_ && y.size() == size_ && &x != &y);
    for (int i = 0; i < size_; ++i)
        y[i] = rowTimesVector(i, x);
}

void SparseMatrix::getVectorMinusMatrixTimesVector(NVector const& b, NVector const& x,
                                                   NVector& r) const {
    assert(b.size() == size_ && x.size() == size_ && r.size() == size_ && &x != &r);
    for (int i = 0; i < size_; ++i)
        r[i] = b[i] - rowTimesVector(i, x);
}

double SparseMatrix::vectorDotMatrixTimesVector(NVector const& u, NVector const& v) const {
    assert(u.size() == size_ && v.size() == size_);
    double sum = 0.0;
    for (int i = 0; i < size_; ++i)
        sum += rowTimesVector(i, v) * u[i];
    return sum;
}

koString::CString SparseMatrix::toMmaString() const {
    DecimalText decimal;
    std::string text = "{\n";
    for (int i = 0; i < size_; ++i) {
        text += "{";
        for (int j = 0; j < size_; ++j) {
            text += toDecimal(getElement(i, j), decimal);
            if (j + 1 < size_)
                text += ",";
        }
        text += i + 1 < size_ ? "},\n" : "}\n";
    }
    text += "}";
    return koString::CString(text.c_str());
}

void SparseMatrix::dumpRowLengths() const {
    ko::vector<int> counts;
    for (int i = 0; i < size_; ++i) {
        std::size_t const length = row(i).size();
        counts.resize(std::max(counts.size(), length + 1));
        ++counts[length];
    }
    std::cout << "  total rows: " << size_;
    for (std::size_t length = 0; length < counts.size(); ++length)
        if (counts[length] != 0)
            std::cout << "  length " << length << ": " << counts[length] << " rows";
}

std::ostream& operator<<(std::ostream& stream, SparseMatrix const& matrix) {
    DecimalText decimal;
    stream << "SparseMatrix{";
    for (int i = 0; i < matrix.size(); ++i) {
        stream << "\n";
        for (SparseElement const& element : matrix.row(i))
            stream << (element.value < 0.0 ? " " : "  ") << toDecimal(element.value, decimal);
    }
    return stream << "\n}";
}

}  // namespace koGeom
