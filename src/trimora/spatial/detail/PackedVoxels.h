#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/spatial/OctreeStackWalk.h"
#include "trimora/spatial/detail/VoxelDisc.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace koGeom::detail {

/// The triangles of voxels in a few bytes, side by side in the order of the table: enough to tell which of them lie
/// beyond a distance without fetching corners from all over the mesh.
///
/// A voxel has a frame: the box of its triangles, cut into 255 units along its longest side. A corner is three bytes, the
/// nearest whole units, so it is off by less than 0.875 of a unit in space. Triangles go in packets of four:
///
///     a.x x 4, a.y x 4, a.z x 4, b.x x 4, ... c.z x 4          36 bytes
///
/// A voxel is packed when it is read first; one with a corner that is not finite is not packed. Its disc is made when it is
/// read for the second time, for making it costs as much as reading a voxel.
class PackedVoxels {
public:
    static constexpr int packetBytes = 36;
    /// Voxels of fewer triangles have no disc.
    static constexpr int leastTrianglesOfDisc = 8;
    static constexpr int readingsBeforeDisc = 2;

    /// A line of the cache.
    struct alignas(64) Voxel {
        VoxelDisc disc;
        std::uint16_t timesRead = 0;  ///< counted up to readingsBeforeDisc; packed the first time
        bool hasDisc = false;
        PointFlt low;
        float unit = 0.0f;  ///< 0: not packed
        std::uint8_t const* packets = nullptr;

        bool isBeyond(Point const& p, double reach) const {
            return hasDisc && disc.isBeyond(p, reach);
        }
    };
    static_assert(sizeof(Voxel) == 64);

    explicit PackedVoxels(int numVoxels) {
        // Zeroed memory that is not touched costs nothing: most voxels may never be read.
        std::size_t const numBytes =
            (std::size_t(1) + static_cast<std::size_t>(std::max(numVoxels, 0))) * sizeof(Voxel);
        memory_.reset(std::calloc(numBytes, 1));
        if (!memory_)
            throw std::bad_alloc();
        auto const address = reinterpret_cast<std::uintptr_t>(memory_.get());
        std::size_t const skipped = (alignof(Voxel) - address % alignof(Voxel)) % alignof(Voxel);
        voxels_ = reinterpret_cast<Voxel*>(static_cast<std::byte*>(memory_.get()) + skipped);
    }

    Voxel const& operator[](int voxel) const { return voxels_[voxel]; }

    /// To be told of each reading of a voxel, whose triangles these are, before its packets are looked at.
    void read(int voxel, CompactMesh const& mesh, int const* tris, int numTris) {
        Voxel& read = voxels_[voxel];
        if (read.timesRead == readingsBeforeDisc)
            return;
        if (++read.timesRead == 1)
            pack(read, mesh, tris, numTris);
        if (read.timesRead == readingsBeforeDisc && numTris >= leastTrianglesOfDisc) {
            read.disc = VoxelDisc(mesh, tris, numTris);
            read.hasDisc = true;
        }
    }

private:
    static constexpr std::size_t chunkBytes = std::size_t(1) << 18;
    static constexpr int overreadBytes = 16;  // packets are loaded by 16 bytes

    struct Corner {
        __m128 xyz;
    };

    void pack(Voxel& voxel, CompactMesh const& mesh, int const* tris, int numTris) {
        fetchCorners(mesh, tris, numTris);
        __m128 low = corners_[0].xyz;
        __m128 high = corners_[0].xyz;
        for (Corner const& corner : corners_) {
            low = _mm_min_ps(low, corner.xyz);
            high = _mm_max_ps(high, corner.xyz);
        }
        float extents[4];
        _mm_storeu_ps(extents, _mm_sub_ps(high, low));
        float const extent = std::max({extents[0], extents[1], extents[2]});
        // A little more than the 255th part, so that rounding does not lead out of a byte.
        float const unit = extent * (1.0f + 0x1p-18f) / 255.0f;
        bool const isUsable = allFinite_ && std::isnormal(unit) && std::isnormal(1.0f / unit);
        if (!isUsable)
            return;
        voxel.unit = unit;
        float lows[4];
        _mm_storeu_ps(lows, low);
        voxel.low = PointFlt(lows[0], lows[1], lows[2]);
        voxel.packets = writePackets(low, _mm_set1_ps(1.0f / unit), numTris);
    }

