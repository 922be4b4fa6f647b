#include "support/builders.h"
#include "support/checks.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/spatial/Clip.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <functional>
#include <limits>
#include <vector>

using namespace koGeom;
using Clip::Vertex;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

/// What each point becomes, and its outcode, in plain floats.
Vertex projected(float const* p, ProjMatrixFlt const& a) {
    float out[4];
    for (int i = 0; i < 4; ++i)
        out[i] = a.m[i] * p[0] + a.m[i + 4] * p[1] + a.m[i + 8] * p[2] + a.m[i + 12];
    Vertex v{out[0], out[1], out[2], out[3], 0};
    for (int axis = 0; axis < 3; ++axis) {
        if (out[axis] < -v.w)
            v.outcode |= 1u << (2 * axis);
        else if (out[axis] > v.w)
            v.outcode |= 2u << (2 * axis);
    }
    return v;
}

Clip::Result plainResult(std::vector<Vertex> const& vertices) {
    std::uint32_t common = ~0u;
    for (Vertex const& v : vertices) {
        if (v.outcode == 0)
            return Clip::Inside;
        common &= v.outcode;
    }
    return common != 0 ? Clip::Outside : Clip::Crossing;
}

ProjMatrixFlt drawMatrix(support::Random& random) {
    ProjMatrixFlt m;
    for (float& each : m.m)
        each = static_cast<float>(random.real(-1.0, 1.0));
    if (random.index(2) == 0)
        m = ProjMatrixFlt();
    if (random.index(8) == 0)
        m.m[random.index(16)] = random.index(2) == 0 ? notANumber : infinity;
    return m;
}

std::vector<float> drawPoints(support::Random& random, int count, double size) {
    std::vector<float> xyz;
    for (int i = 0; i < 3 * count; ++i)
        xyz.push_back(static_cast<float>(random.real(-size, size)));
    return xyz;
}

/// How deep a segment goes into the volume: the greatest, along it, of the least distance to a face.
double depth(Vertex const& a, Vertex const& b) {
    auto const heights = [](Vertex const& v) {
        double const w = double(v.w);
        return std::array<double, 6>{w + double(v.x), w - double(v.x), w + double(v.y),
                                     w - double(v.y), w + double(v.z), w - double(v.z)};
    };
    std::array<double, 6> const atA = heights(a), atB = heights(b);
    std::vector<double> params = {0.0, 1.0};
    for (std::size_t i = 0; i < 6; ++i)
        for (std::size_t k = 0; k < i; ++k)
            params.push_back((atA[i] - atA[k]) / (atA[i] - atA[k] - atB[i] + atB[k]));
    double deepest = -infinity;
    for (double const t : params) {
        if (!(t >= 0.0 && t <= 1.0))
            continue;
        double least = infinity;
        for (std::size_t i = 0; i < 6; ++i)
            least = std::min(least, atA[i] + t * (atB[i] - atA[i]));
        deepest = std::max(deepest, least);
    }
    return deepest;
}

int numAxes(Vertex const& v) {
    return ((v.outcode & 3) != 0) + ((v.outcode & 12) != 0) + ((v.outcode & 48) != 0);
}

/// Which segments are told exactly: see LineAlgorithm.
bool isToldExactly(Vertex const& a, Vertex const& b) {
    if (numAxes(a) == 1 || numAxes(b) == 1)
        return true;
    Vertex const& judged = numAxes(a) == 2 ? a : b;
    if (numAxes(judged) == 2)
        return (judged.outcode & 12) != 0;
    return numAxes(a) == 3;
}

struct Segments {
    std::vector<std::array<HPoint, 2>> given;
    std::vector<int> numbers;
    Clip::LineAlgorithm algorithm;

    Segments() { algorithm.setLineFunc(&take, this); }
    static bool take(void* self, HPoint const& a, HPoint const& b) {
        auto& segments = *static_cast<Segments*>(self);
        segments.given.push_back({a, b});
        segments.numbers.push_back(segments.algorithm.getLineSegmentNum());
        return false;  // which changes nothing
    }
};

struct Piece {
    int triangle;
    HPoint corners[3];
    MeshUV uvs[3];
};

struct Pieces {
    std::vector<Piece> given;
    Clip::TriangleAlgorithm algorithm;
    std::function<bool()> goOn = [] { return true; };

