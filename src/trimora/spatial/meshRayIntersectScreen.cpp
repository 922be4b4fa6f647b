#include "trimora/spatial/meshRayIntersectScreen.h"

#include "trimora/assembly/triangleIterators.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/detail/callerContract.h"
#include "trimora/spatial/detail/fourPoints.h"
#include "trimora/spatial/detail/rayTriangle.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>

// Two runs: one writes for each vertex to which sides of the rectangle it lies, the other asks those bytes of each triangle's corners
// and tests what is left.
//
//        4|1     4      4|2          a triangle is left out when its corners share a bit
//             +-----+
//         1   |  0  |    2
//             +-----+
//        8|1     8      8|2

namespace koGeom {

namespace {

constexpr int least = 10000;  // vertices or triangles that are worth the pool
constexpr double nowhere = std::numeric_limits<double>::max();

koUtil::ThreadPool& poolFor(int count) {
    return count >= least ? koUtil::ThreadPool::get() : koUtil::ThreadPool::getSingleThreadedPool();
}

struct Rectangle {
    float xMin, xMax, yMin, yMax;

    static Rectangle around(int x, int y, int size) {
        auto const at = [](std::int64_t place) { return static_cast<float>(place); };
        std::int64_t const reach = size;
        return {at(x - reach), at(x + reach), at(y - reach), at(y + reach)};
    }
};

struct Vertices {
    float const* first;
    int count;
    int stride;

    float const* at(int vertex) const {
        return first + static_cast<std::ptrdiff_t>(stride) * vertex;
    }
};

/// Writes for each vertex to which sides of a rectangle it lies on the screen.
class MeshProjectToScreen : public koUtil::ThreadedAlg {
public:
    MeshProjectToScreen(Vertices const& vertices, ProjMatrixFlt const& m,
                        Rectangle const& rectangle, std::uint8_t* sides)
        : vertices_(vertices), matrix_(m), rectangle_(rectangle), sides_(sides) {}

    void initialize(int numThreads) override {
        common_.assign(static_cast<std::size_t>(numThreads), 255);
    }
    void execute(int threadIndex, int numThreads) override {
        __m128i common = _mm_set1_epi32(255);
        detail::forFours(vertices_.first, vertices_.stride,
                         getBeginIndex(threadIndex, numThreads, vertices_.count),
                         getBeginIndex(threadIndex + 1, numThreads, vertices_.count),
                         [&](detail::FourPoints const& points, int first, int count) {
                             __m128i const four = sides(points);
                             common = _mm_and_si128(common, four);
                             store(four, sides_ + first, count);
                             return false;
                         });
        std::uint8_t bytes[4];
        store(common, bytes, 4);
        common_[static_cast<std::size_t>(threadIndex)] =
            static_cast<std::uint8_t>(bytes[0] & bytes[1] & bytes[2] & bytes[3]);
    }
    void finalize() override {
        std::uint8_t common = 255;
        for (std::uint8_t const each : common_)
            common &= each;
        allOutside_ = common != 0;
    }
    /// All vertices lie to one side.
    bool allOutside() const { return allOutside_; }

private:
    __m128i sides(detail::FourPoints const& p) const {
        __m128 const inverseW = _mm_div_ps(_mm_set1_ps(1.0f), matrix_.component(p, 3));
        __m128 const x = _mm_mul_ps(matrix_.component(p, 0), inverseW);
        __m128 const y = _mm_mul_ps(matrix_.component(p, 1), inverseW);
        return _mm_or_si128(sides(x, rectangle_.xMin, rectangle_.xMax, 1),
                            sides(y, rectangle_.yMin, rectangle_.yMax, 4));
    }
    static __m128i sides(__m128 value, float from, float to, int lowerBit) {
        __m128 const isBelow = _mm_cmplt_ps(value, _mm_set1_ps(from));
        __m128 const isAbove = _mm_andnot_ps(isBelow, _mm_cmpgt_ps(value, _mm_set1_ps(to)));
        return _mm_or_si128(_mm_and_si128(_mm_castps_si128(isBelow), _mm_set1_epi32(lowerBit)),
                            _mm_and_si128(_mm_castps_si128(isAbove), _mm_set1_epi32(2 * lowerBit)));
    }
    /// The lowest byte of each lane.
    static void store(__m128i lanes, std::uint8_t* out, int count) {
        __m128i const words = _mm_packs_epi32(lanes, lanes);
        int const four = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        std::memcpy(out, &four, static_cast<std::size_t>(count));
    }

