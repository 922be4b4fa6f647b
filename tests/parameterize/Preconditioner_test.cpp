#include "literalSolver.h"

#include "trimora/parameterize/Preconditioner.h"

#include <doctest/doctest.h>

namespace {

using namespace koGeom;
using literal::Mix;
using literal::sameBits;
using literal::toNVector;

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
        NVector out = toNVector(in);
        if (round == 0)
            preconditioner.applyInverse(out, out);
        else
            preconditioner.applyInverse(toNVector(in), out);
        isSame &= sameBits(out, expected.applyInverse(in));
    }
    return isSame;
}

TEST_CASE("factorHasTheBitsOfTheLiteralLoop") {
    literal::Random random(5);
    for (int round = 0; round < 900; ++round) {
        Mix mix;
        mix.size = 1 + round % 40;
        mix.elementsPerRow = 1 + round % 11;
        mix.dominance = round % 8 == 3 ? 0.4 : round % 4 == 2 ? -0.2 : 1.0;
        mix.zeros = round % 3 == 0 ? 0.3 : 0.0;
        mix.missingPivots = round % 5 == 0 ? 0.1 : 0.0;
        mix.infinities = round % 4 == 1 ? 0.02 : 0.0;
        SparseMatrix matrix(mix.size);
        literal::fillRandomly(matrix, mix, random);
        CAPTURE(round);
        CHECK(hasLiteralBits(matrix, random));
    }
}

// An arrow has one long column, or one long row, beside short ones.
TEST_CASE("longColumnsHaveTheBitsOfTheLiteralLoop") {
    literal::Random random(6);
    constexpr int size = 120;
    for (int const hub : {0, size - 1})
        for (double const infinities : {0.0, 0.03}) {
            SparseMatrix matrix(size);
            literal::fillRandomly(matrix, {size, 3, 1.0, 0.1, 0.0, infinities}, random);
            for (int i = 0; i < size; ++i) {
                matrix.addToElement(i, i, i == hub ? 6.0 : 1.0);
                matrix.addToElement(i, hub, -0.01);
                matrix.addToElement(hub, i, -0.01);
            }
            CHECK(hasLiteralBits(matrix, random));
        }
}

//  1  .  .  inf     the product of the infinity with the absent (0, 2) makes (2, 3) a NaN, although a 0, which
//     1  .   0      stays, has come between. Without a last pivot it can be told from the infinity
//        1   1
TEST_CASE("infinitiesAreRemembered") {
    SparseMatrix matrix(4);
    for (int i = 0; i < 3; ++i) {
        matrix.addToElement(i, i, 1.0);
        matrix.addToElement(i, 3, i == 0 ? INFINITY : i - 1.0);
    }
    literal::Random random(7);
    CHECK(hasLiteralBits(matrix, random));
}

}  // namespace
