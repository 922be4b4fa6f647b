#pragma once

#include "trimora/parameterize/NVector.h"
#include "trimora/parameterize/SparseMatrix.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

/// The solver in its plainest form: every sum in the order that is promised, every look-up a search, nothing packed, skipped or
/// run beside something else. What the library computes must have the same bits.
namespace literal {

using Values = std::vector<double>;
using Row = std::vector<koGeom::SparseElement>;
using Rows = std::vector<Row>;
using Place = std::size_t;

inline Place at(int i) {
    return static_cast<Place>(i);
}

/// Of NaNs the bits are the machine's business.
inline bool sameBits(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

inline bool sameBits(koGeom::NVector const& a, Values const& b) {
    bool isSame = at(a.size()) == b.size();
    for (Place i = 0; isSame && i < b.size(); ++i)
        isSame = sameBits(a[static_cast<int>(i)], b[i]);
    return isSame;
}

inline koGeom::NVector toNVector(Values const& values) {
    koGeom::NVector vector(static_cast<int>(values.size()));
    for (Place i = 0; i < values.size(); ++i)
        vector[static_cast<int>(i)] = values[i];
    return vector;
}

inline Rows rowsOf(koGeom::SparseMatrix const& matrix) {
    Rows rows;
    for (int i = 0; i < matrix.size(); ++i)
        rows.push_back(matrix.row(i));
    return rows;
}

inline double get(Rows const& rows, Place i, Place j) {
    for (auto element = rows[i].rbegin(); element != rows[i].rend(); ++element)
        if (at(element->column) == j)
            return element->value;
    return 0.0;
}

inline double dot(Values const& a, Values const& b) {
    double sum = 0.0;
    for (Place i = a.size(); i-- > 0;)
        sum += a[i] * b[i];
    return sum;
}

inline Values times(Rows const& rows, Values const& x) {
    Values y(rows.size());
    for (Place i = 0; i < rows.size(); ++i)
        for (auto const& element : rows[i])
            y[i] += element.value * x[at(element.column)];
    return y;
}

inline Values minusTimes(Values const& b, Rows const& rows, Values const& x) {
    Values r = times(rows, x);
    for (Place i = 0; i < r.size(); ++i)
        r[i] = b[i] - r[i];
    return r;
}

inline Values plusScaled(Values const& a, double s, Values const& b) {
    Values sum(a.size());
    for (Place i = 0; i < a.size(); ++i)
        sum[i] = b[i] * s + a[i];
    return sum;
}

struct IncompleteCholesky {
    Rows upper;
    Rows lower;

    explicit IncompleteCholesky(Rows const& matrix) : upper(matrix.size()), lower(matrix.size()) {
        for (Place i = 0; i < matrix.size(); ++i)
            for (auto const& element : matrix[i])
                if (at(element.column) >= i)
                    upper[i].push_back(element);
        for (Place i = 0; i < upper.size(); ++i)
            finishRow(i);
    }

    void finishRow(Place i) {
        for (Place k = 0; k < i; ++k) {
            double const f = get(upper, k, i);
            for (auto& element : upper[i]) {
                double const g = get(upper, k, at(element.column));
                if (element.value != 0.0)
                    element.value -= g * f;
            }
        }
        double pivot = 0.0;
        for (auto& element : upper[i]) {
            if (at(element.column) == i) {
                pivot = element.value = std::sqrt(element.value);
                break;
            }
        }
        for (auto& element : upper[i]) {
            if (at(element.column) != i)
                element.value /= pivot;
            lower[at(element.column)].emplace_back(static_cast<int>(i), element.value);
        }
    }

    Values applyInverse(Values const& in) const {
        Values out(in.size());
        for (Place i = 0; i < in.size(); ++i) {
            out[i] = in[i];
            substitute(lower[i], i, out);
        }
        for (Place i = in.size(); i-- > 0;)
            substitute(upper[i], i, out);
        return out;
    }

    static void substitute(Row const& row, Place i, Values& out) {
        double divisor = 0.0;
        for (auto const& element : row) {
            if (at(element.column) == i)
                divisor = element.value;
            else
                out[i] -= out[at(element.column)] * element.value;
        }
        out[i] /= divisor;
    }
};

enum class Kind { plain, diagonal, cholesky };

struct ConjugateGradient {
    Rows matrix;
    Kind kind;
    Values inverseDiagonal;
    IncompleteCholesky factor;
    int iteration = 0;
    Values b, x, p, r;
    double rho = 0.0, bNormSquared = 0.0, residualNormSquared = 0.0;

    ConjugateGradient(Rows const& rows, Kind preconditioner)
        : matrix(rows),
          kind(preconditioner),
          factor(preconditioner == Kind::cholesky ? rows : Rows()) {
        for (Place i = 0; i < rows.size(); ++i)
            inverseDiagonal.push_back(1.0 / get(rows, i, i));
    }

    Values precondition(Values const& in) const {
        if (kind == Kind::cholesky)
            return factor.applyInverse(in);
        Values out = in;
        for (Place i = 0; kind == Kind::diagonal && i < in.size(); ++i)
            out[i] = in[i] * inverseDiagonal[i];
        return out;
    }

    void initialize(Values const& right, Values const& start) {
        b = right;
        x = start;
        r = minusTimes(b, matrix, x);
        p = precondition(r);
        rho = dot(r, p);
        residualNormSquared = dot(r, r);
        bNormSquared = dot(b, b);
        iteration = 0;
        if (1e-12 > bNormSquared)
            bNormSquared = 1.0;
    }

    int iterate(double tolerance, double breakdownThreshold) {
        ++iteration;
        if (iteration > static_cast<int>(x.size()))
            return 2;
        if (tolerance * tolerance * bNormSquared >= residualNormSquared)
            return 1;
        Values const q = times(matrix, p);
        double const d = dot(p, q);
        if (d < 0.0 && iteration > 1)
            return -1;
        if (breakdownThreshold > std::abs(d))
            return 3;
        double const alpha = rho / d;
        x = plusScaled(x, alpha, p);
        if (d < 0.0)
            return -1;
        r = iteration % 50 == 0 ? minusTimes(b, matrix, x) : plusScaled(r, -alpha, q);
        residualNormSquared = dot(r, r);
        double const old = rho;
        if (breakdownThreshold > std::abs(old))
            return 4;
        Values const z = precondition(r);
        rho = kind == Kind::plain ? residualNormSquared : dot(r, z);
        p = plusScaled(z, rho / old, p);
        return 0;
    }
};

/// What random systems are made of.
struct Mix {
    int size = 1;
    int elementsPerRow = 3;      ///< off the diagonal, about
    double dominance = 1.0;      ///< of the diagonal: definite at 1, indefinite below 0
    double zeros = 0.0;          ///< share of elements that are stored as 0
    double missingPivots = 0.0;  ///< share of rows without a diagonal element
    double infinities = 0.0;     ///< share of elements that are infinite or NaN
};

using Random = std::mt19937;

inline double uniform(Random& random) {
    return static_cast<double>(random()) / 4294967296.0;
}

inline double element(Mix const& mix, Random& random) {
    if (uniform(random) < mix.infinities)
        return random() % 3 == 0 ? std::nan("") : random() % 2 == 0 ? INFINITY : -INFINITY;
    return uniform(random) < mix.zeros ? 0.0 : uniform(random) * 2.0 - 1.0;
}

/// A symmetric matrix, its elements inserted in random order.
inline void fillRandomly(koGeom::SparseMatrix& matrix, Mix const& mix, Random& random) {
    auto const size = static_cast<unsigned>(mix.size);
    Values absoluteSums(size);
    auto const add = [&matrix, &absoluteSums](int i, int j, double value) {
        matrix.addToElement(i, j, value);
        if (std::isfinite(value))
            absoluteSums[at(i)] += std::abs(value);
    };
    for (int k = 0; k < mix.size * mix.elementsPerRow / 2; ++k) {
        int const i = static_cast<int>(random() % size);
        int const j = static_cast<int>(random() % size);
        double const value = element(mix, random);
        if (i != j) {
            add(i, j, value);
            add(j, i, value);
        }
    }
    for (int i = 0; i < mix.size; ++i)
        if (uniform(random) >= mix.missingPivots)
            matrix.addToElement(i, i,
                                mix.dominance * (absoluteSums[at(i)] + 0.1 * uniform(random)));
}

inline Values randomValues(int size, Random& random) {
    Values values;
    for (int i = 0; i < size; ++i)
        values.push_back(uniform(random) * 2.0 - 1.0);
    return values;
}

}  // namespace literal