    Vertices vertices_;
    detail::FourfoldMatrix matrix_;
    Rectangle rectangle_;
    std::uint8_t* sides_;              // a worker writes those of its vertices
    ko::vector<std::uint8_t> common_;  // a byte a thread
    bool allOutside_ = true;
};

/// A ray as the triangle test takes it.
struct PickRay {
    Vector direction;
    PointFlt origin;

    explicit PickRay(Line const& line) : direction(line.direction), origin(line.origin) {}
};

/// The nearest hit so far.
struct Pick {
    double distance = nowhere;
    MeshCoord coord;

    void consider(PickRay const& ray, Vertices const& vertices, int const corners[3],
                  int triangle) {
        double t, u, v;
        if (detail::rayTriangle(&ray.direction.x, &ray.origin.x, vertices.at(corners[0]),
                                vertices.at(corners[1]), vertices.at(corners[2]), false, t, u, v) &&
            t < distance && t >= epsilonTol) {
            distance = t;
            coord = MeshCoord(triangle, 1.0 - u - v, u, v);
        }
    }
};

/// A view of the vertices with their sides.
struct Screen {
    Vertices vertices;
    ko::vector<std::uint8_t> sides;
    bool isEmpty = true;  // all vertices lie to one side

    Screen(Vertices const& from, ProjMatrixFlt const& m, Rectangle const& rectangle)
        : vertices(from) {
        if (from.count < 1 || from.stride < 3)
            return;
        sides.resize(static_cast<std::size_t>(from.count));
        MeshProjectToScreen project(from, m, rectangle, sides.data());
        poolFor(from.count).run(project);
        isEmpty = project.allOutside();
    }
    bool mayShow(int const corners[3]) const {
        auto const sidesOf = [this](int vertex) { return sides[static_cast<std::size_t>(vertex)]; };
        return (sidesOf(corners[0]) & sidesOf(corners[1]) & sidesOf(corners[2])) == 0;
    }
};

/// Tests the triangles of an iterator that may lie under the rectangle.
template <class Iterator>
class MeshClickIntersect : public koUtil::ThreadedAlg {
public:
    MeshClickIntersect(Iterator const& triangles, Screen const& screen, Line const& ray)
        : triangles_(triangles), screen_(screen), ray_(ray) {}

    void initialize(int numThreads) override {
        picks_.assign(static_cast<std::size_t>(numThreads), Pick());
    }
    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, triangles_.numTri());
        int const end = getBeginIndex(threadIndex + 1, numThreads, triangles_.numTri());
        auto const it = triangles_.clone();
        it->start(begin);
        Pick pick;
        for (int triangle = begin; triangle < end; ++triangle, it->next()) {
            int corners[3];
            it->get(corners[0], corners[1], corners[2]);
            if (screen_.mayShow(corners))
                pick.consider(ray_, screen_.vertices, corners, triangle);
        }
        picks_[static_cast<std::size_t>(threadIndex)] = pick;
    }
    /// Slices go upwards, so that the first of equal ones has the lowest triangle.
    void finalize() override {
        for (Pick const& each : picks_)
            if (each.coord.triangle != -1 && each.distance < best_.distance)
                best_ = each;
    }
    Pick const& best() const { return best_; }

private:
    Iterator const& triangles_;  // workers walk clones
    Screen const& screen_;
    PickRay ray_;
    ko::vector<Pick> picks_;  // a slot a thread
    Pick best_;
};

template <class Iterator>
Pick pickOf(Iterator const& triangles, Screen const& screen, Line const& ray) {
    if (screen.isEmpty || triangles.numTri() < 1)
        return Pick();
    MeshClickIntersect<Iterator> alg(triangles, screen, ray);
    poolFor(triangles.numTri()).run(alg);
    return alg.best();
}

MeshCoord pickRaw(Vertices const& vertices, int const* triangles, int numTriangles,
                  ProjMatrixFlt const& m, Rectangle const& rectangle, Line const& ray) {
    RawTriIterator const iterator(numTriangles, triangles);
    return pickOf(iterator, Screen(vertices, m, rectangle), ray).coord;
}

/// Lengths may be wrong, the points not.
[[maybe_unused]] bool namesVertices(MeshSequenceShort const& strips, int numVertices) {
    return std::all_of(strips.points.begin(), strips.points.end(),
                       [=](int point) { return point < numVertices; });
}

