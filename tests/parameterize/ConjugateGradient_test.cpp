#include "literalSolver.h"

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

using Code = ConjugateGradient::StatusCode;

constexpr Kind allKinds[] = {Kind::plain, Kind::diagonal, Kind::cholesky};

void precondition(ConjugateGradient& solver, Kind kind) {
    if (kind == Kind::diagonal)
        solver.initDiagonalPreconditioner();
    if (kind == Kind::cholesky)
        solver.initIncompleteCholeskyPreconditioner();
}

void fillDiagonal(SparseMatrix& matrix, Values const& values) {
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

void fillHilbert(SparseMatrix& matrix) {
    for (int i = 0; i < matrix.size(); ++i)
        for (int j = 0; j < matrix.size(); ++j)
            matrix.addToElement(i, j, 1.0 / (i + j + 1));
}

Code solve(ConjugateGradient& solver, double tolerance, double breakdownThreshold) {
    ConjugateGradient::Status status(Code::CG_CONTINUE);
    while (!status.isDone())
        status = solver.iterate(tolerance, breakdownThreshold);
    return status.code();
}

/// Elimination with row exchanges.
Values gauss(SparseMatrix const& matrix, Values right) {
    auto const size = literal::at(matrix.size());
    std::vector<Values> rows(size, Values(size));
    for (std::size_t i = 0; i < size; ++i)
        for (SparseElement const& element : matrix.row(static_cast<int>(i)))
            rows[i][literal::at(element.column)] = element.value;
    for (std::size_t k = 0; k < size; ++k) {
        std::size_t pivot = k;
        for (std::size_t i = k; i < size; ++i)
            if (std::abs(rows[i][k]) > std::abs(rows[pivot][k]))
                pivot = i;
        std::swap(rows[k], rows[pivot]);
        std::swap(right[k], right[pivot]);
        for (std::size_t i = k + 1; i < size; ++i) {
            double const factor = rows[i][k] / rows[k][k];
            for (std::size_t j = k; j < size; ++j)
                rows[i][j] -= factor * rows[k][j];
            right[i] -= factor * right[k];
        }
    }
    for (std::size_t k = size; k-- > 0;) {
        for (std::size_t j = k + 1; j < size; ++j)
            right[k] -= rows[k][j] * right[j];
        right[k] /= rows[k][k];
    }
    return right;
}

double largestDifference(NVector const& a, Values const& b) {
    double largest = 0.0;
    for (int i = 0; i < a.size(); ++i)
        largest = std::max(largest, std::abs(a[i] - b[literal::at(i)]));
    return largest;
}

// --- status codes ---

TEST_CASE("statusIsDoneForEveryCodeButContinue") {
    CHECK_FALSE(ConjugateGradient::Status(Code::CG_CONTINUE).isDone());
    for (Code const code : {Code::CG_CONVERGED, Code::CG_MAX_ITERATIONS, Code::CG_ZERO_CURVATURE,
                            Code::CG_ZERO_RHO, Code::CG_NEGATIVE_CURVATURE}) {
        CHECK(ConjugateGradient::Status(code).isDone());
        CHECK(ConjugateGradient::Status(code).code() == code);
    }
}

TEST_CASE("solutionsAreNoticedOneCallAfterTheStepThatReachedThem") {
    ConjugateGradient solver(3);
    fillDiagonal(solver.A(), {2.0, 2.0, 2.0});
    solver.initialize(toNVector({2.0, 4.0, -6.0}), NVector(3));
    CHECK(solver.getIteration() == 0);
    CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_CONTINUE);
    CHECK(sameBits(solver.x(), {1.0, 2.0, -3.0}));
    CHECK(solver.getResidualNormSquared() == 0.0);
    CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_CONVERGED);
    CHECK(solver.getIteration() == 2);
}

