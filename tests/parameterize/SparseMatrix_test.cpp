#include "literalSolver.h"

#include "trimora/parameterize/NVector.h"
#include "trimora/parameterize/SparseMatrix.h"

#include <doctest/doctest.h>
#include <iostream>
#include <sstream>
#include <string>

namespace {

using namespace koGeom;
using literal::Rows;
using literal::sameBits;
using literal::toNVector;
using literal::Values;

/// Stores everything but 0, row by row.
struct Filled : SparseMatrix {
    explicit Filled(std::vector<Values> const& grid) : SparseMatrix(static_cast<int>(grid.size())) {
        for (int i = 0; i < size(); ++i)
            for (int j = 0; j < size(); ++j)
                if (double const value = grid[literal::at(i)][literal::at(j)]; value != 0.0)
                    addToElement(i, j, value);
    }
};

template <typename T>
std::string printed(T const& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

/// What dumpRowLengths() writes to the standard output stream.
std::string rowLengthsOf(SparseMatrix const& matrix) {
    std::ostringstream captured;
    std::streambuf* const before = std::cout.rdbuf(captured.rdbuf());
    matrix.dumpRowLengths();
    std::cout.rdbuf(before);
    return captured.str();
}

void add(Rows& rows, int i, int j, double value) {
    for (SparseElement& element : rows[literal::at(i)])
        if (element.column == j) {
            element.value += value;
            return;
        }
    rows[literal::at(i)].emplace_back(j, value);
}

/// The same elements in the same order.
bool areEqual(SparseMatrix const& matrix, Rows const& rows) {
    bool isSame = literal::at(matrix.size()) == rows.size();
    for (int i = 0; isSame && i < matrix.size(); ++i)
        isSame =
            std::equal(matrix.row(i).begin(), matrix.row(i).end(), rows[literal::at(i)].begin(),
                       rows[literal::at(i)].end(), [](auto const& a, auto const& b) {
                           return a.column == b.column && sameBits(a.value, b.value);
                       });
    return isSame;
}

TEST_CASE("vectorsAddFromTheLastEntryToTheFirst") {
    NVector none(-5);
    CHECK(printed(none) == "()");
    CHECK(none.dot(none) == 0.0);
    CHECK(none.infinityNorm() == 0.0);
    CHECK(toNVector({1.0, -4.0, 3.0}).infinityNorm() == 4.0);
    CHECK(toNVector({NAN, -2.0, NAN}).infinityNorm() == 2.0);
    std::ostringstream stream;
    stream.precision(3);
    stream << toNVector({-1.0, 1.0 / 3.0, 1e20}) << "!";
    CHECK(stream.str() == "(-1 0.333 1e+20 )!");
    literal::Random random(1);
    for (int size = 0; size < 200; ++size) {
        Values const a = literal::randomValues(size, random),
                     b = literal::randomValues(size, random);
        NVector first = toNVector(a), second = toNVector(b);
        CHECK(sameBits(first.dot(second), literal::dot(a, b)));
        first.setToVectorPlusScalarTimesVector(first, 0.3, second);  // over either term
        CHECK(sameBits(first, literal::plusScaled(a, 0.3, b)));
        second.setToVectorPlusScalarTimesVector(toNVector(a), 0.3, second);
        CHECK(sameBits(second, literal::plusScaled(a, 0.3, b)));
        first = none;  // the size is that of the source
        CHECK(first.size() == 0);
    }
}

TEST_CASE("matricesAreTheirRowsInTheOrderOfInsertion") {
    literal::Random random(2);
    for (int size = 1; size < 12; ++size) {
        SparseMatrix matrix(size), other(3), upper(size);
        auto const count = static_cast<unsigned>(size);
        Rows rows(count), transposed(count), appended(count);
        std::uint64_t changes = matrix.numChanges();
        for (int k = 0; k < 2 * size * size; ++k) {
            int const i = static_cast<int>(random() % count),
                      j = static_cast<int>(random() % count);
            double const value =
                k % 5 == 0 ? 0.0 : literal::uniform(random);  // 0 is stored as well
            matrix.addToElement(i, j, value);
            add(rows, i, j, value);
            CHECK(std::exchange(changes, matrix.numChanges()) != changes);
        }
        CHECK(areEqual(matrix, rows));
        int numElements = 0;
        for (int i = 0; i < size; ++i) {
            for (SparseElement const& element : rows[literal::at(i)]) {
                add(transposed, element.column, i, element.value);
                if (element.column >= i)
                    appended[literal::at(i)].push_back(element);
                ++numElements;
            }
            for (int j = 0; j < size; ++j) {
                double value = 7.0;
                double const expected = literal::get(rows, literal::at(i), literal::at(j));
                CHECK(sameBits(matrix.getElement(i, j), expected));
                CHECK(sameBits(matrix.getElement(i, j, value) ? value : value - 7.0, expected));
            }
        }
        CHECK(matrix.nnz() == numElements);

        Values const x = literal::randomValues(size, random),
                     b = literal::randomValues(size, random);
        NVector product(size), difference = toNVector(b);
        matrix.getMatrixTimesVector(toNVector(x), product);
        CHECK(sameBits(product, literal::times(rows, x)));
        matrix.getVectorMinusMatrixTimesVector(difference, toNVector(x), difference);
        CHECK(sameBits(difference, literal::minusTimes(b, rows, x)));
        double sum = 0.0;
        for (int i = 0; i < size; ++i)
            sum += product[i] * b[literal::at(i)];
        CHECK(sameBits(matrix.vectorDotMatrixTimesVector(toNVector(b), toNVector(x)), sum));

        auto hasChanged = [last = other.numChanges(), &other]() mutable {
            return std::exchange(last, other.numChanges()) != last;
        };
        matrix.transpose(other);
        CHECK(areEqual(other, transposed));
        CHECK(hasChanged());
        other.copy(matrix);
        CHECK(areEqual(other, rows));
        CHECK(hasChanged());
        for (auto& row : appended)
            row.insert(row.begin(), {size + 1, 1.0});
        for (int i = 0; i < size; ++i)
            upper.addToElement(i, size + 1, 1.0);  // stays
        matrix.getUpperTriangular(upper);
        CHECK(areEqual(upper, appended));
        matrix.getUpperTriangular(other);
        CHECK(hasChanged());
        CHECK(other.isPositiveDefinite() == other.isPositiveDefinite());
        CHECK_FALSE(hasChanged());
        matrix.choleskyFactorization(other);
        CHECK(hasChanged());
        other.setToZero(2);
        CHECK(hasChanged());
        CHECK(areEqual(other, Rows(2)));
        matrix.copy(matrix);  // emptied before it is read
        CHECK(areEqual(matrix, Rows(count)));
    }
    CHECK(SparseElement().column == -1);
    CHECK(SparseElement().value == 0.0);
}

TEST_CASE("matricesWithoutRowsDoEverything") {
    for (int const size : {0, -2147483647}) {
        SparseMatrix matrix(size), lower(4);
        CHECK(matrix.size() == 0);
        CHECK(matrix.isSymmetric());
        CHECK_FALSE(matrix.isMMatrix());
        CHECK(matrix.isPositiveDefinite());
        CHECK(matrix.choleskyFactorization(lower));
        CHECK(lower.size() == 0);
        CHECK(std::string(matrix.toMmaString().asChar()) == "{\n}");
        CHECK(printed(matrix) == "SparseMatrix{\n}");
        CHECK(rowLengthsOf(matrix) == "  total rows: 0");
    }
}

TEST_CASE("symmetryAllowsLessThanAMillionth") {
    for (auto const& [difference, isSymmetric] :
         {std::pair(0.99e-6, true), {1e-6, false}, {-1e-6, false}, {double(NAN), false}}) {
        CHECK(Filled({{1.0, difference}, {0.0, 1.0}}).isSymmetric() == isSymmetric);
        CHECK(Filled({{1.0, 2.0, 0.0}, {2.0, 1.0, 0.0}, {0.0, difference, 1.0}}).isSymmetric() ==
              isSymmetric);
    }
    CHECK(Filled({{NAN, 3.0}, {3.0, INFINITY}}).isSymmetric());
    CHECK_FALSE(Filled({{1.0, INFINITY}, {INFINITY, 1.0}}).isSymmetric());
}

TEST_CASE("mMatricesHavePositiveDiagonalsAndDominatingRows") {
    CHECK(Filled({{2.0, -1.0}, {-1.0, 1.0}}).isMMatrix());
    CHECK(Filled({{2.0, -1.0}, {0.0, 0.0}}).isMMatrix());         // an empty row
    CHECK_FALSE(Filled({{1.0, -1.0}, {-1.0, 1.0}}).isMMatrix());  // no row sum above 0
    CHECK_FALSE(Filled({{2.0, 0.5}, {-1.0, 1.0}}).isMMatrix());
    CHECK_FALSE(Filled({{2.0, -1.0}, {-1.0, 0.9}}).isMMatrix());  // a negative row sum
    CHECK_FALSE(Filled({{NAN, -1.0}, {-1.0, 2.0}}).isMMatrix());
    CHECK(Filled({{2.0, NAN}, {-1.0, 2.0}}).isMMatrix());
    Filled zeros({{2.0, 0.0}, {0.0, 0.0}});
    zeros.addToElement(0, 1, 0.0);
    CHECK(zeros.isMMatrix());
    zeros.addToElement(1, 1, 0.0);
    CHECK_FALSE(zeros.isMMatrix());  // a diagonal element that is stored must be above 0
}

TEST_CASE("completeFactorHasTheBitsOfTheLiteralLoop") {
    //  4  2  0     2        2 1 0
    //  2  5  0  =  1 2   *    2 0
    //  0  0  9     0 0 3        3
    SparseMatrix lower(0);
    CHECK(Filled({{4.0, 2.0, 0.0}, {2.0, 5.0, 0.0}, {0.0, 0.0, 9.0}}).choleskyFactorization(lower));
    CHECK(printed(lower) == "SparseMatrix{\n  2.0000000000\n  1.0000000000  2.0000000000\n"
                            "  0.0000000000  0.0000000000  3.0000000000\n}");
    CHECK_FALSE(Filled({{1.0, 2.0}, {2.0, 4.0}}).isPositiveDefinite());  // a pivot of 0
    CHECK(Filled({{NAN, 2.0}, {2.0, 1.0}}).isPositiveDefinite());

    literal::Random random(3);
    for (int round = 0; round < 60; ++round) {
        literal::Mix const mix{
            1 + round % 25, 1 + round % 6, round % 5 == 4 ? 0.3 : 1.0, 0.1, 0.0, 0.0};
        SparseMatrix matrix(mix.size);
        literal::fillRandomly(matrix, mix, random);
        Rows expected(literal::at(mix.size));
        auto const get = [&](int i, int j) {
            return literal::get(expected, literal::at(i), literal::at(j));
        };
        bool goesOn = true;
        for (int i = 0; goesOn && i < mix.size; ++i)
            for (int j = i; goesOn && j < mix.size; ++j) {
                double x = matrix.getElement(i, j);
                for (int k = i - 1; k >= 0; --k)
                    x -= get(j, k) * get(i, k);
                goesOn = i != j || x > 0.0;
                if (goesOn)
                    add(expected, j, i, i == j ? std::sqrt(x) : x / get(i, i));
            }
        CHECK(matrix.choleskyFactorization(lower) == goesOn);
        CHECK(matrix.isPositiveDefinite() == goesOn);
        CHECK(areEqual(lower, expected));
    }
}

TEST_CASE("textsHaveTenDecimals") {
    CHECK(std::string(Filled({{1.0, -0.5}, {0.0, 1e10}}).toMmaString().asChar()) ==
          "{\n{1.0000000000,-0.5000000000},\n{0.0000000000,10000000000.0000000000}\n}");
    Filled const largest(std::vector<Values>(1, {-1.7976931348623157e308}));
    CHECK(largest.toMmaString().length() == 1 + 309 + 11 + 6);

    SparseMatrix matrix(3);
    matrix.addToElement(0, 2, -1.5);
    matrix.addToElement(0, 0, 2.0);
    matrix.addToElement(2, 1, 0.0);
    std::ostringstream stream;
    stream.precision(2);
    stream << matrix << "!";
    CHECK(stream.str() == "SparseMatrix{\n -1.5000000000  2.0000000000\n\n  0.0000000000\n}!");
    matrix.addToElement(1, 0, 1.0);
    CHECK(rowLengthsOf(matrix) == "  total rows: 3  length 1: 2 rows  length 2: 1 rows");
}

}  // namespace