    Pieces() { algorithm.setTriangleFunc(&take, this); }
    static bool take(void* self, HPoint const& a, HPoint const& b, HPoint const& c) {
        auto& pieces = *static_cast<Pieces*>(self);
        Piece piece{pieces.algorithm.getTriangleNum(), {a, b, c}, {}};
        pieces.algorithm.getUVs(piece.uvs[0], piece.uvs[1], piece.uvs[2]);
        pieces.given.push_back(piece);
        return pieces.goOn();
    }
};

ProjMatrixFlt scaledBy(float scale) {
    ProjMatrixFlt m;
    m.m[0] = m.m[5] = m.m[10] = scale;
    return m;
}

double areaOf(Piece const& piece) {
    Point const a = piece.corners[0].asPoint();
    return 0.5 * cross(piece.corners[1].asPoint() - a, piece.corners[2].asPoint() - a).z;
}

}  // namespace

TEST_CASE("projectionsEqualThoseInPlainFloats") {
    support::Random random(81);
    std::vector<Vertex> out(3);
    for (int round = 0; round < 1000; ++round) {
        int const count = random.index(14);
        std::vector<float> xyz = drawPoints(random, count, random.index(2) == 0 ? 1.2 : 4.0);
        if (count > 0 && random.index(6) == 0)
            xyz[static_cast<std::size_t>(random.index(3 * count))] = notANumber;
        ProjMatrixFlt const m = drawMatrix(random);
        std::vector<Vertex> expected;
        for (int i = 0; i < count; ++i)
            expected.push_back(projected(xyz.data() + 3 * i, m));
        Clip::Result const result = plainResult(expected);
        CHECK(Clip::clipVertices(xyz.data(), count, m) == result);
        CHECK(Clip::projectVertices(xyz.data(), count, m, out, false) == result);
        REQUIRE(out.size() == expected.size());
        for (std::size_t i = 0; i < out.size(); ++i) {
            CHECK(out[i].outcode == expected[i].outcode);
            CHECK((out[i].x == expected[i].x || std::isnan(expected[i].x)));
            CHECK((out[i].y == expected[i].y || std::isnan(expected[i].y)));
            CHECK((out[i].z == expected[i].z || std::isnan(expected[i].z)));
            CHECK((out[i].w == expected[i].w || std::isnan(expected[i].w)));
        }
        CHECK(Clip::projectVertices(xyz.data(), count, m, out, true) == result);
        CHECK(out.size() == (result == Clip::Inside ? 0u : expected.size()));
    }
}

TEST_CASE("facesCountAsInsideAndNoPointsAsOutside") {
    ProjMatrixFlt const identity;
    float const corner[] = {1, -1, 1}, beyond[] = {1.0000001f, 0, 0}, broken[] = {notANumber, 0, 0};
    CHECK(Clip::evaluatePoint(corner, identity));
    CHECK_FALSE(Clip::evaluatePoint(beyond, identity));
    CHECK(Clip::evaluatePoint(broken, identity));  // beyond nothing
    std::vector<Vertex> out(2);
    for (int count : {0, -7}) {
        CHECK(Clip::clipVertices(corner, count, identity) == Clip::Outside);
        CHECK(Clip::projectVertices(corner, count, identity, out, false) == Clip::Outside);
        CHECK(out.empty());
    }
    ProjMatrixFlt behind;
    behind.m[15] = -1.0f;  // w below 0: beyond both faces of an axis, the lower one is noted
    CHECK(Clip::projectVertices(beyond, 1, behind, out, false) == Clip::Outside);
    CHECK(out[0].outcode == (2u | 4u | 16u));  // x = 1.0000001 is not below 1
    CompactMesh const cube = support::cube();
    CHECK(Clip::clipVertices(cube, identity) == Clip::Inside);
    CHECK(Clip::projectVertices(cube, identity, out, true) == Clip::Inside);
    CHECK(out.empty());
    CHECK(Clip::projectVertices(cube, identity, out, false) == Clip::Inside);
    CHECK(out.size() == 8);
    CHECK(Clip::clipVertices(CompactMesh(), identity) == Clip::Outside);
}