TEST_CASE("startsWithinTheToleranceConvergeAtTheFirstCall") {
    ConjugateGradient solver(2);
    fillDiagonal(solver.A(), {1.0, 1.0});
    NVector const start = toNVector({1.0, 0.0});
    solver.initialize(toNVector({1.0, 0.5}), start);  // residual 0.5, b of length sqrt(1.25)
    CHECK(solver.iterate(0.44, 0.0).code() == Code::CG_CONTINUE);
    solver.initialize(toNVector({1.0, 0.5}), start);
    CHECK(solver.iterate(0.45, 0.0).code() == Code::CG_CONVERGED);
    CHECK(solver.getIteration() == 1);
    CHECK(sameBits(solver.x(), {1.0, 0.0}));
    solver.initialize(toNVector({3.0, 4.0}), NVector(2));
    CHECK(solver.iterate(1.0, 0.0).code() == Code::CG_CONVERGED);  // equality is enough
    CHECK(solver.iterate(1.0, 0.0).code() == Code::CG_CONVERGED);
    CHECK(solver.iterate(1.0, 0.0).code() == Code::CG_MAX_ITERATIONS);
}

TEST_CASE("oneUnknownIsSolvedAndThenOutOfCalls") {
    for (Kind const kind : allKinds) {
        ConjugateGradient solver(1);
        fillDiagonal(solver.A(), {4.0});
        precondition(solver, kind);
        solver.initialize(toNVector({8.0}), NVector(1));
        CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_CONTINUE);
        CHECK(solver.x()[0] == 2.0);
        CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_MAX_ITERATIONS);
        CHECK(solver.x()[0] == 2.0);
    }
}

TEST_CASE("noUnknownsAreOutOfCallsAtOnce") {
    for (int const size : {0, -4}) {
        for (Kind const kind : allKinds) {
            ConjugateGradient solver(size);
            precondition(solver, kind);
            solver.initialize(NVector(0), NVector(0));
            CHECK(solver.getConvergenceValue() == 0.0);
            CHECK(solver.getResidualInfinityNorm() == 0.0);
            CHECK(solver.iterate(0.0, 0.0).code() == Code::CG_MAX_ITERATIONS);
        }
    }
}

TEST_CASE("curvatureBelowTheThresholdLeavesXAlone") {
    ConjugateGradient solver(2);
    fillDiagonal(solver.A(), {1e-3, 1e-3});
    solver.initialize(toNVector({1.0, 0.0}), NVector(2));
    CHECK(solver.iterate(0.0, 1.1e-3).code() == Code::CG_ZERO_CURVATURE);
    CHECK(sameBits(solver.x(), {0.0, 0.0}));
    solver.initialize(toNVector({1.0, 0.0}), NVector(2));
    CHECK(solver.iterate(0.0, 1e-3).code() == Code::CG_CONTINUE);  // not below
}

TEST_CASE("rhoBelowTheThresholdIsToldAfterTheStep") {
    ConjugateGradient solver(2);
    fillDiagonal(solver.A(), {1e8, 1e8});
    solver.initialize(toNVector({1e-2, 0.0}), NVector(2));  // rho 1e-4, curvature 1e4
    CHECK(solver.iterate(0.0, 1e-3).code() == Code::CG_ZERO_RHO);
    CHECK(solver.x()[0] == doctest::Approx(1e-10));
    CHECK(solver.getResidualNormSquared() < 1e-30);
}

TEST_CASE("negativeCurvatureMovesXAtTheFirstCallOnly") {
    for (Kind const kind : {Kind::plain, Kind::cholesky}) {
        ConjugateGradient solver(2);
        fillDiagonal(solver.A(), {1.0, 1.0});
        precondition(solver, kind);
        solver.A().setToZero(2);
        fillDiagonal(solver.A(), {-2.0, -2.0});
        solver.initialize(toNVector({2.0, 4.0}), NVector(2));
        CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_NEGATIVE_CURVATURE);
        CHECK(sameBits(solver.x(), {-1.0, -2.0}));
        CHECK(solver.getResidualNormSquared() == 20.0);
    }

    ConjugateGradient solver(3);
    fillDiagonal(solver.A(), {2.0, -1.0, 0.5});
    solver.initialize(toNVector({1.0, 0.5, 0.0}), NVector(3));
    CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_CONTINUE);
    NVector const before = solver.x();
    CHECK(solver.iterate(1e-12, 1e-12).code() == Code::CG_NEGATIVE_CURVATURE);
    CHECK(solver.x()[0] == before[0]);
    CHECK(solver.x()[1] == before[1]);
    CHECK(solver.getIteration() == 2);
}

// --- right sides, starts and restarts ---