/// Strips as an iterator walks them, all of them with triangles; a copy only where they are not so already.
class WalkableStrips {
public:
    explicit WalkableStrips(MeshSequenceShort const& strips) : strips_(&strips) {
        std::int64_t numPoints = 0;
        bool isWalkable = true;
        for (int const length : strips.lengths) {
            isWalkable = isWalkable && length >= 3;
            numPoints += length;
        }
        if (isWalkable && numPoints == strips.getNumPoints())
            return;
        copyTriangles(strips);
        strips_ = &copy_;
    }
    WalkableStrips(WalkableStrips const&) = delete;
    WalkableStrips& operator=(WalkableStrips const&) = delete;

    MeshSequenceShort const& get() const { return *strips_; }

private:
    void copyTriangles(MeshSequenceShort const& strips) {
        copy_.resize(strips.getNumPoints(), strips.getNumRuns());
        int place = 0, numPoints = 0, numStrips = 0;
        for (int const length : strips.lengths) {
            int const held = std::min(std::max(length, 0), strips.getNumPoints() - place);
            if (held >= 3) {
                copy_.lengths[numStrips++] = held;
                std::copy_n(strips.points.data() + place, held, copy_.points.data() + numPoints);
                numPoints += held;
            }
            place += held;
        }
        copy_.resize(numPoints, numStrips);
    }

    MeshSequenceShort copy_;
    MeshSequenceShort const* strips_;
};

}  // namespace

MeshCoord meshRayIntersectScreen(float const* vertices, int numVertices, int const* triangles,
                                 int numTriangles, ProjMatrixFlt const& m, int x, int y, int size,
                                 Line const& ray) {
    assert(numVertices < 1 || detail::haveAllIndicesIn(triangles, numTriangles, numVertices));
    return pickRaw({vertices, numVertices, 3}, triangles, numTriangles, m,
                   Rectangle::around(x, y, size), ray);
}

MeshCoord meshRayIntersectScreen(CompactMesh const& mesh, ProjMatrixFlt const& m, int x, int y,
                                 int size, Line const& ray) {
    return meshRayIntersectScreen(mesh.getVerticesRaw(), mesh.getNumVertices(),
                                  mesh.getTrianglesRaw(), mesh.getNumTriangles(), m, x, y, size,
                                  ray);
}

MeshCoord meshRayIntersectScreen(float const* vertices, int numVertices, int const* triangles,
                                 int numTriangles, ProjMatrixFlt const& m, Line const& ray) {
    return meshRayIntersectScreen(vertices, numVertices, triangles, numTriangles, m, 0, 0, 1, ray);
}

MeshCoord meshRayIntersectScreen(CompactMesh const& mesh, ProjMatrixFlt const& m, Line const& ray) {
    return meshRayIntersectScreen(mesh, m, 0, 0, 1, ray);
}

MeshCoord meshRayIntersectScreen(float const* vertices, int numVertices, int stride,
                                 MeshSequenceShort const& strips, ProjMatrixFlt const& m, int x,
                                 int y, int size, Line const& ray, double& distance) {
    assert(numVertices < 1 || namesVertices(strips, numVertices));
    WalkableStrips const walkable(strips);
    Screen const screen({vertices, numVertices, stride}, m, Rectangle::around(x, y, size));
    Pick const pick = pickOf(ShortTriStripIterator(walkable.get()), screen, ray);
    distance = pick.distance;
    return pick.coord;
}

void meshRayIntersectScreen(float const* vertices, int numVertices, int stride,
                            MeshSequenceShort const& strips, ProjMatrixFlt const& m, float xMin,
                            float xMax, float yMin, float yMax, ko::vector<Line> const& rays,
                            ko::vector<double>& distances, ko::vector<MeshCoord>& coords) {
    ko::vector<PickRay> const tracedRays(rays.begin(), rays.end());
    ko::vector<Pick> picks(rays.size());
    assert(numVertices < 1 || namesVertices(strips, numVertices));
    WalkableStrips const walkable(strips);
    Screen const screen({vertices, numVertices, stride}, m, {xMin, xMax, yMin, yMax});
    if (!screen.isEmpty) {
        ShortTriStripIterator it(walkable.get());
        for (int triangle = 0; it.valid(); ++triangle, it.next()) {
            int corners[3];
            it.get(corners[0], corners[1], corners[2]);
            if (!screen.mayShow(corners))
                continue;
            for (std::size_t i = 0; i < rays.size(); ++i)
                if (rays[i].isValid())
                    picks[i].consider(tracedRays[i], screen.vertices, corners, triangle);
        }
    }

    distances.resize(rays.size());
    coords.resize(rays.size());
    for (std::size_t i = 0; i < rays.size(); ++i) {
        distances[i] = picks[i].distance;
        coords[i] = picks[i].coord;
    }
}

}  // namespace koGeom