TEST_CASE("segmentsAreFoundUpToWhatIsLeftInexact") {
    support::Random random(83);
    int numShown = 0, numInexact = 0, numMissed = 0;
    for (int round = 0; round < 20000; ++round) {
        std::vector<float> const xyz = drawPoints(random, 2, random.index(2) == 0 ? 1.6 : 3.0);
        ProjMatrixFlt m;
        if (round % 2 == 0) {  // towards +z, eye at -4
            m.m[11] = 0.5f;
            m.m[15] = 2.0f;
        }
        Vertex const a = projected(xyz.data(), m), b = projected(xyz.data() + 3, m);
        double const into = depth(a, b);
        if (std::abs(into) < 1e-4)
            continue;
        Clip::LineAlgorithm silent;
        Segments telling;
        bool const shows = into > 0.0;
        bool const isFound = telling.algorithm.evaluateStrip(xyz.data(), 2, m);
        CHECK(telling.given.size() == (isFound ? 1u : 0u));
        CHECK(telling.algorithm.evaluateSegments(xyz.data(), 2, m) == isFound);
        bool const hasInside = a.outcode == 0 || b.outcode == 0;
        CHECK(silent.evaluateStrip(xyz.data(), 2, m) == (hasInside || isFound));
        CHECK(silent.evaluateSegments(xyz.data(), 2, m) == (hasInside || isFound));
        numShown += shows ? 1 : 0;
        if (isToldExactly(a, b)) {
            CHECK(isFound == shows);
        } else {
            ++numInexact;
            numMissed += isFound != shows ? 1 : 0;
        }
    }
    CHECK(numShown > 4000);
    CHECK(numInexact > 1000);
    CHECK(numMissed > 100);
    CHECK(numMissed < numInexact / 2);
}

TEST_CASE("inexactSegmentsStayAsTheyAre") {
    ProjMatrixFlt const identity;
    auto const isGiven = [&](std::vector<float> const& xyz) {
        return Segments().algorithm.evaluateStrip(xyz.data(), 2, identity);
    };
    // From the middle through the upper face in z: of an end beyond x and z the faces of x and y are tried.
    CHECK_FALSE(isGiven({0, 0, 0, 1.5f, 0, 3}));
    CHECK(isGiven({0, 0, 0, 0, 1.5f, 3}));
    CHECK(isGiven({0, 0, 0, 1.5f, 3, 0}));
    CHECK(isGiven({0, 0, 0, 3, 0, 1.5f}));
    // Both ends inside: the line is tried against the upper faces.
    CHECK(isGiven({-0.5f, 0, 0, -0.9f, 0, 0}));
    CHECK_FALSE(isGiven({-0.9f, -0.5f, 0, -0.5f, -0.9f, 0}));
    // So is one from the inside to beyond three faces; the other way round the right ones are.
    CHECK_FALSE(isGiven({-0.9f, -0.9f, 0, 2, -2, 2}));
    CHECK(isGiven({2, -2, 2, -0.9f, -0.9f, 0}));

    Clip::LineAlgorithm algorithm;
    Vertex const a{2, 0, 0, 1, 2}, b{0, 0, 0, 1, 0}, c{2, 1, 0, 1, 2};
    CHECK(algorithm.intersects(a, b, 0, 1.0f));
    CHECK(algorithm.intersects(a, b, 0, -1.0f));       // not limited to the segment
    CHECK_FALSE(algorithm.intersects(a, b, 1, 1.0f));  // parallel
    CHECK_FALSE(algorithm.intersects(a, c, 0, 1.0f));
    Vertex const rim{2, 1.0000008f, 0, 1, 6}, outer{2, 1.0000012f, 0, 1, 6};
    CHECK(
        algorithm.intersects(rim, Vertex{0, 1.0000008f, 0, 1, 4}, 0, 1.0f));  // within a millionth
    CHECK_FALSE(algorithm.intersects(outer, Vertex{0, 1.0000012f, 0, 1, 4}, 0, 1.0f));
    // The face that the first one is beyond, the upper one if none: here only the lower one is met between 0 and 1.
    Vertex const low{-2, 0, 0, 1, 1}, steep{1, 3, 0, 1, 8};
    CHECK(algorithm.intersectsFace(low, Vertex{0, 1.5f, 0, 1, 8}, 3));
    CHECK_FALSE(algorithm.intersectsFace(Vertex{-2, 0, 0, 1, 0}, steep, 3));
    CHECK(algorithm.intersectsEdge(low, b, 51));
    CHECK(algorithm.intersectsCorner(low, b));
}