    void fetchCorners(CompactMesh const& mesh, int const* tris, int numTris) {
        MeshTriangle const* const triangles = mesh.getTriangles();
        float const* const positions = mesh.getVerticesRaw();
        corners_.resize(3 * static_cast<std::size_t>(numTris));
        __m128 differences = _mm_setzero_ps();
        std::size_t next = 0;
        for (int i = 0; i < numTris; ++i)
            for (int const vertex : triangles[tris[i]].vertices) {
                __m128 const corner =
                    OctreeCell::loadXyz(positions + 3 * static_cast<std::ptrdiff_t>(vertex));
                corners_[next++].xyz = corner;
                differences = _mm_add_ps(differences, _mm_sub_ps(corner, corner));
            }
        allFinite_ = _mm_movemask_ps(_mm_cmpeq_ps(differences, _mm_setzero_ps())) == 15;
    }

    std::uint8_t const* writePackets(__m128 low, __m128 perUnit, int numTris) {
        std::uint8_t* const packets = room(static_cast<std::size_t>((numTris + 3) / 4));
        for (int i = 0; i < (numTris + 3) / 4 * 4; ++i) {
            std::size_t const source = 3 * static_cast<std::size_t>(std::min(i, numTris - 1));
            std::uint8_t* const packet = packets + i / 4 * packetBytes + i % 4;
            for (std::size_t corner = 0; corner < 3; ++corner) {
                __m128i const units = _mm_cvtps_epi32(
                    _mm_mul_ps(_mm_sub_ps(corners_[source + corner].xyz, low), perUnit));
                std::uint8_t* const place = packet + 12 * corner;
                place[0] = static_cast<std::uint8_t>(_mm_cvtsi128_si32(units));
                place[4] = static_cast<std::uint8_t>(_mm_extract_epi16(units, 2));
                place[8] = static_cast<std::uint8_t>(_mm_extract_epi16(units, 4));
            }
        }
        return packets;
    }

    std::uint8_t* room(std::size_t numPackets) {
        std::size_t const needed = numPackets * packetBytes + overreadBytes;
        if (needed > numFree_) {
            std::size_t const size = std::max(needed, chunkBytes);
            chunks_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(size));
            free_ = chunks_.back().get();
            numFree_ = size;
        }
        std::uint8_t* const place = free_;
        free_ += needed;
        numFree_ -= needed;
        return place;
    }

    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    std::unique_ptr<void, Free> memory_;
    Voxel* voxels_;  // lies in it
    std::vector<std::unique_ptr<std::uint8_t[]>> chunks_;
    std::uint8_t* free_ = nullptr;
    std::size_t numFree_ = 0;
    std::vector<Corner> corners_;  // of the voxel being packed
    bool allFinite_ = true;
};

/// One corner of each of the four triangles of a packet, in units; `corner` points to 12 bytes of it.
struct PackedCorners {
    __m128 x, y, z;

    explicit PackedCorners(std::uint8_t const* corner) : PackedCorners(load(corner)) {}
    explicit PackedCorners(__m128i bytes) {
        __m128i const zero = _mm_setzero_si128();
        __m128i const xy = _mm_unpacklo_epi8(bytes, zero);
        x = _mm_cvtepi32_ps(_mm_unpacklo_epi16(xy, zero));
        y = _mm_cvtepi32_ps(_mm_unpackhi_epi16(xy, zero));
        z = _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpackhi_epi8(bytes, zero), zero));
    }

    /// The 12 bytes, and what follows them.
    static __m128i load(std::uint8_t const* corner) {
        return _mm_loadu_si128(reinterpret_cast<__m128i const*>(corner));
    }
};

