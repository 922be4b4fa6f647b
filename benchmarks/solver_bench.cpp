#include "harness.h"

#include "trimora/parameterize/ConjugateGradient.h"

#include <chrono>
#include <memory>
#include <random>

#ifdef TRIMORA_BENCH_EIGEN
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/Sparse>
#endif

namespace bench {

namespace {

using namespace koGeom;

constexpr double tolerance = 1e-8;

/// A positive definite matrix, with a right side that excites all frequencies.
struct System {
    std::string name;
    SparseMatrix matrix{0};
    NVector right{0};

    System(std::string const& systemName, int size) : name(systemName), matrix(size), right(size) {
        std::mt19937 random(5);
        for (int i = 0; i < size; ++i)
            right[i] = static_cast<double>(random()) / 4294967296.0 - 0.5;
    }
};

/// The Laplacian of a grid with its border held at 0: 5 elements a row.
std::unique_ptr<System> gridLaplacian(int n) {
    std::string const name = "grid_" + std::to_string(n) + "x" + std::to_string(n);
    auto system = std::make_unique<System>(name, n * n);
    for (int y = 0; y < n; ++y) {
        for (int x = 0; x < n; ++x) {
            auto const couple = [&](int dx, int dy) {
                if (x + dx >= 0 && x + dx < n && y + dy >= 0 && y + dy < n)
                    system->matrix.addToElement(n * y + x, n * (y + dy) + x + dx, -1.0);
            };
            system->matrix.addToElement(n * y + x, n * y + x, 4.0);
            couple(-1, 0);
            couple(1, 0);
            couple(0, -1);
            couple(0, 1);
        }
    }
    return system;
}

/// Two unknowns a vertex of a triangulated grid, each bound to both of every neighbour: 13 elements a row, as in the
/// flattening of a surface.
std::unique_ptr<System> pairedLaplacian(int n) {
    std::string const name = "pairs_" + std::to_string(n) + "x" + std::to_string(n);
    auto system = std::make_unique<System>(name, 2 * n * n);
    constexpr int steps[6][2] = {{1, 0}, {1, 1}, {0, 1}, {-1, 0}, {-1, -1}, {0, -1}};
    for (int y = 0; y < n; ++y) {
        for (int x = 0; x < n; ++x) {
            int const u = 2 * (n * y + x);
            system->matrix.addToElement(u, u, 6.0);
            system->matrix.addToElement(u + 1, u + 1, 6.0);
            for (int s = 0; s < 6; ++s) {
                int const nx = x + steps[s][0];
                int const ny = y + steps[s][1];
                if (nx < 0 || nx >= n || ny < 0 || ny >= n)
                    continue;
                int const other = 2 * (n * ny + nx);
                double const twist = s % 2 == 0 ? 0.25 : -0.25;
                system->matrix.addToElement(u, other, -0.75);
                system->matrix.addToElement(u + 1, other + 1, -0.75);
                system->matrix.addToElement(u, other + 1, s < 3 ? twist : -twist);
                system->matrix.addToElement(u + 1, other, s < 3 ? twist : -twist);
            }
        }
    }
    return system;
}

enum class Kind { plain, diagonal, cholesky };

char const* nameOf(Kind kind) {
    return kind == Kind::plain ? "plain" : kind == Kind::diagonal ? "diagonal" : "cholesky";
}

/// What one solution took.
struct Outcome {
    int iterations = 0;
    double seconds = 0.0;
    double convergence = 0.0;