TEST_CASE("stripsAndPairsAreWalkedInOrder") {
    //   0 --- 1     from far left to far right, up outside, and back across
    //         |
    //   3 --- 2     4 beside
    float const xyz[] = {-3, 0, 0, 3, 0, 0, 3, 0.5f, 0, -3, 0.5f, 0, -3, 2, 0};
    ProjMatrixFlt const identity;
    Segments telling;
    CHECK(telling.algorithm.getLineSegmentNum() == -1);
    CHECK(telling.algorithm.evaluateStrip(xyz, 5, identity));
    REQUIRE(telling.given.size() == 2);
    CHECK((telling.given[0][0] == HPoint(-3, 0, 0, 1)));
    CHECK((telling.given[0][1] == HPoint(3, 0, 0, 1)));
    CHECK((telling.numbers == std::vector<int>{0, 2}));
    CHECK(telling.algorithm.getLineSegmentNum() == 3);
    CHECK(telling.algorithm.evaluateSegments(xyz, 5, identity));  // 0-1 and 2-3; 4 is alone
    CHECK(telling.given.size() == 4);
    CHECK(telling.algorithm.getLineSegmentNum() == 3);

    Clip::LineAlgorithm silent;
    CHECK(silent.evaluateStrip(xyz, 5, identity));
    CHECK(silent.getLineSegmentNum() == 0);  // ended there
    CHECK_FALSE(silent.evaluateStrip(xyz + 3, 2, identity));
    CHECK_FALSE(silent.evaluateStrip(xyz, 1, identity));
    CHECK_FALSE(silent.evaluateStrip(nullptr, 0, identity));
    CHECK_FALSE(silent.evaluateSegments(nullptr, -3, identity));
    float const origin[] = {0, 0, 0};
    CHECK(silent.evaluateStrip(origin, 1, identity));  // a point inside is enough
    CHECK_FALSE(telling.algorithm.evaluateStrip(origin, 1, identity));
    for (int wrong : {-1, 5, std::numeric_limits<int>::max()})
        CHECK_FALSE(telling.algorithm.evaluateSegment(0, wrong));
    telling.algorithm.setLineFunc(nullptr, nullptr);
    CHECK(telling.algorithm.getLineSegmentNum() == -1);
}

TEST_CASE("edgesOfTrianglesAreGivenUpToTheFirstThatShows") {
    // Corners far out, an edge along y = 0 and an apex above: its other edges cross as well.
    CompactMesh const mesh =
        support::meshOf({-3, 0, 0, 3, 0, 0, 0, 2, 0, 9, 9, 9}, {2, 0, 1, 0, 1, 3, 1, 3, 3});
    ProjMatrixFlt const identity;
    Segments telling;
    CHECK(telling.algorithm.evaluateMesh(mesh, identity));
    REQUIRE(telling.given.size() == 2);
    CHECK((telling.given[0][0] == HPoint(-3, 0, 0, 1)));  // (2, 0) passes by the corner
    CHECK((telling.given[1][1] == HPoint(3, 0, 0, 1)));
    CHECK(Clip::LineAlgorithm().evaluateMesh(mesh, identity));
    CHECK_FALSE(Clip::LineAlgorithm().evaluateMesh(CompactMesh(), identity));

    // A point inside answers without a function; with one all points are kept and the edges are walked.
    CompactMesh const inside = support::meshOf({0, 0, 0, 3, 0, 0, 0, 3, 0}, {0, 1, 2});
    Segments edges;
    CHECK(edges.algorithm.evaluateMesh(inside, identity));
    CHECK(edges.given.size() == 1);
    CompactMesh const pointsOnly = support::meshOf({0, 0, 0, 3, 0, 0, 0, 3, 0}, {});
    CHECK(Clip::LineAlgorithm().evaluateMesh(pointsOnly, identity));
    CHECK_FALSE(edges.algorithm.evaluateMesh(pointsOnly, identity));
}

