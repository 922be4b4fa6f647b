#pragma once

#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koLinear/vectors.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <emmintrin.h>
#include <memory>

namespace koGeom {

/// A node and its box as walks hold it, in registers: the lanes of a packet are x, y, z and a 0.
struct OctreeCell {
    __m128 lower;
    __m128 upper;
    OctreeNode const* node;

    OctreeCell() = default;
    OctreeCell(__m128 from, __m128 to, OctreeNode const* record)
        : lower(from), upper(to), node(record) {}
    explicit OctreeCell(OctreeIterator const& place)
        : lower(loadXyz(place.box.bounds)),
          upper(loadXyz(place.box.bounds + 3)),
          node(place.node) {}

    BoundingBox box() const {
        BoundingBox plain;
        storeXyz(lower, plain.bounds);
        storeXyz(upper, plain.bounds + 3);
        return plain;
    }
    operator BoundingBox() const { return box(); }
    operator OctreeIterator() const { return {box(), node}; }

    /// Three floats; touches no fourth.
    static __m128 loadXyz(float const* xyz) {
        __m128 const xy = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<__m128i const*>(xyz)));
        return _mm_movelh_ps(xy, _mm_load_ss(xyz + 2));
    }
    static void storeXyz(__m128 v, float* xyz) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(xyz), _mm_castps_si128(v));
        _mm_store_ss(xyz + 2, _mm_movehl_ps(v, v));
    }
    static __m128 select(__m128 mask, __m128 whereSet, __m128 elsewhere) {
        return _mm_or_ps(_mm_and_ps(mask, whereSet), _mm_andnot_ps(mask, elsewhere));
    }
};

/// An inner node's bounds and the cuts between its children: what all 8 boxes are made of. A set of
/// children is 8 bits, bit c for child c.
struct OctreeSplit {
    __m128 lower;
    __m128 cut;
    __m128 upper;
    OctreeNode const* children;

    /// The children in the lower half of each axis; the others are the complement.
    static constexpr unsigned lowerHalf[3] = {0x55, 0x33, 0x0F};

    explicit OctreeSplit(OctreeCell const& cell)
        : lower(cell.lower), upper(cell.upper), children(cell.node->children()) {
        // octreeCut on three axes
        __m128d const half = _mm_set1_pd(0.5);
        __m128d const sumXY = _mm_add_pd(_mm_cvtps_pd(lower), _mm_cvtps_pd(upper));
        __m128d const sumZ = _mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(lower, lower)),
                                        _mm_cvtps_pd(_mm_movehl_ps(upper, upper)));
        __m128 const middle = _mm_movelh_ps(_mm_cvtpd_ps(_mm_mul_pd(sumXY, half)),
                                            _mm_cvtpd_ps(_mm_mul_pd(sumZ, half)));
        __m128 const separates =
            _mm_and_ps(_mm_cmpgt_ps(middle, lower), _mm_cmplt_ps(middle, upper));
        cut = OctreeCell::select(separates, middle, upper);
    }

    OctreeCell child(int number) const {
        __m128i const bits = _mm_setr_epi32(1, 2, 4, 8);
        __m128 const isUpper =
            _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(_mm_set1_epi32(number), bits), bits));
        return {OctreeCell::select(isUpper, cut, lower), OctreeCell::select(isUpper, upper, cut),
                children + number};
    }

    /// The children whose half is one of those named, on every axis: bits 0, 1, 2 of `inLower` and
    /// `inUpper` stand for the lower and the upper half in x, y, z; higher bits are not looked at.
    static unsigned childrenInHalves(int inLower, int inUpper) {
        return supersets[~inLower & 7] & subsets[inUpper & 7];
    }

    /// BoundingBox::distance2 of all 8 boxes, the same bits.
    void distances2(PointFlt const& point, double distance2[8]) const {
        __m128d const positionXY = _mm_setr_pd(point.x, point.y);
        __m128d const positionZ = _mm_set1_pd(point.z);
        __m128d const lowXY = gap2(_mm_cvtps_pd(lower), _mm_cvtps_pd(cut), positionXY);
        __m128d const highXY = gap2(_mm_cvtps_pd(cut), _mm_cvtps_pd(upper), positionXY);
        // z alone needs one lane for each half
        __m128d const z = gap2(_mm_cvtps_pd(_mm_unpackhi_ps(lower, cut)),
                               _mm_cvtps_pd(_mm_unpackhi_ps(cut, upper)), positionZ);
        __m128d const x = _mm_unpacklo_pd(lowXY, highXY);
        __m128d const y = _mm_unpackhi_pd(lowXY, highXY);
        __m128d const atLowY = _mm_add_pd(x, _mm_unpacklo_pd(y, y));
        __m128d const atHighY = _mm_add_pd(x, _mm_unpackhi_pd(y, y));
        _mm_storeu_pd(distance2, _mm_add_pd(atLowY, _mm_unpacklo_pd(z, z)));
        _mm_storeu_pd(distance2 + 2, _mm_add_pd(atHighY, _mm_unpacklo_pd(z, z)));
        _mm_storeu_pd(distance2 + 4, _mm_add_pd(atLowY, _mm_unpackhi_pd(z, z)));
        _mm_storeu_pd(distance2 + 6, _mm_add_pd(atHighY, _mm_unpackhi_pd(z, z)));
    }

