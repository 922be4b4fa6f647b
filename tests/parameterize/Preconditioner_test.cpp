#include "literalSolver.h"

#include "trimora/parameterize/Preconditioner.h"

#include <doctest/doctest.h>
#include <tuple>

namespace {

using namespace koGeom;
using literal::Mix;
using literal::sameBits;
using literal::toNVector;

NVector applied(Preconditioner const& preconditioner, NVector const& in) {
    NVector out(in.size());
    preconditioner.applyInverse(in, out);
    return out;
}

/// The factor, seen through what it does to random vectors and to one that has a 1 in one place.
bool hasLiteralBits(SparseMatrix const& matrix, literal::Random& random) {
    IncompleteCholeskyPreconditioner const preconditioner(matrix);
    literal::IncompleteCholesky const expected(literal::rowsOf(matrix));
    bool isSame = true;
    for (int round = 0; round < 3; ++round) {
        literal::Values in = literal::randomValues(matrix.size(), random);
        if (round > 0) {
            in.assign(in.size(), 0.0);
            in[random() % in.size()] = 1.0;
        }
        isSame &= sameBits(applied(preconditioner, toNVector(in)), expected.applyInverse(in));
    }
    return isSame;
}

TEST_CASE("diagonalPreconditionerDividesByTheDiagonal") {
    SparseMatrix matrix(4);
    matrix.addToElement(0, 0, 4.0);
    matrix.addToElement(1, 1, -0.5);
    matrix.addToElement(2, 2, 0.0);
    matrix.addToElement(3, 0, 7.0);
    DiagonalPreconditioner const preconditioner(matrix);
    matrix.setToZero(4);  // which a snapshot does not notice
    NVector const out = applied(preconditioner, toNVector({2.0, 2.0, 2.0, -2.0}));
    CHECK(sameBits(out, {0.5, -4.0, INFINITY, -INFINITY}));
    NVector inPlace = toNVector({2.0, 2.0, 2.0, 0.0});
    preconditioner.applyInverse(inPlace, inPlace);
    CHECK(sameBits(inPlace, {0.5, -4.0, INFINITY, NAN}));
}

TEST_CASE("factorsWithoutFillInAreExactForChains") {
    // x0 - x1 - ... - x7, held at one end: the complete factor has no other elements
    constexpr int size = 8;
    SparseMatrix matrix(size);
    for (int i = 0; i < size; ++i) {
        matrix.addToElement(i, i, i == 0 ? 1.5 : 2.0);
        if (i > 0)
            matrix.addToElement(i, i - 1, -1.0);
        if (i + 1 < size)
            matrix.addToElement(i, i + 1, -1.0);
    }
    IncompleteCholeskyPreconditioner const preconditioner(matrix);
    NVector const right = toNVector({1.0, -2.0, 3.0, 0.0, 5.0, 1.0, 1.0, -4.0});
    NVector x = right;
    preconditioner.applyInverse(x, x);
    NVector residual(size);
    matrix.getVectorMinusMatrixTimesVector(right, x, residual);
    CHECK(residual.infinityNorm() < 1e-13);
}

TEST_CASE("factorsOfFullMatricesAreComplete") {
    literal::Random random(4);
    Mix const mix{20, 400, 1.0, 0.0, 0.0, 0.0};
    SparseMatrix matrix(mix.size);
    literal::fillRandomly(matrix, mix, random);
    CHECK(matrix.nnz() == mix.size * mix.size);
    NVector const right = toNVector(literal::randomValues(mix.size, random));
    NVector const x = applied(IncompleteCholeskyPreconditioner(matrix), right);
    NVector residual(mix.size);
    matrix.getVectorMinusMatrixTimesVector(right, x, residual);
    CHECK(residual.infinityNorm() < 1e-12);
}

TEST_CASE("factorHasTheBitsOfTheLiteralLoop") {
    literal::Random random(5);
    for (int round = 0; round < 900; ++round) {
        Mix mix;
        mix.size = 1 + round % 40;
        mix.elementsPerRow = 1 + round % 11;
        mix.dominance = round % 4 == 1 ? 0.4 : round % 4 == 2 ? -0.2 : 1.0;
        mix.zeros = round % 3 == 0 ? 0.3 : 0.0;
        mix.missingPivots = round % 5 == 0 ? 0.1 : 0.0;
        mix.infinities = round % 3 == 1 ? 0.02 : 0.0;
        SparseMatrix matrix(mix.size);
        literal::fillRandomly(matrix, mix, random);
        INFO("round " << round);
        CHECK(hasLiteralBits(matrix, random));
    }
}

// An arrow has one long column, or one long row, beside short ones.
TEST_CASE("longColumnsHaveTheBitsOfTheLiteralLoop") {
    literal::Random random(6);
    for (bool const pointsDown : {true, false}) {
        for (double const infinities : {0.0, 0.03}) {
            constexpr int size = 120;
            int const hub = pointsDown ? size - 1 : 0;
            Mix const mix{size, 3, 1.0, 0.1, 0.0, infinities};
            SparseMatrix matrix(size);
            literal::fillRandomly(matrix, mix, random);
            for (int i = 0; i < size; ++i) {
                matrix.addToElement(i, i, 1.0);
                matrix.addToElement(i, hub, -0.01);
                matrix.addToElement(hub, i, -0.01);
            }
            matrix.addToElement(hub, hub, 5.0);
            CHECK(hasLiteralBits(matrix, random));
        }
    }
}

TEST_CASE("elementsThatBecomeZeroStayZero") {
    //  1  1  1     (1, 2) becomes 1 - 1 * 1 = 0
    //     2  1
    //        4
    SparseMatrix matrix(3);
    for (auto const& [i, j, value] :
         {std::tuple(0, 0, 1.0), {0, 1, 1.0}, {0, 2, 1.0}, {1, 1, 2.0}, {1, 2, 1.0}, {2, 2, 4.0}})
        matrix.addToElement(i, j, value);
    NVector const x = applied(IncompleteCholeskyPreconditioner(matrix), toNVector({0.0, 1.0, 0.0}));
    CHECK(sameBits(x, {-1.0, 1.0, 0.0}));
    literal::Random random(7);
    CHECK(hasLiteralBits(matrix, random));
    matrix.addToElement(0, 1, INFINITY);
    CHECK(hasLiteralBits(matrix, random));
}

// An infinity times the 0 that stands for an absent element is NaN.
TEST_CASE("infinitiesSpreadToElementsBesideAbsentOnes") {
    SparseMatrix matrix(4);
    for (int i = 0; i < 4; ++i)
        matrix.addToElement(i, i, 2.0);
    matrix.addToElement(0, 3, INFINITY);
    matrix.addToElement(1, 3, 1.0);  // column 1 of row 0 is absent
    NVector const x =
        applied(IncompleteCholeskyPreconditioner(matrix), toNVector({0.0, 1.0, 0.0, 0.0}));
    CHECK(std::isnan(x[1]));
    CHECK_FALSE(std::isnan(x[2]));
    literal::Random random(8);
    CHECK(hasLiteralBits(matrix, random));
}

TEST_CASE("emptyRowsDivideByZero") {
    SparseMatrix matrix(3);
    matrix.addToElement(0, 0, 4.0);
    matrix.addToElement(2, 2, 4.0);
    NVector const x = applied(IncompleteCholeskyPreconditioner(matrix), toNVector({4.0, 1.0, 8.0}));
    CHECK(sameBits(x, {1.0, INFINITY, 2.0}));
    CHECK(std::isnan(applied(IncompleteCholeskyPreconditioner(matrix), NVector(3))[1]));
}

TEST_CASE("negativePivotsGiveNaN") {
    SparseMatrix matrix(2);
    matrix.addToElement(0, 0, -1.0);
    matrix.addToElement(1, 1, 1.0);
    NVector const x = applied(IncompleteCholeskyPreconditioner(matrix), toNVector({1.0, 3.0}));
    CHECK(std::isnan(x[0]));
    CHECK(x[1] == 3.0);
}

TEST_CASE("preconditionersOfNothingDoNothing") {
    SparseMatrix const matrix(-1);
    CHECK(applied(DiagonalPreconditioner(matrix), NVector(0)).size() == 0);
    CHECK(applied(IncompleteCholeskyPreconditioner(matrix), NVector(0)).size() == 0);
}

}  // namespace