TEST_CASE("piecesOfAMeshCoverWhatOfItIsInTheVolume") {
    CompactMesh mesh = support::terrain(12, 9, 6);
    mesh.allocUVArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        p.set(p.x / 6.0f - 1.0f, p.y / 4.5f - 1.0f, 0.0f);  // the square from -1 to 1
        mesh.getUVs()[v].set(p.x, p.y);
    }
    for (float scale : {0.5f, 1.0f, 1.37f, 3.1f, 1000.0f}) {
        Pieces pieces;
        CHECK(pieces.algorithm.evaluateMesh(mesh, scaledBy(scale)));
        CHECK(pieces.algorithm.getTriangleNum() == mesh.getNumTriangles());
        double area = 0.0;
        int last = 0;
        for (Piece const& piece : pieces.given) {
            CHECK(areaOf(piece) >= -1e-9);
            area += areaOf(piece);
            CHECK(piece.triangle >= last);
            last = piece.triangle;
            for (int k = 0; k < 3; ++k) {
                CHECK(std::abs(piece.corners[k].x) <= 1.0 + 1e-9);
                CHECK(std::abs(double(piece.uvs[k].u * scale) - piece.corners[k].x) < 1e-5);
                CHECK(std::abs(double(piece.uvs[k].v * scale) - piece.corners[k].y) < 1e-5);
            }
        }
        double const side = std::min(double(scale), 1.0);
        CHECK(area == doctest::Approx(4.0 * side * side).epsilon(1e-5));
        CHECK(Clip::TriangleAlgorithm().evaluateMesh(mesh, scaledBy(scale)));
    }
}

TEST_CASE("trianglesShowWhereNoCornerDoes") {
    CompactMesh const wide = support::meshOf({-9, -9, 0, 9, -9, 0, 0, 12, 0}, {0, 1, 2});
    CompactMesh const past = support::meshOf({-5, 0, 0, 0, 5, 0, -5, 5, 0}, {0, 1, 2});
    ProjMatrixFlt const identity;
    CHECK(Clip::clipVertices(past, identity) == Clip::Crossing);
    CHECK(Clip::TriangleAlgorithm().evaluateMesh(wide, identity));
    CHECK_FALSE(Clip::TriangleAlgorithm().evaluateMesh(past, identity));
    CHECK_FALSE(Pieces().algorithm.evaluateMesh(past, identity));
    CHECK_FALSE(Clip::TriangleAlgorithm().evaluateMesh(CompactMesh(), identity));
    CHECK_FALSE(
        Clip::TriangleAlgorithm().evaluateMesh(support::meshOf({0, 0, 0, 0, 0, 0}, {}), identity));
    // A corner inside answers for the mesh, triangles or not.
    CompactMesh const points = support::meshOf({0, 0, 0, 9, 9, 9, 9, 9, 9}, {});
    CHECK(Clip::TriangleAlgorithm().evaluateMesh(points, identity));
    CHECK_FALSE(Pieces().algorithm.evaluateMesh(points, identity));
}

TEST_CASE("functionEndsTheWalkAtItsTriangle") {
    CompactMesh const mesh = support::grid(4, 4);  // only its corner square lies in the volume
    ProjMatrixFlt m = scaledBy(1.0f);
    m.m[12] = m.m[13] = -2.5f;  // from 1.5 to 3.5: pieces of several corners
    Pieces all;
    CHECK(all.algorithm.evaluateMesh(mesh, m));
    for (std::size_t stop = 0; stop < all.given.size(); ++stop) {
        Pieces some;
        some.goOn = [&] { return some.given.size() <= stop; };
        CHECK(some.algorithm.evaluateMesh(mesh, m));
        CHECK(some.given.size() == stop + 1);
        CHECK(some.algorithm.getTriangleNum() == all.given[stop].triangle);
        CHECK(some.algorithm.evaluateTriangle(6, 7, 12));  // shows, and is not told
        CHECK(some.given.size() == stop + 1);
    }
    // A function that goes while the fan is given out is not missed.
    Pieces fickle;
    fickle.goOn = [&] {
        fickle.algorithm.setTriangleFunc(nullptr, nullptr);
        return true;
    };
    CHECK(fickle.algorithm.evaluateMesh(mesh, m));
    CHECK(fickle.given.size() < 4);
    Clip::TriangleAlgorithm copy(all.algorithm);
    CHECK(copy.getTriangleNum() == mesh.getNumTriangles());
    for (int wrong : {-1, 25, std::numeric_limits<int>::min()})
        CHECK_FALSE(copy.evaluateTriangle(0, 1, wrong));
}

