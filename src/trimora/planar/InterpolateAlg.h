#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors2.h"
#include "trimora/export.h"

namespace koGeom {

/// A function through given samples (x, y), by one of four methods, in double precision.
///
/// samples   x is taken to rise; equal values of x divide by zero, unguarded. None: the function is 0. Fewer than four: the spline
///           is the straight lines between them; a single one gives its value everywhere
/// beyond    outside the samples lines and splines extrapolate the first or the last interval
/// cost      tables are made at the first evaluate() that needs them and kept until the next setInput() or release(), also while
///           another method is in use. Then a linear search; O(n) for divided differences; O(n^2) and one allocation for Neville
/// threads   none: evaluate() makes tables, an object is used by one thread at a time
/// source    de Boor 2001 [deboor2001]; Press et al. 2007, ch. 3 [press2007]
class TRIMORA_API InterpolateAlg : public ko::ReferenceCount {
public:
    enum class EInterpolationHint : int {
        CubicSpline = 0,         ///< not-a-knot; values without a name count as this one
        Neville = 1,             ///< the polynomial through all samples, by Neville's scheme
        DividedDifferences = 2,  ///< the same polynomial in Newton's form
        PiecewiseLinear = 3,     ///< straight lines between neighbours
    };

    InterpolateAlg() = default;
    ~InterpolateAlg() override;

    /// Copies the samples and drops all tables.
    void setInput(ko::vector<Point2Flt> const& points);
    void setInterpolationHint(EInterpolationHint hint) { hint_ = hint; }
    double evaluate(double t);
    /// Drops all tables; the samples stay.
    void release();

    /// The line through two samples: (t - x0) * (y1 - y0) / (x1 - x0) + y0.
    static double simpleLinear(double x0, double y0, double x1, double y1, double t);

    // The routines below work on arrays of the caller, of n entries unless told otherwise, that hold no table of this
    // object. With n below 1 they give 0 or write nothing.

    static double simpleLinear(int n, double* x, double* y, double t);
    static double neville(int n, double* x, double* y, double t);
    /// c   out: the coefficients of Newton's form
    static void divdiff(int n, double* x, double* y, double* c);
    /// Newton's form at t.
    static double nf_eval(int n, double* x, double* c, double t);
    /// Solves a tridiagonal system without pivoting.
    ///
    /// sub    n - 1 entries: row i + 1, column i
    /// diag   overwritten
    /// sup    n - 1 entries: row i, column i + 1; overwritten
    /// rhs    in: the right side; out: the solution
    static void tridiagonal(int n, double* sub, double* diag, double* sup, double* rhs);
    /// The not-a-knot spline: y[i] + b[i] h + c[i] h^2 + d[i] h^3 on interval i.
    ///
    /// b, c, d   out; the last entries of b and d mean nothing
    /// n         below 4 the pieces are straight lines
    static void cubic_nak(int n, double* x, double* y, double* b, double* c, double* d);
    /// The spline of given slopes at both ends; two samples or more, fewer give slopes of 0.
    static void cubic_clamped(int n, double* x, double* y, double* b, double* c, double* d,
                              double fpa, double fpb);
    static double spline_eval(int n, double* x, double* y, double* b, double* c, double* d,
                              double t);

private:
    using Doubles = ko::vector<double>;

    void makeSamples();
    void makeSpline();

    ko::vector<Point2Flt> input_;
    EInterpolationHint hint_ = EInterpolationHint::CubicSpline;
    Doubles xs_;  // these are empty until they are needed
    Doubles ys_;
    Doubles coefficients_;
    Doubles splineB_;
    Doubles splineC_;
    Doubles splineD_;
};

}  // namespace koGeom
