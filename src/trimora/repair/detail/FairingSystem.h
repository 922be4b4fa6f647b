#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <cstddef>

namespace koGeom::detail {

/// Linear equations for positions: one row of weights for x, y and z alike.
///
/// It stands for a system of 3n unknowns, x, y and z of the first vertex first, whose row 3i + c has the weights of row i at
/// the columns 3p + c. Rows keep their elements in the order in which they first came; a column stands once in a row.
class TRIMORA_API FairingSystem {
public:
    struct Element {
        double value;
        int column;
    };

    /// Adds an empty row for one more vertex, which is at `start`. Rows are filled one after the other.
    void beginRow(Point const& start);
    /// Adds to the element of the last row at the column, which may be ahead of the row.
    void add(int column, double value);
    /// The right side of the last row.
    Vector& rightSide() { return rightSides_.back(); }

    /// Vertices.
    int size() const { return static_cast<int>(starts_.size()); }
    Element const* rowBegin(int i) const { return elements_.data() + begins_[at(i)]; }
    Element const* rowEnd(int i) const { return elements_.data() + begins_[at(i) + 1]; }
    Vector const& rightSide(int i) const { return rightSides_[at(i)]; }
    Point const& start(int i) const { return starts_[at(i)]; }

private:
    static std::size_t at(int i) { return static_cast<std::size_t>(i); }

    ko::vector<std::size_t> begins_{0};  // of each row in elements_, and the end
    ko::vector<Element> elements_;
    ko::vector<std::size_t> places_;  // by column: where its element was put last
    ko::vector<Vector> rightSides_;
    ko::vector<Point> starts_;
};

/// Conjugate gradients with a diagonal preconditioner for such a system: bit for bit what ConjugateGradient makes of all 3n
/// unknowns, in about half the time.
///
/// Each weight is read once for three coordinates, and each sum over all unknowns is taken while they are at hand; the sums
/// still run from the last unknown to the first, z, y, x. The system must live as long.
class TRIMORA_API FairingSolver {
public:
    explicit FairingSolver(FairingSystem const& system);

    /// Makes one step.
    /// tolerance            of the residual's length relative to that of the right side
    /// breakdownThreshold   below which p . A p, and r . z of the step before, count as 0
    /// returns              whether it is done: converged, broken down or out of steps
    bool iterate(double tolerance, double breakdownThreshold);

    Point position(int i) const { return positions_[static_cast<std::size_t>(i)].asPoint(); }

private:
    void computeResidual();
    double multiply();
    void turn(double scale);

    FairingSystem const& system_;
    ko::vector<Vector> positions_;  // x
    ko::vector<Vector> residuals_;  // r
    ko::vector<Vector> products_;   // A p
    ko::vector<double> inverses_;   // of the diagonal: the same for x, y and z
    ko::vector<double> direction_;  // p, four doubles a vertex, the last one 0
    int iteration_ = 0;
    double rho_ = 0.0;
    double bNormSquared_ = 0.0;
    double residualNormSquared_ = 0.0;
};

}  // namespace koGeom::detail
