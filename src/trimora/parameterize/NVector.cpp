#include "trimora/parameterize/NVector.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <ostream>

namespace koGeom {

NVector::NVector(int size) : values_(static_cast<std::size_t>(std::max(size, 0))) {}

double NVector::dot(NVector const& other) const {
    assert(other.size() >= size());
    double sum = 0.0;
    for (int i = size() - 1; i >= 0; --i)
        sum += (*this)[i] * other[i];
    return sum;
}

double NVector::infinityNorm() const {
    double largest = 0.0;
    for (double const value : values_)
        largest = std::max(largest, std::abs(value));
    return largest;
}

// Entries do not depend on each other, so that their order cannot be told; the compiler takes several at a time.
void NVector::setToVectorPlusScalarTimesVector(NVector const& a, double s, NVector const& b) {
    assert(a.size() >= size() && b.size() >= size());
    double* const out = data();
    double const* const added = a.data();
    double const* const scaled = b.data();
    for (int i = 0; i < size(); ++i)
        out[i] = scaled[i] * s + added[i];
}

std::ostream& operator<<(std::ostream& stream, NVector const& vector) {
    stream << "(";
    for (int i = 0; i < vector.size(); ++i)
        stream << vector[i] << " ";
    return stream << ")";
}

}  // namespace koGeom
