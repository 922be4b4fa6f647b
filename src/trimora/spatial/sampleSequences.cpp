#include "trimora/spatial/sampleSequences.h"

#include "trimora/contract/koLinear/random.h"

#include <cmath>
#include <cstdint>

namespace koGeom {

namespace {

constexpr float fullTurn = 6.2831855f;

int reversedBits(int value, int size) {
    int reversed = 0;
    for (int bit = size >> 1; value != 0; bit >>= 1, value >>= 1)
        if ((value & 1) != 0)
            reversed += bit;
    return reversed;
}

/// The digits' new values, chosen so that no two neighbours stay beside each other; null for bases without one.
int const* digitPermutation(int base) {
    static constexpr int three[] = {0, 1, 2};
    static constexpr int five[] = {0, 3, 2, 1, 4};
    static constexpr int seven[] = {0, 2, 5, 3, 1, 4, 6};
    switch (base) {
    case 3:
        return three;
    case 5:
        return five;
    case 7:
        return seven;
    default:
        return nullptr;
    }
}

double scrambledInverse(int value, int base, int const* permutation) {
    double sum = 0.0;
    double weight = 1.0;
    for (; value != 0; value /= base) {
        weight /= base;
        sum += permutation[value % base] * weight;
    }
    return sum;
}

}  // namespace

void HammersleyPermutation2::calculate(int bits) {
    size_ = 0;
    table_.reset();
    if (bits < 0 || bits > 15)  // the table's numbers have 16 bits
        return;

    int const size = 1 << bits;
    table_.reset(new int[static_cast<std::size_t>(size)]);
    for (int i = 0; i < size; ++i)
        table_[i] = reversedBits(i, size);
    size_ = size;
}

int HammersleyPermutation2::operator[](int i) const {
    return size_ > 0 ? table_[i & (size_ - 1)] : 0;
}

int HammersleyPermutation2::map2d(int x, int y) const {
    return size_ > 0 ? (x & (size_ - 1)) * size_ + (*this)[y] : 0;
}

int HammersleyPermutation2::mapPeriodic(int i, int period) const {
    if (period == 0 || period == -1)  // -1 divides like 1, but for a number without an opposite
        return map2d(0, period == 0 ? i : static_cast<int>(-std::int64_t(i) & 0xFFFF));
    return map2d(i % period, i / period);
}

void ScrambledHammersleySequence::calculate(int base, int count) {
    count_ = 0;
    table_.reset();
    int const* const permutation = digitPermutation(base);
    if (permutation == nullptr || count < 1)
        return;

    table_.reset(new float[static_cast<std::size_t>(count)]);
    for (int i = 0; i < count; ++i)
        table_[i] = static_cast<float>(scrambledInverse(i, base, permutation));
    count_ = count;
}

float ScrambledHammersleySequence::operator[](int i) const {
    if (count_ == 0)
        return 0.0f;
    int const remainder = i % count_;
    return table_[remainder < 0 ? remainder + count_ : remainder];
}

void randomUnitVector(Vector& v) {
    double squared;
    do {
        v.z = 2.0 * drand48() - 1.0;
        v.y = 2.0 * drand48() - 1.0;
        v.x = 2.0 * drand48() - 1.0;
        squared = v.length2();
    } while (!(squared < 1.0 && squared >= 0.01));
    v /= std::sqrt(squared);
}

void computeHemisphereVectors(Vector const& axis, ko::vector<Vector>& vectors) {
    for (Vector& v : vectors) {
        randomUnitVector(v);
        if (dot(v, axis) < 0.0)
            v.reverse();
    }
}

void mapSphericalToUniformCartesian(float u, float v, VectorFlt& out) {
    float const theta = u * fullTurn;
    float const phi = std::acos(2.0f * v - 1.0f);
    out.set(std::cos(theta) * std::sin(phi), std::sin(theta) * std::sin(phi), std::cos(phi));
}

void mapSphericalCapToUniformCartesian(float u, float v, float cap, VectorFlt& out) {
    float const height = v * cap;
    float const radius = std::sqrt((2.0f - height) * height);
    float const theta = u * fullTurn;
    out.set(std::cos(theta) * radius, std::sin(theta) * radius, 1.0f - height);
}

void mapUniformCartesianToSpherical(VectorFlt const& w, float& u, float& v) {
    float const phi = std::acos(w.z);
    float const sine = std::sin(phi);
    u = 0.0f;
    if (!(std::abs(sine) < 0.001f)) {
        u = std::atan2(w.y / sine, w.x / sine) / fullTurn;
        if (u < 0.0f)
            u += 1.0f;
    }
    v = (std::cos(phi) + 1.0f) * 0.5f;
}

}  // namespace koGeom