TEST_CASE("zeroRightSidesAreJudgedAbsolutely") {
    ConjugateGradient solver(2);
    fillDiagonal(solver.A(), {3.0, 4.0});
    solver.initialize(NVector(2), toNVector({1.0, 1.0}));
    CHECK(solver.getConvergenceValue() == 5.0);
    CHECK(solver.iterate(4.99, 0.0).code() == Code::CG_CONTINUE);
    solver.initialize(NVector(2), toNVector({1.0, 1.0}));
    CHECK(solver.iterate(5.0, 0.0).code() == Code::CG_CONVERGED);
    solver.initialize(toNVector({0.9e-6, 0.0}), NVector(2));  // b . b below 1e-12
    CHECK(solver.getConvergenceValue() == doctest::Approx(0.9e-6));
    solver.initialize(toNVector({1.1e-6, 0.0}), NVector(2));
    CHECK(solver.getConvergenceValue() == doctest::Approx(1.0));
}

TEST_CASE("aSolverMayBeUsedAgain") {
    ConjugateGradient solver(40);
    fillChain(solver.A(), 1.0);
    solver.initDiagonalPreconditioner();
    literal::Random random(11);
    Values const right = literal::randomValues(40, random);
    solver.initialize(toNVector(right), NVector(40));
    Code const code = solve(solver, 1e-10, 1e-20);
    int const iterations = solver.getIteration();
    NVector const x = solver.x();
    solver.initialize(toNVector(right), NVector(40));
    CHECK(solver.getIteration() == 0);
    CHECK(solve(solver, 1e-10, 1e-20) == code);
    CHECK(solver.getIteration() == iterations);
    CHECK(largestDifference(x, gauss(solver.A(), right)) < 1e-7);

    solver.A().setToZero(3);
    fillDiagonal(solver.A(), {1.0, 2.0, 4.0});
    solver.initDiagonalPreconditioner();
    solver.initialize(toNVector({1.0, 1.0, 1.0}), NVector(3));
    CHECK(solver.iterate(1e-10, 1e-20).code() == Code::CG_CONTINUE);
    CHECK(sameBits(solver.x(), {1.0, 0.5, 0.25}));
}

TEST_CASE("residualNormIsComputedAfresh") {
    ConjugateGradient solver(2);
    fillDiagonal(solver.A(), {1.0, 1.0});
    solver.initialize(toNVector({3.0, -7.0}), toNVector({1.0, 1.0}));
    CHECK(solver.getResidualInfinityNorm() == 8.0);
    solver.A().addToElement(0, 1, 20.0);
    CHECK(solver.getResidualInfinityNorm() == 18.0);
}

// --- against elimination ---

TEST_CASE("solvesWhatEliminationSolves") {
    literal::Random random(12);
    for (int size = 1; size <= 60; ++size) {
        for (Kind const kind : allKinds) {
            ConjugateGradient solver(size);
            literal::fillRandomly(solver.A(), {size, 2 + size % 7, 1.2, 0.1, 0.0, 0.0}, random);
            fillDiagonal(solver.A(), Values(literal::at(size), 0.5));
            Values const right = literal::randomValues(size, random);
            precondition(solver, kind);
            solver.initialize(toNVector(right), toNVector(literal::randomValues(size, random)));
            solve(solver, 1e-13, 1e-40);
            INFO("size " << size);
            CHECK(solver.getConvergenceValue() < 1e-7);
            CHECK(largestDifference(solver.x(), gauss(solver.A(), right)) < 1e-6);
        }
    }
}

TEST_CASE("illConditionedSystemsComeAsNearAsTheCallsAllow") {
    for (Kind const kind : allKinds) {
        ConjugateGradient solver(60);
        fillChain(solver.A(), 1e-3);  // condition number about 1e5
        precondition(solver, kind);
        Values right(60, 0.0);
        right[7] = 1.0;
        solver.initialize(toNVector(right), NVector(60));
        solve(solver, 1e-12, 0.0);
        CHECK(largestDifference(solver.x(), gauss(solver.A(), right)) < 1e-4 * 500.0);
        CHECK(solver.getResidualInfinityNorm() < 1e-6);
    }
    ConjugateGradient solver(12);  // condition number about 1e16
    fillHilbert(solver.A());
    solver.initialize(toNVector(Values(12, 1.0)), NVector(12));
    Code const code = solve(solver, 1e-12, 1e-300);
    CHECK(code != Code::CG_CONTINUE);
    CHECK(std::isfinite(solver.getResidualInfinityNorm()));
}

// --- bit for bit ---