/// One point against the packets of one voxel. All that it says is on the safe side: the margins cover the bytes and the
/// rounding.
class PackedDistances {
public:
    PackedDistances(PackedVoxels::Voxel const& voxel, Point const& p) {
        double const unit = static_cast<double>(voxel.unit);
        Vector const inUnits = (p - Point(voxel.low)) / unit;
        x_ = _mm_set1_ps(static_cast<float>(inUnits.x));
        y_ = _mm_set1_ps(static_cast<float>(inUnits.y));
        z_ = _mm_set1_ps(static_cast<float>(inUnits.z));
        perUnit_ = 1.0 / unit;
        double const farthest =
            256.0 + std::max({std::abs(inUnits.x), std::abs(inUnits.y), std::abs(inUnits.z)});
        margin_ = 0.875 + 0x1p-18 * farthest;
    }

    /// A distance in space as the square that the tests compare with.
    float limit(double distance) const {
        double const inUnits = distance * perUnit_ + margin_;
        return static_cast<float>(inUnits * inUnits * (1.0 + 0x1p-18));
    }

    /// What is farther than a distance has a square above the distance's limit only if it is; four triangles a packet.
    __m128 boxSquares(std::uint8_t const* packet) const {
        __m128i const a = PackedCorners::load(packet);
        __m128i const b = PackedCorners::load(packet + 12);
        __m128i const c = PackedCorners::load(packet + 24);
        PackedCorners const low(_mm_min_epu8(_mm_min_epu8(a, b), c));
        PackedCorners const high(_mm_max_epu8(_mm_max_epu8(a, b), c));
        __m128 const x = gap(low.x, high.x, x_);
        __m128 const y = gap(low.y, high.y, y_);
        __m128 const z = gap(low.z, high.z, z_);
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(x, x), _mm_mul_ps(y, y)), _mm_mul_ps(z, z));
    }

    /// A bit for each triangle of the packet that lies beyond the limit along the direction from its middle to the point.
    /// Along any one direction no point of a triangle is nearer than the nearest of its corners.
    int beyondAlongMiddle(std::uint8_t const* packet, __m128 limit) const {
        Lanes const a = from(PackedCorners(packet));
        Lanes const b = from(PackedCorners(packet + 12));
        Lanes const c = from(PackedCorners(packet + 24));
        Lanes const along = {_mm_add_ps(_mm_add_ps(a.x, b.x), c.x),
                             _mm_add_ps(_mm_add_ps(a.y, b.y), c.y),
                             _mm_add_ps(_mm_add_ps(a.z, b.z), c.z)};
        __m128 const least = _mm_min_ps(_mm_min_ps(dot(along, a), dot(along, b)), dot(along, c));
        __m128 const isAhead = _mm_cmpgt_ps(least, _mm_setzero_ps());
        __m128 const isFar =
            _mm_cmpgt_ps(_mm_mul_ps(least, least), _mm_mul_ps(limit, dot(along, along)));
        return _mm_movemask_ps(_mm_and_ps(isAhead, isFar));
    }

private:
    struct Lanes {
        __m128 x, y, z;
    };

    static __m128 gap(__m128 low, __m128 high, __m128 position) {
        __m128 const outside = _mm_max_ps(_mm_sub_ps(low, position), _mm_sub_ps(position, high));
        return _mm_max_ps(outside, _mm_setzero_ps());
    }
    static __m128 dot(Lanes const& a, Lanes const& b) {
        return _mm_add_ps(_mm_add_ps(_mm_mul_ps(a.x, b.x), _mm_mul_ps(a.y, b.y)),
                          _mm_mul_ps(a.z, b.z));
    }
    Lanes from(PackedCorners const& corner) const {
        return {_mm_sub_ps(x_, corner.x), _mm_sub_ps(y_, corner.y), _mm_sub_ps(z_, corner.z)};
    }

    __m128 x_, y_, z_;  // the point, in units
    double perUnit_;
    double margin_;
};

}  // namespace koGeom::detail
