#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

/// The numbers below a power of two in the order of their reversed bits: neighbours in the table are far apart, so that any run of
/// it covers the range evenly.
///
/// copies    share the table; a new calculate() parts them
/// threads   const calls from any number of threads
/// source    Hammersley 1960 [hammersley1960]
class TRIMORA_API HammersleyPermutation2 {
public:
    /// Makes the table of 2^bits entries, bits from 0 to 15; with others it is empty.
    void calculate(int bits);
    /// The entry at i modulo the size, also for i below 0; 0 while the table is empty, as below.
    int operator[](int i) const;

    // Each cell of a grid of size x size gets a number of its own.

    /// A number below size^2 for a cell; columns and rows count modulo the size.
    int map2d(int x, int y) const;
    /// The same for the i-th cell of a grid `period` cells wide; a period of 0 counts as 1.
    int mapPeriodic(int i, int period) const;

private:
    std::shared_ptr<int[]> table_;
    int size_ = 0;
};

/// The radical inverses of 0, 1, 2, ... with scrambled digits: numbers in [0, 1) that cover it evenly, however many are taken.
///
/// copies    share the table; a new calculate() parts them
/// threads   const calls from any number of threads
/// source    Halton 1960 [halton1960], digits permuted as by Faure 1992 [faure1992]
class TRIMORA_API ScrambledHammersleySequence {
public:
    /// base    3, 5 or 7; the table is empty with others
    /// count   of entries; below 1 there are none
    void calculate(int base, int count);
    /// The entry at i modulo the count, also for i below 0; 0 while the table is empty.
    float operator[](int i) const;

private:
    std::shared_ptr<float[]> table_;
    int count_ = 0;
};

/// A random direction, uniform but for rounding; consumes three numbers of `drand48` a try.
///
/// threads   the generator's state is the process's: on the calling thread only, one at a time
TRIMORA_API void randomUnitVector(Vector& v);
/// Fills all entries with random directions of the half space that the axis, of any length, looks into.
TRIMORA_API void computeHemisphereVectors(Vector const& axis, ko::vector<Vector>& vectors);

// Maps of the unit square to the unit sphere that keep areas: u turns round the z axis, v is the height. In single precision.

/// v    0 is -z, 1 is +z; outside of 0 to 1 no direction (NaN)
TRIMORA_API void mapSphericalToUniformCartesian(float u, float v, VectorFlt& out);
/// Onto the cap round +z.
///
/// v     0 is +z, 1 the rim
/// cap   height of the cap, 0 to 2; 1 is the half sphere
TRIMORA_API void mapSphericalCapToUniformCartesian(float u, float v, float cap, VectorFlt& out);
/// The inverse of the first map; u is 0 near the poles.
TRIMORA_API void mapUniformCartesianToSpherical(VectorFlt const& w, float& u, float& v);

}  // namespace koGeom
