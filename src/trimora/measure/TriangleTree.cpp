// How the tree is searched: boxes and triangles are tested four at a time in floats; what a test leaves
// out is beyond the limit for sure.

#include "trimora/measure/detail/TriangleTree.h"

#include <algorithm>
#include <bit>
#include <emmintrin.h>
#include <limits>

namespace koGeom::detail {

namespace {

struct Float3x4 {
    __m128 x, y, z;
};

Float3x4 operator-(Float3x4 const& a, Float3x4 const& b) {
    return {_mm_sub_ps(a.x, b.x), _mm_sub_ps(a.y, b.y), _mm_sub_ps(a.z, b.z)};
}
Float3x4 operator+(Float3x4 const& a, Float3x4 const& b) {
    return {_mm_add_ps(a.x, b.x), _mm_add_ps(a.y, b.y), _mm_add_ps(a.z, b.z)};
}
Float3x4 operator*(__m128 s, Float3x4 const& a) {
    return {_mm_mul_ps(s, a.x), _mm_mul_ps(s, a.y), _mm_mul_ps(s, a.z)};
}
__m128 dot(Float3x4 const& a, Float3x4 const& b) {
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(a.x, b.x), _mm_mul_ps(a.y, b.y)), _mm_mul_ps(a.z, b.z));
}
Float3x4 cross(Float3x4 const& a, Float3x4 const& b) {
    return {_mm_sub_ps(_mm_mul_ps(a.y, b.z), _mm_mul_ps(a.z, b.y)),
            _mm_sub_ps(_mm_mul_ps(a.z, b.x), _mm_mul_ps(a.x, b.z)),
            _mm_sub_ps(_mm_mul_ps(a.x, b.y), _mm_mul_ps(a.y, b.x))};
}
__m128 choose(__m128 mask, __m128 a, __m128 b) {
    return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
}
Float3x4 choose(__m128 mask, Float3x4 const& a, Float3x4 const& b) {
    return {choose(mask, a.x, b.x), choose(mask, a.y, b.y), choose(mask, a.z, b.z)};
}

Float3x4 spread(PointFlt const& q) {
    return {_mm_set1_ps(q.x), _mm_set1_ps(q.y), _mm_set1_ps(q.z)};
}
Float3x4 load(float const (*rows)[4]) {
    return {_mm_load_ps(rows[0]), _mm_load_ps(rows[1]), _mm_load_ps(rows[2])};
}

/// The point of the segment from a to b that is nearest to the origin; a where it has no length.
Float3x4 nearestOnSegment(Float3x4 const& a, Float3x4 const& b) {
    Float3x4 const along = b - a;
    __m128 const t = _mm_div_ps(_mm_sub_ps(_mm_setzero_ps(), dot(a, along)), dot(along, along));
    __m128 const bounded = _mm_min_ps(_mm_max_ps(t, _mm_setzero_ps()), _mm_set1_ps(1.0f));
    return a + bounded * along;
}

Float3x4 nearer(Float3x4 const& a, Float3x4 const& b) {
    return choose(_mm_cmple_ps(dot(a, a), dot(b, b)), a, b);
}

/// About the point of the triangle that is nearest to the origin.
Float3x4 nearestOnTriangle(Float3x4 const& a, Float3x4 const& b, Float3x4 const& c) {
    Float3x4 const onBorder =
        nearer(nearer(nearestOnSegment(a, b), nearestOnSegment(b, c)), nearestOnSegment(c, a));
    Float3x4 const normal = cross(b - a, c - a);
    __m128 const zero = _mm_setzero_ps();
    __m128 const isInside = _mm_and_ps(_mm_and_ps(_mm_cmpgt_ps(dot(cross(a, b), normal), zero),
                                                  _mm_cmpgt_ps(dot(cross(b, c), normal), zero)),
                                       _mm_cmpgt_ps(dot(cross(c, a), normal), zero));
    Float3x4 const inside = _mm_div_ps(dot(a, normal), dot(normal, normal)) * normal;
    return choose(isInside, inside, onBorder);
}

}  // namespace

float TriangleTree::search(PointFlt const& q, int firstPacket, double distance, double band,
                           std::vector<Near>& near) const {
    float const widenedBand = widened(band);
    float limit = widened(distance);
    if (packets_.empty())
        return limit;
    limit = searchPacket(firstPacket, q, limit, widenedBand, near);
    int const numPackets = static_cast<int>(packets_.size());
    Entry waiting[mostWaiting];
    int numWaiting = 0;
    waiting[numWaiting++] = packets_.size() + nodes_.size() - 1;
    while (numWaiting > 0) {
        Entry const next = waiting[--numWaiting];
        int const number = static_cast<int>(next & 0xFFFFFFFFu);
        auto const distance2 = std::bit_cast<float>(static_cast<std::uint32_t>(next >> 32));
        if (distance2 > limit * limit)
            continue;
        if (number >= numPackets)
            numWaiting += open(nodes_[static_cast<std::size_t>(number - numPackets)], q,
                               limit * limit, waiting + numWaiting);
        else if (number != firstPacket)
            limit = searchPacket(number, q, limit, widenedBand, near);
    }
    return limit;
}