TEST_CASE("selectionAndCullingAreTheHosts") {
    CompactMesh mesh = support::grid(2, 1);
    mesh.getSelectedTriangles().resize(4);
    mesh.getSelectedTriangles().setBit(2);
    ProjMatrixFlt const m = scaledBy(0.25f);
    Pieces pieces;
    pieces.algorithm.setSelectedTrianglesOnly(true);
    CHECK(pieces.algorithm.evaluateMesh(mesh, m));
    REQUIRE(pieces.given.size() == 1);
    CHECK(pieces.given[0].triangle == 2);
    CHECK(pieces.given[0].uvs[1].u == 0.0f);  // a mesh without
    mesh.getSelectedTriangles().resize(0);
    CHECK_FALSE(pieces.algorithm.evaluateMesh(mesh, m));

    Clip::TriangleAlgorithm& algorithm = pieces.algorithm;
    PointFlt const p[] = {{0, 0, 0}, {1, 0, 7}, {0, 1, -7}};
    auto const facing = [&](int a, int b, int c) {
        algorithm.cullFace(p[a], p[b], p[c]);
        return algorithm.isFrontFacing();
    };
    CHECK_FALSE(algorithm.cullFace(p[0], p[1], p[2]));
    CHECK(facing(0, 1, 2));
    CHECK_FALSE(facing(0, 2, 1));
    CHECK(facing(0, 1, 1));
    algorithm.setClockwiseFront(true);
    CHECK_FALSE(facing(0, 1, 2));
    CHECK(facing(0, 2, 1));
    algorithm.setClockwiseFront(false);
    algorithm.setCullFaces(false, true);
    CHECK_FALSE(algorithm.cullFace(p[0], p[1], p[2]));
    CHECK(algorithm.cullFace(p[0], p[2], p[1]));
    // What was said last holds for the triangles that follow.
    algorithm.setSelectedTrianglesOnly(false);
    CHECK_FALSE(algorithm.evaluateMesh(mesh, m));
    CHECK(pieces.given.size() == 5);
    algorithm.setCullFaces(true, false);
    CHECK(algorithm.cullFace(p[0], p[1], p[2]));
    CHECK_FALSE(algorithm.cullFace(p[0], p[2], p[1]));
    CHECK(algorithm.evaluateMesh(mesh, m));
}

TEST_CASE("brokenNumbersAndNumbersOutOfRangeDoNoHarm") {
    support::Random random(89);
    float const odd[] = {notANumber, infinity, -infinity, 3e38f, -3e38f, 1e-40f, 0.0f, -0.0f};
    for (int round = 0; round < 200; ++round) {
        CompactMesh mesh = support::latticeSoup(30, 60, static_cast<std::uint64_t>(round));
        mesh.allocUVArray();
        for (int k = 0; k < 20; ++k)
            mesh.getVerticesRaw()[random.index(90)] = odd[random.index(8)];
        if (round % 5 == 0)
            mesh.getTriangles()[random.index(60)][1] = round % 2 == 0 ? -4 : 1 << 30;
        ProjMatrixFlt m = drawMatrix(random);
        m.m[random.index(16)] = odd[random.index(8)];
        Pieces pieces;
        Segments segments;
        pieces.algorithm.evaluateMesh(mesh, m);
        segments.algorithm.evaluateMesh(mesh, m);
        for (Piece const& piece : pieces.given)
            CHECK(piece.triangle < 60);
        Clip::TriangleAlgorithm().evaluateMesh(mesh, m);
        Clip::LineAlgorithm().evaluateMesh(mesh, m);
    }
    // Points and texture coordinates of a mesh that is gone are not asked for.
    CompactMesh const away = support::meshOf({5, 0, 0, 6, 0, 0, 7, 1, 0}, {0, 1, 2});
    CompactMesh const tooFew = support::meshOf({0, 0, 0, 0, 0, 0}, {});
    for (CompactMesh const* other : {&away, &tooFew}) {
        Pieces pieces;
        {
            CompactMesh mesh = support::grid(1, 1);
            mesh.allocUVArray();
            CHECK(pieces.algorithm.evaluateMesh(mesh, ProjMatrixFlt()));
            CHECK(pieces.algorithm.evaluateTriangle(0, 1, 3));
        }
        CHECK_FALSE(pieces.algorithm.evaluateMesh(*other, ProjMatrixFlt()));
        CHECK_FALSE(pieces.algorithm.evaluateTriangle(0, 1, 3));
        CHECK_FALSE(pieces.algorithm.evaluateTriangle(0, 1, 2));
    }
}
