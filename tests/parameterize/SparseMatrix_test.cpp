#include "literalSolver.h"

#include "trimora/parameterize/NVector.h"
#include "trimora/parameterize/SparseMatrix.h"

#include <algorithm>
#include <doctest/doctest.h>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

namespace {

using namespace koGeom;
using literal::sameBits;
using literal::toNVector;

using Grid = std::vector<std::vector<double>>;

constexpr double huge = 1e16;  // swallows a 1 that is added to it

/// Stores everything but 0, row by row.
SparseMatrix& fill(SparseMatrix& matrix, Grid const& grid) {
    matrix.setToZero(static_cast<int>(grid.size()));
    for (int i = 0; i < matrix.size(); ++i)
        for (int j = 0; j < matrix.size(); ++j)
            if (double const value = grid[literal::at(i)][literal::at(j)]; value != 0.0)
                matrix.addToElement(i, j, value);
    return matrix;
}

struct Filled : SparseMatrix {
    explicit Filled(Grid const& grid) : SparseMatrix(0) { fill(*this, grid); }
};

std::vector<int> columns(SparseMatrix const& matrix, int row) {
    std::vector<int> result;
    for (SparseElement const& element : matrix.row(row))
        result.push_back(element.column);
    return result;
}

template <typename T>
std::string printed(T const& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

/// What a call writes to the standard output stream.
template <typename Call>
std::string standardOutput(Call const& call) {
    std::ostringstream captured;
    std::streambuf* const before = std::cout.rdbuf(captured.rdbuf());
    call();
    std::cout.rdbuf(before);
    return captured.str();
}

// --- vectors ---

TEST_CASE("vectorsStartAtZeroAndAreNeverNegativelyLong") {
    CHECK(printed(NVector(3)) == "(0 0 0 )");
    CHECK(NVector(0).size() == 0);
    CHECK(NVector(-5).size() == 0);
    CHECK(NVector(-5).dot(NVector(0)) == 0.0);
    CHECK(NVector(-5).infinityNorm() == 0.0);
    CHECK(printed(NVector(-5)) == "()");
}

TEST_CASE("vectorsAreWrittenInTheFormatOfTheStream") {
    std::ostringstream stream;
    stream.precision(3);
    stream << toNVector({-1.0, 1.0 / 3.0, 1e20}) << "!";
    CHECK(stream.str() == "(-1 0.333 1e+20 )!");
}

TEST_CASE("assignmentTakesTheSizeOfTheSource") {
    NVector vector = toNVector({1.0, 2.0, 3.0});
    NVector& same = vector;
    vector = same;
    CHECK(printed(vector) == "(1 2 3 )");
    vector = toNVector({7.0});
    CHECK(printed(vector) == "(7 )");
    vector = NVector(0);
    CHECK(vector.size() == 0);
}

TEST_CASE("dotAddsFromTheLastEntryToTheFirst") {
    NVector const ones = toNVector({1.0, 1.0, 1.0});
    CHECK(toNVector({1.0, -huge, huge}).dot(ones) == 1.0);
    CHECK(toNVector({huge, -huge, 1.0}).dot(ones) == 0.0);
    literal::Random random(1);
    for (int size = 0; size < 200; ++size) {
        literal::Values const a = literal::randomValues(size, random);
        literal::Values const b = literal::randomValues(size, random);
        CHECK(sameBits(toNVector(a).dot(toNVector(b)), literal::dot(a, b)));
    }
}

TEST_CASE("infinityNormIsTheLargestAbsoluteValue") {
    CHECK(toNVector({1.0, -4.0, 3.0}).infinityNorm() == 4.0);
    CHECK(toNVector({-INFINITY, 3.0}).infinityNorm() == INFINITY);
    CHECK(toNVector({NAN, -2.0, NAN}).infinityNorm() == 2.0);
}

TEST_CASE("sumsOfVectorsMayOverwriteTheirTerms") {
    NVector const a = toNVector({1.0, 2.0});
    NVector const b = toNVector({10.0, 20.0});
    NVector sum(2);
    sum.setToVectorPlusScalarTimesVector(a, 0.5, b);
    CHECK(printed(sum) == "(6 12 )");
    sum = a;
    sum.setToVectorPlusScalarTimesVector(sum, 0.5, b);
    CHECK(printed(sum) == "(6 12 )");
    sum = b;
    sum.setToVectorPlusScalarTimesVector(a, 0.5, sum);
    CHECK(printed(sum) == "(6 12 )");
    sum.setToVectorPlusScalarTimesVector(sum, -1.0, sum);
    CHECK(printed(sum) == "(0 0 )");
    NVector shorter(1);
    shorter.setToVectorPlusScalarTimesVector(a, 2.0, b);
    CHECK(printed(shorter) == "(21 )");
}

// --- elements ---

TEST_CASE("elementsStandInTheOrderOfTheirFirstInsertion") {
    SparseMatrix matrix(3);
    CHECK(SparseElement().column == -1);
    CHECK(SparseElement().value == 0.0);
    matrix.addToElement(1, 2, 5.0);
    matrix.addToElement(1, 0, 1.0);
    matrix.addToElement(1, 2, -5.0);
    matrix.addToElement(1, 1, 0.0);
    CHECK(columns(matrix, 1) == std::vector<int>{2, 0, 1});
    CHECK(matrix.nnz() == 3);  // two of them are 0
    CHECK(matrix.getElement(1, 0) == 1.0);
}

TEST_CASE("absentElementsReadAsZeroAndLeaveTheValueAlone") {
    Filled const matrix({{1.0, 0.0}, {0.0, 2.0}});
    double value = 7.0;
    CHECK_FALSE(matrix.getElement(0, 1, value));
    CHECK(value == 7.0);
    CHECK(matrix.getElement(0, 1) == 0.0);
    CHECK(matrix.getElement(1, 1, value));
    CHECK(value == 2.0);
}

TEST_CASE("accumulatesLikeAMap") {
    literal::Random random(2);
    SparseMatrix matrix(9);
    std::map<std::pair<int, int>, double> expected;
    for (int k = 0; k < 2000; ++k) {
        int const i = static_cast<int>(random() % 9);
        int const j = static_cast<int>(random() % 9);
        double const value = literal::uniform(random);
        matrix.addToElement(i, j, value);
        expected[{i, j}] += value;
    }
    CHECK(matrix.nnz() == static_cast<int>(expected.size()));
    for (auto const& [place, value] : expected)
        CHECK(sameBits(matrix.getElement(place.first, place.second), value));
}

TEST_CASE("matricesWithoutRowsDoEverything") {
    for (int const size : {0, -1, -2147483647}) {
        SparseMatrix matrix(size);
        SparseMatrix lower(4);
        CHECK(matrix.size() == 0);
        CHECK(matrix.nnz() == 0);
        CHECK(matrix.isSymmetric());
        CHECK_FALSE(matrix.isMMatrix());
        CHECK(matrix.isPositiveDefinite());
        CHECK(matrix.choleskyFactorization(lower));
        CHECK(lower.size() == 0);
        CHECK(std::string(matrix.toMmaString().asChar()) == "{\n}");
        CHECK(printed(matrix) == "SparseMatrix{\n}");
        CHECK(standardOutput([&] { matrix.dumpRowLengths(); }) == "  total rows: 0");
        NVector none(0);
        matrix.getMatrixTimesVector(none, none);
        CHECK(matrix.vectorDotMatrixTimesVector(none, none) == 0.0);
        matrix.transpose(lower);
        matrix.getUpperTriangular(lower);
        matrix.copy(lower);
    }
    SparseMatrix matrix(2);
    matrix.setToZero(-3);
    CHECK(matrix.size() == 0);
}

TEST_CASE("setToZeroDiscardsAllRows") {
    Filled matrix({{1.0, 2.0}, {3.0, 4.0}});
    matrix.setToZero(2);
    CHECK(matrix.size() == 2);
    CHECK(matrix.nnz() == 0);
    matrix.setToZero(5);
    CHECK(matrix.size() == 5);
    matrix.addToElement(4, 4, 1.0);
    CHECK(matrix.nnz() == 1);
}

TEST_CASE("everyWriteCountsAsAChange") {
    Filled matrix({{1.0, 2.0}, {2.0, 5.0}});
    Filled const other(Grid(1, {1.0}));
    std::uint64_t last = matrix.numChanges();
    auto const hasChanged = [&] { return std::exchange(last, matrix.numChanges()) != last; };
    matrix.addToElement(0, 0, 0.0);
    CHECK(hasChanged());
    matrix.setToZero(2);
    CHECK(hasChanged());
    matrix.copy(other);
    CHECK(hasChanged());
    other.transpose(matrix);
    CHECK(hasChanged());
    other.getUpperTriangular(matrix);
    CHECK(hasChanged());
    other.choleskyFactorization(matrix);
    CHECK(hasChanged());
    matrix.isPositiveDefinite();
    CHECK_FALSE(hasChanged());
}

// --- whole matrices ---

TEST_CASE("copyReplacesEverything") {
    SparseMatrix source(3);
    source.addToElement(2, 1, 4.0);
    source.addToElement(2, 0, 0.0);
    SparseMatrix copy(7);
    copy.addToElement(6, 6, 1.0);
    copy.copy(source);
    CHECK(copy.size() == 3);
    CHECK(columns(copy, 2) == std::vector<int>{1, 0});
    CHECK(copy.nnz() == 2);
    copy.copy(copy);
    CHECK(copy.size() == 3);
    CHECK(copy.nnz() == 0);
}

TEST_CASE("transposeHasItsRowsInAscendingOrder") {
    SparseMatrix matrix(3);
    matrix.addToElement(2, 0, 5.0);
    matrix.addToElement(0, 0, 1.0);
    matrix.addToElement(1, 0, 3.0);
    matrix.addToElement(1, 2, 4.0);
    SparseMatrix out(9);
    matrix.transpose(out);
    CHECK(out.size() == 3);
    CHECK(columns(out, 0) == std::vector<int>{0, 1, 2});
    CHECK(out.getElement(0, 2) == 5.0);
    CHECK(out.getElement(2, 1) == 4.0);
    CHECK(out.nnz() == 4);
    matrix.transpose(matrix);
    CHECK(matrix.size() == 3);
    CHECK(matrix.nnz() == 0);
}

TEST_CASE("upperTriangleIsAppendedInStoredOrder") {
    SparseMatrix matrix(2);
    matrix.addToElement(0, 1, 2.0);
    matrix.addToElement(0, 0, 1.0);
    matrix.addToElement(1, 0, 8.0);
    matrix.addToElement(1, 1, 9.0);
    SparseMatrix upper(2);
    upper.addToElement(0, 1, 100.0);
    matrix.getUpperTriangular(upper);
    CHECK(columns(upper, 0) == std::vector<int>{1, 1, 0});
    CHECK(columns(upper, 1) == std::vector<int>{1});
    CHECK(upper.getElement(0, 1) == 2.0);  // found from the back
    matrix.getUpperTriangular(matrix);
    CHECK(columns(matrix, 0) == std::vector<int>{1, 0, 1, 0});
    CHECK(columns(matrix, 1) == std::vector<int>{0, 1, 1});
}

TEST_CASE("productsAddInStoredOrder") {
    SparseMatrix matrix(3);
    matrix.addToElement(0, 2, 1.0);
    matrix.addToElement(0, 0, huge);
    matrix.addToElement(0, 1, -huge);
    matrix.addToElement(1, 0, huge);
    matrix.addToElement(1, 1, -huge);
    matrix.addToElement(1, 2, 1.0);
    NVector const ones = toNVector({1.0, 1.0, 1.0});
    NVector product(3);
    matrix.getMatrixTimesVector(ones, product);
    CHECK(printed(product) == "(0 1 0 )");
    NVector difference(3);
    matrix.getVectorMinusMatrixTimesVector(toNVector({5.0, 6.0, 7.0}), ones, difference);
    CHECK(printed(difference) == "(5 5 7 )");
    difference = toNVector({5.0, 6.0, 7.0});
    matrix.getVectorMinusMatrixTimesVector(difference, ones, difference);
    CHECK(printed(difference) == "(5 5 7 )");
}

TEST_CASE("vectorDotMatrixTimesVectorAddsInAscendingOrder") {
    Filled const identity({{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}});
    NVector const ones = toNVector({1.0, 1.0, 1.0});
    CHECK(identity.vectorDotMatrixTimesVector(ones, toNVector({huge, -huge, 1.0})) == 1.0);
    CHECK(identity.vectorDotMatrixTimesVector(toNVector({1.0, -huge, huge}), ones) == 0.0);
}

TEST_CASE("symmetryAllowsLessThanAMillionth") {
    auto const withDifference = [](double difference) {
        return Filled({{1.0, difference}, {0.0, 1.0}}).isSymmetric();
    };
    CHECK(withDifference(0.99e-6));
    CHECK_FALSE(withDifference(1e-6));
    CHECK_FALSE(withDifference(-1e-6));
    CHECK_FALSE(withDifference(NAN));
    CHECK(Filled({{NAN, 3.0}, {3.0, INFINITY}}).isSymmetric());
    CHECK_FALSE(Filled({{1.0, INFINITY}, {INFINITY, 1.0}}).isSymmetric());
    CHECK_FALSE(Filled({{1.0, 2.0, 0.0}, {2.0, 1.0, 0.0}, {0.0, 3.0, 1.0}}).isSymmetric());
    CHECK(SparseMatrix(4).isSymmetric());
}

TEST_CASE("mMatricesHavePositiveDiagonalsAndDominatingRows") {
    CHECK(Filled({{2.0, -1.0}, {-1.0, 1.0}}).isMMatrix());
    CHECK(Filled({{2.0, -1.0}, {0.0, 0.0}}).isMMatrix());         // an empty row
    CHECK_FALSE(Filled({{1.0, -1.0}, {-1.0, 1.0}}).isMMatrix());  // no row sum above 0
    CHECK_FALSE(Filled({{2.0, 0.5}, {-1.0, 1.0}}).isMMatrix());
    CHECK_FALSE(Filled({{2.0, -1.0}, {-1.0, 0.9}}).isMMatrix());  // a negative row sum
    CHECK_FALSE(Filled({{2.0, -1.0}, {-1.0, -1.0}}).isMMatrix());
    CHECK_FALSE(Filled({{2.0, -1.0}, {-1.0, 0.0}}).isMMatrix());
    CHECK_FALSE(Filled({{NAN, -1.0}, {-1.0, 2.0}}).isMMatrix());
    CHECK(Filled({{2.0, NAN}, {-1.0, 2.0}}).isMMatrix());
    CHECK_FALSE(SparseMatrix(3).isMMatrix());
    SparseMatrix zeros(2);
    zeros.addToElement(0, 0, 2.0);
    zeros.addToElement(0, 1, 0.0);
    CHECK(zeros.isMMatrix());
    zeros.addToElement(1, 1, 0.0);
    CHECK_FALSE(zeros.isMMatrix());  // a diagonal element that is stored must be above 0
}

// --- complete factor ---

TEST_CASE("factorsAMatrixWhoseFactorIsKnown") {
    //  4  2  0     2        2 1 0
    //  2  5  0  =  1 2   *    2 0
    //  0  0  9     0 0 3        3
    Filled const matrix({{4.0, 2.0, 0.0}, {2.0, 5.0, 0.0}, {0.0, 0.0, 9.0}});
    SparseMatrix lower(0);
    CHECK(matrix.choleskyFactorization(lower));
    CHECK(printed(lower) == "SparseMatrix{\n  2.0000000000\n  1.0000000000  2.0000000000\n"
                            "  0.0000000000  0.0000000000  3.0000000000\n}");
    CHECK(matrix.isPositiveDefinite());
}

TEST_CASE("completeFactorHasTheBitsOfTheLiteralLoop") {
    literal::Random random(3);
    for (int round = 0; round < 60; ++round) {
        literal::Mix const mix{
            1 + round % 25, 1 + round % 6, round % 5 == 4 ? 0.3 : 1.0, 0.1, 0.0, 0.0};
        SparseMatrix matrix(mix.size);
        literal::fillRandomly(matrix, mix, random);
        SparseMatrix lower(0);
        bool const isDefinite = matrix.choleskyFactorization(lower);
        CHECK(isDefinite == matrix.isPositiveDefinite());

        SparseMatrix expected(mix.size);
        bool goesOn = true;
        for (int i = 0; goesOn && i < mix.size; ++i) {
            for (int j = i; goesOn && j < mix.size; ++j) {
                double x = matrix.getElement(i, j);
                for (int k = i - 1; k >= 0; --k)
                    x -= expected.getElement(j, k) * expected.getElement(i, k);
                goesOn = i != j || x > 0.0;
                if (goesOn)
                    expected.addToElement(j, i,
                                          i == j ? std::sqrt(x) : x / expected.getElement(i, i));
            }
        }
        CHECK(goesOn == isDefinite);
        CHECK(lower.nnz() == expected.nnz());
        for (int i = 0; i < mix.size; ++i)
            for (int j = 0; j <= i; ++j)
                CHECK(sameBits(lower.getElement(i, j), expected.getElement(i, j)));
    }
}

TEST_CASE("pivotsThatAreNotPositiveEndTheFactor") {
    CHECK_FALSE(Filled({{0.0, 1.0}, {1.0, 0.0}}).isPositiveDefinite());
    CHECK_FALSE(Filled({{1.0, 2.0}, {2.0, 4.0}}).isPositiveDefinite());
    CHECK_FALSE(Filled({{1.0, 2.0}, {2.0, 1.0}}).isPositiveDefinite());
    CHECK(Filled({{NAN, 2.0}, {2.0, 1.0}}).isPositiveDefinite());
    Filled matrix({{1.0, 2.0}, {2.0, 1.0}});
    SparseMatrix lower(0);
    CHECK_FALSE(matrix.choleskyFactorization(lower));
    CHECK(lower.nnz() == 2);
    CHECK_FALSE(matrix.choleskyFactorization(matrix));  // emptied before it is read
    CHECK(matrix.nnz() == 0);
}

// --- text ---

TEST_CASE("mmaTextIsDense") {
    Filled const matrix({{1.0, -0.5}, {0.0, 1e10}});
    CHECK(std::string(matrix.toMmaString().asChar()) ==
          "{\n{1.0000000000,-0.5000000000},\n{0.0000000000,10000000000.0000000000}\n}");
    CHECK(std::string(Filled(Grid(1, {2.0})).toMmaString().asChar()) == "{\n{2.0000000000}\n}");
    Filled const largest(Grid(1, {-1.7976931348623157e308}));
    CHECK(largest.toMmaString().length() == 1 + 309 + 11 + 6);
}

TEST_CASE("streamedTextHoldsTheStoredElements") {
    SparseMatrix matrix(3);
    matrix.addToElement(0, 2, -1.5);
    matrix.addToElement(0, 0, 2.0);
    matrix.addToElement(2, 1, 0.0);
    std::ostringstream stream;
    stream.precision(2);
    stream << matrix << "!";
    CHECK(stream.str() == "SparseMatrix{\n -1.5000000000  2.0000000000\n\n  0.0000000000\n}!");
}

TEST_CASE("rowLengthsAreWrittenInOneLine") {
    SparseMatrix matrix(4);
    for (int j = 0; j < 3; ++j)
        matrix.addToElement(1, j, 1.0);
    matrix.addToElement(2, 0, 0.0);
    matrix.addToElement(3, 0, 1.0);
    CHECK(standardOutput([&] { matrix.dumpRowLengths(); }) ==
          "  total rows: 4  length 0: 1 rows  length 1: 2 rows  length 3: 1 rows");
}

}  // namespace