    std::string figures() const {
        return figure("iterations", iterations) + figure("step_ms", 1e3 * seconds / iterations) +
               figure("convergence", convergence);
    }
};

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Outcome solve(ConjugateGradient& solver, System const& system) {
    double const start = now();
    solver.initialize(system.right, NVector(system.right.size()));
    while (!solver.iterate(tolerance, 0.0).isDone()) {
    }
    return {solver.getIteration() - 1, now() - start, solver.getConvergenceValue()};
}

void ownSolve(System const& system, Kind kind) {
    ConjugateGradient solver(system.matrix.size());
    solver.A().copy(system.matrix);
    if (kind == Kind::diagonal)
        solver.initDiagonalPreconditioner();
    if (kind == Kind::cholesky)
        solver.initIncompleteCholeskyPreconditioner();
    Outcome outcome = solve(solver, system);
    run({std::string("solver_steps_") + nameOf(kind), system.name, 0,
         static_cast<double>(outcome.iterations), [] {}, [&] { outcome = solve(solver, system); },
         [&] { return outcome.figures(); }},
        {1});
}

void ownFactor(System const& system) {
    std::unique_ptr<IncompleteCholeskyPreconditioner> factor;
    NVector applied(system.right.size());
    run({"solver_factor", system.name, 0, static_cast<double>(system.matrix.size()),
         [&] { factor.reset(); },
         [&] { factor = std::make_unique<IncompleteCholeskyPreconditioner>(system.matrix); },
         [&] {
             factor->applyInverse(system.right, applied);
             return figure("applied", applied.dot(system.right));
         }},
        {1});
}

#ifdef TRIMORA_BENCH_EIGEN

using EigenMatrix = Eigen::SparseMatrix<double, Eigen::RowMajor>;

EigenMatrix toEigen(SparseMatrix const& matrix) {
    std::vector<Eigen::Triplet<double>> triplets;
    for (int i = 0; i < matrix.size(); ++i)
        for (SparseElement const& element : matrix.row(i))
            triplets.emplace_back(i, element.column, element.value);
    EigenMatrix copy(matrix.size(), matrix.size());
    copy.setFromTriplets(triplets.begin(), triplets.end());
    return copy;
}

template <typename EigenPreconditioner>
void eigenSolve(System const& system, Kind kind, char const* name) {
    EigenMatrix const matrix = toEigen(system.matrix);
    Eigen::VectorXd const right =
        Eigen::Map<Eigen::VectorXd const>(system.right.data(), system.right.size());
    Eigen::ConjugateGradient<EigenMatrix, Eigen::Lower | Eigen::Upper, EigenPreconditioner> solver;
    solver.setTolerance(tolerance);
    solver.setMaxIterations(system.right.size());
    solver.compute(matrix);
    Eigen::VectorXd x;
    Outcome outcome;
    auto const solveOnce = [&] {
        double const start = now();
        x = solver.solve(right);
        outcome = {static_cast<int>(solver.iterations()), now() - start, solver.error()};
    };
    solveOnce();
    run({std::string("solver_steps_") + nameOf(kind), system.name, 0,
         static_cast<double>(outcome.iterations), [] {}, solveOnce,
         [&] { return outcome.figures(); }, name},
        {1});
}

// Its factor of the natural order, which is the one that can be compared, and of the order that it takes when not asked.
using NaturalCholesky =
    Eigen::IncompleteCholesky<double, Eigen::Lower, Eigen::NaturalOrdering<int>>;
using OrderedCholesky = Eigen::IncompleteCholesky<double>;

template <typename Factor>
void eigenFactor(System const& system, char const* name) {
    Eigen::SparseMatrix<double> const matrix = toEigen(system.matrix);
    Eigen::VectorXd const right =
        Eigen::Map<Eigen::VectorXd const>(system.right.data(), system.right.size());
    Factor factor;
    run({"solver_factor", system.name, 0, static_cast<double>(system.matrix.size()), [] {},
         [&] { factor.compute(matrix); },
         [&] { return figure("applied", right.dot(factor.solve(right))); }, name},
        {1});
}

void peerCases(System const& system) {
    eigenSolve<Eigen::IdentityPreconditioner>(system, Kind::plain, "Eigen");
    eigenSolve<Eigen::DiagonalPreconditioner<double>>(system, Kind::diagonal, "Eigen");
    eigenSolve<NaturalCholesky>(system, Kind::cholesky, "Eigen");
    eigenSolve<OrderedCholesky>(system, Kind::cholesky, "Eigen_ordered");
    eigenFactor<NaturalCholesky>(system, "Eigen");
    eigenFactor<OrderedCholesky>(system, "Eigen_ordered");
}

#else

void peerCases(System const&) {}

#endif

}  // namespace

void solverCases() {
    std::vector<std::unique_ptr<System>> systems;
    systems.push_back(gridLaplacian(224));
    if (!options().smallOnly) {
        systems.push_back(gridLaplacian(300));
        systems.push_back(pairedLaplacian(224));
    }
    for (auto const& system : systems) {
        for (Kind const kind : {Kind::plain, Kind::diagonal, Kind::cholesky})
            ownSolve(*system, kind);
        ownFactor(*system);
        peerCases(*system);
    }
}

}  // namespace bench