private:
    /// The children whose numbers have all bits of a number, and those that have no others.
    static constexpr std::uint8_t supersets[8] = {0xFF, 0xAA, 0xCC, 0x88, 0xF0, 0xA0, 0xC0, 0x80};
    static constexpr std::uint8_t subsets[8] = {0x01, 0x03, 0x05, 0x0F, 0x11, 0x33, 0x55, 0xFF};

    /// The square of BoundingBox::gap in each lane.
    static __m128d gap2(__m128d from, __m128d to, __m128d position) {
        __m128d const outside = _mm_max_pd(_mm_sub_pd(from, position), _mm_sub_pd(position, to));
        __m128d const gap = _mm_max_pd(outside, _mm_setzero_pd());
        return _mm_mul_pd(gap, gap);
    }
};

/// Filter of an OctreeStackWalk: the boxes that overlap or touch a box.
class OctreeBoxFilter {
public:
    explicit OctreeBoxFilter(BoundingBox const& query)
        : OctreeBoxFilter(OctreeCell::loadXyz(query.bounds),
                          OctreeCell::loadXyz(query.bounds + 3)) {}
    OctreeBoxFilter(__m128 lower, __m128 upper) : lower_(lower), upper_(upper) {}

    bool passes(OctreeCell const& cell) const {
        return _mm_movemask_ps(_mm_and_ps(_mm_cmple_ps(cell.lower, upper_),
                                          _mm_cmple_ps(lower_, cell.upper))) == 15;
    }
    /// The parent overlaps, so the query and a half can only miss each other at the cut.
    unsigned children(OctreeSplit const& split) const {
        return OctreeSplit::childrenInHalves(_mm_movemask_ps(_mm_cmple_ps(lower_, split.cut)),
                                             _mm_movemask_ps(_mm_cmple_ps(split.cut, upper_)));
    }

private:
    __m128 lower_;
    __m128 upper_;
};

/// The walk that delivers, front to back, the leaves whose boxes pass a filter.
///
/// A filter offers
///   bool passes(OctreeCell const&) const          the test of one box
///   unsigned children(OctreeSplit const&) const   which children pass, their parent having passed
///
/// It is given anew to every step, so that it may change on the way: what fails is left out from
/// there on. Expanding a node takes it off the stack and pushes its passing children in reverse, so
/// that the first in order ends on top. At most 7 siblings wait on each level above the node in
/// hand, which 8 entries a level cover.
class OctreeStackWalk {
public:
    explicit OctreeStackWalk(Octree const& octree)
        : octree_(&octree),
          stack_(new OctreeCell[static_cast<std::size_t>(8 * octree.maxDepth)]),
          top_(stack_.get()) {}
    OctreeStackWalk(OctreeStackWalk const&) = delete;
    OctreeStackWalk& operator=(OctreeStackWalk const&) = delete;

    bool valid() const { return top_ != stack_.get(); }
    /// The leaf in hand; only while valid.
    OctreeCell const& top() const { return top_[-1]; }

    /// Goes to the first leaf that passes, in the order of `direction`.
    template <class Filter>
    void start(Filter const& filter, Vector const& direction) {
        int order[8];
        Octree::getNodeOrdering(direction, order);
        flip_ = static_cast<unsigned>(order[0]);
        startAt(OctreeCell(octree_->getRoot()), filter);
    }

    /// The same below one node, in the order of the last start; ascending before the first.
    template <class Filter>
    void startAt(OctreeCell const& cell, Filter const& filter) {
        top_ = stack_.get();
        if (!filter.passes(cell))
            return;
        *top_++ = cell;
        expandToLeaf(filter);
    }

    /// Goes to the next leaf that passes; nothing happens when there is none in hand.
    template <class Filter>
    void next(Filter const& filter) {
        if (!valid())
            return;
        --top_;
        expandToLeaf(filter);
    }

private:
    template <class Filter>
    void expandToLeaf(Filter const& filter) {
        while (valid() && top_[-1].node->isLeaf == 0) {
            --top_;
            OctreeSplit const split(*top_);
            unsigned waiting = flipped(filter.children(split), flip_);
            while (waiting != 0) {
                unsigned const last = static_cast<unsigned>(std::bit_width(waiting)) - 1;
                waiting ^= 1U << last;
                *top_++ = split.child(static_cast<int>(last ^ flip_));
            }
        }
    }

    /// Moves bit c of a set of children to bit c xor flip, for all c.
    static unsigned flipped(unsigned children, unsigned flip) {
        if ((flip & 1) != 0)
            children = (children & 0x55) << 1 | (children >> 1 & 0x55);
        if ((flip & 2) != 0)
            children = (children & 0x33) << 2 | (children >> 2 & 0x33);
        if ((flip & 4) != 0)
            children = (children & 0x0F) << 4 | (children >> 4 & 0x0F);
        return children;
    }

    Octree const* octree_;
    std::unique_ptr<OctreeCell[]> stack_;
    OctreeCell* top_;    ///< one past the entry on top
    unsigned flip_ = 0;  ///< the child met k-th is k xor flip_
};

}  // namespace koGeom
