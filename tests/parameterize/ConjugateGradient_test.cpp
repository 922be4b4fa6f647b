#include "literalSolver.h"
#include "support/captureBinding.h"

#include "trimora/parameterize/ConjugateGradient.h"

#include <algorithm>
#include <doctest/doctest.h>

namespace {

using namespace koGeom;
using literal::Kind;
using literal::Mix;
using literal::sameBits;
using literal::toNVector;
using literal::Values;

constexpr Kind allKinds[] = {Kind::plain, Kind::diagonal, Kind::cholesky};

void precondition(ConjugateGradient& solver, Kind kind) {
    if (kind == Kind::diagonal)
        solver.initDiagonalPreconditioner();
    if (kind == Kind::cholesky)
        solver.initIncompleteCholeskyPreconditioner();
}

void fillDiagonal(SparseMatrix& matrix, Values const& values) {
    matrix.setToZero(static_cast<int>(values.size()));
    for (int i = 0; i < matrix.size(); ++i)
        matrix.addToElement(i, i, values[literal::at(i)]);
}

/// A chain of springs, held at its ends with the given stiffness: the softer, the worse conditioned.
void fillChain(SparseMatrix& matrix, double hold) {
    int const last = matrix.size() - 1;
    for (int i = 0; i <= last; ++i) {
        matrix.addToElement(i, i, (i > 0) + (i < last) + (i == 0 || i == last ? hold : 0.0));
        if (i > 0)
            matrix.addToElement(i, i - 1, -1.0);
        if (i < last)
            matrix.addToElement(i, i + 1, -1.0);
    }
}

/// Elimination, for matrices that are positive definite.
Values gauss(SparseMatrix const& matrix, Values right) {
    int const size = matrix.size();
    std::vector<Values> rows(right.size(), Values(right.size()));
    for (int i = 0; i < size; ++i)
        for (int j = 0; j < size; ++j)
            rows[literal::at(i)][literal::at(j)] = matrix.getElement(i, j);
    for (std::size_t k = 0; k < rows.size(); ++k)
        for (std::size_t i = 0; i < rows.size(); ++i) {
            double const factor = i == k ? 0.0 : rows[i][k] / rows[k][k];
            for (std::size_t j = k; j < rows.size(); ++j)
                rows[i][j] -= factor * rows[k][j];
            right[i] -= factor * right[k];
        }
    for (std::size_t k = 0; k < rows.size(); ++k)
        right[k] /= rows[k][k];
    return right;
}

/// Runs both to the end, and three calls further, and compares after each call.
bool runsLiterally(ConjugateGradient& solver, Kind kind, Values const& right, Values const& start,
                   double tolerance, double breakdownThreshold) {
    precondition(solver, kind);
    literal::ConjugateGradient expected(literal::rowsOf(solver.A()), kind);
    solver.initialize(toNVector(right), toNVector(start));
    expected.initialize(right, start);
    int callsLeft = 3;
    bool isSame = solver.getIteration() == 0;
    while (isSame && callsLeft > 0) {
        int const code = expected.iterate(tolerance, breakdownThreshold);
        ConjugateGradient::Status const status = solver.iterate(tolerance, breakdownThreshold);
        isSame = status.code() == code && status.isDone() == (code != 0) &&
                 sameBits(solver.x(), expected.x) &&
                 sameBits(solver.getResidualNormSquared(), expected.residualNormSquared) &&
                 solver.getIteration() == expected.iteration;
        callsLeft -= code != 0;
    }
    double largest = 0.0;
    for (double const r : literal::minusTimes(expected.b, expected.matrix, expected.x))
        largest = std::max(largest, std::abs(r));
    return isSame && sameBits(solver.getResidualInfinityNorm(), largest) &&
           sameBits(solver.getConvergenceValue(),
                    std::sqrt(expected.residualNormSquared) / std::sqrt(expected.bNormSquared));
}

TEST_CASE("codesTellHowItEnds") {
    struct Case {
        char const* name;
        Values diagonal, right;
        double tolerance, breakdownThreshold;
        std::vector<int> codes;
        Values x, start = Values(right.size(), 0.0);
    };
    for (auto const& [name, diagonal, right, tolerance, breakdownThreshold, codes, x, start] :
         {Case{"noticed one call late", {2, 2}, {2, 4}, 1e-12, 1e-12, {0, 1}, {1, 2}},
          Case{"relative: far", {1, 1}, {1, 0.5}, 0.44, 0.0, {0}, {1, 0.5}, {1, 0}},
          Case{"relative: near", {1, 1}, {1, 0.5}, 0.45, 0.0, {1}, {1, 0}, {1, 0}},
          Case{"equality converges", {1, 1}, {3, 4}, 1.0, 0.0, {1, 1, 2}, {0, 0}},
          Case{"absolute: far", {1, 1}, {0, 0}, 4.99, 0.0, {0}, {0, 0}, {3, 4}},
          Case{"absolute: near", {1, 1}, {0, 0}, 5.0, 0.0, {1}, {3, 4}, {3, 4}},
          Case{"as good as 0", {1, 1}, {0.9e-6, 0}, 0.5, 0.0, {1}, {0, 0}},
          Case{"not as good as 0", {1, 1}, {1.1e-6, 0}, 0.5, 0.0, {0}, {1.1e-6, 0}},
          Case{"one unknown", {4}, {8}, 1e-12, 1e-12, {0, 2}, {2}},
          Case{"no unknowns", {}, {}, 0.0, 0.0, {2}, {}},
          Case{"curvature below", {1e-3, 1e-3}, {1, 0}, 0.0, 1.1e-3, {3}, {0, 0}},
          Case{"curvature equal", {1e-3, 1e-3}, {1, 0}, 0.0, 1e-3, {0}, {1e3, 0}},
          Case{"rho below", {2, 2}, {1, 0}, 0.0, 1.1, {4}, {0.5, 0}},
          Case{"rho equal", {2, 2}, {1, 0}, 0.0, 1.0, {0}, {0.5, 0}},
          Case{"negative at the first", {-2, -2}, {2, 4}, 1e-12, 1e-12, {-1}, {-1, -2}},
          // The step that is kept is the first one.
          Case{"negative later", {3, -1}, {2, 1}, 1e-12, 0.0, {0, -1}, {10.0 / 11, 5.0 / 11}}}) {
        CAPTURE_BINDING(name);
        ConjugateGradient solver(-4);
        fillDiagonal(solver.A(), diagonal);
        solver.initialize(toNVector(right), toNVector(start));
        for (int const code : codes)
            CHECK(solver.iterate(tolerance, breakdownThreshold).code() == code);
        CHECK(solver.getIteration() == static_cast<int>(codes.size()));
        for (std::size_t i = 0; i < x.size(); ++i)
            CHECK(solver.x()[static_cast<int>(i)] == doctest::Approx(x[i]).epsilon(1e-14));
        for (Kind const kind : allKinds)
            CHECK(runsLiterally(solver, kind, right, start, tolerance, breakdownThreshold));
    }
}

TEST_CASE("solvesWhatEliminationSolves") {
    literal::Random random(12);
    for (int const size : {3, 20, 60})
        for (Kind const kind : allKinds)
            for (bool const isStiff : {true, false}) {  // condition numbers about 10 and 1e5
                ConjugateGradient solver(size);
                fillChain(solver.A(), isStiff ? 1.0 : 1e-3);
                if (isStiff)
                    literal::fillRandomly(solver.A(), {size, 2 + size % 7, 1.2, 0.1, 0.0, 0.0},
                                          random);
                Values const right = literal::randomValues(size, random);
                precondition(solver, kind);
                solver.initialize(toNVector(right), toNVector(literal::randomValues(size, random)));
                while (!solver.iterate(1e-13, 1e-40).isDone())
                    continue;
                Values const expected = gauss(solver.A(), right);
                CAPTURE(size);
                CHECK(solver.getConvergenceValue() < 1e-7);
                for (int i = 0; i < size; ++i)
                    CHECK(solver.x()[i] == doctest::Approx(expected[literal::at(i)]).epsilon(1e-6));
            }
}

TEST_CASE("iterationHasTheBitsOfTheLiteralOne") {
    literal::Random random(13);
    for (int round = 0; round < 300; ++round) {
        Mix mix;
        mix.size = 1 + round % 45;
        mix.elementsPerRow = 1 + round % 9;
        mix.dominance = round % 4 == 1 ? 0.5 : round % 4 == 2 ? -0.2 : 1.0;
        mix.zeros = round % 3 == 0 ? 0.4 : 0.0;
        mix.missingPivots = round % 7 == 0 ? 0.1 : 0.0;
        mix.infinities = round % 10 == 3 ? 0.02 : 0.0;
        ConjugateGradient solver(mix.size);
        literal::fillRandomly(solver.A(), mix, random);
        Values right = literal::randomValues(mix.size, random);
        Values start = literal::randomValues(mix.size, random);
        if (round % 10 == 5)
            right[random() % right.size()] = NAN;
        if (round % 10 == 7)
            start[random() % start.size()] = INFINITY;
        CAPTURE(round);
        // One kind of preconditioner after the other, on one solver.
        for (Kind const kind : {Kind::plain, Kind::diagonal, Kind::cholesky, Kind::diagonal})
            CHECK(runsLiterally(solver, kind, right, start, 1e-10, round % 2 == 0 ? 0.0 : 1e-6));
    }
}

// What is stored as 0 matters where the direction is not finite: 0 times infinity is NaN, which is not negative.
TEST_CASE("storedZerosMeetInfinities") {
    for (bool const storesZero : {true, false}) {
        ConjugateGradient solver(2);
        if (storesZero)
            solver.A().addToElement(0, 0, 0.0);  // else the diagonal divides by 0 as well
        solver.A().addToElement(0, 1, -1.0);
        solver.A().addToElement(1, 0, -1.0);
        solver.A().addToElement(1, 1, 1.0);
        solver.initDiagonalPreconditioner();
        solver.initialize(toNVector({1.0, 1.0}), NVector(2));
        CHECK(solver.iterate(0.0, 0.0).code() == (storesZero ? 0 : -1));
        CHECK(runsLiterally(solver, Kind::diagonal, {1.0, 1.0}, {0.0, 0.0}, 0.0, 0.0));
    }
}

TEST_CASE("changesOfTheMatrixCountFromTheNextCallOn") {
    literal::Random random(15);
    ConjugateGradient solver(30);
    SparseMatrix& matrix = solver.A();  // kept by the caller
    fillChain(matrix, 0.5);
    solver.initDiagonalPreconditioner();
    literal::ConjugateGradient expected(literal::rowsOf(matrix), Kind::diagonal);
    Values const right = literal::randomValues(30, random);
    solver.initialize(toNVector(right), NVector(30));
    expected.initialize(right, Values(30, 0.0));
    for (int call = 0; call < 12; ++call) {
        if (call % 3 == 1)
            matrix.addToElement(call, call + call % 2, 0.25);
        if (call == 8) {
            SparseMatrix transposed(0);
            matrix.transpose(transposed);
            matrix.copy(transposed);
        }
        expected.matrix = literal::rowsOf(matrix);
        CHECK(solver.iterate(0.0, 0.0).code() == expected.iterate(0.0, 0.0));
        CHECK(sameBits(solver.x(), expected.x));
    }
}

}  // namespace