/// Appends the children within the limit, the nearest last; returns how many. Sorts without
/// branches: which children are near is not to be foreseen.
int TriangleTree::open(Node const& node, PointFlt const& q, float limit2, Entry* out) {
    Float3x4 const point = spread(q);
    Float3x4 const below = load(node.low) - point;
    Float3x4 const above = point - load(node.high);
    __m128 const zero = _mm_setzero_ps();
    Float3x4 const gap = {_mm_max_ps(_mm_max_ps(below.x, above.x), zero),
                          _mm_max_ps(_mm_max_ps(below.y, above.y), zero),
                          _mm_max_ps(_mm_max_ps(below.z, above.z), zero)};
    __m128 const squares = dot(gap, gap);
    __m128 const isNear = _mm_cmple_ps(squares, _mm_set1_ps(limit2));
    constexpr int numBits[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
    int const count = numBits[_mm_movemask_ps(isNear)];
    __m128 const infinity = _mm_set1_ps(std::numeric_limits<float>::infinity());
    __m128i const distances = _mm_castps_si128(choose(isNear, squares, infinity));
    __m128i const numbers =
        _mm_add_epi32(_mm_set1_epi32(node.firstChild), _mm_setr_epi32(0, 1, 2, 3));
    alignas(16) Entry entries[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(entries), _mm_unpacklo_epi32(numbers, distances));
    _mm_store_si128(reinterpret_cast<__m128i*>(entries + 2),
                    _mm_unpackhi_epi32(numbers, distances));

    Entry a = entries[0], b = entries[1], c = entries[2], d = entries[3];
    auto const order = [](Entry& greater, Entry& less) {
        Entry const least = std::min(greater, less);
        greater = std::max(greater, less);
        less = least;
    };
    order(a, b);
    order(c, d);
    order(a, c);
    order(b, d);
    order(b, c);
    // What is beyond comes first and is passed over; what is written behind the others is no entry.
    entries[0] = a, entries[1] = b, entries[2] = c, entries[3] = d;
    entries[4] = entries[5] = entries[6] = entries[7] = 0;
    Entry const* const from = entries + 4 - count;
    out[0] = from[0], out[1] = from[1], out[2] = from[2], out[3] = from[3];
    return count;
}

/// Appends the triangles of a packet that may be within the limit; returns the new limit.
///
/// The vector to about the nearest point p tells a direction along which no point of the triangle is
/// nearer than the nearest of its corners x. That holds for any direction, so it does not matter how
/// well p was found, but for how much the bound says. Rounding moves p . x by less than
/// 2^-22 (p^2 + x^2) / 2.
float TriangleTree::searchPacket(int number, PointFlt const& q, float limit, float band,
                                 std::vector<Near>& near) const {
    constexpr float rounding = 2.4e-7f;
    constexpr float leastDirection2 = 1e-30f;  // a smaller one tells nothing
    constexpr float slack = 1.0001f;           // above what `about` is off as a rule
    Packet const& packet = packets_[static_cast<std::size_t>(number)];
    Float3x4 const point = spread(q);
    Float3x4 const a = load(packet.at) - point;
    Float3x4 const b = load(packet.at + 3) - point;
    Float3x4 const c = load(packet.at + 6) - point;
    Float3x4 const p = nearestOnTriangle(a, b, c);
    __m128 const along = _mm_min_ps(_mm_min_ps(dot(p, a), dot(p, b)), dot(p, c));
    __m128 const p2 = dot(p, p);
    __m128 const x2 = _mm_max_ps(_mm_max_ps(dot(a, a), dot(b, b)), dot(c, c));
    __m128 const sure = _mm_sub_ps(along, _mm_mul_ps(_mm_set1_ps(rounding), _mm_add_ps(p2, x2)));
    __m128 const about = _mm_sqrt_ps(p2);
    __m128 const isKnown = _mm_cmpgt_ps(p2, _mm_set1_ps(leastDirection2));
    // The order of the operands makes what is no number 0.
    __m128 const least = _mm_and_ps(isKnown, _mm_max_ps(_mm_div_ps(sure, about), _mm_setzero_ps()));
    if (_mm_movemask_ps(_mm_cmple_ps(least, _mm_set1_ps(limit))) == 0)
        return limit;

    alignas(16) float leasts[4], abouts[4];
    _mm_store_ps(leasts, least);
    _mm_store_ps(abouts, about);
    float const nearest = std::min(std::min(abouts[0], abouts[1]), std::min(abouts[2], abouts[3]));
    limit = std::min(limit, nearest * slack + band);
    for (int k = 0; k < 4; ++k)
        if (leasts[k] <= limit)
            near.push_back({packet.triangles[k], number, leasts[k], abouts[k]});
    return limit;
}

}  // namespace koGeom::detail
