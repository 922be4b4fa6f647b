#include "trimora/spatial/Clip.h"

#include "trimora/contract/koGeom/PointMesh.h"
#include "trimora/spatial/detail/fourPoints.h"
#include "trimora/spatial/detail/projectWhatShows.h"

#include <algorithm>

// Points four at a time, with the operations of one in each lane, so that outcodes and coordinates are those of a plain loop. The
// question alone keeps nothing and runs at the speed of the memory; most points that are projected are never looked at again.

namespace koGeom {

namespace Clip {

namespace {

using detail::FourPoints;

struct FourVertices {
    __m128 x, y, z, w;

    FourVertices(FourPoints const& p, detail::FourfoldMatrix const& m)
        : x(m.component(p, 0)), y(m.component(p, 1)), z(m.component(p, 2)), w(m.component(p, 3)) {}

    __m128i outcodes() const {
        return _mm_or_si128(_mm_or_si128(outcodes(x, 1), outcodes(y, 4)), outcodes(z, 16));
    }
    void store(Vertex* out, int count) const {
        __m128 rows[4] = {x, y, z, w};
        _MM_TRANSPOSE4_PS(rows[0], rows[1], rows[2], rows[3]);
        alignas(16) std::uint32_t codes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(codes), outcodes());
        for (int i = 0; i < count; ++i) {
            _mm_storeu_ps(&out[i].x, rows[i]);
            out[i].outcode = codes[i];
        }
    }

private:
    /// Of one axis: its lower bit, else the one above it.
    __m128i outcodes(__m128 value, int lowerBit) const {
        __m128 const isLow = _mm_cmplt_ps(value, _mm_xor_ps(w, _mm_set1_ps(-0.0f)));
        __m128 const isHigh = _mm_andnot_ps(isLow, _mm_cmpgt_ps(value, w));
        return _mm_or_si128(_mm_and_si128(_mm_castps_si128(isLow), _mm_set1_epi32(lowerBit)),
                            _mm_and_si128(_mm_castps_si128(isHigh), _mm_set1_epi32(2 * lowerBit)));
    }
};

/// What outcodes say together.
class Tally {
public:
    /// True where one of the four is inside.
    bool add(__m128i outcodes) {
        common_ = _mm_and_si128(common_, outcodes);
        return _mm_movemask_epi8(_mm_cmpeq_epi32(outcodes, _mm_setzero_si128())) != 0;
    }
    /// When none was inside.
    Result result() const {
        alignas(16) std::uint32_t codes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(codes), common_);
        return (codes[0] & codes[1] & codes[2] & codes[3]) != 0 ? Outside : Crossing;
    }

private:
    __m128i common_ = _mm_set1_epi32(-1);
};

}  // namespace

Result clipVertices(float const* xyz, int count, ProjMatrixFlt const& m) {
    detail::FourfoldMatrix const matrix(m);
    Tally tally;
    bool isInside = false;
    detail::forFours(xyz, 3, 0, count, [&](FourPoints const& points, int, int) {
        isInside = tally.add(FourVertices(points, matrix).outcodes());
        return isInside;
    });
    return isInside ? Inside : tally.result();
}

Result clipVertices(PointMesh const& mesh, ProjMatrixFlt const& m) {
    return clipVertices(mesh.getVerticesRaw(), mesh.getNumVertices(), m);
}

// The question is answered first: that is a small part of the cost of keeping the points.
Result projectVertices(float const* xyz, int count, ProjMatrixFlt const& m, ko::vector<Vertex>& out,
                       bool stopEarly) {
    Result const result = clipVertices(xyz, count, m);
    if (result == Inside && stopEarly) {
        out.clear();
        return result;
    }
    out.resize(static_cast<std::size_t>(std::max(count, 0)));
    detail::FourfoldMatrix const matrix(m);
    detail::forFours(xyz, 3, 0, count, [&](FourPoints const& points, int first, int number) {
        FourVertices(points, matrix).store(out.data() + first, number);
        return false;
    });
    return result;
}

Result projectVertices(PointMesh const& mesh, ProjMatrixFlt const& m, ko::vector<Vertex>& out,
                       bool stopEarly) {
    return projectVertices(mesh.getVerticesRaw(), mesh.getNumVertices(), m, out, stopEarly);
}

bool evaluatePoint(float const* xyz, ProjMatrixFlt const& m) {
    return clipVertices(xyz, 1, m) == Inside;
}

}  // namespace Clip

Clip::Result detail::projectWhatShows(float const* xyz, int count, ProjMatrixFlt const& m,
                                      ko::vector<Clip::Vertex>& out, bool needsAll) {
    Clip::Result const result = Clip::clipVertices(xyz, count, m);
    if (result == Clip::Crossing || (result == Clip::Inside && needsAll))
        Clip::projectVertices(xyz, count, m, out, false);
    else
        out.clear();
    return result;
}

}  // namespace koGeom
