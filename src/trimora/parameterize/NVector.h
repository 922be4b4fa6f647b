#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <cstddef>
#include <iosfwd>

namespace koGeom {

/// A dense vector of double. No index is checked.
class TRIMORA_API NVector {
public:
    /// size   entries, all zero; below 1 there are none
    explicit NVector(int size = 0);
    NVector(NVector const&) = default;
    NVector(NVector&&) noexcept = default;
    NVector& operator=(NVector const&) = default;
    NVector& operator=(NVector&&) noexcept = default;
    ~NVector() = default;

    int size() const { return static_cast<int>(values_.size()); }
    double& operator[](int i) { return values_[static_cast<std::size_t>(i)]; }
    double operator[](int i) const { return values_[static_cast<std::size_t>(i)]; }
    /// The entries, one behind the other; null or not when empty. Valid until the vector is assigned to or dies.
    double* data() { return values_.data(); }
    double const* data() const { return values_.data(); }

    /// other     at least as long as this one
    /// returns   the sum of the products, accumulated from the last entry to the first; 0 when empty
    double dot(NVector const& other) const;
    /// The largest absolute value; 0 when empty. A NaN is larger than nothing.
    double infinityNorm() const;
    /// Sets each entry i of this vector to b[i] * s + a[i]; its size stays.
    ///
    /// a, b   at least as long as this one; either, or both, may be this vector itself
    void setToVectorPlusScalarTimesVector(NVector const& a, double s, NVector const& b);

private:
    ko::vector<double> values_;
};

/// Writes "(", each entry in the stream's own format followed by " ", then ")".
TRIMORA_API std::ostream& operator<<(std::ostream& stream, NVector const& vector);

}  // namespace koGeom