/// Runs both to the end, and three calls further, and compares after each call.
bool runsAlike(ConjugateGradient& solver, literal::ConjugateGradient& expected, double tolerance,
               double breakdownThreshold) {
    int callsLeft = 3;
    bool isSame = true;
    while (isSame && callsLeft > 0) {
        int const code = expected.iterate(tolerance, breakdownThreshold);
        isSame = solver.iterate(tolerance, breakdownThreshold).code() == code &&
                 sameBits(solver.x(), expected.x) &&
                 sameBits(solver.getResidualNormSquared(), expected.residualNormSquared) &&
                 solver.getIteration() == expected.iteration;
        callsLeft -= code != 0;
    }
    return isSame;
}

bool runsLiterally(ConjugateGradient& solver, Kind kind, Values const& right, Values const& start,
                   double tolerance, double breakdownThreshold) {
    precondition(solver, kind);
    literal::ConjugateGradient expected(literal::rowsOf(solver.A()), kind);
    solver.initialize(toNVector(right), toNVector(start));
    expected.initialize(right, start);
    return runsAlike(solver, expected, tolerance, breakdownThreshold);
}

TEST_CASE("iterationHasTheBitsOfTheLiteralOne") {
    literal::Random random(13);
    for (int round = 0; round < 600; ++round) {
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
        INFO("round " << round);
        CHECK(runsLiterally(solver, allKinds[round % 3], right, start, 1e-10,
                            round % 2 == 0 ? 0.0 : 1e-6));
    }
}

// Long enough for residuals that are computed afresh.
TEST_CASE("longIterationsHaveTheBitsOfTheLiteralOne") {
    literal::Random random(14);
    for (Kind const kind : allKinds) {
        ConjugateGradient solver(170);
        fillChain(solver.A(), 1e-4);
        literal::fillRandomly(solver.A(), {170, 1, 1.0, 0.5, 0.0, 0.0}, random);
        Values const right = literal::randomValues(170, random);
        CHECK(runsLiterally(solver, kind, right, Values(170, 0.0), 0.0, 0.0));
        CHECK(solver.getIteration() > 100);
    }
}

// What is stored as 0 matters where the direction is not finite: 0 times infinity is NaN, which is not negative.
TEST_CASE("storedZerosMeetInfinities") {
    for (bool const storesZero : {true, false}) {
        ConjugateGradient solver(2);
        if (storesZero)
            solver.A().addToElement(0, 0,
                                    0.0);  // either way the preconditioner multiplies by infinity
        solver.A().addToElement(0, 1, -1.0);
        solver.A().addToElement(1, 0, -1.0);
        solver.A().addToElement(1, 1, 1.0);
        solver.initDiagonalPreconditioner();
        solver.initialize(toNVector({1.0, 1.0}), NVector(2));
        CHECK(solver.iterate(0.0, 0.0).code() ==
              (storesZero ? Code::CG_CONTINUE : Code::CG_NEGATIVE_CURVATURE));
        CHECK(runsLiterally(solver, Kind::diagonal, {1.0, 1.0}, {0.0, 0.0}, 0.0, 0.0));
    }
    for (Kind const kind : allKinds) {
        ConjugateGradient solver(3);
        fillDiagonal(solver.A(), {1.0, 1.0, 1.0});
        solver.A().addToElement(0, 2, 0.0);
        for (double const value :
             {1e200, static_cast<double>(INFINITY)})  // 1e200 has an infinite square
            CHECK(runsLiterally(solver, kind, {1.0, 1.0, value}, Values(3, 0.0), 0.0, 0.0));
    }
}

TEST_CASE("changesOfTheMatrixCountFromTheNextCallOn") {
    literal::Random random(15);
    for (Kind const kind : allKinds) {
        ConjugateGradient solver(30);
        SparseMatrix& matrix = solver.A();  // kept by the caller
        fillChain(matrix, 0.5);
        precondition(solver, kind);
        literal::ConjugateGradient expected(literal::rowsOf(matrix), kind);
        Values const right = literal::randomValues(30, random);
        solver.initialize(toNVector(right), NVector(30));
        expected.initialize(right, Values(30, 0.0));
        for (int call = 0; call < 12; ++call) {
            if (call % 3 == 1)
                matrix.addToElement(call, call, 0.25);
            if (call == 5)
                matrix.addToElement(3, 9, 0.125);
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
}

}  // namespace
